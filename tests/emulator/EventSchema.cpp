#include "tests/emulator/EventSchema.h"

#include "tests/emulator/XmlReader.h"

#include <cstdlib>
#include <map>
#include <sstream>
#include <stdexcept>

namespace Testing {

namespace {

struct Named {
    ULONGLONG value = 0;
    std::wstring displayName;
};

std::wstring Widen(const std::string& text)
{
    if (text.empty()) {
        return {};
    }
    const int length = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring wide(static_cast<size_t>(length), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), length);
    return wide;
}

ULONGLONG Number(const std::string& text)
{
    if (text.empty()) {
        throw std::runtime_error("manifest: number expected");
    }
    return std::strtoull(text.c_str(), nullptr, 0);
}

// The winmeta.xml definitions every manifest may refer to.
const std::map<std::string, Named>& StandardLevels()
{
    static const std::map<std::string, Named> levels{
        {"win:LogAlways", {0, L"Log Always"}},
        {"win:Critical", {1, L"Critical"}},
        {"win:Error", {2, L"Error"}},
        {"win:Warning", {3, L"Warning"}},
        {"win:Informational", {4, L"Information"}},
        {"win:Verbose", {5, L"Verbose"}},
    };
    return levels;
}

const std::map<std::string, Named>& StandardOpcodes()
{
    static const std::map<std::string, Named> opcodes{
        {"win:Info", {0, L"Info"}}, {"win:Start", {1, L"Start"}}, {"win:Stop", {2, L"Stop"}}};
    return opcodes;
}

const std::map<std::string, USHORT>& InTypes()
{
    static const std::map<std::string, USHORT> types{
        {"win:UnicodeString", InUnicodeString},
        {"win:AnsiString", InAnsiString},
        {"win:Int8", InInt8},
        {"win:UInt8", InUInt8},
        {"win:Int16", InInt16},
        {"win:UInt16", InUInt16},
        {"win:Int32", InInt32},
        {"win:UInt32", InUInt32},
        {"win:Int64", InInt64},
        {"win:UInt64", InUInt64},
        {"win:Boolean", InBoolean},
        {"win:GUID", InGuid},
        {"win:Pointer", InPointer},
        {"win:FILETIME", InFileTime},
        {"win:HexInt32", InHexInt32},
        {"win:HexInt64", InHexInt64},
    };
    return types;
}

const std::map<std::string, USHORT>& OutTypes()
{
    static const std::map<std::string, USHORT> types{
        {"", OutNone},
        {"xs:string", OutString},
        {"xs:unsignedShort", OutUnsignedShort},
        {"xs:unsignedInt", OutUnsignedInt},
        {"win:HexInt64", OutHexInt64},
        {"win:Utf8", OutUtf8},
    };
    return types;
}

template <typename Map>
const typename Map::mapped_type& Lookup(const Map& map, const std::string& key, const char* what)
{
    const auto found = map.find(key);
    if (found == map.end()) {
        throw std::runtime_error(std::string("manifest: unknown ") + what + " '" + key + "'");
    }
    return found->second;
}

// "$(string.id)" through the string table; any other text as it is.
std::wstring Message(const std::string& reference, const std::map<std::string, std::wstring>& strings)
{
    if (reference.rfind("$(string.", 0) == 0 && reference.back() == ')') {
        return Lookup(strings, reference.substr(9, reference.size() - 10), "string");
    }
    return Widen(reference);
}

class ProviderReader {
public:
    ProviderReader(const XmlElement& provider, const std::map<std::string, std::wstring>& strings)
        : provider(provider), strings(strings)
    {
        ReadNamed("levels", "level", "value", levels, StandardLevels());
        ReadNamed("tasks", "task", "value", tasks, {});
        ReadNamed("opcodes", "opcode", "value", opcodes, StandardOpcodes());
        ReadNamed("keywords", "keyword", "mask", keywords, {});
        ReadChannels();
        ReadTemplates();
    }

    void Events(std::vector<EventSchema>& schemas) const
    {
        const XmlElement* events = provider.Find("events");
        if (events == nullptr) {
            return;
        }
        for (const XmlElement* event : events->Children("event")) {
            schemas.push_back(Event(*event));
        }
    }

private:
    void ReadNamed(const char* group, const char* item, const char* valueKey, std::map<std::string, Named>& into,
                   const std::map<std::string, Named>& standard)
    {
        into = standard;
        const XmlElement* list = provider.Find(group);
        if (list == nullptr) {
            return;
        }
        for (const XmlElement* element : list->Children(item)) {
            // A display name exists only where the manifest gives a message.
            const std::string message = element->Attribute("message");
            into[element->Attribute("name")] = Named{Number(element->Attribute(valueKey)),
                                                     message.empty() ? std::wstring() : Message(message, strings)};
        }
    }

    void ReadChannels()
    {
        const XmlElement* list = provider.Find("channels");
        if (list == nullptr) {
            return;
        }
        // Channels without a value are numbered from 16 in order, as the compiler does.
        ULONGLONG next = 16;
        for (const XmlElement* channel : list->Children("channel")) {
            const std::string value = channel->Attribute("value");
            const ULONGLONG number = value.empty() ? next++ : Number(value);
            const std::string chid = channel->Attribute("chid");
            channels[chid.empty() ? channel->Attribute("name") : chid] =
                Named{number, Widen(channel->Attribute("name"))};
        }
    }

    void ReadTemplates()
    {
        const XmlElement* list = provider.Find("templates");
        if (list == nullptr) {
            return;
        }
        for (const XmlElement* templateElement : list->Children("template")) {
            std::vector<PropertySchema>& properties = templates[templateElement->Attribute("tid")];
            for (const XmlElement* data : templateElement->Children("data")) {
                properties.push_back(PropertySchema{Widen(data->Attribute("name")),
                                                    Lookup(InTypes(), data->Attribute("inType"), "inType"),
                                                    Lookup(OutTypes(), data->Attribute("outType"), "outType")});
            }
        }
    }

    ULONGLONG Keywords(const std::string& names) const
    {
        ULONGLONG mask = 0;
        std::istringstream words(names);
        for (std::string word; words >> word;) {
            mask |= Lookup(keywords, word, "keyword").value;
        }
        return mask;
    }

    EventSchema Event(const XmlElement& event) const
    {
        EventSchema schema;
        schema.provider = ParseGuid(provider.Attribute("guid"));
        schema.providerName = Widen(provider.Attribute("name"));
        EVENT_DESCRIPTOR& descriptor = schema.descriptor;
        descriptor.Id = static_cast<USHORT>(Number(event.Attribute("value")));
        const std::string version = event.Attribute("version");
        descriptor.Version = static_cast<UCHAR>(version.empty() ? 0 : Number(version));
        if (const std::string level = event.Attribute("level"); !level.empty()) {
            const Named& named = Lookup(levels, level, "level");
            descriptor.Level = static_cast<UCHAR>(named.value);
            schema.levelName = named.displayName;
        }
        if (const std::string task = event.Attribute("task"); !task.empty()) {
            descriptor.Task = static_cast<USHORT>(Lookup(tasks, task, "task").value);
            schema.taskName = Widen(task);
        }
        if (const std::string opcode = event.Attribute("opcode"); !opcode.empty()) {
            descriptor.Opcode = static_cast<UCHAR>(Lookup(opcodes, opcode, "opcode").value);
            schema.opcodeName = Widen(opcode);
        }
        if (const std::string channel = event.Attribute("channel"); !channel.empty()) {
            const Named& named = Lookup(channels, channel, "channel");
            descriptor.Channel = static_cast<UCHAR>(named.value);
            schema.channelName = named.displayName;
        }
        descriptor.Keyword = Keywords(event.Attribute("keywords"));
        if (const std::string templateId = event.Attribute("template"); !templateId.empty()) {
            schema.properties = Lookup(templates, templateId, "template");
        }
        if (const std::string message = event.Attribute("message"); !message.empty()) {
            schema.message = Message(message, strings);
        }
        return schema;
    }

    const XmlElement& provider;
    const std::map<std::string, std::wstring>& strings;
    std::map<std::string, Named> levels;
    std::map<std::string, Named> tasks;
    std::map<std::string, Named> opcodes;
    std::map<std::string, Named> keywords;
    std::map<std::string, Named> channels;
    std::map<std::string, std::vector<PropertySchema>> templates;
};

// The en-US string table (the only culture the product ships).
std::map<std::string, std::wstring> Strings(const XmlElement& root)
{
    std::map<std::string, std::wstring> strings;
    const XmlElement* localization = root.Find("localization");
    if (localization == nullptr) {
        return strings;
    }
    for (const XmlElement* resources : localization->Children("resources")) {
        if (resources->Attribute("culture") != "en-US") {
            continue;
        }
        if (const XmlElement* table = resources->Find("stringTable")) {
            for (const XmlElement* string : table->Children("string")) {
                strings[string->Attribute("id")] = Widen(string->Attribute("value"));
            }
        }
    }
    return strings;
}

EventSchema SystemEvent(const GUID& provider, const wchar_t* providerName, USHORT id, UCHAR level,
                        std::vector<PropertySchema> properties)
{
    EventSchema schema;
    schema.provider = provider;
    schema.providerName = providerName;
    schema.descriptor.Id = id;
    schema.descriptor.Level = level;
    schema.levelName = Lookup(StandardLevels(), level == 4 ? "win:Informational" : "win:Verbose", "level").displayName;
    schema.properties = std::move(properties);
    schema.anyVersion = true;
    return schema;
}

} // namespace

GUID ParseGuid(std::string_view text)
{
    std::string digits;
    for (char character : text) {
        if (std::isxdigit(static_cast<unsigned char>(character))) {
            digits += character;
        }
    }
    if (digits.size() != 32) {
        throw std::runtime_error("manifest: malformed GUID '" + std::string(text) + "'");
    }
    auto hex = [&digits](size_t start, size_t count) {
        return std::strtoull(digits.substr(start, count).c_str(), nullptr, 16);
    };
    GUID guid{};
    guid.Data1 = static_cast<unsigned long>(hex(0, 8));
    guid.Data2 = static_cast<unsigned short>(hex(8, 4));
    guid.Data3 = static_cast<unsigned short>(hex(12, 4));
    for (size_t index = 0; index < 8; ++index) {
        guid.Data4[index] = static_cast<unsigned char>(hex(16 + index * 2, 2));
    }
    return guid;
}

std::vector<EventSchema> ParseManifest(std::string_view xml)
{
    const std::unique_ptr<XmlElement> root = ParseXml(xml);
    const std::map<std::string, std::wstring> strings = Strings(*root);
    std::vector<EventSchema> schemas;
    const XmlElement* instrumentation = root->Find("instrumentation");
    const XmlElement* events = instrumentation != nullptr ? instrumentation->Find("events") : nullptr;
    if (events == nullptr) {
        throw std::runtime_error("manifest: no instrumentation/events");
    }
    for (const XmlElement* provider : events->Children("provider")) {
        ProviderReader(*provider, strings).Events(schemas);
    }
    return schemas;
}

std::vector<EventSchema> SystemProviderSchemas()
{
    const GUID winlogon = ParseGuid("{DBE9B383-7CF3-4331-91CC-A3CB16A3B538}");
    const GUID kernelProcess = ParseGuid("{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}");
    const wchar_t winlogonName[] = L"Microsoft-Windows-Winlogon";
    const wchar_t kernelName[] = L"Microsoft-Windows-Kernel-Process";
    const std::vector<PropertySchema> subscriber{{L"SubscriberName", InUnicodeString, OutString},
                                                 {L"Event", InUInt32, OutUnsignedInt}};
    const std::vector<PropertySchema> image{
        {L"ImageBase", InPointer, OutHexInt64},       {L"ImageSize", InPointer, OutHexInt64},
        {L"ProcessID", InUInt32, OutUnsignedInt},     {L"ImageCheckSum", InUInt32, OutUnsignedInt},
        {L"TimeDateStamp", InUInt32, OutUnsignedInt}, {L"DefaultBase", InPointer, OutHexInt64},
        {L"ImageName", InUnicodeString, OutString},
    };
    const std::vector<PropertySchema> thread{
        {L"ProcessID", InUInt32, OutUnsignedInt},
        {L"ThreadID", InUInt32, OutUnsignedInt},
        {L"StackBase", InPointer, OutHexInt64},
        {L"StackLimit", InPointer, OutHexInt64},
    };
    return {
        SystemEvent(winlogon, winlogonName, 811, 4, subscriber),
        SystemEvent(winlogon, winlogonName, 812, 4, subscriber),
        SystemEvent(kernelProcess, kernelName, 1, 4,
                    {{L"ProcessID", InUInt32, OutUnsignedInt},
                     {L"CreateTime", InFileTime, OutNone},
                     {L"ParentProcessID", InUInt32, OutUnsignedInt},
                     {L"SessionID", InUInt32, OutUnsignedInt},
                     {L"ImageName", InUnicodeString, OutString}}),
        SystemEvent(kernelProcess, kernelName, 2, 4,
                    {{L"ProcessID", InUInt32, OutUnsignedInt},
                     {L"CreateTime", InFileTime, OutNone},
                     {L"ExitTime", InFileTime, OutNone},
                     {L"ExitCode", InUInt32, OutUnsignedInt},
                     {L"ImageName", InUnicodeString, OutString}}),
        SystemEvent(kernelProcess, kernelName, 3, 4, thread),
        SystemEvent(kernelProcess, kernelName, 4, 4, thread),
        SystemEvent(kernelProcess, kernelName, 5, 4, image),
        SystemEvent(kernelProcess, kernelName, 6, 4, image),
    };
}

} // namespace Testing
