#pragma once

// A classic (MOF) event as an .etl buffer holds it: the 0x30-byte EVENT_TRACE_HEADER with
// the class GUID inline (the "full" header), then the event data. 32- and 64-bit producers
// differ only in the header type code, which tells the reader the pointer size of the data.

#include "etl/Event.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace EtlWriter {

inline constexpr size_t classicHeaderSize = 0x30;

// The EventTrace class {68FDD900-4A3E-11D1-84F4-0000F80464E3}: a consumer sees the logfile
// header as its event type 0, with TRACE_LOGFILE_HEADER as data. Windows writes that
// record with a system header in the header buffer (LogWriter does the same); a classic
// record of this class with EncodeLogfileHeader's data is the same event in full-header
// form, for readers' tests of that path.
inline constexpr Etl::Guid eventTraceClass = {
    0x68FDD900, 0x4A3E, 0x11D1, {0x84, 0xF4, 0x00, 0x00, 0xF8, 0x04, 0x64, 0xE3}};

struct ClassicRecord {
    Etl::HeaderKind kind = Etl::HeaderKind::Full64; // Full32 or Full64
    uint8_t type = 0;     // Class.Type: the event type (EVENT_TRACE_TYPE_*, or the class's own)
    uint8_t level = 0;    // Class.Level
    uint16_t version = 0; // Class.Version
    uint32_t threadId = 0;
    uint32_t processId = 0;
    int64_t timestamp = 0; // in the log's clock
    Etl::Guid classGuid;
    uint32_t kernelTime = 0;
    uint32_t userTime = 0;
    std::span<const uint8_t> data;
};

// The record's size in bytes, unpadded. Throws std::length_error beyond the 16-bit size
// field, std::invalid_argument for a kind other than Full32/Full64.
size_t ClassicRecordSize(const ClassicRecord& record);

// Writes the record into out, which must be exactly ClassicRecordSize(record) bytes.
void EncodeClassicRecord(const ClassicRecord& record, std::span<uint8_t> out);

} // namespace EtlWriter
