#include "tests/emulator/ConsumerEmulator.h"

#include "platform/EtwApi.h"

#include <cwctype>

namespace Testing {

namespace {

ConsumerEmulator* active = nullptr;

// EventTraceGuid {68FDD900-4A3E-11D1-84F4-0000F80464E3}: the log file's header record.
constexpr GUID eventTraceGuid = {0x68FDD900, 0x4A3E, 0x11D1, {0x84, 0xF4, 0x00, 0x00, 0xF8, 0x04, 0x64, 0xE3}};

const EVENT_RECORD& HeaderRecord()
{
    static const RecordedEvent header = EventRecordBuilder(eventTraceGuid, 0, 2, 0).Build();
    return header.record;
}

} // namespace

ConsumerEmulator::ConsumerEmulator()
    : sole(active, *this, "a ConsumerEmulator"), openTrace(Platform::Etw().OpenTraceW, OpenTraceThunk),
      processTrace(Platform::Etw().ProcessTrace, ProcessTraceThunk),
      closeTrace(Platform::Etw().CloseTrace, CloseTraceThunk)
{
}

ConsumerEmulator::~ConsumerEmulator() = default;

std::wstring ConsumerEmulator::Key(const std::wstring& path)
{
    wchar_t full[MAX_PATH * 4] = {};
    const DWORD length = ::GetFullPathNameW(path.c_str(), MAX_PATH * 4, full, nullptr);
    std::wstring key = length > 0 && length < MAX_PATH * 4 ? std::wstring(full, length) : path;
    for (wchar_t& character : key) {
        character = static_cast<wchar_t>(std::towlower(character));
    }
    return key;
}

void ConsumerEmulator::AddLogFile(const std::wstring& path, std::vector<RecordedEvent> events)
{
    logFiles[Key(path)] = std::move(events);
}

TRACEHANDLE ConsumerEmulator::Open(EVENT_TRACE_LOGFILEW& logFile)
{
    OpenCall call;
    call.logFileName = logFile.LogFileName != nullptr ? logFile.LogFileName : L"";
    call.loggerName = logFile.LoggerName != nullptr ? logFile.LoggerName : L"";
    call.processTraceMode = logFile.ProcessTraceMode;
    call.context = logFile.Context;
    call.hasEventRecordCallback = logFile.EventRecordCallback != nullptr;

    ULONG error = openFailure;
    Consumer consumer;
    consumer.callback = logFile.EventRecordCallback;
    consumer.context = logFile.Context;
    if (error == 0 && (logFile.ProcessTraceMode & PROCESS_TRACE_MODE_REAL_TIME) != 0) {
        consumer.sessionName = call.loggerName;
        if (!realTime.isRunning || !realTime.isRunning(consumer.sessionName)) {
            error = ERROR_WMI_INSTANCE_NOT_FOUND;
        }
    } else if (error == 0) {
        consumer.logFileKey = Key(call.logFileName);
        if (logFiles.count(consumer.logFileKey) == 0) {
            error = ::GetFileAttributesW(call.logFileName.c_str()) == INVALID_FILE_ATTRIBUTES ? ::GetLastError()
                                                                                              : ERROR_BAD_FORMAT;
        }
    }
    if (error != 0) {
        call.result = INVALID_PROCESSTRACE_HANDLE;
        opens.push_back(call);
        ::SetLastError(error);
        return INVALID_PROCESSTRACE_HANDLE;
    }
    const TRACEHANDLE handle = nextHandle++;
    consumers[handle] = consumer;
    call.result = handle;
    opens.push_back(call);
    return handle;
}

bool ConsumerEmulator::Deliver(TRACEHANDLE handle, const Consumer& consumer, const EVENT_RECORD& record,
                               size_t position)
{
    if (consumer.callback != nullptr) {
        EVENT_RECORD copy = record;
        copy.UserContext = consumer.context;
        consumer.callback(&copy);
    }
    if (afterRecord) {
        afterRecord(position);
    }
    // Closed meanwhile: the delivery ends here.
    return consumers.count(handle) != 0;
}

ULONG ConsumerEmulator::Process(TRACEHANDLE handle)
{
    ++processCalls;
    if (processFailure != 0) {
        return processFailure;
    }
    const auto found = consumers.find(handle);
    if (found == consumers.end()) {
        return ERROR_INVALID_HANDLE;
    }
    const Consumer consumer = found->second;
    processing = handle;
    const ULONG status = Deliver(handle, consumer);
    processing = 0;
    return status;
}

ULONG ConsumerEmulator::Deliver(TRACEHANDLE handle, const Consumer& consumer)
{
    if (consumer.logFileKey.empty()) {
        size_t position = 0;
        while (const EVENT_RECORD* record = realTime.next ? realTime.next(consumer.sessionName) : nullptr) {
            if (!Deliver(handle, consumer, *record, position++)) {
                break;
            }
        }
        return ERROR_SUCCESS;
    }
    if (!Deliver(handle, consumer, HeaderRecord(), 0)) {
        return ERROR_SUCCESS;
    }
    const std::vector<RecordedEvent>& events = logFiles[consumer.logFileKey];
    for (size_t index = 0; index < events.size(); ++index) {
        if (!Deliver(handle, consumer, events[index].record, index + 1)) {
            break;
        }
    }
    return ERROR_SUCCESS;
}

ULONG ConsumerEmulator::Close(TRACEHANDLE handle)
{
    closes.push_back(handle);
    if (closeFailure != 0) {
        return closeFailure;
    }
    const auto found = consumers.find(handle);
    if (found == consumers.end()) {
        return ERROR_INVALID_HANDLE;
    }
    const bool realTimeInProgress = handle == processing && found->second.logFileKey.empty();
    consumers.erase(found);
    // Windows' answer when a real-time consumer is closed while ProcessTrace runs on it:
    // success, with the processing ending once the buffered events are delivered.
    return realTimeInProgress ? ERROR_CTX_CLOSE_PENDING : ERROR_SUCCESS;
}

TRACEHANDLE WINAPI ConsumerEmulator::OpenTraceThunk(PEVENT_TRACE_LOGFILEW logFile)
{
    if (logFile == nullptr) {
        ::SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_PROCESSTRACE_HANDLE;
    }
    return active->Open(*logFile);
}

ULONG WINAPI ConsumerEmulator::ProcessTraceThunk(PTRACEHANDLE handles, ULONG count, LPFILETIME, LPFILETIME)
{
    if (handles == nullptr || count == 0) {
        return ERROR_INVALID_PARAMETER;
    }
    for (ULONG index = 0; index < count; ++index) {
        if (const ULONG status = active->Process(handles[index]); status != ERROR_SUCCESS) {
            return status;
        }
    }
    return ERROR_SUCCESS;
}

ULONG WINAPI ConsumerEmulator::CloseTraceThunk(TRACEHANDLE handle)
{
    return active->Close(handle);
}

} // namespace Testing
