#pragma once

// An emulator of the ETW consumer (OpenTraceW, ProcessTrace, CloseTrace) for tests.
//
// While it lives, those three entries of Platform::Etw() are its own. Log files are
// logs that tests build: a path and its records. OpenTraceW of a registered path gives
// a handle; ProcessTrace calls the EventRecordCallback of the EVENT_TRACE_LOGFILEW on the
// calling thread, first with the file's header record (provider EventTraceGuid, as
// Windows delivers it) and then with each record in order, every one with UserContext
// set to the logfile's Context. A path that is not registered fails as Windows does:
// INVALID_PROCESSTRACE_HANDLE with the file system's error (ERROR_FILE_NOT_FOUND for a
// missing file, ERROR_BAD_FORMAT for a file that is not a log).
//
// A handle closed while ProcessTrace runs on it (from the callback, or from a console
// control handler) stops the delivery after the current record, and ProcessTrace
// returns 0; for a real-time consumer that CloseTrace answers ERROR_CTX_CLOSE_PENDING,
// as Windows does. CloseTrace of an unknown or closed handle answers ERROR_INVALID_HANDLE.
//
// One emulator at a time per process; destruction puts the previous entries back and
// leaves the rest of the table alone.

#include "tests/emulator/EventRecordBuilder.h"
#include "tests/support/ScopedEntry.h"
#include "tests/support/SoleInstance.h"

#include <windows.h>

#include <evntcons.h>
#include <evntrace.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Testing {

class ConsumerEmulator {
public:
    // Throws std::logic_error if another one is installed.
    ConsumerEmulator();
    ConsumerEmulator(const ConsumerEmulator&) = delete;
    ConsumerEmulator& operator=(const ConsumerEmulator&) = delete;
    ~ConsumerEmulator();

    // Registers (or replaces) the log at the path, compared by full path and without case.
    void AddLogFile(const std::wstring& path, std::vector<RecordedEvent> events);

    // A real-time source: OpenTraceW by LoggerName with PROCESS_TRACE_MODE_REAL_TIME
    // asks it whether a session of that name runs (false fails the open with
    // ERROR_WMI_INSTANCE_NOT_FOUND); ProcessTrace then takes records from next() until
    // it answers null (the session has stopped) or the handle is closed.
    struct RealTimeSource {
        std::function<bool(const std::wstring& sessionName)> isRunning;
        std::function<const EVENT_RECORD*(const std::wstring& sessionName)> next;
    };
    void SetRealTimeSource(RealTimeSource source) { realTime = std::move(source); }

    // Makes every later call fail with the code (0 restores success): OpenTraceW with
    // INVALID_PROCESSTRACE_HANDLE and the code as last error, ProcessTrace by returning
    // it without delivering anything, CloseTrace by returning it (the handle stays open).
    void FailOpenTrace(ULONG code) noexcept { openFailure = code; }
    void FailProcessTrace(ULONG code) noexcept { processFailure = code; }
    void FailCloseTrace(ULONG code) noexcept { closeFailure = code; }

    // Called after each delivered record with its position (0 is the header record for
    // a file), on the ProcessTrace thread.
    void AfterEachRecord(std::function<void(size_t)> hook) { afterRecord = std::move(hook); }

    // What the product asked for.
    struct OpenCall {
        std::wstring logFileName;
        std::wstring loggerName;
        ULONG processTraceMode = 0;
        PVOID context = nullptr;
        bool hasEventRecordCallback = false;
        TRACEHANDLE result = 0;
    };
    const std::vector<OpenCall>& Opens() const noexcept { return opens; }
    size_t ProcessCalls() const noexcept { return processCalls; }
    const std::vector<TRACEHANDLE>& Closes() const noexcept { return closes; }
    // Handles opened and not closed.
    size_t OpenHandles() const noexcept { return consumers.size(); }

private:
    static TRACEHANDLE WINAPI OpenTraceThunk(PEVENT_TRACE_LOGFILEW logFile);
    static ULONG WINAPI ProcessTraceThunk(PTRACEHANDLE handles, ULONG count, LPFILETIME start, LPFILETIME end);
    static ULONG WINAPI CloseTraceThunk(TRACEHANDLE handle);

    struct Consumer {
        std::wstring logFileKey; // empty for real time
        std::wstring sessionName;
        PEVENT_RECORD_CALLBACK callback = nullptr;
        PVOID context = nullptr;
    };

    TRACEHANDLE Open(EVENT_TRACE_LOGFILEW& logFile);
    ULONG Process(TRACEHANDLE handle);
    ULONG Close(TRACEHANDLE handle);
    ULONG Deliver(TRACEHANDLE handle, const Consumer& consumer);
    bool Deliver(TRACEHANDLE handle, const Consumer& consumer, const EVENT_RECORD& record, size_t position);
    static std::wstring Key(const std::wstring& path);

    std::map<std::wstring, std::vector<RecordedEvent>> logFiles;
    std::map<TRACEHANDLE, Consumer> consumers;
    RealTimeSource realTime;
    std::function<void(size_t)> afterRecord;
    std::vector<OpenCall> opens;
    std::vector<TRACEHANDLE> closes;
    size_t processCalls = 0;
    TRACEHANDLE processing = 0;
    ULONG openFailure = 0;
    ULONG processFailure = 0;
    ULONG closeFailure = 0;
    TRACEHANDLE nextHandle = 0x5452430000000001ull; // recognisable in a debugger

    // Last, so that the calls are taken only once the state above exists and are
    // given back before it goes.
    SoleInstance<ConsumerEmulator> sole;
    ScopedEntry<decltype(&::OpenTraceW)> openTrace;
    ScopedEntry<decltype(&::ProcessTrace)> processTrace;
    ScopedEntry<decltype(&::CloseTrace)> closeTrace;
};

} // namespace Testing
