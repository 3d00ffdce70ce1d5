#pragma once

// VIEW and LIVE: a consumer on a recorded .etl file, or on a real-time session of the
// viewer's own, pumping every event into the event callback.

#include "viewer/ViewOptions.h"

#include <cstdint>
#include <string>

namespace Viewer {

// Prints every matching event of the file; a Win32 error code, 0 for success.
uint32_t ViewLogFile(const std::wstring& path, ViewOptions& options);

// Prints events of the product's provider as they arrive, until Ctrl+C or until the
// session is stopped from outside. Failures are traced only.
void RunLiveView(ViewOptions& options);

} // namespace Viewer
