#include "trace/DebugTrace.h"

#include "base/TextConversion.h"
#include "trace/EtwWriter.h"
#include "trace/ProcessName.h"

#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <iostream>

namespace Trace {

int32_t DebugConsoleLevel = 0;
uint32_t DebugConsoleEnabled = 0;

namespace {

struct Member {
    int32_t consoleThreshold;
    const wchar_t* consoleFormat;
    EventBit event;
};

// The tags line up in a column of seven characters before " : ".
constexpr Member enterMember{5, L"  ENTER : %s\n", DebugEnterEvent};
constexpr Member exitMember{6, L"   EXIT : %s\n", DebugExitEvent};
constexpr Member verboseMember{4, L"VERBOSE : %s\n", DebugVerboseEvent};
constexpr Member infoMember{3, L"   INFO : %s\n", DebugInfoEvent};
constexpr Member warningMember{2, L"WARNING : %s\n", DebugWarningEvent};
constexpr Member errorMember{1, L"  ERROR : %s\n", DebugErrorEvent};

// Formats into a fixed buffer, cutting and terminating whatever the length.
void FormatBounded(wchar_t (&buffer)[DebugTraceBufferLength], const wchar_t* format, va_list arguments)
{
    buffer[0] = L'\0';
    if (format != nullptr) {
        // The Microsoft runtime's formatter, so that %s means a wide string with both
        // compilers; it leaves the buffer unterminated when the text fills it.
        _vsnwprintf(buffer, DebugTraceBufferLength - 1, format, arguments);
    }
    buffer[DebugTraceBufferLength - 1] = L'\0';
}

void FormatBounded(wchar_t (&buffer)[DebugTraceBufferLength], const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    FormatBounded(buffer, format, arguments);
    va_end(arguments);
}

void Write(const Member& member, const wchar_t* format, va_list arguments)
{
    const std::wstring& processName = ProcessNameWide();
    const bool consoleWanted = DebugConsoleLevel >= member.consoleThreshold && DebugConsoleEnabled != 0;
    const bool eventWanted = IsEventEnabled(member.event);
    if (!consoleWanted && !eventWanted) {
        return;
    }

    wchar_t text[DebugTraceBufferLength];
    FormatBounded(text, format, arguments);
    if (eventWanted) {
        WriteDebugTraceEvent(member.event, processName, text);
    }
    if (consoleWanted) {
        wchar_t line[DebugTraceBufferLength];
        FormatBounded(line, member.consoleFormat, text);
        std::cout << Base::WideToConsole(line) << std::flush;
    }
}

} // namespace

#define KSDIAG_DEBUG_TRACE_MEMBER(Name, member)                                                                        \
    void Name(const wchar_t* format, ...)                                                                              \
    {                                                                                                                  \
        va_list arguments;                                                                                             \
        va_start(arguments, format);                                                                                   \
        Write(member, format, arguments);                                                                              \
        va_end(arguments);                                                                                             \
    }

KSDIAG_DEBUG_TRACE_MEMBER(TraceEnter, enterMember)
KSDIAG_DEBUG_TRACE_MEMBER(TraceExit, exitMember)
KSDIAG_DEBUG_TRACE_MEMBER(TraceVerbose, verboseMember)
KSDIAG_DEBUG_TRACE_MEMBER(TraceInfo, infoMember)
KSDIAG_DEBUG_TRACE_MEMBER(TraceWarning, warningMember)
KSDIAG_DEBUG_TRACE_MEMBER(TraceError, errorMember)

#undef KSDIAG_DEBUG_TRACE_MEMBER

} // namespace Trace
