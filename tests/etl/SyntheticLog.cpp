#include "SyntheticLog.h"

#include <string>

namespace EtlTest {

ByteWriter& ByteWriter::U8(uint8_t value)
{
    bytes_.push_back(value);
    return *this;
}

ByteWriter& ByteWriter::U16(uint16_t value)
{
    return U8(static_cast<uint8_t>(value)).U8(static_cast<uint8_t>(value >> 8));
}

ByteWriter& ByteWriter::U32(uint32_t value)
{
    return U16(static_cast<uint16_t>(value)).U16(static_cast<uint16_t>(value >> 16));
}

ByteWriter& ByteWriter::U64(uint64_t value)
{
    return U32(static_cast<uint32_t>(value)).U32(static_cast<uint32_t>(value >> 32));
}

ByteWriter& ByteWriter::Guid(const Etl::Guid& guid)
{
    U32(guid.data1).U16(guid.data2).U16(guid.data3);
    for (const uint8_t byte : guid.data4) {
        U8(byte);
    }
    return *this;
}

ByteWriter& ByteWriter::Bytes(const std::vector<uint8_t>& bytes)
{
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
}

ByteWriter& ByteWriter::Zeros(size_t count)
{
    bytes_.insert(bytes_.end(), count, 0);
    return *this;
}

void ByteWriter::PatchU16(size_t offset, uint16_t value)
{
    bytes_[offset] = static_cast<uint8_t>(value);
    bytes_[offset + 1] = static_cast<uint8_t>(value >> 8);
}

void ByteWriter::PatchU32(size_t offset, uint32_t value)
{
    PatchU16(offset, static_cast<uint16_t>(value));
    PatchU16(offset + 2, static_cast<uint16_t>(value >> 16));
}

namespace {

// Marker of a trace header that begins with its size: size, type, flags 0xC0.
void SizedMarker(ByteWriter& writer, uint8_t headerType)
{
    writer.U16(0).U8(headerType).U8(0xC0);
}

std::vector<uint8_t> WithSize(ByteWriter& writer)
{
    writer.PatchU16(0, static_cast<uint16_t>(writer.Size()));
    return writer.Take();
}

std::vector<uint8_t> KernelRecord(uint8_t headerType, int64_t stamp, uint16_t hookId, bool ids, uint32_t threadId,
                                  uint32_t processId, bool times, const std::vector<uint8_t>& data)
{
    ByteWriter writer;
    writer.U16(2).U8(headerType).U8(0xC0).U16(0).U16(hookId);
    if (ids) {
        writer.U32(threadId).U32(processId);
    }
    writer.U64(static_cast<uint64_t>(stamp));
    if (times) {
        writer.U32(0x11).U32(0x22);
    }
    writer.Bytes(data);
    writer.PatchU16(4, static_cast<uint16_t>(writer.Size()));
    return writer.Take();
}

void EventHeader(ByteWriter& writer, bool is64, uint16_t flags, int64_t stamp, const Etl::Guid& provider, uint16_t id)
{
    SizedMarker(writer, is64 ? 0x13 : 0x12);
    writer.U16(flags).U16(0).U32(0x1234).U32(0x5678).U64(static_cast<uint64_t>(stamp)).Guid(provider);
    writer.U16(id).U8(1).U8(0x10).U8(4).U8(0).U16(7).U64(0x8000000000000001ull); // descriptor
    writer.U32(0x33).U32(0x44).Guid(Etl::Guid{0xAC71D17Eu, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 8}});
}

void ClassicHeader(ByteWriter& writer, uint8_t headerType, int64_t stamp, const Etl::Guid& classGuid, uint8_t type,
                   uint8_t level, uint16_t version)
{
    SizedMarker(writer, headerType);
    writer.U8(type).U8(level).U16(version).U32(0x9A).U32(0xBC).U64(static_cast<uint64_t>(stamp)).Guid(classGuid);
    writer.U32(0x55).U32(0x66);
}

std::vector<uint8_t> LogFileHeaderRecord(const HeaderFields& fields, uint32_t buffersWritten)
{
    ByteWriter header;
    header.U32(fields.bufferSize).U32(0x05010A00).U32(19041).U32(fields.processors);
    header.U64(static_cast<uint64_t>(fields.startTime + 600'000'000)); // EndTime: a minute later
    header.U32(156250).U32(100).U32(fields.logFileMode).U32(buffersWritten);
    header.U32(1).U32(fields.pointerSize).U32(7).U32(fields.cpuSpeedMHz);
    header.Zeros(2 * fields.pointerSize);              // name pointers
    header.U32(static_cast<uint32_t>(-60)).Zeros(168); // TIME_ZONE_INFORMATION: bias, then the rest
    header.Zeros((8 - header.Size() % 8) % 8);
    header.U64(static_cast<uint64_t>(fields.startTime - 36'000'000'000)); // BootTime: an hour before
    header.U64(static_cast<uint64_t>(fields.perfFreq)).U64(static_cast<uint64_t>(fields.startTime));
    header.U32(fields.clockType).U32(0);
    for (const char16_t character : std::u16string(u"Synthetic Logger")) {
        header.U16(character);
    }
    header.U16(0);
    for (const char16_t character : std::u16string(u"C:\\logs\\synthetic.etl")) {
        header.U16(character);
    }
    header.U16(0);
    return SystemRecord(fields.pointerSize == 8, fields.referenceStamp, 0x0000, 4, 8, header.Take());
}

std::vector<uint8_t> BufferBytes(uint32_t bufferSize, uint16_t processor, int64_t sequence, uint16_t flags,
                                 const std::vector<std::vector<uint8_t>>& records)
{
    ByteWriter writer;
    writer.U32(bufferSize).U32(0).U32(0).U32(0).U64(0).U64(static_cast<uint64_t>(sequence)).U64(0);
    writer.U16(processor).U16(1).U32(3).U32(0).U16(flags).U16(0).Zeros(16);
    for (const auto& record : records) {
        writer.Bytes(record).Zeros((8 - record.size() % 8) % 8);
    }
    writer.PatchU32(0x30, static_cast<uint32_t>(writer.Size()));
    writer.Zeros(bufferSize - writer.Size());
    return writer.Take();
}

} // namespace

std::vector<uint8_t> SystemRecord(bool is64, int64_t stamp, uint16_t hookId, uint32_t threadId, uint32_t processId,
                                  const std::vector<uint8_t>& data)
{
    return KernelRecord(is64 ? 0x02 : 0x01, stamp, hookId, true, threadId, processId, true, data);
}

std::vector<uint8_t> CompactRecord(bool is64, int64_t stamp, uint16_t hookId, uint32_t threadId, uint32_t processId,
                                   const std::vector<uint8_t>& data)
{
    return KernelRecord(is64 ? 0x04 : 0x03, stamp, hookId, true, threadId, processId, false, data);
}

std::vector<uint8_t> PerfInfoRecord(bool is64, int64_t stamp, uint16_t hookId, const std::vector<uint8_t>& data)
{
    return KernelRecord(is64 ? 0x11 : 0x10, stamp, hookId, false, 0, 0, false, data);
}

std::vector<uint8_t> EventRecord(bool is64, int64_t stamp, const Etl::Guid& provider, uint16_t id,
                                 const std::vector<uint8_t>& data)
{
    ByteWriter writer;
    EventHeader(writer, is64, 0, stamp, provider, id);
    writer.Bytes(data);
    return WithSize(writer);
}

std::vector<uint8_t> EventRecordWithItems(int64_t stamp, const Etl::Guid& provider, uint16_t id,
                                          const std::vector<std::pair<uint16_t, std::vector<uint8_t>>>& items,
                                          const std::vector<uint8_t>& data)
{
    ByteWriter writer;
    EventHeader(writer, true, Etl::FlagExtendedInfo, stamp, provider, id);
    for (size_t index = 0; index < items.size(); ++index) {
        const auto& [type, itemData] = items[index];
        const size_t itemSize = (8 + itemData.size() + 7) / 8 * 8;
        writer.U16(static_cast<uint16_t>(itemSize)).U16(type).U16(index + 1 < items.size() ? 1 : 0);
        writer.U16(static_cast<uint16_t>(itemData.size())).Bytes(itemData).Zeros(itemSize - 8 - itemData.size());
    }
    writer.Bytes(data);
    return WithSize(writer);
}

std::vector<uint8_t> ClassicRecord(bool is64, int64_t stamp, const Etl::Guid& classGuid, uint8_t type, uint8_t level,
                                   uint16_t version, const std::vector<uint8_t>& data)
{
    ByteWriter writer;
    ClassicHeader(writer, is64 ? 0x14 : 0x0A, stamp, classGuid, type, level, version);
    writer.Bytes(data);
    return WithSize(writer);
}

std::vector<uint8_t> InstanceRecord(bool is64, int64_t stamp, const Etl::Guid& classGuid, uint8_t type,
                                    uint32_t instanceId, uint32_t parentInstanceId, const Etl::Guid& parentGuid,
                                    const std::vector<uint8_t>& data)
{
    ByteWriter writer;
    ClassicHeader(writer, is64 ? 0x15 : 0x0B, stamp, classGuid, type, 3, 2);
    writer.U32(instanceId).U32(parentInstanceId).Guid(parentGuid).Bytes(data);
    return WithSize(writer);
}

std::vector<uint8_t> MessageRecord(bool stamped, int64_t stamp, const Etl::Guid& messageGuid, uint16_t number,
                                   uint32_t threadId, uint32_t processId, const std::vector<uint8_t>& data)
{
    ByteWriter writer;
    const uint16_t options = 0x0002 | 0x0020 | 0x0080 | (stamped ? 0x0008 : 0);
    writer.U16(0).U8(0).U8(0x90).U16(number).U16(options).Guid(messageGuid);
    if (stamped) {
        writer.U64(static_cast<uint64_t>(stamp));
    }
    writer.U32(threadId).U32(processId).Bytes(data);
    return WithSize(writer);
}

std::vector<uint8_t> OtherTraceRecord(uint8_t headerType, const std::vector<uint8_t>& data)
{
    ByteWriter writer;
    SizedMarker(writer, headerType);
    writer.Bytes(data);
    return WithSize(writer);
}

SyntheticLog::SyntheticLog(const HeaderFields& fields) : fields_(fields)
{
}

SyntheticLog& SyntheticLog::Buffer(uint16_t processor, int64_t sequence,
                                   const std::vector<std::vector<uint8_t>>& records, uint16_t flags)
{
    buffers_.push_back(BufferBytes(fields_.bufferSize, processor, sequence, flags, records));
    return *this;
}

std::vector<uint8_t> SyntheticLog::Bytes() const
{
    const uint32_t written =
        fields_.buffersWritten != 0 ? fields_.buffersWritten : static_cast<uint32_t>(buffers_.size() + 1);
    std::vector<uint8_t> bytes = BufferBytes(fields_.bufferSize, 0, 0, 0x01, {LogFileHeaderRecord(fields_, written)});
    for (const auto& buffer : buffers_) {
        bytes.insert(bytes.end(), buffer.begin(), buffer.end());
    }
    return bytes;
}

int64_t StampAt(int64_t offset100ns)
{
    return HeaderFields{}.referenceStamp + offset100ns;
}

} // namespace EtlTest
