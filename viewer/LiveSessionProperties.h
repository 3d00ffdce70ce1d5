#pragma once

// LIVE's own real-time session: its name and the properties block it is started and
// stopped with.

#include "session/SessionProperties.h"

namespace Viewer {

// "Kestrova Diagnostics Live Trace"
extern const wchar_t LiveSessionName[];

// A fresh real-time block with a GUID of its own (a new one for every block). Its
// logger-name area holds the session name less its last character; StartTraceW and
// ControlTraceW take the full name as their own argument, which is the one the session
// gets. Throws Base::ExceptionWin32 when no GUID can be created.
Session::SessionProperties BuildLiveSessionProperties();

} // namespace Viewer
