#include "session/NamedSessionControl.h"

#include "platform/EtwApi.h"
#include "session/SessionIdentity.h"

namespace Session {

namespace {

ULONG ControlByName(SessionProperties& properties, ULONG controlCode)
{
    return Platform::Etw().ControlTraceW(0, SessionName, properties.Get(), controlCode);
}

} // namespace

ULONG QuerySession(SessionProperties& properties)
{
    return ControlByName(properties, EVENT_TRACE_CONTROL_QUERY);
}

ULONG StopSessionByName(SessionProperties& properties)
{
    return ControlByName(properties, EVENT_TRACE_CONTROL_STOP);
}

} // namespace Session
