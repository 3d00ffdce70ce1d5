// ReportStatus: the running session's details as the system reports them, and whether
// reboot logging is in force.

#include "session/LogFilePath.h"
#include "session/NamedSessionControl.h"
#include "session/OperationTrace.h"
#include "session/RebootLoggingStatus.h"
#include "session/SessionControl.h"
#include "session/SessionProperties.h"
#include "trace/DebugTrace.h"

#include <iostream>
#include <string>

namespace Session {

namespace {

// Numbers are written through to_wstring, whatever base the stream was left in.
void PrintLine(const wchar_t* label, const std::wstring& value)
{
    std::wcout << label << value << L"\n";
}

void PrintLine(const wchar_t* label, ULONG value)
{
    PrintLine(label, std::to_wstring(value));
}

std::wstring FileModeText(ULONG logFileMode)
{
    if ((logFileMode & EVENT_TRACE_FILE_MODE_CIRCULAR) != 0) {
        return L"Circular";
    }
    if ((logFileMode & EVENT_TRACE_FILE_MODE_SEQUENTIAL) != 0) {
        return L"Sequential";
    }
    return std::to_wstring(logFileMode);
}

std::wstring MaximumSizeText(ULONG maximumFileSize)
{
    return maximumFileSize != 0 ? std::to_wstring(maximumFileSize) : L"Unlimited";
}

void PrintDetails(const SessionProperties& running)
{
    const EVENT_TRACE_PROPERTIES& properties = *running.Get();
    const LogFilePathParts path = SplitLogFilePath(running.LogFileName());
    std::wcout << L"Details:\n";
    PrintLine(L" Session           - ", running.LoggerName());
    PrintLine(L" File Name         - ", path.fileName);
    PrintLine(L" Directory Name    - ", path.directory);
    PrintLine(L" File Mode         - ", FileModeText(properties.LogFileMode));
    PrintLine(L" Maximum Size (MB) - ", MaximumSizeText(properties.MaximumFileSize));
    PrintLine(L" Buffer Size (KB)  - ", properties.BufferSize);
    PrintLine(L" Buffers Written   - ", properties.BuffersWritten);
    PrintLine(L" Buffers Lost      - ", properties.LogBuffersLost);
    PrintLine(L" Events Lost       - ", properties.EventsLost);
}

} // namespace

uint32_t ReportStatus()
{
    OperationTrace trace(L"ReportStatus");
    SessionProperties running = BuildQueryProperties();
    const ULONG status = QuerySession(running);
    if (status != ERROR_SUCCESS) {
        Trace::TraceError(L"Failed to re-query trace with error [%lu]", status);
        std::wcout << L"The log is not currently running\n";
        return trace.Return(ERROR_SUCCESS);
    }
    PrintDetails(running);
    const RebootLoggingStatus rebootLogging = ReadRebootLoggingStatus(running.LoggerName());
    PrintLine(L" Reboot Logging    - ", rebootLogging.text);
    return trace.Return(rebootLogging.result);
}

} // namespace Session
