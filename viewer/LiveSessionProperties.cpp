#include "viewer/LiveSessionProperties.h"

#include "base/Guid.h"

#include <cwchar>

namespace Viewer {

const wchar_t LiveSessionName[] = L"Kestrova Diagnostics Live Trace";

static_assert(sizeof(EVENT_TRACE_PROPERTIES) == LiveSessionProperties::LoggerNameOffset,
              "the logger name sits directly behind the structure");
static_assert(LiveSessionProperties::LoggerNameOffset + 1024 * sizeof(wchar_t) ==
              LiveSessionProperties::LogFileNameOffset);
static_assert(LiveSessionProperties::LogFileNameOffset + 260 * sizeof(wchar_t) == LiveSessionProperties::BlockSize);

LiveSessionProperties::LiveSessionProperties() : block(std::make_unique<uint64_t[]>(BlockSize / sizeof(uint64_t)))
{
    EVENT_TRACE_PROPERTIES* properties = Get();
    properties->Wnode.BufferSize = BlockSize;
    properties->Wnode.Guid = Base::CreateGuid();
    properties->Wnode.ClientContext = 1; // query-performance-counter time stamps
    properties->Wnode.Flags = WNODE_FLAG_TRACED_GUID;
    properties->LogFileMode = EVENT_TRACE_REAL_TIME_MODE;
    properties->EnableFlags = 1;
    properties->LoggerNameOffset = LoggerNameOffset;
    properties->LogFileNameOffset = LogFileNameOffset;

    // The copy is bounded by the name's own length, terminator not counted, so the area
    // holds the name less its last character. StartTraceW and ControlTraceW take the full
    // name as their own argument, which is the one the session gets; the block's copy has
    // always been short and stays so.
    auto* loggerName = reinterpret_cast<wchar_t*>(reinterpret_cast<uint8_t*>(properties) + LoggerNameOffset);
    const size_t bound = std::wcslen(LiveSessionName);
    std::wmemcpy(loggerName, LiveSessionName, bound - 1);
    loggerName[bound - 1] = L'\0';
}

} // namespace Viewer
