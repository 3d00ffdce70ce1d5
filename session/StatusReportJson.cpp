// ReportStatusJson: the status report as one JSON object, for scripts and log pipelines.
// Every line of the text report is a member with a typed value:
//   {"running":true,"session":...,"fileName":...,"directory":...,"fileMode":"circular",
//    "logFileMode":2,"maximumSizeMb":1024,"bufferSizeKb":512,"buffersWritten":..,
//    "buffersLost":..,"eventsLost":..,"rebootLogging":{"state":"enabled","text":"Enabled.",
//    "code":0,"sessionStatus":0,"providerStatus":0}}
// fileMode is "circular", "sequential" or, with neither bit, "other" (logFileMode has the
// number); maximumSizeMb is null for an unlimited file. With no session running the object
// is {"running":false}.

#include "etl/JsonWriter.h"
#include "session/LogFilePath.h"
#include "session/NamedSessionControl.h"
#include "session/OperationTrace.h"
#include "session/RebootLoggingStatus.h"
#include "session/SessionControl.h"
#include "session/SessionProperties.h"
#include "trace/DebugTrace.h"

#include <iostream>
#include <string>
#include <string_view>

namespace Session {

namespace {

static_assert(sizeof(wchar_t) == sizeof(char16_t), "the report's UTF-16 texts are handed on as char16_t");

std::u16string_view Utf16(const std::wstring& text)
{
    return {reinterpret_cast<const char16_t*>(text.data()), text.size()};
}

void Member(Etl::JsonWriter& json, std::string_view key, const std::wstring& text)
{
    json.Key(key);
    json.String(Utf16(text));
}

void Member(Etl::JsonWriter& json, std::string_view key, ULONG number)
{
    json.Key(key);
    json.Integer(uint64_t{number});
}

const char* FileModeWord(ULONG logFileMode)
{
    if ((logFileMode & EVENT_TRACE_FILE_MODE_CIRCULAR) != 0) {
        return "circular";
    }
    if ((logFileMode & EVENT_TRACE_FILE_MODE_SEQUENTIAL) != 0) {
        return "sequential";
    }
    return "other";
}

const char* StateWord(RebootLoggingState state)
{
    switch (state) {
    case RebootLoggingState::Disabled:
        return "disabled";
    case RebootLoggingState::Enabled:
        return "enabled";
    case RebootLoggingState::SessionKeyUnreadable:
        return "sessionKeyUnreadable";
    case RebootLoggingState::ProviderKeyUnreadable:
        return "providerKeyUnreadable";
    case RebootLoggingState::SessionStatusUnreadable:
        return "sessionStatusUnreadable";
    case RebootLoggingState::ProviderStatusUnreadable:
        return "providerStatusUnreadable";
    case RebootLoggingState::Failed:
        return "failed";
    }
    return "unknown";
}

void WriteDetails(Etl::JsonWriter& json, const SessionProperties& running)
{
    const EVENT_TRACE_PROPERTIES& properties = *running.Get();
    const LogFilePathParts path = SplitLogFilePath(running.LogFileName());
    Member(json, "session", running.LoggerName());
    Member(json, "fileName", path.fileName);
    Member(json, "directory", path.directory);
    json.Key("fileMode");
    json.String(std::string_view(FileModeWord(properties.LogFileMode)));
    Member(json, "logFileMode", properties.LogFileMode);
    json.Key("maximumSizeMb");
    if (properties.MaximumFileSize != 0) {
        json.Integer(uint64_t{properties.MaximumFileSize});
    } else {
        json.Null();
    }
    Member(json, "bufferSizeKb", properties.BufferSize);
    Member(json, "buffersWritten", properties.BuffersWritten);
    Member(json, "buffersLost", properties.LogBuffersLost);
    Member(json, "eventsLost", properties.EventsLost);
}

void WriteRebootLogging(Etl::JsonWriter& json, const RebootLoggingStatus& status)
{
    json.Key("rebootLogging");
    json.BeginObject();
    json.Key("state");
    json.String(std::string_view(StateWord(status.state)));
    Member(json, "text", status.text);
    Member(json, "code", status.result);
    if (status.state == RebootLoggingState::Enabled || status.state == RebootLoggingState::Failed) {
        Member(json, "sessionStatus", status.sessionStatus);
        Member(json, "providerStatus", status.providerStatus);
    }
    json.EndObject();
}

void PrintObject(const Etl::JsonWriter& json)
{
    const std::u16string& text = json.Text();
    std::wcout.write(reinterpret_cast<const wchar_t*>(text.data()), static_cast<std::streamsize>(text.size()));
    std::wcout << L"\n";
}

} // namespace

uint32_t ReportStatusJson()
{
    OperationTrace trace(L"ReportStatusJson");
    Etl::JsonWriter json;
    json.BeginObject();
    json.Key("running");
    SessionProperties running = BuildQueryProperties();
    const ULONG status = QuerySession(running);
    if (status != ERROR_SUCCESS) {
        Trace::TraceError(L"Failed to re-query trace with error [%lu]", status);
        json.Boolean(false);
        json.EndObject();
        PrintObject(json);
        return trace.Return(ERROR_SUCCESS);
    }
    json.Boolean(true);
    WriteDetails(json, running);
    const RebootLoggingStatus rebootLogging = ReadRebootLoggingStatus(running.LoggerName());
    WriteRebootLogging(json, rebootLogging);
    json.EndObject();
    PrintObject(json);
    return trace.Return(rebootLogging.result);
}

} // namespace Session
