#include "tests/etlwriter/ClassicRecord.h"

#include "tests/etlwriter/LittleEndian.h"
#include "tests/etlwriter/RecordHeader.h"

#include <algorithm>

namespace EtlWriter {

namespace {

// EVENT_TRACE_HEADER (learn.microsoft.com, evntrace.h), checked against the records of
// test_data_32_v0.etl from 0x10048 (type 0x0A) and SelfDescribingSingleEvent.etl's second
// buffer (type 0x14).
constexpr size_t sizeOffset = 0x00;
constexpr size_t headerTypeOffset = 0x02; // HeaderType, then MarkerFlags
constexpr size_t classTypeOffset = 0x04;
constexpr size_t classLevelOffset = 0x05;
constexpr size_t classVersionOffset = 0x06;
constexpr size_t threadIdOffset = 0x08;
constexpr size_t processIdOffset = 0x0C;
constexpr size_t timestampOffset = 0x10;
constexpr size_t guidOffset = 0x18;
constexpr size_t kernelTimeOffset = 0x28;
constexpr size_t userTimeOffset = 0x2C;

constexpr const char* recordName = "ClassicRecord";

uint8_t HeaderType(const ClassicRecord& record)
{
    return HeaderTypeCode(record.kind, Etl::HeaderKind::Full32, Etl::HeaderKind::Full64, recordName);
}

} // namespace

size_t ClassicRecordSize(const ClassicRecord& record)
{
    HeaderType(record);
    return RecordSize(classicHeaderSize, record.data.size(), recordName);
}

void EncodeClassicRecord(const ClassicRecord& record, std::span<uint8_t> out)
{
    const size_t size = ClassicRecordSize(record);
    CheckRecordOutput(out, size, recordName);
    StoreU16(out, sizeOffset, static_cast<uint16_t>(size));
    StoreU8(out, headerTypeOffset, HeaderType(record));
    StoreU8(out, headerTypeOffset + 1, headerMarker);
    StoreU8(out, classTypeOffset, record.type);
    StoreU8(out, classLevelOffset, record.level);
    StoreU16(out, classVersionOffset, record.version);
    StoreU32(out, threadIdOffset, record.threadId);
    StoreU32(out, processIdOffset, record.processId);
    StoreI64(out, timestampOffset, record.timestamp);
    StoreGuid(out, guidOffset, record.classGuid);
    StoreU32(out, kernelTimeOffset, record.kernelTime);
    StoreU32(out, userTimeOffset, record.userTime);
    std::copy(record.data.begin(), record.data.end(), out.begin() + static_cast<ptrdiff_t>(classicHeaderSize));
}

} // namespace EtlWriter
