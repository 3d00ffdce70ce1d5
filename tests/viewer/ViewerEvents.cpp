#include "tests/viewer/ViewerEvents.h"

#include "session/SessionIdentity.h"
#include "tests/emulator/EventSchema.h"
#include "trace/EtwWriter.h"

namespace Testing {

namespace {

// Level, task and opcode of a product event id, as the manifest gives them.
struct ProductDescriptor {
    USHORT id;
    UCHAR level;
    USHORT task;
    UCHAR opcode;
};

constexpr ProductDescriptor productDescriptors[] = {
    {2000, 18, 1, 17}, {2001, 17, 2, 11}, {2002, 16, 2, 10}, {2003, 5, 1, 12}, {2004, 4, 1, 13},
    {2005, 3, 1, 14},  {2006, 2, 1, 15},  {2010, 18, 3, 17}, {2011, 5, 3, 12}, {2012, 4, 3, 13},
    {2013, 3, 3, 14},  {2014, 2, 3, 15},  {2020, 4, 1, 12},  {2021, 1, 1, 15},
};

EventRecordBuilder ProductEvent(USHORT id, UCHAR version)
{
    for (const ProductDescriptor& descriptor : productDescriptors) {
        if (descriptor.id == id) {
            EventRecordBuilder builder(Trace::ProviderGuid, id, version, descriptor.level);
            builder.Task(descriptor.task).Opcode(descriptor.opcode);
            return builder;
        }
    }
    return EventRecordBuilder(Trace::ProviderGuid, id, version, 4);
}

} // namespace

std::string Utf8(std::wstring_view text)
{
    if (text.empty()) {
        return {};
    }
    const int size =
        ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<size_t>(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), result.data(), size, nullptr,
                          nullptr);
    return result;
}

EventRecordBuilder DebugTraceEvent(USHORT id, std::wstring_view processName, std::wstring_view text)
{
    EventRecordBuilder builder = ProductEvent(id, 1);
    builder.Utf16(processName).Utf16(text);
    return builder;
}

EventRecordBuilder OperationalEvent(UCHAR version, USHORT id, const OperationalFields& fields)
{
    EventRecordBuilder builder = ProductEvent(id, version);
    for (const std::wstring* text :
         {&fields.processName, &fields.name, &fields.message, &fields.arguments, &fields.stack}) {
        if (version == 2) {
            builder.Narrow(Utf8(*text));
        } else {
            builder.Utf16(*text);
        }
    }
    return builder;
}

EventRecordBuilder ImageEvent(const ImageFields& fields)
{
    EventRecordBuilder builder = ProductEvent(2020, 1);
    builder.PointerSize(fields.pointerSize);
    builder.Narrow(fields.fileName)
        .Narrow(fields.debug)
        .Pointer(fields.base)
        .UInt32(fields.size)
        .Utf16(fields.processName)
        .Narrow(fields.version)
        .UInt16(fields.machine);
    return builder;
}

EventRecordBuilder FaultEvent(std::wstring_view processName, std::string_view debug)
{
    EventRecordBuilder builder = ProductEvent(2021, 1);
    builder.Utf16(processName).Narrow(debug);
    return builder;
}

EventRecordBuilder WinlogonEvent(USHORT id, std::wstring_view subscriber, uint32_t notification)
{
    EventRecordBuilder builder(Session::WinlogonProviderGuid, id, 0, 4);
    builder.UInt32(notification).Utf16(subscriber);
    return builder;
}

namespace {

// A SID of the mandatory-label authority (S-1-16-12288, high integrity).
void AppendMandatoryLabel(EventRecordBuilder& builder)
{
    const uint8_t sid[] = {1, 1, 0, 0, 0, 0, 0, 16, 0x00, 0x30, 0x00, 0x00};
    builder.Bytes(sid, sizeof sid);
}

void AppendProcessStart(EventRecordBuilder& builder, UCHAR version, const KernelFields& fields, uint64_t time)
{
    if (version >= 3) {
        builder.UInt32(fields.processId).UInt64(77).UInt64(time).UInt32(fields.parentProcessId).UInt64(76);
        builder.UInt32(fields.sessionId).UInt32(0).UInt32(1).UInt32(1);
        AppendMandatoryLabel(builder);
        builder.Utf16(fields.imageName).UInt32(0x1234).UInt32(0x5678).Utf16(L"").Utf16(L"");
        return;
    }
    builder.UInt32(fields.processId).UInt64(time).UInt32(fields.parentProcessId).UInt32(fields.sessionId);
    if (version >= 1) {
        builder.UInt32(0); // Flags
    }
    builder.Utf16(fields.imageName);
    if (version == 2) {
        builder.UInt32(0x1234).UInt32(0x5678).Utf16(L"").Utf16(L"");
    }
}

void AppendProcessStop(EventRecordBuilder& builder, UCHAR version, const KernelFields& fields, uint64_t time)
{
    builder.UInt32(fields.processId);
    if (version >= 2) {
        builder.UInt64(77); // ProcessSequenceNumber
    }
    builder.UInt64(time).UInt64(time).UInt32(fields.exitCode).UInt32(1).UInt32(42).UInt64(0x100000).UInt64(0x200000);
    if (version >= 1) {
        builder.UInt64(123456).UInt32(1).UInt32(2).UInt32(3).UInt32(4).UInt32(5);
    }
    builder.Narrow(std::string(fields.imageName.begin(), fields.imageName.end()));
}

void AppendThread(EventRecordBuilder& builder, USHORT id, UCHAR version, const KernelFields& fields)
{
    builder.UInt32(fields.processId).UInt32(fields.threadId);
    for (uint64_t address : {0x7FF000100000ull, 0x7FF000000000ull, 0x0000C0000000ull, 0x0000BFF00000ull,
                             0x7FF600001000ull, 0x7FF600002000ull, 0x0000A0000000ull}) {
        builder.Pointer(address);
    }
    if (version >= 1) {
        builder.UInt32(0); // SubProcessTag
        if (id == 4) {
            builder.UInt64(987654321); // CycleTime
        }
    }
}

} // namespace

EventRecordBuilder KernelProcessEvent(USHORT id, const KernelFields& fields)
{
    const UCHAR version = fields.version.value_or(id == 2 ? UCHAR{2} : UCHAR{0});
    EventRecordBuilder builder(Session::KernelProcessProviderGuid, id, version, 4);
    const uint64_t someTime = 133542759010420000ull;
    switch (id) {
    case 1:
        AppendProcessStart(builder, version, fields, someTime);
        break;
    case 2:
        AppendProcessStop(builder, version, fields, someTime);
        break;
    case 3:
    case 4:
        AppendThread(builder, id, version, fields);
        break;
    case 5:
    case 6:
        builder.Pointer(0x7FF600000000)
            .Pointer(0x20000)
            .UInt32(fields.processId)
            .UInt32(0)
            .UInt32(0)
            .Pointer(0x140000000)
            .Utf16(fields.imageName);
        break;
    default:
        builder.UInt32(fields.processId);
        break;
    }
    return builder;
}

} // namespace Testing
