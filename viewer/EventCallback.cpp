#include "viewer/EventCallback.h"

#include "trace/DebugTrace.h"
#include "viewer/ConsoleColour.h"
#include "viewer/EventHeaderText.h"
#include "viewer/EventInformation.h"
#include "viewer/EventSelection.h"
#include "viewer/JsonEvent.h"
#include "viewer/LogText.h"
#include "viewer/Minidump.h"
#include "viewer/PropertyReader.h"
#include "viewer/Symbols.h"
#include "viewer/ViewOptions.h"
#include "viewer/WinlogonNames.h"

#include <exception>
#include <iostream>
#include <optional>
#include <string>

namespace Viewer {

namespace {

// Product event ids and tasks the rendering depends on.
constexpr USHORT DebugFaultId = 2021;
constexpr USHORT TraceTask = 1;
constexpr USHORT MethodTask = 2;
constexpr USHORT OperationalTask = 3;
constexpr USHORT WinlogonStartedId = 811;

WORD HeaderColour(Provider provider, UCHAR level)
{
    if (provider == Provider::Winlogon) {
        return BrightGreenText;
    }
    if (provider == Provider::KernelProcess) {
        return BrightMagentaText;
    }
    switch (level) {
    case TRACE_LEVEL_WARNING:
        return YellowText;
    case 0:
    case TRACE_LEVEL_CRITICAL:
    case TRACE_LEVEL_ERROR:
        return BrightRedText;
    case TRACE_LEVEL_VERBOSE:
        return GreyText;
    default:
        return BrightWhiteText;
    }
}

std::wstring_view SourceName(Provider provider, const EVENT_RECORD& record)
{
    switch (provider) {
    case Provider::Winlogon:
        return L"Winlogon";
    case Provider::KernelProcess:
        return L"Kernel";
    default:
        return ProductSourceName(record);
    }
}

void WriteHeader(Provider provider, const EVENT_RECORD& record, const TRACE_EVENT_INFO& information)
{
    WriteTimestamp(record);
    std::wcout << L' ';
    WriteSource(record, SourceName(provider, record));
    std::wcout << L' ';
    // TDH's answer is read only inside the buffer it filled, and printed like any other
    // text a log brings.
    const std::optional<std::wstring_view> levelName =
        EventInformationString(information, EventInformationBufferSize(), information.LevelNameOffset);
    if (levelName) {
        WriteLogField(*levelName);
        std::wcout << L' ';
    }
}

// A one-line text property (a name), escaped; nothing when it cannot be read.
void WriteTextField(const EVENT_RECORD& record, const wchar_t* name)
{
    // Reused from event to event, so that writing a name allocates nothing once the
    // buffer has grown.
    static std::wstring text;
    if (ReadTextProperty(record, name, text) == ERROR_SUCCESS) {
        WriteLogField(text);
    }
}

void WriteProductBody(const EVENT_RECORD& record, const ViewOptions& options)
{
    const EVENT_DESCRIPTOR& descriptor = record.EventHeader.EventDescriptor;
    switch (descriptor.Task) {
    case OperationalTask:
        PrintTextProperty(record, L"Name");
        std::wcout << L" : ";
        PrintTextProperty(record, L"Message");
        std::wcout << L' ';
        PrintTextProperty(record, L"Arguments");
        if (descriptor.Level == TRACE_LEVEL_ERROR) {
            std::wcout << std::endl;
            PrintTextProperty(record, L"Stack");
        }
        break;
    case TraceTask:
        PrintTextProperty(record, L"Message");
        break;
    case MethodTask:
        PrintTextProperty(record, L"Arguments");
        break;
    default:
        break;
    }
    if (descriptor.Id == DebugFaultId) {
        std::wcout << L"Fault. ";
        SaveFaultMinidump(record);
    }
    std::wcout << std::endl;
    if (options.callstack != 0) {
        PrintCallStack(record, options.frameLimit);
    }
}

void WriteWinlogonBody(const EVENT_RECORD& record)
{
    uint32_t notification = 0;
    ReadUInt32Property(record, L"Event", notification);
    std::wcout << (record.EventHeader.EventDescriptor.Id == WinlogonStartedId ? L"Winlogon started subscriber "
                                                                              : L"Winlogon finished subscriber ");
    WriteTextField(record, L"SubscriberName");
    std::wcout << L" processing ";
    const auto& names = WinlogonNotificationNames();
    if (const auto name = names.find(notification); name != names.end()) {
        std::wcout << name->second;
    } else {
        std::wcout << L"Event " << std::dec << notification;
    }
    std::wcout << std::endl;
}

uint32_t ReadNumber(const EVENT_RECORD& record, const wchar_t* name)
{
    uint32_t value = 0;
    ReadUInt32Property(record, name, value);
    return value;
}

void WriteKernelProcessBody(const EVENT_RECORD& record)
{
    const uint32_t processId = ReadNumber(record, L"ProcessID");
    const USHORT id = record.EventHeader.EventDescriptor.Id;
    switch (id) {
    case 1:
        std::wcout << L"Process started ";
        WriteTextField(record, L"ImageName");
        std::wcout << L" with pid " << processId << L" by parent " << ReadNumber(record, L"ParentProcessID")
                   << L" in session " << ReadNumber(record, L"SessionID");
        break;
    case 2:
        std::wcout << L"Process stopped ";
        WriteTextField(record, L"ImageName");
        std::wcout << L" with pid " << processId << L" exit code " << ReadNumber(record, L"ExitCode");
        break;
    case 3:
    case 4:
        std::wcout << (id == 3 ? L"Thread started " : L"Thread stopped ") << ReadNumber(record, L"ThreadID")
                   << L" in pid " << processId;
        break;
    case 5:
    case 6:
        std::wcout << (id == 5 ? L"Image loaded " : L"Image unloaded ");
        WriteTextField(record, L"ImageName");
        std::wcout << L" in pid " << processId;
        break;
    default:
        break;
    }
    std::wcout << std::endl;
}

void Render(const EVENT_RECORD& record, const ViewOptions& options)
{
    const Provider provider = Classify(record.EventHeader.ProviderId);
    // The window comes after the filters, so that image events before it still load
    // their modules for the stacks inside it.
    if (!Wanted(provider, record, options, ImageOutput::Text) || !InTimeWindow(record, options)) {
        return;
    }
    ULONG error = ERROR_SUCCESS;
    const TRACE_EVENT_INFO* information = GetEventInformation(record, error);
    if (information == nullptr || !OfWantedProcess(provider, record, options)) {
        return;
    }
    ConsoleColour colour;
    colour.Set(HeaderColour(provider, record.EventHeader.EventDescriptor.Level));
    WriteHeader(provider, record, *information);
    colour.Set(DarkGreyText);
    switch (provider) {
    case Provider::Product:
        WriteProductBody(record, options);
        break;
    case Provider::Winlogon:
        WriteWinlogonBody(record);
        break;
    default:
        WriteKernelProcessBody(record);
        break;
    }
}

} // namespace

VOID WINAPI OnEventRecord(PEVENT_RECORD record)
{
    if (record == nullptr || record->UserContext == nullptr) {
        return;
    }
    try {
        const auto& options = *static_cast<const ViewOptions*>(record->UserContext);
        if (options.format == FormatJson) {
            RenderJsonEvent(*record, options);
        } else {
            Render(*record, options);
        }
    } catch (const std::exception& failure) {
        Trace::TraceError(L"Failed to render event [%u] error [%S]", record->EventHeader.EventDescriptor.Id,
                          failure.what());
    }
}

} // namespace Viewer
