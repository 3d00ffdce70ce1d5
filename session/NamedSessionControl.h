#pragma once

// Query and stop of the log session by its name, which is how every command finds the
// session: the handle StartTraceW gave is gone with the process that started it.

#include "session/SessionProperties.h"

#include <windows.h>

namespace Session {

// ControlTraceW(no handle, SessionName, block, EVENT_TRACE_CONTROL_QUERY). On success
// the block holds the running session's settings, counters and names; after a failure
// its content is whatever the platform left and must not be read.
ULONG QuerySession(SessionProperties& properties);

// ControlTraceW(no handle, SessionName, block, EVENT_TRACE_CONTROL_STOP); the block
// receives the final settings and counters.
ULONG StopSessionByName(SessionProperties& properties);

} // namespace Session
