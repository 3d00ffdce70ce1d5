#include "platform/BuiltinConsumer.h"

#include "etl/FormatError.h"
#include "etl/LogReader.h"
#include "platform/EtlRecord.h"
#include "platform/Win32FileSource.h"

#include <evntcons.h>

#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace Platform {

namespace {

struct OpenLog {
    std::unique_ptr<Etl::LogReader> reader;
    PEVENT_RECORD_CALLBACK callback = nullptr;
    PVOID context = nullptr;
    bool delivering = false; // ProcessTrace is reading from it
    bool closed = false;     // closed while delivering: released when ProcessTrace returns
};

struct ConsumerState {
    std::mutex lock; // CloseTrace may come from another thread than ProcessTrace
    std::map<TRACEHANDLE, OpenLog> logs;
    TRACEHANDLE lastHandle = 0x4B53455400000000ull; // "KSET", recognisable in a debugger
    std::string failure;
};

ConsumerState& State()
{
    static ConsumerState state;
    return state;
}

LARGE_INTEGER Large(int64_t value)
{
    LARGE_INTEGER result{};
    result.QuadPart = value;
    return result;
}

// What OpenTraceW reports of a log file before any record is read.
void FillLogfileHeader(const Etl::LogHeader& from, TRACE_LOGFILE_HEADER& to)
{
    to = TRACE_LOGFILE_HEADER{};
    to.BufferSize = from.bufferSize;
    to.Version = from.version;
    to.ProviderVersion = from.providerVersion;
    to.NumberOfProcessors = from.processors;
    to.EndTime = Large(from.endTime);
    to.TimerResolution = from.timerResolution;
    to.MaximumFileSize = from.maximumFileSize;
    to.LogFileMode = from.logFileMode;
    to.BuffersWritten = from.buffersWritten;
    to.StartBuffers = from.startBuffers;
    to.PointerSize = from.pointerSize;
    to.EventsLost = from.eventsLost;
    to.CpuSpeedInMHz = from.cpuSpeedMHz;
    to.TimeZone.Bias = from.timeZoneBias;
    to.BootTime = Large(from.bootTime);
    to.PerfFreq = Large(from.perfFreq);
    to.StartTime = Large(from.startTime);
    to.ReservedFlags = from.clockType;
    to.BuffersLost = from.buffersLost;
}

TRACEHANDLE WINAPI Open(PEVENT_TRACE_LOGFILEW logFile)
{
    if (logFile == nullptr || logFile->LogFileName == nullptr) {
        ::SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_PROCESSTRACE_HANDLE;
    }
    if ((logFile->ProcessTraceMode & PROCESS_TRACE_MODE_REAL_TIME) != 0) {
        ::SetLastError(ERROR_NOT_SUPPORTED);
        return INVALID_PROCESSTRACE_HANDLE;
    }
    DWORD error = ERROR_SUCCESS;
    std::unique_ptr<Etl::ByteSource> source = OpenWin32File(logFile->LogFileName, error);
    if (source == nullptr) {
        ::SetLastError(error);
        return INVALID_PROCESSTRACE_HANDLE;
    }
    OpenLog log;
    try {
        log.reader = std::make_unique<Etl::LogReader>(std::move(source));
    } catch (const Etl::FormatError& failure) {
        State().failure = failure.what();
        ::SetLastError(ERROR_BAD_FORMAT);
        return INVALID_PROCESSTRACE_HANDLE;
    }
    FillLogfileHeader(log.reader->Header(), logFile->LogfileHeader);
    log.callback = logFile->EventRecordCallback;
    log.context = logFile->Context;
    ConsumerState& state = State();
    const std::lock_guard guard(state.lock);
    const TRACEHANDLE handle = ++state.lastHandle;
    state.logs.emplace(handle, std::move(log));
    return handle;
}

bool ClosedMeanwhile(TRACEHANDLE handle)
{
    ConsumerState& state = State();
    const std::lock_guard guard(state.lock);
    return state.logs.at(handle).closed;
}

ULONG Deliver(TRACEHANDLE handle, OpenLog& log, const FILETIME* start, const FILETIME* end)
{
    const auto ticks = [](const FILETIME* time) {
        return static_cast<int64_t>(static_cast<uint64_t>(time->dwHighDateTime) << 32 | time->dwLowDateTime);
    };
    Etl::Event event;
    EVENT_RECORD record{};
    std::vector<EVENT_HEADER_EXTENDED_DATA_ITEM> items;
    try {
        while (log.reader->Next(event)) {
            if (end != nullptr && event.timestamp > ticks(end)) {
                break;
            }
            if (start != nullptr && event.timestamp < ticks(start)) {
                continue;
            }
            RecordFromEvent(event, record, items);
            record.UserContext = log.context;
            if (log.callback != nullptr) {
                log.callback(&record);
            }
            if (ClosedMeanwhile(handle)) {
                break;
            }
        }
    } catch (const Etl::FormatError& failure) {
        State().failure = failure.what();
        return ERROR_FILE_CORRUPT;
    }
    return ERROR_SUCCESS;
}

ULONG WINAPI Process(PTRACEHANDLE handles, ULONG count, LPFILETIME start, LPFILETIME end)
{
    if (handles == nullptr || count == 0) {
        return ERROR_INVALID_PARAMETER;
    }
    if (count > 1) {
        return ERROR_NOT_SUPPORTED;
    }
    ConsumerState& state = State();
    OpenLog* log = nullptr;
    {
        const std::lock_guard guard(state.lock);
        const auto found = state.logs.find(handles[0]);
        if (found == state.logs.end() || found->second.closed || found->second.delivering) {
            return ERROR_INVALID_HANDLE;
        }
        log = &found->second;
        log->delivering = true;
        state.failure.clear();
    }
    const ULONG result = Deliver(handles[0], *log, start, end);
    const std::lock_guard guard(state.lock);
    log->delivering = false;
    if (log->closed) {
        state.logs.erase(handles[0]);
    }
    return result;
}

ULONG WINAPI Close(TRACEHANDLE handle)
{
    ConsumerState& state = State();
    const std::lock_guard guard(state.lock);
    const auto found = state.logs.find(handle);
    if (found == state.logs.end() || found->second.closed) {
        return ERROR_INVALID_HANDLE;
    }
    if (found->second.delivering) {
        // The delivery still reads from the reader: ProcessTrace releases the log itself.
        found->second.closed = true;
    } else {
        state.logs.erase(found);
    }
    return ERROR_SUCCESS;
}

} // namespace

const ConsumerApi& BuiltinConsumer()
{
    static const ConsumerApi builtin{Open, Process, Close};
    return builtin;
}

std::string BuiltinReadFailure()
{
    return State().failure;
}

} // namespace Platform
