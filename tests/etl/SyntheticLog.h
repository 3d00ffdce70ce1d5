#pragma once

// Small logs built in memory for the reader's tests: a header buffer with a 64-bit (or
// 32-bit) log file header record, then buffers of hand-made records, each buffer with the
// processor, sequence number and flags the test chooses, in the file order the test adds
// them. Only what the tests need, byte by byte as the reader expects it.

#include "etl/Event.h"

#include <cstdint>
#include <vector>

namespace EtlTest {

// Appends little-endian values to a byte vector.
class ByteWriter {
public:
    ByteWriter& U8(uint8_t value);
    ByteWriter& U16(uint16_t value);
    ByteWriter& U32(uint32_t value);
    ByteWriter& U64(uint64_t value);
    ByteWriter& Guid(const Etl::Guid& guid);
    ByteWriter& Bytes(const std::vector<uint8_t>& bytes);
    ByteWriter& Zeros(size_t count);
    // Writes value as a 16-bit number at offset (already written).
    void PatchU16(size_t offset, uint16_t value);
    void PatchU32(size_t offset, uint32_t value);

    size_t Size() const { return bytes_.size(); }
    const std::vector<uint8_t>& Take() const { return bytes_; }

private:
    std::vector<uint8_t> bytes_;
};

struct HeaderFields {
    unsigned pointerSize = 8;
    uint32_t clockType = 1;
    int64_t perfFreq = 10'000'000;
    uint32_t cpuSpeedMHz = 3000;
    int64_t startTime = 132'000'000'000'000'000; // 2019-04-14T02:13:20Z
    int64_t referenceStamp = 1'000'000;
    uint32_t processors = 4;
    uint32_t logFileMode = 0;
    uint32_t bufferSize = 0x400;
    // 0: the number of buffers the log ends up with.
    uint32_t buffersWritten = 0;
};

// Records, each with its header, unaligned (the log pads them).
std::vector<uint8_t> SystemRecord(bool is64, int64_t stamp, uint16_t hookId, uint32_t threadId, uint32_t processId,
                                  const std::vector<uint8_t>& data);
std::vector<uint8_t> CompactRecord(bool is64, int64_t stamp, uint16_t hookId, uint32_t threadId, uint32_t processId,
                                   const std::vector<uint8_t>& data);
std::vector<uint8_t> PerfInfoRecord(bool is64, int64_t stamp, uint16_t hookId, const std::vector<uint8_t>& data);
std::vector<uint8_t> EventRecord(bool is64, int64_t stamp, const Etl::Guid& provider, uint16_t id,
                                 const std::vector<uint8_t>& data);
// An event record with extended items (type and data each), linked in order.
std::vector<uint8_t> EventRecordWithItems(int64_t stamp, const Etl::Guid& provider, uint16_t id,
                                          const std::vector<std::pair<uint16_t, std::vector<uint8_t>>>& items,
                                          const std::vector<uint8_t>& data);
std::vector<uint8_t> ClassicRecord(bool is64, int64_t stamp, const Etl::Guid& classGuid, uint8_t type, uint8_t level,
                                   uint16_t version, const std::vector<uint8_t>& data);
std::vector<uint8_t> InstanceRecord(bool is64, int64_t stamp, const Etl::Guid& classGuid, uint8_t type,
                                    uint32_t instanceId, uint32_t parentInstanceId, const Etl::Guid& parentGuid,
                                    const std::vector<uint8_t>& data);
// A message with the GUID, time stamp (when stamped) and system information options.
std::vector<uint8_t> MessageRecord(bool stamped, int64_t stamp, const Etl::Guid& messageGuid, uint16_t number,
                                   uint32_t threadId, uint32_t processId, const std::vector<uint8_t>& data);
// A record of trace header type headerType, sized at its start.
std::vector<uint8_t> OtherTraceRecord(uint8_t headerType, const std::vector<uint8_t>& data);

class SyntheticLog {
public:
    explicit SyntheticLog(const HeaderFields& fields = {});

    // A buffer of the header's buffer size holding records, 8-byte aligned, on processor
    // with sequence number sequence. flags: buffer flags (0x20 for a 16-bit processor index).
    SyntheticLog& Buffer(uint16_t processor, int64_t sequence, const std::vector<std::vector<uint8_t>>& records,
                         uint16_t flags = 0x20);

    std::vector<uint8_t> Bytes() const;

private:
    HeaderFields fields_;
    std::vector<std::vector<uint8_t>> buffers_;
};

// The stamp that converts to fields.startTime + offset100ns with the default fields
// (performance counter at 10 MHz).
int64_t StampAt(int64_t offset100ns);

} // namespace EtlTest
