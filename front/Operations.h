#pragma once

// The operations the commands end in, and the default log path, reached through
// one table as the platform is. The session and the viewer are whole subsystems with
// ETW behind them; through this table the dispatch, the option records handed over and
// the result lines can be exercised without starting a session or reading a log.
// Operations() is bound to the session and viewer functions; the product never writes
// to it.

#include "session/StartOptions.h"
#include "viewer/ViewOptions.h"

#include <cstdint>
#include <string>

namespace Front {

struct Operations {
    uint32_t (*StartLog)(const Session::StartOptions& options);
    uint32_t (*StopLog)();
    uint32_t (*ReportStatus)();
    std::wstring (*DefaultLogFilePath)();
    uint32_t (*ViewLogFile)(const std::wstring& path, Viewer::ViewOptions& options);
    void (*RunLiveView)(Viewer::ViewOptions& options);
    uint32_t (*ReportStatusJson)(); // STATUS /format:json
};

// The table in force for the process.
Operations& CommandOperations();

// The session and viewer functions, for restoring the table.
const Operations& SystemOperations();

} // namespace Front
