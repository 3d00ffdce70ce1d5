#pragma once

// EnableTraceEx2 as the log session uses it: no time-out (0, the call returns without
// waiting for providers), no match-all keywords, and version-2 parameters that carry
// only the enable properties.

#include <windows.h>

#include <evntrace.h>

namespace Session {

// EVENT_CONTROL_CODE_ENABLE_PROVIDER with ENABLE_TRACE_PARAMETERS {Version 2,
// EnableProperty}; the Win32 result.
ULONG EnableProvider(TRACEHANDLE session, const GUID& provider, UCHAR level, ULONGLONG matchAnyKeyword,
                     ULONG enableProperty);

// EVENT_CONTROL_CODE_CAPTURE_STATE, which asks a provider to log its current state; no
// parameters block.
ULONG CaptureProviderState(TRACEHANDLE session, const GUID& provider, UCHAR level);

} // namespace Session
