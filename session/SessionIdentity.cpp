#include "session/SessionIdentity.h"

#include <evntcons.h>
#include <evntrace.h>

namespace Session {

ULONGLONG KernelProcessKeywords(bool processes, bool threads, bool images)
{
    ULONGLONG keywords = 0;
    if (processes) {
        keywords |= KernelProcessProcessKeyword;
    }
    if (threads) {
        keywords |= KernelProcessThreadKeyword;
    }
    if (images) {
        keywords |= KernelProcessImageKeyword;
    }
    return keywords;
}

ULONG ProductEnableProperty(bool callstacks)
{
    return callstacks ? EVENT_ENABLE_PROPERTY_TS_ID | EVENT_ENABLE_PROPERTY_STACK_TRACE : EVENT_ENABLE_PROPERTY_TS_ID;
}

std::wstring AutologgerSessionPath(const std::wstring& loggerName)
{
    return std::wstring(AutologgerParentPath) + L"\\" + loggerName;
}

} // namespace Session
