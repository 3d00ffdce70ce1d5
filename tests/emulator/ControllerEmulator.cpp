#include "tests/emulator/ControllerEmulator.h"

#include "platform/EtwApi.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cwctype>

namespace Testing {

namespace {

ControllerEmulator* active = nullptr;

constexpr ULONG structureSize = sizeof(EVENT_TRACE_PROPERTIES);

bool SameName(const std::wstring& left, const std::wstring& right)
{
    return left.size() == right.size() && std::equal(left.begin(), left.end(), right.begin(), [](wchar_t a, wchar_t b) {
               return std::towlower(a) == std::towlower(b);
           });
}

bool IsNullGuid(const GUID& guid)
{
    return guid == GUID{};
}

wchar_t* NameAt(EVENT_TRACE_PROPERTIES& properties, ULONG offset)
{
    return reinterpret_cast<wchar_t*>(reinterpret_cast<uint8_t*>(&properties) + offset);
}

// A non-zero offset must point behind the structure and inside the block.
bool OffsetValid(ULONG offset, ULONG size)
{
    return offset == 0 || (offset >= structureSize && offset < size);
}

// A name's area runs from its offset to the other name's offset when that lies behind
// it, else to the end of the block.
bool NameFits(ULONG offset, size_t bytes, ULONG otherOffset, ULONG size)
{
    const ULONG end = otherOffset > offset ? otherOffset : size;
    return offset + bytes <= end;
}

// The name at the offset, if it ends inside the block.
std::optional<std::wstring> TerminatedName(EVENT_TRACE_PROPERTIES& properties, ULONG offset, ULONG size)
{
    const wchar_t* text = NameAt(properties, offset);
    const size_t room = (size - offset) / sizeof(wchar_t);
    const wchar_t* end = std::find(text, text + room, L'\0');
    if (end == text + room) {
        return std::nullopt;
    }
    return std::wstring(text, end);
}

std::vector<uint8_t> CopyBlock(const EVENT_TRACE_PROPERTIES* properties)
{
    if (properties == nullptr || properties->Wnode.BufferSize < structureSize) {
        return {};
    }
    const auto* bytes = reinterpret_cast<const uint8_t*>(properties);
    return std::vector<uint8_t>(bytes, bytes + properties->Wnode.BufferSize);
}

bool ValidControlCode(ULONG controlCode)
{
    return controlCode == EVENT_TRACE_CONTROL_QUERY || controlCode == EVENT_TRACE_CONTROL_STOP ||
           controlCode == EVENT_TRACE_CONTROL_UPDATE || controlCode == EVENT_TRACE_CONTROL_FLUSH;
}

std::string Narrow(const std::wstring& text)
{
    return std::string(text.begin(), text.end());
}

std::string Hex(ULONGLONG value)
{
    char text[32] = {};
    std::snprintf(text, sizeof(text), "0x%llx", value);
    return text;
}

std::string GuidText(const GUID& guid)
{
    char text[64] = {};
    std::snprintf(text, sizeof(text), "{%08lx-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}",
                  static_cast<unsigned long>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1],
                  guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    return text;
}

std::string HandleText(TRACEHANDLE handle)
{
    return handle == 0 ? "handle=0" : "handle=H";
}

std::string ControlCodeText(ULONG controlCode)
{
    switch (controlCode) {
    case EVENT_TRACE_CONTROL_QUERY:
        return "query";
    case EVENT_TRACE_CONTROL_STOP:
        return "stop";
    case EVENT_TRACE_CONTROL_UPDATE:
        return "update";
    case EVENT_TRACE_CONTROL_FLUSH:
        return "flush";
    default:
        return "code " + std::to_string(controlCode);
    }
}

std::string EnableCodeText(ULONG controlCode)
{
    switch (controlCode) {
    case EVENT_CONTROL_CODE_DISABLE_PROVIDER:
        return "disable";
    case EVENT_CONTROL_CODE_ENABLE_PROVIDER:
        return "enable";
    case EVENT_CONTROL_CODE_CAPTURE_STATE:
        return "capture-state";
    default:
        return "code " + std::to_string(controlCode);
    }
}

std::string NameText(const ControllerCall& call)
{
    return call.hasName ? " \"" + Narrow(call.name) + "\"" : "";
}

} // namespace

std::string DescribeCall(const ControllerCall& call)
{
    std::string text;
    switch (call.kind) {
    case ControllerCallKind::StartTrace:
        text = "StartTrace" + NameText(call);
        break;
    case ControllerCallKind::ControlTrace:
        text = "ControlTrace " + ControlCodeText(call.controlCode) + NameText(call) + " " + HandleText(call.handle);
        break;
    case ControllerCallKind::EnableTrace:
        text = "EnableTrace " + GuidText(call.provider) + " " + EnableCodeText(call.controlCode) + " level " +
               std::to_string(call.level) + " any " + Hex(call.matchAnyKeyword) + " all " + Hex(call.matchAllKeyword) +
               " timeout " + std::to_string(call.timeout) +
               (call.parameters ? " property " + std::to_string(call.parameters->EnableProperty)
                                : std::string(" no parameters")) +
               " " + HandleText(call.handle);
        break;
    }
    return text + " -> " + std::to_string(call.result);
}

std::vector<std::string> DescribeCalls(const std::vector<ControllerCall>& calls)
{
    std::vector<std::string> lines;
    for (const ControllerCall& call : calls) {
        lines.push_back(DescribeCall(call));
    }
    return lines;
}

const EnabledProvider* EmulatedSession::Provider(const GUID& provider) const
{
    const auto found = std::find_if(providers.begin(), providers.end(),
                                    [&](const EnabledProvider& enabled) { return enabled.provider == provider; });
    return found == providers.end() ? nullptr : &*found;
}

ControllerEmulator::ControllerEmulator()
    : sole(active, *this, "a ControllerEmulator"), startTrace(Platform::Etw().StartTraceW, StartTraceThunk),
      controlTrace(Platform::Etw().ControlTraceW, ControlTraceThunk),
      enableTrace(Platform::Etw().EnableTraceEx2, EnableTraceThunk)
{
}

ControllerEmulator::~ControllerEmulator() = default;

TRACEHANDLE ControllerEmulator::AddSession(EmulatedSession session)
{
    std::lock_guard<std::recursive_mutex> guard(lock);
    session.handle = NextHandle();
    session.settings.Wnode.HistoricalContext = session.handle;
    sessions.push_back(std::move(session));
    return sessions.back().handle;
}

std::optional<EmulatedSession> ControllerEmulator::FindSession(const std::wstring& name) const
{
    std::lock_guard<std::recursive_mutex> guard(lock);
    const auto found = FindByName(name);
    if (found == sessions.end()) {
        return std::nullopt;
    }
    return *found;
}

bool ControllerEmulator::UpdateSession(const std::wstring& name, const std::function<void(EmulatedSession&)>& change)
{
    std::lock_guard<std::recursive_mutex> guard(lock);
    const auto found = FindByName(name);
    if (found == sessions.end()) {
        return false;
    }
    change(*found);
    return true;
}

std::vector<std::wstring> ControllerEmulator::SessionNames() const
{
    std::lock_guard<std::recursive_mutex> guard(lock);
    std::vector<std::wstring> names;
    for (const EmulatedSession& session : sessions) {
        names.push_back(session.name);
    }
    return names;
}

void ControllerEmulator::FailCall(ControllerCallKind kind, size_t ordinal, ULONG code)
{
    std::lock_guard<std::recursive_mutex> guard(lock);
    failures[{kind, ordinal}] = code;
}

void ControllerEmulator::AfterFill(std::function<void(EVENT_TRACE_PROPERTIES&, ULONG)> edit)
{
    std::lock_guard<std::recursive_mutex> guard(lock);
    afterFill = std::move(edit);
}

std::vector<ControllerCall> ControllerEmulator::Calls() const
{
    std::lock_guard<std::recursive_mutex> guard(lock);
    return calls;
}

void ControllerEmulator::ClearCalls()
{
    std::lock_guard<std::recursive_mutex> guard(lock);
    calls.clear();
}

ULONG WINAPI ControllerEmulator::StartTraceThunk(PTRACEHANDLE handle, LPCWSTR name, PEVENT_TRACE_PROPERTIES properties)
{
    std::lock_guard<std::recursive_mutex> guard(active->lock);
    ControllerCall call;
    call.kind = ControllerCallKind::StartTrace;
    call.hasName = name != nullptr;
    call.name = name != nullptr ? name : L"";
    call.properties = CopyBlock(properties);
    call.result = active->InjectedFailure(call.kind);
    if (call.result == ERROR_SUCCESS) {
        call.result = active->Start(handle, name, properties);
    } else if (handle != nullptr) {
        *handle = 0;
    }
    call.handle = handle != nullptr ? *handle : 0;
    active->calls.push_back(std::move(call));
    return active->calls.back().result;
}

ULONG WINAPI ControllerEmulator::ControlTraceThunk(TRACEHANDLE handle, LPCWSTR name, PEVENT_TRACE_PROPERTIES properties,
                                                   ULONG controlCode)
{
    std::lock_guard<std::recursive_mutex> guard(active->lock);
    ControllerCall call;
    call.kind = ControllerCallKind::ControlTrace;
    call.handle = handle;
    call.hasName = name != nullptr;
    call.name = name != nullptr ? name : L"";
    call.controlCode = controlCode;
    call.properties = CopyBlock(properties);
    call.result = active->InjectedFailure(call.kind);
    if (call.result == ERROR_SUCCESS) {
        call.result = active->Control(handle, name, properties, controlCode);
    }
    active->calls.push_back(std::move(call));
    return active->calls.back().result;
}

ULONG WINAPI ControllerEmulator::EnableTraceThunk(TRACEHANDLE handle, LPCGUID provider, ULONG controlCode, UCHAR level,
                                                  ULONGLONG matchAnyKeyword, ULONGLONG matchAllKeyword, ULONG timeout,
                                                  PENABLE_TRACE_PARAMETERS parameters)
{
    std::lock_guard<std::recursive_mutex> guard(active->lock);
    ControllerCall call;
    call.kind = ControllerCallKind::EnableTrace;
    call.handle = handle;
    call.controlCode = controlCode;
    call.provider = provider != nullptr ? *provider : GUID{};
    call.level = level;
    call.matchAnyKeyword = matchAnyKeyword;
    call.matchAllKeyword = matchAllKeyword;
    call.timeout = timeout;
    if (parameters != nullptr) {
        call.parameters = *parameters;
    }
    call.result = active->InjectedFailure(call.kind);
    if (call.result == ERROR_SUCCESS) {
        call.result = provider == nullptr ? ERROR_INVALID_PARAMETER
                                          : active->Enable(handle, *provider, controlCode, level, matchAnyKeyword,
                                                           matchAllKeyword, parameters);
    }
    active->calls.push_back(std::move(call));
    return active->calls.back().result;
}

ULONG ControllerEmulator::InjectedFailure(ControllerCallKind kind)
{
    const size_t ordinal = ++callCounts[kind];
    const auto found = failures.find({kind, ordinal});
    return found == failures.end() ? ERROR_SUCCESS : found->second;
}

ULONG ControllerEmulator::Start(PTRACEHANDLE handle, LPCWSTR name, PEVENT_TRACE_PROPERTIES properties)
{
    if (handle == nullptr || name == nullptr || properties == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    *handle = 0;
    const ULONG size = properties->Wnode.BufferSize;
    if (size < structureSize) {
        return ERROR_BAD_LENGTH;
    }
    if (properties->LoggerNameOffset == 0 || !OffsetValid(properties->LoggerNameOffset, size) ||
        !OffsetValid(properties->LogFileNameOffset, size)) {
        return ERROR_INVALID_PARAMETER;
    }
    const std::wstring sessionName = name;
    if ((sessionName.size() + 1) * sizeof(wchar_t) > size - properties->LoggerNameOffset) {
        return ERROR_BAD_LENGTH;
    }
    std::wstring logFileName;
    if (properties->LogFileNameOffset != 0) {
        const std::optional<std::wstring> terminated = TerminatedName(*properties, properties->LogFileNameOffset, size);
        if (!terminated) {
            return ERROR_INVALID_PARAMETER;
        }
        logFileName = *terminated;
    }
    const ULONG fileModes = EVENT_TRACE_FILE_MODE_CIRCULAR | EVENT_TRACE_FILE_MODE_SEQUENTIAL;
    if ((properties->LogFileMode & fileModes) == fileModes) {
        return ERROR_INVALID_PARAMETER;
    }
    const bool nameTaken = FindByName(sessionName) != sessions.end();
    const bool guidTaken = !IsNullGuid(properties->Wnode.Guid) &&
                           std::any_of(sessions.begin(), sessions.end(), [&](const EmulatedSession& session) {
                               return session.settings.Wnode.Guid == properties->Wnode.Guid;
                           });
    if (nameTaken || guidTaken) {
        return ERROR_ALREADY_EXISTS;
    }

    EmulatedSession session;
    session.name = sessionName;
    session.logFileName = logFileName;
    session.handle = NextHandle();
    session.settings = *properties;
    session.settings.Wnode.HistoricalContext = session.handle;
    session.settings.LogFileNameOffset = 0;
    session.settings.LoggerNameOffset = 0;
    sessions.push_back(session);

    std::memcpy(NameAt(*properties, properties->LoggerNameOffset), sessionName.c_str(),
                (sessionName.size() + 1) * sizeof(wchar_t));
    properties->Wnode.HistoricalContext = session.handle;
    *handle = session.handle;
    return ERROR_SUCCESS;
}

ULONG ControllerEmulator::Control(TRACEHANDLE handle, LPCWSTR name, PEVENT_TRACE_PROPERTIES properties,
                                  ULONG controlCode)
{
    if (properties == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const ULONG size = properties->Wnode.BufferSize;
    if (size < structureSize) {
        return ERROR_BAD_LENGTH;
    }
    // The caller says where the names are to go; a block without both offsets has no
    // place for them.
    if (properties->LoggerNameOffset == 0 || properties->LogFileNameOffset == 0 ||
        !OffsetValid(properties->LoggerNameOffset, size) || !OffsetValid(properties->LogFileNameOffset, size) ||
        !ValidControlCode(controlCode) || (handle == 0 && name == nullptr)) {
        return ERROR_INVALID_PARAMETER;
    }
    const auto found = name != nullptr ? FindByName(name) : FindByHandle(handle);
    if (found == sessions.end()) {
        return ERROR_WMI_INSTANCE_NOT_FOUND;
    }
    const EmulatedSession session = *found;
    if (controlCode == EVENT_TRACE_CONTROL_STOP) {
        sessions.erase(found);
    }
    return Fill(session, *properties);
}

ULONG ControllerEmulator::Fill(const EmulatedSession& session, EVENT_TRACE_PROPERTIES& properties) const
{
    const ULONG size = properties.Wnode.BufferSize;
    const ULONG loggerNameOffset = properties.LoggerNameOffset;
    const ULONG logFileNameOffset = properties.LogFileNameOffset;
    properties = session.settings;
    properties.Wnode.BufferSize = size;
    properties.Wnode.HistoricalContext = session.handle;
    properties.LoggerNameOffset = loggerNameOffset;
    properties.LogFileNameOffset = logFileNameOffset;

    const size_t loggerBytes = (session.name.size() + 1) * sizeof(wchar_t);
    const size_t fileBytes = (session.logFileName.size() + 1) * sizeof(wchar_t);
    if (!NameFits(loggerNameOffset, loggerBytes, logFileNameOffset, size) ||
        !NameFits(logFileNameOffset, fileBytes, loggerNameOffset, size)) {
        return ERROR_MORE_DATA;
    }
    std::memcpy(NameAt(properties, loggerNameOffset), session.name.c_str(), loggerBytes);
    std::memcpy(NameAt(properties, logFileNameOffset), session.logFileName.c_str(), fileBytes);
    if (afterFill) {
        afterFill(properties, size);
    }
    return ERROR_SUCCESS;
}

ULONG ControllerEmulator::Enable(TRACEHANDLE handle, const GUID& provider, ULONG controlCode, UCHAR level,
                                 ULONGLONG matchAnyKeyword, ULONGLONG matchAllKeyword,
                                 PENABLE_TRACE_PARAMETERS parameters)
{
    if (handle == 0 || controlCode > EVENT_CONTROL_CODE_CAPTURE_STATE) {
        return ERROR_INVALID_PARAMETER;
    }
    if (parameters != nullptr && parameters->Version != ENABLE_TRACE_PARAMETERS_VERSION &&
        parameters->Version != ENABLE_TRACE_PARAMETERS_VERSION_2) {
        return ERROR_INVALID_PARAMETER;
    }
    const auto found = FindByHandle(handle);
    if (found == sessions.end()) {
        return ERROR_INVALID_PARAMETER;
    }
    std::vector<EnabledProvider>& providers = found->providers;
    const auto existing = std::find_if(providers.begin(), providers.end(),
                                       [&](const EnabledProvider& enabled) { return enabled.provider == provider; });
    switch (controlCode) {
    case EVENT_CONTROL_CODE_DISABLE_PROVIDER:
        if (existing != providers.end()) {
            providers.erase(existing);
        }
        break;
    case EVENT_CONTROL_CODE_ENABLE_PROVIDER: {
        const EnabledProvider enabled{provider, level, matchAnyKeyword, matchAllKeyword,
                                      parameters != nullptr ? parameters->EnableProperty : 0};
        if (existing != providers.end()) {
            *existing = enabled;
        } else {
            providers.push_back(enabled);
        }
        break;
    }
    default:
        ++found->captureStateRequests;
        break;
    }
    return ERROR_SUCCESS;
}

std::vector<EmulatedSession>::iterator ControllerEmulator::FindByName(const std::wstring& name)
{
    return std::find_if(sessions.begin(), sessions.end(),
                        [&](const EmulatedSession& session) { return SameName(session.name, name); });
}

std::vector<EmulatedSession>::const_iterator ControllerEmulator::FindByName(const std::wstring& name) const
{
    return std::find_if(sessions.begin(), sessions.end(),
                        [&](const EmulatedSession& session) { return SameName(session.name, name); });
}

std::vector<EmulatedSession>::iterator ControllerEmulator::FindByHandle(TRACEHANDLE handle)
{
    return std::find_if(sessions.begin(), sessions.end(),
                        [&](const EmulatedSession& session) { return session.handle == handle; });
}

TRACEHANDLE ControllerEmulator::NextHandle()
{
    return ++lastHandle;
}

} // namespace Testing
