// StartLog: the file session with its providers, its auto-logger, and its first status
// report.

#include "platform/EtwApi.h"
#include "session/ControllerSession.h"
#include "session/LogFilePath.h"
#include "session/NamedSessionControl.h"
#include "session/OperationTrace.h"
#include "session/ProviderEnable.h"
#include "session/RebootLogging.h"
#include "session/SessionControl.h"
#include "session/SessionIdentity.h"
#include "session/SessionProperties.h"
#include "trace/DebugTrace.h"
#include "trace/EtwWriter.h"

#include <windows.h>

#include <evntcons.h>
#include <shlobj.h>

#include <iostream>

namespace Session {

namespace {

// A path the block cannot hold would start a log under a cut name; refused before the
// folder is created or anything is started or written.
bool FitsSession(const std::wstring& file)
{
    if (file.size() <= SessionProperties::MaxLogFileNameLength) {
        return true;
    }
    Trace::TraceError(L"Log file path of [%u] characters exceeds the [%u] a session can hold",
                      static_cast<unsigned>(file.size()),
                      static_cast<unsigned>(SessionProperties::MaxLogFileNameLength));
    return false;
}

uint32_t ReportRunningSession(const SessionProperties& running)
{
    Trace::TraceInfo(L"ControlTrace queried an existing logging session at [%s]", running.LogFileName().c_str());
    std::wcout << L"A log is already running.\n\n";
    ReportStatus();
    std::wcout << L"\n";
    return ERROR_ALREADY_EXISTS;
}

// The system would not create the folder of a new log file. Failing here is no reason
// to give up: the folder may exist already (that error included) or the start may
// still succeed.
void CreateLogDirectory(const std::wstring& file)
{
    const std::wstring directory = SplitLogFilePath(file).directory;
    const int result = ::SHCreateDirectoryExW(nullptr, directory.c_str(), nullptr);
    if (result != ERROR_SUCCESS) {
        Trace::TraceWarning(L"Attempt to create directory [%s] failed with error [%lu]", directory.c_str(),
                            static_cast<unsigned long>(result));
    }
}

// The providers beside the product's own. None of them decides the command's result:
// the session records the product's events whatever they answer.
void AddSecondaryProviders(TRACEHANDLE session, const StartOptions& options)
{
    ULONG status = CaptureProviderState(session, Trace::ProviderGuid, options.level);
    if (status != ERROR_SUCCESS) {
        Trace::TraceWarning(L"Failed to capture state of Kestrova provider with error [%lu]", status);
    }
    status = EnableProvider(session, WinlogonProviderGuid, SystemProviderLevel, WinlogonSessionKeyword,
                            EVENT_ENABLE_PROPERTY_TS_ID);
    if (status != ERROR_SUCCESS) {
        Trace::TraceError(L"Failed to add the Microsoft-Windows-Winlogon trace provider with error [%lu]", status);
    }
    const ULONGLONG kernelKeywords = KernelProcessKeywords(options.processes, options.threads, options.images);
    if (kernelKeywords == 0) {
        return;
    }
    status = EnableProvider(session, KernelProcessProviderGuid, SystemProviderLevel, kernelKeywords,
                            EVENT_ENABLE_PROPERTY_TS_ID);
    if (status != ERROR_SUCCESS) {
        Trace::TraceError(L"Failed to add the Microsoft-Windows-Kernel-Process trace provider with error [%lu]",
                          status);
    }
}

// Starts the session and enables the product's provider; 0 leaves the session running.
uint32_t StartSession(const StartOptions& options)
{
    SessionProperties properties =
        BuildSessionProperties(SessionName, options.file, options.maxSizeMb, options.circular, options.bufferKb);
    TRACEHANDLE handle = 0;
    ULONG status = Platform::Etw().StartTraceW(&handle, SessionName, properties.Get());
    if (status != ERROR_SUCCESS) {
        Trace::TraceError(L"Failed to start trace [%s] with error [%u]", SessionName, status);
        std::wcout << L"The log failed to start.\n";
        return status;
    }

    ControllerSession session(handle, properties);
    status = EnableProvider(handle, Trace::ProviderGuid, options.level, 0, ProductEnableProperty(options.callstacks));
    if (status != ERROR_SUCCESS) {
        Trace::TraceError(L"Failed to enable trace with error [%lu]", status);
        std::wcout << L"An error occurred whilst enabling the trace provider.\n";
        if (session.Stop() != ERROR_SUCCESS) {
            // The enable error, not the stop's, has always been printed here; kept so.
            Trace::TraceError(L"Failed to stop trace with error [%lu]", status);
        }
        return status;
    }
    session.Keep();

    AddSecondaryProviders(handle, options);
    return ERROR_SUCCESS;
}

} // namespace

uint32_t StartLog(const StartOptions& options)
{
    OperationTrace trace(L"StartLog");
    // A running session is reported whatever path this START names.
    SessionProperties running = BuildQueryProperties();
    if (QuerySession(running) == ERROR_SUCCESS) {
        return trace.Return(ReportRunningSession(running));
    }
    if (!FitsSession(options.file)) {
        return trace.Return(ERROR_FILENAME_EXCED_RANGE);
    }

    CreateLogDirectory(options.file);
    const uint32_t status = StartSession(options);
    if (status != ERROR_SUCCESS) {
        return trace.Return(status);
    }
    if (!ConfigureRebootLogging(options.level, options.callstacks, options.processes, options.threads,
                                options.images)) {
        Trace::TraceError(L"Failed to enable auto-logging. Logging will not survive reboots.");
    }
    ReportStatus();
    std::wcout << L"\n";
    return trace.Return(ERROR_SUCCESS);
}

} // namespace Session
