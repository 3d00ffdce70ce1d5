// StopLog: the last status report, the auto-logger definition removed, the session
// stopped.

#include "platform/RegistryApi.h"
#include "session/NamedSessionControl.h"
#include "session/OperationTrace.h"
#include "session/SessionControl.h"
#include "session/SessionIdentity.h"
#include "session/SessionProperties.h"
#include "trace/DebugTrace.h"

#include <iostream>

namespace Session {

namespace {

// Straight through the platform, not the registry wrapper: whatever the answer (gone
// already, access denied), STOP goes on to stop the session, so the result is only
// traced.
void DeleteAutologgerDefinition()
{
    const LSTATUS result =
        Platform::Registry().RegDeleteTreeW(HKEY_LOCAL_MACHINE, AutologgerSessionPath(SessionName).c_str());
    Trace::TraceInfo(L"RegDeleteTree for [%s] returned [%lu]", SessionName, static_cast<unsigned long>(result));
}

} // namespace

uint32_t StopLog()
{
    OperationTrace trace(L"StopLog");
    SessionProperties properties = BuildQueryProperties();
    ULONG status = QuerySession(properties);
    if (status != ERROR_SUCCESS) {
        Trace::TraceError(L"Failed to re-query trace with error [%lu]", status);
        std::wcout << L"The log is not currently running\n";
        return trace.Return(status);
    }
    ReportStatus();
    std::wcout << L"\n";

    // The definition goes first, so a stop that then fails leaves a session that will
    // not come back at the next boot; that order is deliberate.
    DeleteAutologgerDefinition();

    status = StopSessionByName(properties);
    if (status != ERROR_SUCCESS) {
        Trace::TraceError(L"ControlTrace failed to stop the trace with error [%lu]", status);
        std::wcout << L"An error occurred whilst stopping the log.\n";
    }
    return trace.Return(status);
}

} // namespace Session
