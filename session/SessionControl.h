#pragma once

// The log session commands. Each returns a Win32 error code, 0 for success, writes its
// report as wide text to standard output, and traces its progress through the
// DebugTrace family, beginning with an ENTER line and ending with an EXIT line that
// carries the result.

#include "session/StartOptions.h"

#include <cstdint>
#include <string>

namespace Session {

// Starts "Kestrova Diagnostics Log" with its providers and the auto-logger, then prints
// the status; 183 when a session of that name already runs (its status is printed and
// nothing changes); 206 (ERROR_FILENAME_EXCED_RANGE), before any platform call, for a
// file path longer than the 259 characters the session can hold; otherwise the error of
// StartTraceW or of enabling the product's provider (the new session is then stopped).
uint32_t StartLog(const StartOptions& options);

// Prints the status, removes the auto-logger and stops the session; the error of the
// query (no session) or of the stop.
uint32_t StopLog();

// Prints the session's details and whether reboot logging is in force; 0 also when no
// session runs, a registry error when the auto-logger keys cannot be read, 1287 when
// the auto-logger reports a failure.
uint32_t ReportStatus();

// The same report as one JSON object on one line (session/StatusReportJson.cpp); the same
// result. Used by STATUS /format:json only.
uint32_t ReportStatusJson();

// %PROGRAMDATA%\Kestrova\Diagnostics\Logs\Kestrova-Log-%COMPUTERNAME%.etl, expanded into
// 260 UTF-16 units and taken up to the first zero: an expansion that needs more room is
// whatever text the system left in those units (never more than 259), not the whole.
std::wstring DefaultLogFilePath();

} // namespace Session
