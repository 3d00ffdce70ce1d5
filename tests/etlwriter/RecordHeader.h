#pragma once

// What the headers of all records in a buffer share: the first word names the header, byte
// 2 its trace-header type and byte 3 the marker 0xC0 (its two high bits mark a trace
// header), and a 16-bit size counts the whole record. Type codes seen in every sample:
// 0x13 in powershell.etl at 0x2048, 0x12 in smallEtlFile.etl's one event, 0x14 and 0x0A
// for classic records in SelfDescribingSingleEvent.etl and test_data_32_v0.etl, 0x02 and
// 0x01 (behind a 16-bit version 2) for the logfile header; the classic codes are also on
// Geoff Chappell's page on EVENT_TRACE_HEADER.

#include "etl/Event.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace EtlWriter {

inline constexpr uint8_t headerMarker = 0xC0;

// The type code of kind, which must be one of the two forms (32- and 64-bit) a kind of
// record allows; throws std::invalid_argument naming the record otherwise.
uint8_t HeaderTypeCode(Etl::HeaderKind kind, Etl::HeaderKind form32, Etl::HeaderKind form64, const char* record);

// headerSize + dataSize, when the 16-bit size field can hold it; throws std::length_error
// naming the record otherwise.
size_t RecordSize(size_t headerSize, size_t dataSize, const char* record);

// Throws std::invalid_argument unless out is exactly size bytes.
void CheckRecordOutput(std::span<uint8_t> out, size_t size, const char* record);

} // namespace EtlWriter
