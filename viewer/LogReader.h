#pragma once

// VIEW and LIVE: a consumer on a recorded .etl file, or on a real-time session of the
// viewer's own, pumping every event into the event callback (OnEventRecord) on the
// calling thread.

#include "viewer/ViewOptions.h"

#include <windows.h>

#include <cstdint>
#include <string>

namespace Viewer {

// Prints every matching event of the file; a Win32 error code, 0 for success. A file
// that cannot be opened or processed is also reported on the console. The options are
// the events' context for the whole call.
uint32_t ViewLogFile(const std::wstring& path, ViewOptions& options);

// Prints events of the product's provider as they arrive, until Ctrl+C or until the
// session is stopped from outside. Failures are traced only. The options must outlive
// the call: the console control handler may still run while it returns.
void RunLiveView(ViewOptions& options);

// LIVE's console control handler: closes the consumer and stops the session, then
// answers FALSE for every control type, so that the system's default handling still
// ends the process.
BOOL WINAPI LiveConsoleCtrlHandler(DWORD controlType);

} // namespace Viewer
