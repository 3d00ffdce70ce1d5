#pragma once

// A record with the kernel logger's SYSTEM_TRACE_HEADER, the header Windows gives the
// logfile header record at the start of every log (and the second header-group record of
// recent Windows): 16-bit version 2, the header type and marker, 16-bit size, 16-bit
// hook id (event group in the high byte, type in the low), thread and process id, the time
// stamp, kernel and user time; 0x20 bytes for both pointer sizes. The consumer presents
// group 0 records as events of the EventTrace class {68FDD900-4A3E-11D1-84F4-0000F80464E3}
// with the hook's type as the opcode.

#include "etl/Event.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace EtlWriter {

inline constexpr size_t systemHeaderSize = 0x20;

struct SystemRecord {
    Etl::HeaderKind kind = Etl::HeaderKind::System64; // System32 or System64
    uint16_t hookId = 0;
    uint32_t threadId = 0;
    uint32_t processId = 0;
    int64_t timestamp = 0; // in the log's clock
    uint32_t kernelTime = 0;
    uint32_t userTime = 0;
    std::span<const uint8_t> data;
};

// The record's size in bytes, unpadded. Throws std::length_error beyond the 16-bit size
// field, std::invalid_argument for a kind other than System32/System64.
size_t SystemRecordSize(const SystemRecord& record);

// Writes the record into out, which must be exactly SystemRecordSize(record) bytes.
void EncodeSystemRecord(const SystemRecord& record, std::span<uint8_t> out);

} // namespace EtlWriter
