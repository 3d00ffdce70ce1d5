#include "trace/EtwWriter.h"

#include "platform/EtwApi.h"
#include "trace/FrameworkReset.h"
#include "trace/ProcessName.h"

#include <atomic>

namespace Trace {

const GUID ProviderGuid = {0x6E2B9C41, 0x7A3D, 0x4F15, {0x8C, 0x62, 0x3D, 0x9A, 0x1B, 0x7E, 0x5F, 0x04}};

namespace {

constexpr UCHAR debugChannel = 16;
constexpr UCHAR analyticalChannel = 17;
constexpr ULONGLONG debugChannelKeyword = 0x8000000000000000ull;
constexpr ULONGLONG analyticalChannelKeyword = 0x4000000000000000ull;

// What the enable callback last heard, and the event families it lets through. The
// callback runs on an ETW thread; readers take the bits without a lock, and a stale
// read only decides whether one event is written.
struct ProviderContext {
    REGHANDLE registration = 0;
    std::atomic<bool> enabled{false};
    std::atomic<UCHAR> level{0};
    std::atomic<ULONGLONG> matchAnyKeyword{0};
    std::atomic<ULONGLONG> matchAllKeyword{0};
    std::atomic<uint32_t> enableBits{0};
};

ProviderContext& Context()
{
    static ProviderContext context;
    return context;
}

bool EventPassesFilter(const EVENT_DESCRIPTOR& event, UCHAR level, ULONGLONG any, ULONGLONG all)
{
    const bool levelPasses = level == 0 || event.Level <= level;
    const bool keywordPasses = event.Keyword == 0 || ((event.Keyword & any) != 0 && (event.Keyword & all) == all);
    return levelPasses && keywordPasses;
}

EVENT_DATA_DESCRIPTOR Describe(const void* data, ULONG size)
{
    EVENT_DATA_DESCRIPTOR descriptor{};
    descriptor.Ptr = reinterpret_cast<ULONGLONG>(data);
    descriptor.Size = size;
    return descriptor;
}

EVENT_DATA_DESCRIPTOR DescribeString(const char* text, size_t length)
{
    static const char nullText[] = "NULL";
    if (text == nullptr) {
        return Describe(nullText, sizeof(nullText));
    }
    return Describe(text, static_cast<ULONG>(length + 1));
}

EVENT_DATA_DESCRIPTOR DescribeString(const wchar_t* text, size_t length)
{
    static const wchar_t nullText[] = L"NULL";
    if (text == nullptr) {
        return Describe(nullText, sizeof(nullText));
    }
    return Describe(text, static_cast<ULONG>((length + 1) * sizeof(wchar_t)));
}

} // namespace

// clang-format off
const EVENT_DESCRIPTOR EventDescriptors[EventBitCount] = {
    // Id    Ver Channel            Level Opcode Task Keyword
    {2000, 1, debugChannel,      18, 17, 1, debugChannelKeyword | 0x4},
    {2001, 1, debugChannel,      17, 11, 2, debugChannelKeyword | 0x4},
    {2002, 1, debugChannel,      16, 10, 2, debugChannelKeyword | 0x4},
    {2003, 1, debugChannel,       5, 12, 1, debugChannelKeyword | 0x4},
    {2004, 1, debugChannel,       4, 13, 1, debugChannelKeyword | 0x2},
    {2005, 1, debugChannel,       3, 14, 1, debugChannelKeyword | 0x2},
    {2006, 1, debugChannel,       2, 15, 1, debugChannelKeyword | 0x2},
    {2010, 2, analyticalChannel, 18, 17, 3, analyticalChannelKeyword | 0x1},
    {2011, 2, analyticalChannel,  5, 12, 3, analyticalChannelKeyword | 0x1},
    {2012, 2, analyticalChannel,  4, 13, 3, analyticalChannelKeyword | 0x1},
    {2013, 2, analyticalChannel,  3, 14, 3, analyticalChannelKeyword | 0x1},
    {2014, 2, analyticalChannel,  2, 15, 3, analyticalChannelKeyword | 0x1},
};
// clang-format on

namespace {

uint32_t PassingFamilies(UCHAR level, ULONGLONG any, ULONGLONG all)
{
    uint32_t bits = 0;
    for (uint32_t bit = 0; bit < EventBitCount; ++bit) {
        if (EventPassesFilter(EventDescriptors[bit], level, any, all)) {
            bits |= 1u << bit;
        }
    }
    return bits;
}

} // namespace

ProviderEnableState EnableState()
{
    const ProviderContext& context = Context();
    return ProviderEnableState{context.enabled, context.level, context.matchAnyKeyword, context.matchAllKeyword};
}

uint32_t ProviderEnableBits()
{
    return Context().enableBits.load(std::memory_order_relaxed);
}

bool IsEventEnabled(EventBit bit)
{
    return (ProviderEnableBits() & (1u << bit)) != 0;
}

EventBit OperationalEventBit(LogLevel level)
{
    switch (level) {
    case LogLevel::Fatal:
    case LogLevel::Error:
        return OperationalErrorEvent;
    case LogLevel::Warning:
        return OperationalWarningEvent;
    case LogLevel::Info:
        return OperationalInfoEvent;
    case LogLevel::Verbose:
        return OperationalVerboseEvent;
    default:
        return OperationalDebugEvent;
    }
}

ULONG RegisterProvider()
{
    ProviderContext& context = Context();
    if (context.registration != 0) {
        return 0;
    }
    return Platform::Etw().EventRegister(&ProviderGuid, ProviderEnableCallback, &context, &context.registration);
}

void NTAPI ProviderEnableCallback(LPCGUID, ULONG controlCode, UCHAR level, ULONGLONG matchAnyKeyword,
                                  ULONGLONG matchAllKeyword, PEVENT_FILTER_DESCRIPTOR, PVOID callbackContext) noexcept
{
    auto* context = static_cast<ProviderContext*>(callbackContext);
    if (context == nullptr) {
        return;
    }
    switch (controlCode) {
    case EVENT_CONTROL_CODE_DISABLE_PROVIDER:
        context->enabled = false;
        context->level = 0;
        context->matchAnyKeyword = 0;
        context->matchAllKeyword = 0;
        context->enableBits = 0;
        break;
    case EVENT_CONTROL_CODE_ENABLE_PROVIDER: {
        // For manifest-based providers ETW documents a MatchAnyKeyword of 0 as "every
        // event of the provider", the same as all bits set; whether the callback is then
        // handed 0 or all ones is not documented. START and LIVE enable with 0, and every
        // event here carries a channel bit, so reading 0 literally would write nothing.
        const ULONGLONG any = matchAnyKeyword == 0 ? ~0ull : matchAnyKeyword;
        context->enabled = true;
        context->level = level;
        context->matchAnyKeyword = any;
        context->matchAllKeyword = matchAllKeyword;
        context->enableBits = PassingFamilies(level, any, matchAllKeyword);
        break;
    }
    case EVENT_CONTROL_CODE_CAPTURE_STATE:
    default:
        // A session asks for the provider's state (a rundown). There is none to write:
        // every event is a trace message of its moment. The request brings no new
        // filter either, so the families stay as the last enable set them.
        break;
    }
}

ULONG WriteEvent(const EVENT_DESCRIPTOR& descriptor, ULONG count, EVENT_DATA_DESCRIPTOR* data)
{
    // Descriptor 0 is where a provider-traits blob would go (type 2, provider metadata).
    // The manifest names this provider, so there is no blob and the slot stays empty.
    data[0] = Describe(nullptr, 0);
    return Platform::Etw().EventWriteTransfer(Context().registration, &descriptor, nullptr, nullptr, count, data);
}

void WriteOperationalEvent(LogLevel level, const std::string& category, std::string_view message,
                           const std::string& fieldText)
{
    const EventBit bit = OperationalEventBit(level);
    if (!IsEventEnabled(bit)) {
        return;
    }
    const std::string& processName = ProcessNameNarrow();
    // The message is a view of a literal and need not end in a terminator; the event's
    // string field must, so it is the one text copied here.
    const std::string messageText(message);
    static const char emptyStack[] = "";

    EVENT_DATA_DESCRIPTOR data[6];
    data[1] = DescribeString(processName.c_str(), processName.size());
    data[2] = DescribeString(category.c_str(), category.size());
    data[3] = DescribeString(message.data() != nullptr ? messageText.c_str() : nullptr, messageText.size());
    data[4] = DescribeString(fieldText.c_str(), fieldText.size());
    data[5] = DescribeString(emptyStack, 0);
    WriteEvent(EventDescriptors[bit], 6, data);
}

void WriteDebugTraceEvent(EventBit bit, const std::wstring& processName, const wchar_t* text)
{
    if (!IsEventEnabled(bit)) {
        return;
    }
    EVENT_DATA_DESCRIPTOR data[3];
    data[1] = DescribeString(processName.empty() ? nullptr : processName.c_str(), processName.size());
    data[2] = DescribeString(text, text != nullptr ? std::char_traits<wchar_t>::length(text) : 0);
    WriteEvent(EventDescriptors[bit], 3, data);
}

void Reset::ForgetProviderRegistration()
{
    ProviderContext& context = Context();
    context.registration = 0;
    context.enabled = false;
    context.level = 0;
    context.matchAnyKeyword = 0;
    context.matchAllKeyword = 0;
    context.enableBits = 0;
}

} // namespace Trace
