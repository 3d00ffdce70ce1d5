#include "tests/etlwriter/SystemRecord.h"

#include "tests/etlwriter/LittleEndian.h"
#include "tests/etlwriter/RecordHeader.h"

#include <algorithm>

namespace EtlWriter {

namespace {

// SYSTEM_TRACE_HEADER as the logfile header record of every sample has it at 0x48, e.g.
// powershell.etl: 02 00 02 C0 8C 01 00 00, thread 0x928, process 0x187C, the QPC stamp of
// the session start at 0x58, kernel and user time at 0x60.
constexpr size_t versionOffset = 0x00;
constexpr size_t headerTypeOffset = 0x02; // type, then the marker
constexpr size_t sizeOffset = 0x04;
constexpr size_t hookIdOffset = 0x06;
constexpr size_t threadIdOffset = 0x08;
constexpr size_t processIdOffset = 0x0C;
constexpr size_t timestampOffset = 0x10;
constexpr size_t kernelTimeOffset = 0x18;
constexpr size_t userTimeOffset = 0x1C;
constexpr uint16_t systemHeaderVersion = 2;

constexpr const char* recordName = "SystemRecord";

uint8_t HeaderType(const SystemRecord& record)
{
    return HeaderTypeCode(record.kind, Etl::HeaderKind::System32, Etl::HeaderKind::System64, recordName);
}

} // namespace

size_t SystemRecordSize(const SystemRecord& record)
{
    HeaderType(record);
    return RecordSize(systemHeaderSize, record.data.size(), recordName);
}

void EncodeSystemRecord(const SystemRecord& record, std::span<uint8_t> out)
{
    const size_t size = SystemRecordSize(record);
    CheckRecordOutput(out, size, recordName);
    StoreU16(out, versionOffset, systemHeaderVersion);
    StoreU8(out, headerTypeOffset, HeaderType(record));
    StoreU8(out, headerTypeOffset + 1, headerMarker);
    StoreU16(out, sizeOffset, static_cast<uint16_t>(size));
    StoreU16(out, hookIdOffset, record.hookId);
    StoreU32(out, threadIdOffset, record.threadId);
    StoreU32(out, processIdOffset, record.processId);
    StoreI64(out, timestampOffset, record.timestamp);
    StoreU32(out, kernelTimeOffset, record.kernelTime);
    StoreU32(out, userTimeOffset, record.userTime);
    std::copy(record.data.begin(), record.data.end(), out.begin() + static_cast<ptrdiff_t>(systemHeaderSize));
}

} // namespace EtlWriter
