#include "session/ControllerSession.h"

#include "platform/EtwApi.h"

namespace Session {

ControllerSession::ControllerSession(TRACEHANDLE handle, SessionProperties& properties) noexcept
    : handle(handle), properties(properties)
{
}

ControllerSession::~ControllerSession()
{
    if (handle != 0) {
        Stop();
    }
}

ULONG ControllerSession::Stop() noexcept
{
    const TRACEHANDLE stopped = handle;
    handle = 0;
    return Platform::Etw().ControlTraceW(stopped, nullptr, properties.Get(), EVENT_TRACE_CONTROL_STOP);
}

} // namespace Session
