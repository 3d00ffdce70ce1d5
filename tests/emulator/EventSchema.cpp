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

EventSchema SystemEvent(const GUID& provider, const wchar_t* providerName, USHORT id, UCHAR version,
                        std::vector<PropertySchema> properties)
{
    EventSchema schema;
    schema.provider = provider;
    schema.providerName = providerName;
    schema.descriptor.Id = id;
    schema.descriptor.Version = version;
    schema.descriptor.Level = 4;
    schema.levelName = Lookup(StandardLevels(), "win:Informational", "level").displayName;
    schema.properties = std::move(properties);
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

// The layouts of the manifests Windows registers for these providers, as public dumps of
// them show (repnz/etw-providers-docs, Manifests-Win7-7600/Microsoft-Windows-Winlogon.xml
// and Microsoft-Windows-Kernel-Process.xml for the Windows 7 templates; OTRF/OSSEM,
// data_dictionaries/windows/etw-providers/Microsoft-Windows-Kernel-Process for the later
// versions), one schema per version: TDH describes a version it does not know as nothing.
std::vector<EventSchema> SystemProviderSchemas()
{
    const GUID winlogon = ParseGuid("{DBE9B383-7CF3-4331-91CC-A3CB16A3B538}");
    const GUID kernelProcess = ParseGuid("{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}");
    const wchar_t winlogonName[] = L"Microsoft-Windows-Winlogon";
    const wchar_t kernelName[] = L"Microsoft-Windows-Kernel-Process";
    const std::vector<PropertySchema> subscriber{{L"Event", InUInt32, OutUnsignedInt},
                                                 {L"SubscriberName", InUnicodeString, OutString}};

    const PropertySchema processId{L"ProcessID", InUInt32, OutUnsignedInt};
    const PropertySchema createTime{L"CreateTime", InFileTime, OutNone};
    const PropertySchema parentProcessId{L"ParentProcessID", InUInt32, OutUnsignedInt};
    const PropertySchema sessionId{L"SessionID", InUInt32, OutUnsignedInt};
    const PropertySchema flags{L"Flags", InUInt32, OutUnsignedInt};
    const PropertySchema imageName{L"ImageName", InUnicodeString, OutString};
    const PropertySchema imageChecksum{L"ImageChecksum", InUInt32, OutUnsignedInt};
    const PropertySchema timeDateStamp{L"TimeDateStamp", InUInt32, OutUnsignedInt};
    const PropertySchema packageFullName{L"PackageFullName", InUnicodeString, OutString};
    const PropertySchema packageRelativeAppId{L"PackageRelativeAppId", InUnicodeString, OutString};
    const PropertySchema sequenceNumber{L"ProcessSequenceNumber", InUInt64, OutNone};
    auto number = [](const wchar_t* name) { return PropertySchema{name, InUInt32, OutUnsignedInt}; };
    auto wide = [](const wchar_t* name) { return PropertySchema{name, InUInt64, OutNone}; };
    auto pointer = [](const wchar_t* name) { return PropertySchema{name, InPointer, OutHexInt64}; };

    const std::vector<PropertySchema> start0{processId, createTime, parentProcessId, sessionId, imageName};
    const std::vector<PropertySchema> start1{processId, createTime, parentProcessId, sessionId, flags, imageName};
    std::vector<PropertySchema> start2 = start1;
    start2.insert(start2.end(), {imageChecksum, timeDateStamp, packageFullName, packageRelativeAppId});
    const std::vector<PropertySchema> start3{processId,
                                             sequenceNumber,
                                             createTime,
                                             parentProcessId,
                                             wide(L"ParentProcessSequenceNumber"),
                                             sessionId,
                                             flags,
                                             number(L"ProcessTokenElevationType"),
                                             number(L"ProcessTokenIsElevated"),
                                             {L"MandatoryLabel", InSid, OutString},
                                             imageName,
                                             imageChecksum,
                                             timeDateStamp,
                                             packageFullName,
                                             packageRelativeAppId};
    std::vector<PropertySchema> stop0{processId,
                                      createTime,
                                      {L"ExitTime", InFileTime, OutNone},
                                      number(L"ExitCode"),
                                      number(L"TokenElevationType"),
                                      number(L"HandleCount"),
                                      wide(L"CommitCharge"),
                                      wide(L"CommitPeak")};
    std::vector<PropertySchema> stop1 = stop0;
    stop1.insert(stop1.end(),
                 {wide(L"CPUCycleCount"), number(L"ReadOperationCount"), number(L"WriteOperationCount"),
                  number(L"ReadTransferKiloBytes"), number(L"WriteTransferKiloBytes"), number(L"HardFaultCount")});
    std::vector<PropertySchema> stop2 = stop1;
    stop2.insert(stop2.begin() + 1, sequenceNumber);
    const PropertySchema ansiImageName{L"ImageName", InAnsiString, OutString};
    for (std::vector<PropertySchema>* stop : {&stop0, &stop1, &stop2}) {
        stop->push_back(ansiImageName);
    }
    const std::vector<PropertySchema> thread0{processId,
                                              number(L"ThreadID"),
                                              pointer(L"StackBase"),
                                              pointer(L"StackLimit"),
                                              pointer(L"UserStackBase"),
                                              pointer(L"UserStackLimit"),
                                              pointer(L"StartAddr"),
                                              pointer(L"Win32StartAddr"),
                                              pointer(L"TebBase")};
    std::vector<PropertySchema> threadStart1 = thread0;
    threadStart1.push_back(number(L"SubProcessTag"));
    std::vector<PropertySchema> threadStop1 = threadStart1;
    threadStop1.push_back(wide(L"CycleTime"));
    const std::vector<PropertySchema> image{
        pointer(L"ImageBase"), pointer(L"ImageSize"),   processId, number(L"ImageCheckSum"),
        timeDateStamp,         pointer(L"DefaultBase"), imageName};
    return {
        SystemEvent(winlogon, winlogonName, 811, 0, subscriber),
        SystemEvent(winlogon, winlogonName, 812, 0, subscriber),
        SystemEvent(kernelProcess, kernelName, 1, 0, start0),
        SystemEvent(kernelProcess, kernelName, 1, 1, start1),
        SystemEvent(kernelProcess, kernelName, 1, 2, start2),
        SystemEvent(kernelProcess, kernelName, 1, 3, start3),
        SystemEvent(kernelProcess, kernelName, 2, 0, stop0),
        SystemEvent(kernelProcess, kernelName, 2, 1, stop1),
        SystemEvent(kernelProcess, kernelName, 2, 2, stop2),
        SystemEvent(kernelProcess, kernelName, 3, 0, thread0),
        SystemEvent(kernelProcess, kernelName, 3, 1, threadStart1),
        SystemEvent(kernelProcess, kernelName, 4, 0, thread0),
        SystemEvent(kernelProcess, kernelName, 4, 1, threadStop1),
        SystemEvent(kernelProcess, kernelName, 5, 0, image),
        SystemEvent(kernelProcess, kernelName, 6, 0, image),
    };
}

} // namespace Testing
