#pragma once

// A manifest or TraceLogging event as an .etl buffer holds it: the 0x50-byte EVENT_HEADER
// (the same for 32- and 64-bit producers), the extended data items inline behind it, then
// the user data. The record is not padded; the writer aligns the next record to 8 bytes.

#include "etl/Event.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace EtlWriter {

inline constexpr size_t eventHeaderSize = 0x50;
inline constexpr size_t extendedItemHeaderSize = 8;

struct EventRecord {
    Etl::HeaderKind kind = Etl::HeaderKind::Event64; // Event32 or Event64
    // EVENT_HEADER_FLAG_* as the file holds them, written as given except that
    // FlagExtendedInfo is added when extended items are present. Files do not hold the
    // 32-bit and 64-bit header flags (no record of any sample has them: ProcessTrace sets
    // them from the header type), so a record like Windows' leaves them out.
    uint16_t flags = 0;
    uint16_t property = 0; // EVENT_HEADER_PROPERTY_*
    uint32_t threadId = 0;
    uint32_t processId = 0;
    int64_t timestamp = 0; // in the log's clock (QPC counts, or a UTC file time for clock 2)
    Etl::Guid provider;
    Etl::EventDescriptor descriptor;
    uint32_t kernelTime = 0;
    uint32_t userTime = 0;
    Etl::Guid activityId;
    std::span<const Etl::ExtendedItem> extended; // written in this order
    std::span<const uint8_t> userData;
};

// The record's size in bytes, unpadded. Throws std::length_error when it exceeds the
// 16-bit size field (or an item its own), std::invalid_argument for a kind other than
// Event32/Event64.
size_t EventRecordSize(const EventRecord& record);

// Writes the record into out, which must be exactly EventRecordSize(record) bytes; the
// padding of each extended item is written as zeros. Throws as EventRecordSize does.
void EncodeEventRecord(const EventRecord& record, std::span<uint8_t> out);

} // namespace EtlWriter
