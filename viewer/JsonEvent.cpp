#include "viewer/JsonEvent.h"

#include "etl/EventMessage.h"
#include "etl/JsonWriter.h"
#include "etl/PropertyValue.h"
#include "viewer/EventInformation.h"
#include "viewer/EventSelection.h"
#include "viewer/JsonProperties.h"
#include "viewer/Symbols.h"

#include <tdh.h>

#include <cstring>
#include <iostream>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Viewer {

namespace {

constexpr USHORT DebugImageId = 2020;

// Kept from event to event: the line, and the texts written into it.
struct JsonLine {
    Etl::JsonWriter json;
    std::u16string text;
    std::vector<uint64_t> addresses;
    ResolvedFrame frame;
};

JsonLine& Line()
{
    static JsonLine line;
    return line;
}

std::u16string_view Utf16(std::wstring_view text)
{
    return {reinterpret_cast<const char16_t*>(text.data()), text.size()};
}

// "0x" and the number in upper-case hexadecimal, width digits at least.
void AppendHex(uint64_t value, unsigned width, std::u16string& text)
{
    static const char16_t digits[] = u"0123456789ABCDEF";
    char16_t buffer[16];
    unsigned length = 0;
    do {
        buffer[length++] = digits[value & 0xF];
        value >>= 4;
    } while (value != 0 || length < width);
    text += u"0x";
    while (length > 0) {
        text.push_back(buffer[--length]);
    }
}

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", as the decoder writes GUIDs.
void AppendGuid(const GUID& guid, std::u16string& text)
{
    static const char16_t digits[] = u"0123456789ABCDEF";
    const auto hex = [&text](uint64_t value, unsigned width) {
        for (unsigned shift = width * 4; shift > 0; shift -= 4) {
            text.push_back(digits[(value >> (shift - 4)) & 0xF]);
        }
    };
    text.push_back(u'{');
    hex(guid.Data1, 8);
    text.push_back(u'-');
    hex(guid.Data2, 4);
    text.push_back(u'-');
    hex(guid.Data3, 4);
    text.push_back(u'-');
    hex(guid.Data4[0], 2);
    hex(guid.Data4[1], 2);
    text.push_back(u'-');
    for (unsigned index = 2; index < 8; ++index) {
        hex(guid.Data4[index], 2);
    }
    text.push_back(u'}');
}

void WriteGuid(JsonLine& line, const GUID& guid)
{
    line.text.clear();
    AppendGuid(guid, line.text);
    line.json.String(line.text);
}

// The terminal-session id of the last such item, as the text view reads it.
std::optional<ULONG> SessionId(const EVENT_RECORD& record)
{
    std::optional<ULONG> sessionId;
    for (USHORT index = 0; record.ExtendedData != nullptr && index < record.ExtendedDataCount; ++index) {
        const EVENT_HEADER_EXTENDED_DATA_ITEM& item = record.ExtendedData[index];
        if (item.ExtType == EVENT_HEADER_EXT_TYPE_TS_ID && item.DataSize >= sizeof(ULONG) && item.DataPtr != 0) {
            ULONG value = 0;
            std::memcpy(&value, reinterpret_cast<const void*>(item.DataPtr), sizeof(ULONG));
            sessionId = value;
        }
    }
    return sessionId;
}

std::optional<std::wstring_view> InformationString(const TRACE_EVENT_INFO* information, ULONG offset)
{
    if (information == nullptr) {
        return std::nullopt;
    }
    return EventInformationString(*information, EventInformationBufferSize(), offset);
}

void WriteHeader(JsonLine& line, const EVENT_RECORD& record, const TRACE_EVENT_INFO* information)
{
    Etl::JsonWriter& json = line.json;
    const EVENT_HEADER& header = record.EventHeader;
    const EVENT_DESCRIPTOR& descriptor = header.EventDescriptor;
    json.Key("time");
    line.text.clear();
    Etl::AppendFileTimeText(static_cast<uint64_t>(header.TimeStamp.QuadPart), line.text);
    json.String(line.text);

    json.Key("provider");
    json.BeginObject();
    if (const auto name = InformationString(information, information ? information->ProviderNameOffset : 0)) {
        json.Key("name");
        json.String(Utf16(*name));
    }
    json.Key("guid");
    WriteGuid(line, header.ProviderId);
    json.EndObject();

    json.Key("id");
    json.Integer(uint64_t{descriptor.Id});
    json.Key("version");
    json.Integer(uint64_t{descriptor.Version});
    json.Key("level");
    json.BeginObject();
    json.Key("value");
    json.Integer(uint64_t{descriptor.Level});
    if (const auto name = InformationString(information, information ? information->LevelNameOffset : 0)) {
        json.Key("name");
        json.String(Utf16(*name));
    }
    json.EndObject();
    json.Key("task");
    json.Integer(uint64_t{descriptor.Task});
    json.Key("opcode");
    json.Integer(uint64_t{descriptor.Opcode});
    json.Key("keywords");
    line.text.clear();
    AppendHex(descriptor.Keyword, 16, line.text);
    json.String(line.text);

    json.Key("pid");
    json.Integer(uint64_t{header.ProcessId});
    json.Key("tid");
    json.Integer(uint64_t{header.ThreadId});
    json.Key("cpu");
    json.Integer(static_cast<uint64_t>((header.Flags & EVENT_HEADER_FLAG_PROCESSOR_INDEX) != 0
                                           ? record.BufferContext.ProcessorIndex
                                           : record.BufferContext.ProcessorNumber));
    if (const std::optional<ULONG> session = SessionId(record)) {
        json.Key("session");
        json.Integer(uint64_t{*session});
    }
    if (!IsEqualGUID(header.ActivityId, GUID{})) {
        json.Key("activity");
        WriteGuid(line, header.ActivityId);
    }
}

void WriteMessage(JsonLine& line, const EVENT_RECORD& record, const TRACE_EVENT_INFO& information)
{
    const std::optional<std::wstring_view> message = InformationString(&information, information.EventMessageOffset);
    if (!message) {
        return;
    }
    line.text.clear();
    const ULONG size = EventInformationBufferSize();
    Etl::AppendMessageWithInserts(
        Utf16(*message), information.TopLevelPropertyCount,
        [&record, &information, size](size_t index, std::u16string& text) {
            AppendPropertyText(record, information, size, index, text);
        },
        line.text);
    line.json.Key("message");
    line.json.String(line.text);
}

void WriteAnsiMember(Etl::JsonWriter& json, const char* key, const std::string& ansi, std::u16string& text)
{
    if (ansi.empty()) {
        return;
    }
    text.resize(ansi.size());
    const int length = ::MultiByteToWideChar(CP_ACP, 0, ansi.data(), static_cast<int>(ansi.size()),
                                             reinterpret_cast<wchar_t*>(text.data()), static_cast<int>(text.size()));
    text.resize(length > 0 ? static_cast<size_t>(length) : 0);
    json.Key(key);
    json.String(text);
}

void WriteStack(JsonLine& line, const EVENT_RECORD& record, const ViewOptions& options)
{
    ReadStackAddresses(record, line.addresses);
    if (line.addresses.empty()) {
        return;
    }
    Etl::JsonWriter& json = line.json;
    json.Key("stack");
    json.BeginArray();
    const size_t count = options.frameLimit != 0 && options.frameLimit < line.addresses.size() ? options.frameLimit
                                                                                               : line.addresses.size();
    for (size_t index = 0; index < count; ++index) {
        const uint64_t address = line.addresses[index];
        json.BeginObject();
        json.Key("address");
        line.text.clear();
        AppendHex(address, 1, line.text);
        json.String(line.text);
        // Without /callstack no module is loaded and dbghelp is never touched.
        if (options.callstack != 0) {
            ResolveStackFrame(record, address, line.frame);
            WriteAnsiMember(json, "module", line.frame.module, line.text);
            WriteAnsiMember(json, "function", line.frame.function, line.text);
            WriteAnsiMember(json, "file", line.frame.file, line.text);
            if (!line.frame.file.empty()) {
                json.Key("line");
                json.Integer(uint64_t{line.frame.line});
            }
        }
        json.EndObject();
    }
    json.EndArray();
}

// Whether the JSON view shows the record; loads image symbols on the way as the text view does.
bool Shown(Provider provider, const EVENT_RECORD& record, const ViewOptions& options)
{
    if (options.all == 0) {
        return Wanted(provider, record, options, ImageOutput::Json);
    }
    if (provider == Provider::Product && record.EventHeader.EventDescriptor.Id == DebugImageId &&
        options.callstack != 0) {
        LoadImageSymbols(record, ImageOutput::Json);
    }
    return true;
}

} // namespace

void RenderJsonEvent(const EVENT_RECORD& record, const ViewOptions& options)
{
    const Provider provider = Classify(record.EventHeader.ProviderId);
    if (!Shown(provider, record, options) || !InTimeWindow(record, options)) {
        return;
    }
    ULONG error = ERROR_SUCCESS;
    const TRACE_EVENT_INFO* information = GetEventInformation(record, error);
    if (options.all == 0 && (information == nullptr || !OfWantedProcess(provider, record, options))) {
        return;
    }
    JsonLine& line = Line();
    Etl::JsonWriter& json = line.json;
    json.Clear();
    json.BeginObject();
    WriteHeader(line, record, information);
    if (information != nullptr) {
        WriteJsonProperties(json, record, *information, EventInformationBufferSize());
        WriteMessage(line, record, *information);
    } else {
        json.Key("decoded");
        json.Boolean(false);
        json.Key("data");
        json.Base64(std::span(static_cast<const uint8_t*>(record.UserData), record.UserDataLength));
    }
    WriteStack(line, record, options);
    json.EndObject();
    const std::u16string& text = json.Text();
    std::wcout.write(reinterpret_cast<const wchar_t*>(text.data()), static_cast<std::streamsize>(text.size()));
    std::wcout << std::endl;
}

} // namespace Viewer
