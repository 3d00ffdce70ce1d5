#include "etl/RecordHead.h"

#include "etl/HexText.h"

namespace Etl {

namespace {

// The fourth byte of every record's first 32 bits. Trace headers set both high bits and
// keep their type in the third byte (the public write-up of the trace headers: "all have the
// high two bits set"; every record of the samples has 0xC0 there). Messages set the high
// bit and the message bit 0x10, not the second, as the write-up of MESSAGE_TRACE_HEADER
// gives them; no sample holds one.
constexpr uint8_t markerTraceHeader = 0xC0;
constexpr uint8_t markerMessage = 0x90;
constexpr uint8_t markerMessageMask = 0xD0;

constexpr uint32_t endOfData = 0xFFFFFFFF;

struct TraceHeaderType {
    uint8_t type;
    RecordLayout layout;
    HeaderKind kind;
    uint32_t headerSize;
};

// The trace header types (TRACE_HEADER_TYPE_*) with the layout each continues with. The
// system, compact and perfinfo headers keep their size at offset 4 (after a version); all
// others begin with it. Sizes: 0x20, 0x18 and 0x10 bytes as the write-ups of
// SYSTEM_TRACE_HEADER and PERFINFO_TRACE_HEADER give them (the log file header record of
// every sample has its TRACE_LOGFILE_HEADER at 0x20; the perfinfo records of
// ShutdownPerfDiagLogger.etl have their stamp at 8); EVENT_HEADER 0x50 (documented);
// EVENT_TRACE_HEADER 0x30 (documented); EVENT_INSTANCE_GUID_HEADER 0x48 (write-up).
constexpr TraceHeaderType traceHeaderTypes[] = {
    {0x01, RecordLayout::System, HeaderKind::System32, 0x20},
    {0x02, RecordLayout::System, HeaderKind::System64, 0x20},
    {0x03, RecordLayout::Compact, HeaderKind::Compact32, 0x18},
    {0x04, RecordLayout::Compact, HeaderKind::Compact64, 0x18},
    {0x0A, RecordLayout::Full, HeaderKind::Full32, 0x30},
    {0x0B, RecordLayout::Instance, HeaderKind::Instance32, 0x48},
    {0x10, RecordLayout::PerfInfo, HeaderKind::PerfInfo32, 0x10},
    {0x11, RecordLayout::PerfInfo, HeaderKind::PerfInfo64, 0x10},
    {0x12, RecordLayout::Event, HeaderKind::Event32, 0x50},
    {0x13, RecordLayout::Event, HeaderKind::Event64, 0x50},
    {0x14, RecordLayout::Full, HeaderKind::Full64, 0x30},
    {0x15, RecordLayout::Instance, HeaderKind::Instance64, 0x48},
};

[[noreturn]] void ThrowCutOff(const ByteCursor& buffer, size_t position, const BufferPlace& place)
{
    ThrowAt(place, position, "Record header", "is cut off by the buffer's " + Hex(buffer.Size()) + " filled bytes");
}

bool SizeAfterVersion(RecordLayout layout)
{
    return layout == RecordLayout::System || layout == RecordLayout::Compact || layout == RecordLayout::PerfInfo;
}

// The fields a message's options add to its header, and where its time stamp lies.
void ReadMessageHead(ByteCursor& record, RecordHead& head, const BufferPlace& place, size_t position,
                     unsigned logPointerSize)
{
    record.Skip(6);
    const uint16_t options = record.U16();
    if ((options & MessageGuid) != 0 && (options & MessageComponentId) != 0) {
        ThrowAt(place, position, "Message record",
                "asks for both a GUID and a component id (options " + Hex(options) + "), which exclude each other");
    }
    uint32_t size = 8;
    size += (options & MessageSequence) != 0 ? 4 : 0;
    size += (options & MessageGuid) != 0 ? 16 : 0;
    size += (options & MessageComponentId) != 0 ? 4 : 0;
    head.stamped = (options & MessageTimeStamp) != 0;
    if (head.stamped) {
        head.stamp = record.At(size, 8).I64();
        size += 8;
    }
    size += (options & MessageSystemInfo) != 0 ? 8 : 0;
    head.headerSize = size;
    const bool pointer32 =
        (options & MessagePointer64) == 0 && ((options & MessagePointer32) != 0 || logPointerSize == 4);
    head.kind = pointer32 ? HeaderKind::Wpp32 : HeaderKind::Wpp64;
}

} // namespace

std::optional<RecordHead> ReadRecordHead(const ByteCursor& buffer, size_t position, const BufferPlace& place,
                                         unsigned logPointerSize)
{
    ByteCursor marker = buffer.At(position, 4);
    const uint32_t first = marker.U32();
    if (!marker.Ok()) {
        ThrowCutOff(buffer, position, place);
    }
    if (first == endOfData) {
        return std::nullopt;
    }
    const uint8_t flags = static_cast<uint8_t>(first >> 24);
    RecordHead head;
    if ((flags & markerTraceHeader) == markerTraceHeader) {
        head.headerType = static_cast<uint8_t>(first >> 16);
        head.headerSize = 4;
        for (const auto& known : traceHeaderTypes) {
            if (known.type == head.headerType) {
                head.layout = known.layout;
                head.kind = known.kind;
                head.headerSize = known.headerSize;
            }
        }
        head.size = first & 0xFFFF;
        if (SizeAfterVersion(head.layout)) {
            ByteCursor size = buffer.At(position + 4, 2);
            head.size = size.U16();
            if (!size.Ok()) {
                ThrowCutOff(buffer, position, place);
            }
        }
    } else if ((flags & markerMessageMask) == markerMessage) {
        head.layout = RecordLayout::Message;
        head.size = first & 0xFFFF;
    } else {
        ThrowAt(place, position, "Record header", "begins with " + Hex(first) + ", which begins no record header");
    }

    if (head.size > buffer.Size() - position) {
        ThrowAt(place, position, "Record header",
                "gives a size of " + Hex(head.size) + ", which runs past the buffer's " + Hex(buffer.Size()) +
                    " filled bytes");
    }
    ByteCursor record = buffer.At(position, head.size);
    if (head.layout == RecordLayout::Message) {
        ReadMessageHead(record, head, place, position, logPointerSize);
    } else if (head.layout == RecordLayout::PerfInfo) {
        head.stamp = record.At(8, 8).I64();
    } else if (head.layout != RecordLayout::Undecoded) {
        head.stamp = record.At(0x10, 8).I64();
    }
    if (head.size < head.headerSize) {
        ThrowAt(place, position, "Record header",
                "gives a size of " + Hex(head.size) + ", less than the " + Hex(head.headerSize) +
                    " bytes of its own header");
    }
    return head;
}

} // namespace Etl
