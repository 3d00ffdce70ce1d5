#include "tests/etlwriter/EventRecord.h"

#include "tests/etlwriter/LittleEndian.h"
#include "tests/etlwriter/RecordHeader.h"

#include <algorithm>
#include <stdexcept>

namespace EtlWriter {

namespace {

// EVENT_HEADER (learn.microsoft.com, evntcons.h; [MS-DTYP] 2.3.2), checked against
// lxcore_kernel.etl's record at 0x2048 and AMSITrace.etl's at 0x10048.
constexpr size_t sizeOffset = 0x00;
constexpr size_t headerTypeOffset = 0x02; // type byte, then the marker byte
constexpr size_t flagsOffset = 0x04;
constexpr size_t propertyOffset = 0x06;
constexpr size_t threadIdOffset = 0x08;
constexpr size_t processIdOffset = 0x0C;
constexpr size_t timestampOffset = 0x10;
constexpr size_t providerOffset = 0x18;
constexpr size_t descriptorOffset = 0x28; // Id, Version, Channel, Level, Opcode, Task, Keyword
constexpr size_t kernelTimeOffset = 0x38;
constexpr size_t userTimeOffset = 0x3C;
constexpr size_t activityIdOffset = 0x40;

// An extended item inline: 16-bit size of the whole item rounded up to 8, the
// EVENT_HEADER_EXT_TYPE_*, 16-bit linkage (1 when another item follows), 16-bit data size,
// then the data and zeros up to the item size. Seen in AMSITrace.etl at 0x10098 (provider
// traits of 0xC bytes in an item of 0x18, linkage 1) and 0x100B0 (TraceLogging schema of
// 0x2B bytes in 0x38, linkage 0), and in lxcore_kernel.etl at 0x2098 and 0x20D8.
constexpr size_t itemSizeOffset = 0;
constexpr size_t itemTypeOffset = 2;
constexpr size_t itemLinkageOffset = 4;
constexpr size_t itemDataSizeOffset = 6;

constexpr const char* recordName = "EventRecord";

uint8_t HeaderType(const EventRecord& record)
{
    return HeaderTypeCode(record.kind, Etl::HeaderKind::Event32, Etl::HeaderKind::Event64, recordName);
}

size_t ItemSize(const Etl::ExtendedItem& item)
{
    if (item.data.size() > 0xFFFF - extendedItemHeaderSize - 7) {
        throw std::length_error("EventRecord: extended item data larger than its 16-bit size");
    }
    return AlignTo8(extendedItemHeaderSize + item.data.size());
}

void EncodeItems(std::span<const Etl::ExtendedItem> items, std::span<uint8_t> out)
{
    size_t offset = 0;
    for (size_t index = 0; index < items.size(); ++index) {
        const Etl::ExtendedItem& item = items[index];
        const size_t size = ItemSize(item);
        const std::span<uint8_t> slot = out.subspan(offset, size);
        StoreU16(slot, itemSizeOffset, static_cast<uint16_t>(size));
        StoreU16(slot, itemTypeOffset, item.type);
        StoreU16(slot, itemLinkageOffset, index + 1 < items.size() ? 1 : 0);
        StoreU16(slot, itemDataSizeOffset, static_cast<uint16_t>(item.data.size()));
        std::copy(item.data.begin(), item.data.end(), slot.begin() + extendedItemHeaderSize);
        std::fill(slot.begin() + static_cast<ptrdiff_t>(extendedItemHeaderSize + item.data.size()), slot.end(),
                  uint8_t{0});
        offset += size;
    }
}

} // namespace

size_t EventRecordSize(const EventRecord& record)
{
    HeaderType(record);
    size_t rest = record.userData.size();
    for (const Etl::ExtendedItem& item : record.extended) {
        rest += ItemSize(item);
    }
    return RecordSize(eventHeaderSize, rest, recordName);
}

void EncodeEventRecord(const EventRecord& record, std::span<uint8_t> out)
{
    const size_t size = EventRecordSize(record);
    CheckRecordOutput(out, size, recordName);
    const uint16_t flags = static_cast<uint16_t>(record.flags | (record.extended.empty() ? 0 : Etl::FlagExtendedInfo));
    StoreU16(out, sizeOffset, static_cast<uint16_t>(size));
    StoreU8(out, headerTypeOffset, HeaderType(record));
    StoreU8(out, headerTypeOffset + 1, headerMarker);
    StoreU16(out, flagsOffset, flags);
    StoreU16(out, propertyOffset, record.property);
    StoreU32(out, threadIdOffset, record.threadId);
    StoreU32(out, processIdOffset, record.processId);
    StoreI64(out, timestampOffset, record.timestamp);
    StoreGuid(out, providerOffset, record.provider);
    StoreU16(out, descriptorOffset, record.descriptor.id);
    StoreU8(out, descriptorOffset + 2, record.descriptor.version);
    StoreU8(out, descriptorOffset + 3, record.descriptor.channel);
    StoreU8(out, descriptorOffset + 4, record.descriptor.level);
    StoreU8(out, descriptorOffset + 5, record.descriptor.opcode);
    StoreU16(out, descriptorOffset + 6, record.descriptor.task);
    StoreU64(out, descriptorOffset + 8, record.descriptor.keyword);
    StoreU32(out, kernelTimeOffset, record.kernelTime);
    StoreU32(out, userTimeOffset, record.userTime);
    StoreGuid(out, activityIdOffset, record.activityId);

    const size_t itemsEnd = size - record.userData.size();
    EncodeItems(record.extended, out.subspan(eventHeaderSize, itemsEnd - eventHeaderSize));
    std::copy(record.userData.begin(), record.userData.end(), out.begin() + static_cast<ptrdiff_t>(itemsEnd));
}

} // namespace EtlWriter
