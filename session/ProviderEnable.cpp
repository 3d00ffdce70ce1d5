#include "session/ProviderEnable.h"

#include "platform/EtwApi.h"

namespace Session {

namespace {

// The providers answer asynchronously; the commands never wait for them.
constexpr ULONG noTimeout = 0;

} // namespace

ULONG EnableProvider(TRACEHANDLE session, const GUID& provider, UCHAR level, ULONGLONG matchAnyKeyword,
                     ULONG enableProperty)
{
    ENABLE_TRACE_PARAMETERS parameters{};
    parameters.Version = ENABLE_TRACE_PARAMETERS_VERSION_2;
    parameters.EnableProperty = enableProperty;
    return Platform::Etw().EnableTraceEx2(session, &provider, EVENT_CONTROL_CODE_ENABLE_PROVIDER, level,
                                          matchAnyKeyword, 0, noTimeout, &parameters);
}

ULONG CaptureProviderState(TRACEHANDLE session, const GUID& provider, UCHAR level)
{
    return Platform::Etw().EnableTraceEx2(session, &provider, EVENT_CONTROL_CODE_CAPTURE_STATE, level, 0, 0, noTimeout,
                                          nullptr);
}

} // namespace Session
