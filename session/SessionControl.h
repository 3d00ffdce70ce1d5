#pragma once

// The log session commands. Each returns a Win32 error code, 0 for success, and writes
// its report as wide text to standard output.

#include "session/StartOptions.h"

#include <cstdint>
#include <string>

namespace Session {

// Starts "Kestrova Diagnostics Log" with its providers and the auto-logger; 183 when a
// session of that name already runs.
uint32_t StartLog(const StartOptions& options);

// Prints the status, removes the auto-logger and stops the session.
uint32_t StopLog();

// Prints the session's details and whether reboot logging is in force; 0 also when no
// session runs.
uint32_t ReportStatus();

// %PROGRAMDATA%\Kestrova\Diagnostics\Logs\Kestrova-Log-%COMPUTERNAME%.etl, expanded.
std::wstring DefaultLogFilePath();

} // namespace Session
