#include "session/RebootLogging.h"

#include "base/Exception.h"
#include "base/Guid.h"
#include "base/RegistryKeyWin32.h"
#include "session/NamedSessionControl.h"
#include "session/OperationTrace.h"
#include "session/SessionIdentity.h"
#include "session/SessionProperties.h"
#include "trace/DebugTrace.h"
#include "trace/EtwWriter.h"

#include <windows.h>

#include <evntcons.h>
#include <evntrace.h>

#include <string>

namespace Session {

namespace {

// ClockType 2 is system time, although the session itself runs on the performance
// counter (1): the definition has always asked for system time, and keeps doing so.
constexpr uint32_t systemTimeClock = 2;
// FileMax: how many files a sequential log may roll over to; circular logs need none.
constexpr uint32_t sequentialFileMax = 16;

struct ProviderValues {
    const GUID& provider;
    ULONGLONG matchAnyKeyword;
    uint32_t level;
    uint32_t enableProperty;
};

// "{" + the lower-case string form + "}", as the system names provider keys and GUIDs.
std::wstring BracedGuid(const GUID& guid)
{
    return L"{" + Base::GuidToString(guid) + L"}";
}

void WriteSessionValues(Base::RegistryKeyWin32& key, const EVENT_TRACE_PROPERTIES& running,
                        const std::wstring& logFileName)
{
    key.SetDword(L"BufferSize", running.BufferSize);
    key.SetDword(L"MinimumBuffers", running.MinimumBuffers);
    key.SetDword(L"ClockType", systemTimeClock);
    key.SetString(L"FileName", logFileName);
    key.SetDword(L"FileMax", (running.LogFileMode & EVENT_TRACE_FILE_MODE_CIRCULAR) != 0 ? 0 : sequentialFileMax);
    key.SetDword(L"FlushTimer", running.FlushTimer);
    key.SetString(L"Guid", BracedGuid(SessionGuid));
    key.SetDword(L"LogFileMode", running.LogFileMode);
    key.SetDword(L"MaxFileSize", running.MaximumFileSize);
    key.SetDword(L"Start", 1);
}

void WriteProviderKey(Base::RegistryKeyWin32& sessionKey, const ProviderValues& values)
{
    const Base::RegistryKey key = sessionKey.CreateSubkey(BracedGuid(values.provider));
    key->SetDword(L"Enabled", 1);
    key->SetQword(L"MatchAnyKeyword", values.matchAnyKeyword);
    key->SetQword(L"MatchAllKeyword", 0);
    key->SetDword(L"EnableLevel", values.level);
    key->SetDword(L"EnableProperty", values.enableProperty);
}

void WriteDefinition(const SessionProperties& running, uint8_t level, bool callstacks, ULONGLONG kernelKeywords)
{
    const std::wstring loggerName = running.LoggerName();
    if (loggerName.empty()) {
        // An empty name would make the deletion below take the whole Autologger key.
        throw Base::Exception("The running session reported no logger name");
    }
    const Base::RegistryKey root = Base::MakeShared<Base::RegistryKeyWin32>(HKEY_LOCAL_MACHINE);
    const Base::RegistryKey parent = root->OpenSubkey(AutologgerParentPath, KEY_CREATE_SUB_KEY);
    parent->DeleteSubtree(loggerName);

    const Base::RegistryKey sessionKey = parent->CreateSubkey(loggerName);
    WriteSessionValues(*sessionKey, *running.Get(), running.LogFileName());
    WriteProviderKey(*sessionKey, {Trace::ProviderGuid, AllKeywords, level, ProductEnableProperty(callstacks)});
    WriteProviderKey(*sessionKey,
                     {WinlogonProviderGuid, AllKeywords, SystemProviderLevel, EVENT_ENABLE_PROPERTY_TS_ID});
    if (kernelKeywords != 0) {
        WriteProviderKey(*sessionKey,
                         {KernelProcessProviderGuid, kernelKeywords, SystemProviderLevel, EVENT_ENABLE_PROPERTY_TS_ID});
    }
}

} // namespace

bool ConfigureRebootLogging(uint8_t level, bool callstacks, bool processes, bool threads, bool images)
{
    OperationTrace trace(L"ConfigureRebootLogging");
    SessionProperties running = BuildQueryProperties();
    const ULONG status = QuerySession(running);
    if (status != ERROR_SUCCESS) {
        Trace::TraceError(L"Failed to query existing logger for auto-logger [%lu]", status);
        return trace.Answer(false);
    }
    try {
        WriteDefinition(running, level, callstacks, KernelProcessKeywords(processes, threads, images));
    } catch (const Base::Exception& error) {
        Trace::TraceError(L"Failed to create auto logger error [%S]", error.what());
        return trace.Answer(false);
    }
    return trace.Answer(true);
}

} // namespace Session
