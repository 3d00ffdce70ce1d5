#pragma once

// The printf-style trace family of the command code: wide formats whose values are
// bracketed ("Failed to start trace [%s] with error [%u]"). Microsoft's conventions
// apply: %s is a wide string, %S a narrow one.
//
// Lines are echoed to standard output when DebugConsoleEnabled is set and
// DebugConsoleLevel reaches the member's threshold (ERROR 1, WARNING 2, INFO 3,
// VERBOSE 4, ENTER 5, EXIT 6), and written as ETW events 2001-2006 when a session
// listens. TraceSettings and the trace file play no part.

#include <cstdint>

namespace Trace {

// Console switches; the front end sets 7 and 1 for /debug.
extern int32_t DebugConsoleLevel;
extern uint32_t DebugConsoleEnabled;

// Messages are cut to 511 characters, and so are the console lines built from them.
constexpr int DebugTraceBufferLength = 512;

void TraceEnter(const wchar_t* format, ...);
void TraceExit(const wchar_t* format, ...);
void TraceVerbose(const wchar_t* format, ...);
void TraceInfo(const wchar_t* format, ...);
void TraceWarning(const wchar_t* format, ...);
void TraceError(const wchar_t* format, ...);

} // namespace Trace
