#pragma once

// One record of an .etl file as the reader delivers it: the header fields that
// ProcessTrace puts into an EVENT_RECORD, the user data and the extended data items,
// with the time stamp already converted to a UTC file time.
//
// Standard C++ only (no Windows header): the reader and the decoder build into
// ksdiag.exe and natively on Linux. The spans point into the reader's current buffer
// and stay valid until the reader delivers the next record; copy what must live longer.

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace Etl {

// A GUID in its in-memory form: Data1 to Data3 little-endian numbers, Data4 8 bytes.
struct Guid {
    uint32_t data1 = 0;
    uint16_t data2 = 0;
    uint16_t data3 = 0;
    std::array<uint8_t, 8> data4{};

    friend bool operator==(const Guid&, const Guid&) = default;
    friend auto operator<=>(const Guid&, const Guid&) = default;
};

// The EVENT_DESCRIPTOR fields. For classic (MOF) records the reader fills them as
// ProcessTrace does: opcode = the class type, version = the class version, level = the
// record's level, everything else 0.
struct EventDescriptor {
    uint16_t id = 0;
    uint8_t version = 0;
    uint8_t channel = 0;
    uint8_t level = 0;
    uint8_t opcode = 0;
    uint16_t task = 0;
    uint64_t keyword = 0;
};

// The header a record was written with in the file.
enum class HeaderKind : uint8_t {
    Event32,  // EVENT_HEADER of a 32-bit producer (manifest and TraceLogging events)
    Event64,  // EVENT_HEADER of a 64-bit producer
    System32, // SYSTEM_TRACE_HEADER (kernel logger), 32-bit
    System64,
    Compact32, // compact SYSTEM_TRACE_HEADER, without the CPU times
    Compact64,
    PerfInfo32, // PERFINFO_TRACE_HEADER
    PerfInfo64,
    Full32, // EVENT_TRACE_HEADER, classic provider with a class GUID
    Full64,
    Instance32, // EVENT_INSTANCE_HEADER, classic provider with a registered GUID
    Instance64,
    Wpp32, // WPP software-tracing message header (MESSAGE_TRACE_HEADER)
    Wpp64,
};

// EVENT_HEADER_EXT_TYPE_* values of the extended data items the viewer and the decoder
// read; any other type is delivered too, with its number.
enum ExtendedType : uint16_t {
    ExtRelatedActivityId = 1,
    ExtSid = 2,
    ExtTsId = 3,
    ExtInstanceInfo = 4,
    ExtStackTrace32 = 5,
    ExtStackTrace64 = 6,
    ExtPebsIndex = 7,
    ExtPmcCounters = 8,
    ExtPsmKey = 9,
    ExtEventKey = 10,
    ExtEventSchemaTl = 11,
    ExtProvTraits = 12,
    ExtProcessStartKey = 13,
    ExtControlGuid = 14,
    ExtQpcDelta = 15,
    ExtContainerId = 16,
    ExtStackKey32 = 17,
    ExtStackKey64 = 18,
};

struct ExtendedItem {
    uint16_t type = 0;
    std::span<const uint8_t> data;
};

// EVENT_HEADER_FLAG_* bits of Event::flags.
enum HeaderFlag : uint16_t {
    FlagExtendedInfo = 0x0001,
    FlagPrivateSession = 0x0002,
    FlagStringOnly = 0x0004,
    FlagTraceMessage = 0x0008,
    FlagNoCpuTime = 0x0010,
    Flag32BitHeader = 0x0020,
    Flag64BitHeader = 0x0040,
    FlagDecodeGuid = 0x0080,
    FlagClassicHeader = 0x0100,
    FlagProcessorIndex = 0x0200,
};

struct Event {
    HeaderKind kind = HeaderKind::Event64;
    uint16_t flags = 0;    // EVENT_HEADER_FLAG_*, as ProcessTrace sets them
    uint16_t property = 0; // EVENT_HEADER_PROPERTY_*
    uint32_t threadId = 0;
    uint32_t processId = 0;
    int64_t rawTimestamp = 0; // the stamp as written, in the log's clock
    int64_t timestamp = 0;    // UTC file time: 100 ns since 1601-01-01
    Guid provider;            // for classic and kernel records: the event class GUID
    EventDescriptor descriptor;
    uint32_t kernelTime = 0; // or, for private sessions, the processor time's low half
    uint32_t userTime = 0;
    Guid activityId;
    uint16_t processor = 0; // the processor index of the buffer the record came from
    uint16_t loggerId = 0;
    unsigned pointerSize = 8; // 4 for a 32-bit producer, else 8
    std::span<const uint8_t> userData;
    std::vector<ExtendedItem> extended;
    // System and perfinfo records: the kernel hook, group in the high byte (the provider
    // GUID above is its class, or all zero for a group without a documented class) and type
    // in the low byte (the opcode). 0 for every other record.
    uint16_t hookId = 0;
    // Where the record was read, for messages about it: the buffer's index in file order
    // (0 holds the log file header) and the record's offset in that buffer (in a compressed
    // buffer, once decompressed).
    uint32_t bufferIndex = 0;
    uint32_t bufferOffset = 0;
};

} // namespace Etl
