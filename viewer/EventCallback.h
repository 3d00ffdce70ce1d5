#pragma once

// The consumer's event callback for VIEW and LIVE: decides from provider, id, level and
// the ViewOptions in the record's user context whether an event is shown, and writes it
// as one coloured block on std::wcout: time stamp, source and level name in a colour
// chosen by provider and level, then the event's text in dark grey.

#include <windows.h>

#include <evntcons.h>

namespace Viewer {

// ETW calls it on the thread running ProcessTrace; UserContext is the ViewOptions.
// Nothing escapes into the platform: a failure while rendering is traced and the record
// is left as far as it got.
VOID WINAPI OnEventRecord(PEVENT_RECORD record);

} // namespace Viewer
