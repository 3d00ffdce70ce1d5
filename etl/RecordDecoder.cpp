#include "etl/RecordDecoder.h"

#include "etl/HexText.h"
#include "etl/KernelEventClasses.h"

namespace Etl {

namespace {

// Perfinfo records carry no thread or process; all bits set says "none" without
// suggesting the idle process 0.
constexpr uint32_t noId = 0xFFFFFFFF;

bool Is32Bit(HeaderKind kind)
{
    switch (kind) {
    case HeaderKind::Event32:
    case HeaderKind::System32:
    case HeaderKind::Compact32:
    case HeaderKind::PerfInfo32:
    case HeaderKind::Full32:
    case HeaderKind::Instance32:
    case HeaderKind::Wpp32:
        return true;
    default:
        return false;
    }
}

void ResetEvent(const RecordHead& head, Event& event)
{
    event.kind = head.kind;
    event.pointerSize = Is32Bit(head.kind) ? 4 : 8;
    event.flags = Is32Bit(head.kind) ? Flag32BitHeader : Flag64BitHeader;
    event.property = 0;
    event.threadId = 0;
    event.processId = 0;
    event.rawTimestamp = head.stamp;
    event.provider = Guid{};
    event.descriptor = EventDescriptor{};
    event.kernelTime = 0;
    event.userTime = 0;
    event.activityId = Guid{};
    event.hookId = 0;
    event.userData = {};
    event.extended.clear();
}

// SYSTEM_TRACE_HEADER (0x20 bytes) and its compact form (0x18), PERFINFO_TRACE_HEADER (0x10):
// a version, the marker, the size, the hook; then thread and process (not in perfinfo),
// the stamp, and the processor times (system only).
void DecodeKernelRecord(ByteCursor record, const RecordHead& head, Event& event)
{
    const uint16_t version = record.U16(); // 0x00
    record.Skip(4);                        // 0x02 header type and flags, 0x04 size
    event.hookId = record.U16();           // 0x06 hook: group in the high byte, type in the low
    if (head.layout == RecordLayout::PerfInfo) {
        event.threadId = noId;
        event.processId = noId;
    } else {
        event.threadId = record.U32();  // 0x08
        event.processId = record.U32(); // 0x0C
    }
    record.Skip(8); // the stamp, already in head
    if (head.layout == RecordLayout::System) {
        event.kernelTime = record.U32(); // 0x18
        event.userTime = record.U32();   // 0x1C
    }
    event.flags |= FlagClassicHeader;
    event.provider = KernelEventClass(static_cast<uint8_t>(event.hookId >> 8)).value_or(Guid{});
    event.descriptor.opcode = static_cast<uint8_t>(event.hookId);
    event.descriptor.version = static_cast<uint8_t>(version);
}

// EVENT_TRACE_HEADER (0x30 bytes) and EVENT_INSTANCE_GUID_HEADER (0x48), which continues
// with the instance id, the parent's instance id and the parent's GUID: the three fields of
// EVENT_EXTENDED_ITEM_INSTANCE, which ProcessTrace delivers as the INSTANCE_INFO item.
void DecodeClassicRecord(ByteCursor record, const RecordHead& head, Event& event)
{
    record.Skip(4);                                                // 0x00 size, header type, marker flags
    event.descriptor.opcode = record.U8();                         // 0x04 Class.Type
    event.descriptor.level = record.U8();                          // 0x05 Class.Level
    event.descriptor.version = static_cast<uint8_t>(record.U16()); // 0x06 Class.Version
    event.threadId = record.U32();                                 // 0x08
    event.processId = record.U32();                                // 0x0C
    record.Skip(8);                                                // 0x10 the stamp, already in head
    event.provider = record.ReadGuid();                            // 0x18 the class GUID
    event.kernelTime = record.U32();                               // 0x28
    event.userTime = record.U32();                                 // 0x2C
    if (head.layout == RecordLayout::Instance) {
        event.extended.push_back({ExtInstanceInfo, record.Bytes(0x18)}); // 0x30
    }
    event.flags |= FlagClassicHeader;
}

// EVENT_HEADER (0x50 bytes, as documented), the flags as written; ProcessTrace adds the
// bitness flag, which the samples' records do not carry.
void DecodeEventHeader(ByteCursor record, Event& event)
{
    record.Skip(4);                     // 0x00 size and header type
    event.flags |= record.U16();        // 0x04
    event.property = record.U16();      // 0x06
    event.threadId = record.U32();      // 0x08
    event.processId = record.U32();     // 0x0C
    record.Skip(8);                     // 0x10 the stamp, already in head
    event.provider = record.ReadGuid(); // 0x18
    event.descriptor.id = record.U16(); // 0x28 EVENT_DESCRIPTOR
    event.descriptor.version = record.U8();
    event.descriptor.channel = record.U8();
    event.descriptor.level = record.U8();
    event.descriptor.opcode = record.U8();
    event.descriptor.task = record.U16();
    event.descriptor.keyword = record.U64();
    event.kernelTime = record.U32();      // 0x38
    event.userTime = record.U32();        // 0x3C
    event.activityId = record.ReadGuid(); // 0x40
}

// The extended data items that follow an EVENT_HEADER with FlagExtendedInfo, each an 8-byte
// head (its size, 8-byte aligned and head included; its type; bit 0 set when another item
// follows; its data size) and its data. Seen in AMSITrace.etl, lxcore_kernel.etl and
// SelfDescribingSingleEvent.etl: a provider traits item (type 12) linked to a TraceLogging
// schema item (type 11). Returns the offset after the last item.
size_t DecodeExtendedItems(const ByteCursor& record, const BufferPlace& place, Event& event)
{
    size_t position = 0x50;
    for (;;) {
        ByteCursor item = record.At(position, 8);
        const uint16_t itemSize = item.U16();
        const uint16_t type = item.U16();
        const uint16_t linkage = item.U16();
        const uint16_t dataSize = item.U16();
        const size_t itemOffset = record.Origin() + position;
        if (!item.Ok()) {
            ThrowAt(place, itemOffset, "Extended data item", "runs past the end of its record");
        }
        if (itemSize < 8u + dataSize || itemSize > record.Size() - position) {
            ThrowAt(place, itemOffset, "Extended data item",
                    "gives a size of " + Hex(itemSize) + " for " + Hex(dataSize) +
                        " bytes of data, which does not fit its record's " + Hex(record.Size()) + " bytes");
        }
        event.extended.push_back({type, record.At(position + 8, dataSize).Span()});
        position += itemSize;
        if ((linkage & 1) == 0) {
            return position;
        }
    }
}

// MESSAGE_TRACE_HEADER: the size and marker, the message number and the options; then
// the optional fields the options ask for (see RecordHead.cpp).
void DecodeMessage(ByteCursor record, const RecordHead& head, Event& event)
{
    record.Skip(4);
    event.descriptor.id = record.U16();
    const uint16_t options = record.U16();
    if ((options & MessageSequence) != 0) {
        record.Skip(4);
    }
    if ((options & MessageGuid) != 0) {
        event.provider = record.ReadGuid();
    }
    if ((options & MessageComponentId) != 0) {
        record.Skip(4);
    }
    if (head.stamped) {
        record.Skip(8);
    }
    if ((options & MessageSystemInfo) != 0) {
        event.threadId = record.U32();
        event.processId = record.U32();
    }
    event.flags |= FlagTraceMessage;
}

} // namespace

void DecodeRecord(const ByteCursor& record, const RecordHead& head, const BufferPlace& place, Event& event)
{
    ResetEvent(head, event);
    size_t dataStart = head.headerSize;
    switch (head.layout) {
    case RecordLayout::System:
    case RecordLayout::Compact:
    case RecordLayout::PerfInfo:
        DecodeKernelRecord(record, head, event);
        break;
    case RecordLayout::Full:
    case RecordLayout::Instance:
        DecodeClassicRecord(record, head, event);
        break;
    case RecordLayout::Event:
        DecodeEventHeader(record, event);
        if ((event.flags & FlagExtendedInfo) != 0) {
            dataStart = DecodeExtendedItems(record, place, event);
        }
        break;
    case RecordLayout::Message:
        DecodeMessage(record, head, event);
        break;
    case RecordLayout::Undecoded:
        break;
    }
    event.userData = record.Span().subspan(dataStart);
}

} // namespace Etl
