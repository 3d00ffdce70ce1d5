#include "viewer/LogReader.h"

#include "base/TextConversion.h"
#include "platform/BuiltinConsumer.h"
#include "platform/BuiltinTdh.h"
#include "platform/ConsoleApi.h"
#include "platform/EtwApi.h"
#include "platform/Win32FileSource.h"
#include "trace/DebugTrace.h"
#include "trace/EtwWriter.h"
#include "viewer/DbgHelpBindings.h"
#include "viewer/DecodingTdh.h"
#include "viewer/EventCallback.h"
#include "viewer/LiveSessionProperties.h"
#include "viewer/ManifestExtraction.h"
#include "viewer/ViewerReset.h"

#include <evntcons.h>

#include <iostream>
#include <optional>

namespace Viewer {

namespace {

// The symbol options every resolution wants: names undecorated and matched without
// case, line numbers, the nearest symbol, no error dialogs, absolute and public
// symbols, and modules at address zero.
constexpr DWORD viewerSymbolOptions = SYMOPT_CASE_INSENSITIVE | SYMOPT_UNDNAME | SYMOPT_LOAD_LINES |
                                      SYMOPT_OMAP_FIND_NEAREST | SYMOPT_FAIL_CRITICAL_ERRORS |
                                      SYMOPT_ALLOW_ABSOLUTE_SYMBOLS | SYMOPT_AUTO_PUBLICS | SYMOPT_ALLOW_ZERO_ADDRESS;
static_assert(viewerSymbolOptions == 0x01010A33);

// Written before the control handler is registered, read by it on the system's thread.
TRACEHANDLE liveSession = 0;
TRACEHANDLE liveConsumer = INVALID_PROCESSTRACE_HANDLE;

// A line of VIEW's own on the console: standard output beside the text view; standard
// error beside the JSON view, whose standard output holds JSON only.
void PrintLine(const ViewOptions& options, const std::wstring& line)
{
    if (options.format == FormatJson) {
        std::cerr << Base::WideToConsole(line) << "\n";
    } else {
        std::wcout << line << std::endl;
    }
}

void PrepareSymbolOptions(const ViewOptions& options)
{
    DbgHelp& dbghelp = DbgHelpBindings();
    const bool haveGet = BindDbgHelp(dbghelp.SymGetOptions, "SymGetOptions");
    if (!haveGet) {
        PrintLine(options, L"Failed to locate dbghelp!SymGetOptions");
    }
    const bool haveSet = BindDbgHelp(dbghelp.SymSetOptions, "SymSetOptions");
    if (!haveSet) {
        PrintLine(options, L"Failed to locate dbghelp!SymSetOptions");
    }
    if (haveGet && haveSet) {
        const DWORD debug = options.symbols != 0 ? SYMOPT_DEBUG : 0;
        dbghelp.SymSetOptions(dbghelp.SymGetOptions() | viewerSymbolOptions | debug);
    }
}

void PrintOpenFailure(const ViewOptions& options, const std::wstring& path, ULONG error)
{
    PrintLine(options, std::wstring(error == ERROR_FILE_NOT_FOUND ? L"Unable to find file "
                                                                  : L"Unexpected error when opening file ") +
                           L'"' + path + L"\".");
}

// A file the system's consumer could not open, but which exists and opens for reading,
// is one the built-in reader may still read.
bool OpensForReading(const std::wstring& path)
{
    DWORD error = ERROR_SUCCESS;
    return Platform::OpenWin32File(path.c_str(), error) != nullptr;
}

// The built-in reader's account of bytes that contradict the format (buffer, file offset,
// offset in the buffer), on a line of its own before VIEW's usual failure line.
void PrintReadFailure(const ViewOptions& options, bool builtin)
{
    if (builtin) {
        if (const std::string failure = Platform::BuiltinReadFailure(); !failure.empty()) {
            PrintLine(options, std::wstring(failure.begin(), failure.end()));
        }
    }
}

EVENT_TRACE_LOGFILEW ConsumerOf(ViewOptions& options, ULONG mode)
{
    EVENT_TRACE_LOGFILEW logFile{};
    logFile.ProcessTraceMode = mode;
    logFile.EventRecordCallback = OnEventRecord;
    logFile.Context = &options;
    return logFile;
}

// Step 4 of LIVE: every event of the product's provider up to the level, with the
// terminal-session id and, on request, the call stack.
ULONG EnableProductProvider(const ViewOptions& options)
{
    ENABLE_TRACE_PARAMETERS parameters{};
    parameters.Version = ENABLE_TRACE_PARAMETERS_VERSION_2;
    parameters.EnableProperty =
        EVENT_ENABLE_PROPERTY_TS_ID | (options.callstack != 0 ? EVENT_ENABLE_PROPERTY_STACK_TRACE : 0);
    return Platform::Etw().EnableTraceEx2(liveSession, &Trace::ProviderGuid, EVENT_CONTROL_CODE_ENABLE_PROVIDER,
                                          static_cast<UCHAR>(options.level), 0, 0, 0, &parameters);
}

void ConsumeLiveSession(ViewOptions& options)
{
    EVENT_TRACE_LOGFILEW logFile = ConsumerOf(options, PROCESS_TRACE_MODE_EVENT_RECORD | PROCESS_TRACE_MODE_REAL_TIME);
    logFile.LoggerName = const_cast<wchar_t*>(LiveSessionName);
    liveConsumer = Platform::Etw().OpenTraceW(&logFile);
    if (liveConsumer == INVALID_PROCESSTRACE_HANDLE) {
        return;
    }
    Platform::Console().SetConsoleCtrlHandler(LiveConsoleCtrlHandler, TRUE);
    Platform::Console().SetConsoleTitleW(L"Kestrova Live Console");
    if (const ULONG status = Platform::Etw().ProcessTrace(&liveConsumer, 1, nullptr, nullptr); status != 0) {
        Trace::TraceError(L"Failed to process trace with error [%u]", status);
    }
    if (const ULONG status = Platform::Etw().CloseTrace(liveConsumer); status != 0) {
        Trace::TraceError(L"Failed to stop the trace with error [%u]", status);
    }
}

// Steps 2 to 7 of LIVE; false when the session could not be started and enabled.
// Throws Base::ExceptionWin32 only when a block cannot get a GUID.
bool RunLiveSession(ViewOptions& options)
{
    // A session of this name left over from an earlier run (one ended by closing the
    // window, say) would make the start fail; whether there was one does not matter.
    Session::SessionProperties leftover = BuildLiveSessionProperties();
    Platform::Etw().ControlTraceW(0, LiveSessionName, leftover.Get(), EVENT_TRACE_CONTROL_STOP);

    Session::SessionProperties started = BuildLiveSessionProperties();
    if (const ULONG status = Platform::Etw().StartTraceW(&liveSession, LiveSessionName, started.Get()); status != 0) {
        Trace::TraceError(L"Failed to start trace with error [%u]", status);
        return false;
    }
    if (const ULONG status = EnableProductProvider(options); status != 0) {
        Trace::TraceError(L"Failed to enable trace with error [%u]", status);
        Platform::Etw().ControlTraceW(0, LiveSessionName, started.Get(), EVENT_TRACE_CONTROL_STOP);
        return false;
    }
    ConsumeLiveSession(options);
    if (const ULONG status =
            Platform::Etw().ControlTraceW(liveSession, nullptr, started.Get(), EVENT_TRACE_CONTROL_STOP);
        status != 0) {
        Trace::TraceError(L"Failed to stop the trace session with error [%u]", status);
    }
    return true;
}

} // namespace

uint32_t ViewLogFile(const std::wstring& path, ViewOptions& options)
{
    Trace::TraceEnter(L"ViewLogFile");
    if (options.callstack != 0) {
        PrepareSymbolOptions(options);
    }
    bool builtin = options.reader == ReaderBuiltin;
    Platform::ConsumerApi consumers = builtin ? Platform::BuiltinConsumer() : Platform::SystemConsumer();
    EVENT_TRACE_LOGFILEW logFile = ConsumerOf(options, PROCESS_TRACE_MODE_EVENT_RECORD);
    logFile.LogFileName = const_cast<wchar_t*>(path.c_str());
    TRACEHANDLE consumer = consumers.OpenTraceW(&logFile);
    ULONG error = consumer == INVALID_PROCESSTRACE_HANDLE ? ::GetLastError() : ERROR_SUCCESS;
    if (consumer == INVALID_PROCESSTRACE_HANDLE && options.reader == ReaderAutomatic && OpensForReading(path)) {
        Trace::TraceInfo(L"OpenTrace with file [%s] failed with error [%lu]; reading it with the built-in reader",
                         path.c_str(), error);
        builtin = true;
        consumers = Platform::BuiltinConsumer();
        logFile = ConsumerOf(options, PROCESS_TRACE_MODE_EVENT_RECORD);
        logFile.LogFileName = const_cast<wchar_t*>(path.c_str());
        consumer = consumers.OpenTraceW(&logFile);
        error = consumer == INVALID_PROCESSTRACE_HANDLE ? ::GetLastError() : ERROR_SUCCESS;
    }
    if (consumer == INVALID_PROCESSTRACE_HANDLE) {
        Trace::TraceError(L"OpenTrace with file [%s] failed with error [%lu]", path.c_str(), error);
        PrintReadFailure(options, builtin);
        PrintOpenFailure(options, path, error);
        return error;
    }
    // Records of the built-in reader are decoded by the built-in decoder, which is also
    // where the manifest must go.
    std::optional<ScopedDecodingTdh> decoding;
    if (builtin) {
        decoding.emplace(Platform::BuiltinTdh());
    }
    // Loaded only now, so that a missing file costs no manifest extraction.
    LoadInstrumentationManifest();
    // Past /to nothing is shown, so the reader may stop there. /from is left to the event
    // callback: image events before it still load the modules of the stacks inside it.
    FILETIME end{};
    end.dwLowDateTime = static_cast<DWORD>(static_cast<uint64_t>(options.to) & 0xFFFFFFFFu);
    end.dwHighDateTime = static_cast<DWORD>(static_cast<uint64_t>(options.to) >> 32);
    FILETIME* endTime = options.to != LatestTime ? &end : nullptr;
    if (const ULONG status = consumers.ProcessTrace(&consumer, 1, nullptr, endTime); status != 0) {
        Trace::TraceError(L"ProcessTrace with file [%s] failed with error [%lu]", path.c_str(), status);
        PrintReadFailure(options, builtin);
        PrintLine(options, L"Unexpected error whilst processing file \"" + path + L"\".");
        // The consumer is left open on this path; the process ends soon after anyway.
        return status;
    }
    consumers.CloseTrace(consumer);
    Trace::TraceExit(L"ViewLogFile");
    return ERROR_SUCCESS;
}

void RunLiveView(ViewOptions& options)
{
    Trace::TraceEnter(L"RunLiveView");
    LoadInstrumentationManifest();
    bool ran = false;
    try {
        ran = RunLiveSession(options);
    } catch (const std::exception& failure) {
        // Only a block without a GUID of its own gets here; LIVE reports nothing on the
        // console, so the trace is where it goes.
        Trace::TraceError(L"Failed to run the live session error [%S]", failure.what());
    }
    if (ran) {
        Trace::TraceExit(L"RunLiveView");
    }
}

BOOL WINAPI LiveConsoleCtrlHandler(DWORD)
{
    Trace::TraceEnter(L"LiveConsoleCtrlHandler");
    if (const ULONG status = Platform::Etw().CloseTrace(liveConsumer); status != 0) {
        Trace::TraceError(L"Attempt to stop the trace failed with error [%u]", status);
    }
    try {
        Session::SessionProperties properties = BuildLiveSessionProperties();
        if (const ULONG status =
                Platform::Etw().ControlTraceW(liveSession, nullptr, properties.Get(), EVENT_TRACE_CONTROL_STOP);
            status != 0) {
            Trace::TraceError(L"Attempt to stop the trace session failed with error [%u]", status);
        }
    } catch (const std::exception& failure) {
        // No GUID for the block; the session is left to the next LIVE, which stops it first.
        Trace::TraceError(L"Attempt to stop the trace session failed with error [%S]", failure.what());
    }
    Trace::TraceExit(L"LiveConsoleCtrlHandler");
    // The system's default handling must still run and end the process.
    return FALSE;
}

void Reset::ForgetLiveHandles()
{
    liveSession = 0;
    liveConsumer = INVALID_PROCESSTRACE_HANDLE;
}

} // namespace Viewer
