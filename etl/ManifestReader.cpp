#include "etl/ManifestReader.h"

#include "etl/FormatError.h"
#include "etl/GuidText.h"
#include "etl/NumberText.h"
#include "etl/PropertyTree.h"
#include "etl/StandardNames.h"
#include "etl/TextEncoding.h"
#include "etl/XmlReader.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>

namespace Etl {

namespace {

struct Named {
    uint64_t value = 0;
    std::u16string displayName;
};

using NameTable = std::unordered_map<std::string, Named>;

[[noreturn]] void Fail(const XmlElement& element, const std::string& what)
{
    throw FormatError("manifest line " + std::to_string(element.line) + ": " + what);
}

std::string AttributeOr(const XmlElement& element, std::string_view name, std::string_view fallback = {})
{
    const std::string* value = element.Attribute(name);
    return value != nullptr ? *value : std::string(fallback);
}

std::string RequiredAttribute(const XmlElement& element, std::string_view name)
{
    const std::string* value = element.Attribute(name);
    if (value == nullptr || value->empty()) {
        Fail(element, "<" + std::string(element.LocalName()) + "> without " + std::string(name));
    }
    return *value;
}

// A decimal or 0x-prefixed hexadecimal number no greater than maximum.
uint64_t Number(const XmlElement& element, std::string_view attribute, const std::string& text, uint64_t maximum)
{
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    uint64_t value = 0;
    if (!ParseUnsigned(std::string_view(text).substr(hex ? 2 : 0), hex ? 16 : 10, maximum, value)) {
        Fail(element,
             std::string(attribute) + " \"" + text + "\" is not a number from 0 to " + std::to_string(maximum));
    }
    return value;
}

std::vector<const XmlElement*> Children(const XmlElement* parent, std::string_view localName)
{
    std::vector<const XmlElement*> children;
    if (parent != nullptr) {
        for (const XmlElement& child : parent->children) {
            if (child.LocalName() == localName) {
                children.push_back(&child);
            }
        }
    }
    return children;
}

// The first descendant of that local name, depth first.
const XmlElement* FindDescendant(const XmlElement& element, std::string_view localName)
{
    for (const XmlElement& child : element.children) {
        if (child.LocalName() == localName) {
            return &child;
        }
        if (const XmlElement* found = FindDescendant(child, localName)) {
            return found;
        }
    }
    return nullptr;
}

// The en-US string table, the one culture the product ships.
std::unordered_map<std::string, std::u16string> StringTable(const XmlElement& root)
{
    std::unordered_map<std::string, std::u16string> strings;
    const XmlElement* localization = root.FirstChild("localization");
    for (const XmlElement* resources : Children(localization, "resources")) {
        if (AttributeOr(*resources, "culture") != "en-US") {
            continue;
        }
        for (const XmlElement* string : Children(resources->FirstChild("stringTable"), "string")) {
            strings[RequiredAttribute(*string, "id")] = Utf8ToUtf16(AttributeOr(*string, "value"));
        }
    }
    return strings;
}

class ProviderReader {
public:
    ProviderReader(const XmlElement& provider, const std::unordered_map<std::string, std::u16string>& strings)
        : provider(provider), strings(strings)
    {
        const std::string guidText = RequiredAttribute(provider, "guid");
        const std::optional<Guid> parsed = ParseGuid(guidText);
        if (!parsed) {
            Fail(provider, "provider guid \"" + guidText + "\" is not a GUID");
        }
        guid = *parsed;
        providerName = Utf8ToUtf16(RequiredAttribute(provider, "name"));
        ReadStandard(StandardLevels(), levels);
        ReadStandard(StandardOpcodes(), opcodes);
        ReadStandard(StandardTasks(), tasks);
        ReadStandard(StandardKeywords(), keywords);
        ReadLevels();
        ReadTasks();
        ReadNamed("opcodes", "opcode", "value", 0xFF, opcodes);
        ReadNamed("keywords", "keyword", "mask", UINT64_MAX, keywords);
        ReadChannels();
        ReadTemplates();
    }

    void Events(std::vector<EventDescription>& out) const
    {
        for (const XmlElement* event : Children(provider.FirstChild("events"), "event")) {
            out.push_back(Event(*event));
        }
    }

private:
    static void ReadStandard(std::span<const StandardName> standard, NameTable& into)
    {
        for (const StandardName& entry : standard) {
            into[std::string(entry.name)] = Named{entry.value, std::u16string(entry.displayName)};
        }
    }

    // "$(string.id)" through the string table; any other text stands for itself.
    std::u16string Message(const XmlElement& element, const std::string& reference) const
    {
        constexpr std::string_view prefix = "$(string.";
        if (reference.size() > prefix.size() && reference.compare(0, prefix.size(), prefix) == 0 &&
            reference.back() == ')') {
            const std::string id = reference.substr(prefix.size(), reference.size() - prefix.size() - 1);
            const auto found = strings.find(id);
            if (found == strings.end()) {
                Fail(element, "no en-US string \"" + id + "\"");
            }
            return found->second;
        }
        return Utf8ToUtf16(reference);
    }

    // A task's, opcode's or keyword's display name: its message, or its name.
    std::u16string DisplayName(const XmlElement& element, const std::string& name) const
    {
        const std::string* message = element.Attribute("message");
        return message != nullptr ? Message(element, *message) : Utf8ToUtf16(name);
    }

    void ReadNamed(std::string_view group, std::string_view item, std::string_view valueKey, uint64_t maximum,
                   NameTable& into) const
    {
        for (const XmlElement* element : Children(provider.FirstChild(group), item)) {
            const std::string name = RequiredAttribute(*element, "name");
            into[name] = Named{Number(*element, valueKey, RequiredAttribute(*element, valueKey), maximum),
                               DisplayName(*element, name)};
        }
    }

    // A level's display name exists only where the manifest gives it a message.
    void ReadLevels()
    {
        for (const XmlElement* element : Children(provider.FirstChild("levels"), "level")) {
            const std::string* message = element->Attribute("message");
            levels[RequiredAttribute(*element, "name")] =
                Named{Number(*element, "value", RequiredAttribute(*element, "value"), 0xFF),
                      message != nullptr ? Message(*element, *message) : std::u16string()};
        }
    }

    void ReadTasks()
    {
        for (const XmlElement* element : Children(provider.FirstChild("tasks"), "task")) {
            const std::string name = RequiredAttribute(*element, "name");
            tasks[name] = Named{Number(*element, "value", RequiredAttribute(*element, "value"), 0xFFFF),
                                DisplayName(*element, name)};
            NameTable& scoped = taskOpcodes[name];
            for (const XmlElement* opcode : Children(element->FirstChild("opcodes"), "opcode")) {
                const std::string opcodeName = RequiredAttribute(*opcode, "name");
                scoped[opcodeName] = Named{Number(*opcode, "value", RequiredAttribute(*opcode, "value"), 0xFF),
                                           DisplayName(*opcode, opcodeName)};
            }
        }
    }

    void ReadChannels()
    {
        uint64_t next = 16;
        int keywordBit = 63;
        const XmlElement* list = provider.FirstChild("channels");
        if (list == nullptr) {
            return;
        }
        for (const XmlElement& channel : list->children) {
            const std::string_view kind = channel.LocalName();
            if (kind != "channel" && kind != "importChannel") {
                continue;
            }
            const std::string name = RequiredAttribute(channel, "name");
            std::optional<uint64_t> value;
            if (const std::string* given = channel.Attribute("value")) {
                value = Number(channel, "value", *given, 0xFF);
            } else if (kind == "importChannel") {
                for (const StandardName& standard : StandardChannels()) {
                    if (standard.name == name) {
                        value = standard.value;
                    }
                }
            }
            Channel entry{value ? *value : next++, Utf8ToUtf16(name),
                          keywordBit >= 0 ? uint64_t{1} << keywordBit : uint64_t{0}};
            --keywordBit;
            channels[AttributeOr(channel, "chid", name)] = std::move(entry);
        }
    }

    PropertyNode Data(const XmlElement& element, const std::vector<PropertyNode>& earlier) const
    {
        PropertyNode node;
        node.property.name = Utf8ToUtf16(RequiredAttribute(element, "name"));
        const std::string inType = RequiredAttribute(element, "inType");
        if (!InTypeFromName(inType, node.property.inType)) {
            Fail(element, "unknown inType \"" + inType + "\"");
        }
        if (const std::string* outType = element.Attribute("outType")) {
            if (!OutTypeFromName(*outType, node.property.outType)) {
                Fail(element, "unknown outType \"" + *outType + "\"");
            }
        }
        if (const std::string* map = element.Attribute("map")) {
            node.property.mapName = Utf8ToUtf16(*map);
        }
        SizeAttributes(element, earlier, node);
        return node;
    }

    // "length" and "count": a number, or the name of an earlier data item of the same template
    // or struct.
    static void SizeAttributes(const XmlElement& element, const std::vector<PropertyNode>& earlier, PropertyNode& node)
    {
        const auto sibling = [&](const std::string& name) -> std::optional<size_t> {
            const std::u16string wide = Utf8ToUtf16(name);
            for (size_t position = 0; position < earlier.size(); ++position) {
                if (earlier[position].property.name == wide) {
                    return position;
                }
            }
            return std::nullopt;
        };
        // A number sets the constant and its flag; a name, the sibling that holds the value.
        const auto size = [&](std::string_view attribute, uint16_t& constant, PropertyFlag fixed,
                              std::optional<size_t>& holder) {
            const std::string* text = element.Attribute(attribute);
            if (text == nullptr) {
                return;
            }
            if (!text->empty() && (*text)[0] >= '0' && (*text)[0] <= '9') {
                constant = static_cast<uint16_t>(Number(element, attribute, *text, 0xFFFF));
                node.property.flags |= fixed;
            } else if (!(holder = sibling(*text))) {
                Fail(element, std::string(attribute) + " \"" + *text + "\" names no earlier data item");
            }
        };
        size("length", node.property.length, PropertyParamFixedLength, node.lengthSibling);
        size("count", node.property.count, PropertyParamFixedCount, node.countSibling);
    }

    std::vector<PropertyNode> Items(const XmlElement& parent) const
    {
        std::vector<PropertyNode> items;
        for (const XmlElement& child : parent.children) {
            if (child.LocalName() == "data") {
                items.push_back(Data(child, items));
            } else if (child.LocalName() == "struct") {
                PropertyNode node;
                node.property.name = Utf8ToUtf16(RequiredAttribute(child, "name"));
                node.property.flags = PropertyStruct;
                SizeAttributes(child, items, node);
                node.members = Items(child);
                items.push_back(std::move(node));
            }
        }
        return items;
    }

    void ReadTemplates()
    {
        for (const XmlElement* element : Children(provider.FirstChild("templates"), "template")) {
            templates[RequiredAttribute(*element, "tid")] = Items(*element);
        }
    }

    template <typename Table>
    const typename Table::mapped_type& Lookup(const XmlElement& event, const Table& table, const std::string& key,
                                              const char* what) const
    {
        const auto found = table.find(key);
        if (found == table.end()) {
            Fail(event, std::string("unknown ") + what + " \"" + key + "\"");
        }
        return found->second;
    }

    void Keywords(const XmlElement& event, EventDescription& description) const
    {
        std::vector<std::pair<uint64_t, std::u16string>> named;
        const std::string list = AttributeOr(event, "keywords");
        for (size_t start = 0; start < list.size();) {
            const size_t end = std::min(list.find(' ', start), list.size());
            if (end > start) {
                const Named& keyword = Lookup(event, keywords, list.substr(start, end - start), "keyword");
                description.descriptor.keyword |= keyword.value;
                named.emplace_back(keyword.value, keyword.displayName);
            }
            start = end + 1;
        }
        std::sort(named.begin(), named.end());
        for (auto& entry : named) {
            description.keywordNames.push_back(std::move(entry.second));
        }
    }

    EventDescription Event(const XmlElement& event) const
    {
        EventDescription description;
        description.provider = guid;
        description.providerName = providerName;
        description.source = DecodingSource::XmlFile;
        EventDescriptor& descriptor = description.descriptor;
        descriptor.id = static_cast<uint16_t>(Number(event, "value", RequiredAttribute(event, "value"), 0xFFFF));
        descriptor.version = static_cast<uint8_t>(Number(event, "version", AttributeOr(event, "version", "0"), 0xFF));
        if (const std::string* level = event.Attribute("level")) {
            const Named& named = Lookup(event, levels, *level, "level");
            descriptor.level = static_cast<uint8_t>(named.value);
            description.levelName = named.displayName;
        }
        std::string taskName;
        if (const std::string* task = event.Attribute("task")) {
            const Named& named = Lookup(event, tasks, *task, "task");
            descriptor.task = static_cast<uint16_t>(named.value);
            description.taskName = named.displayName;
            taskName = *task;
        }
        if (const std::string* opcode = event.Attribute("opcode")) {
            const auto scoped = taskOpcodes.find(taskName);
            const bool inTask = scoped != taskOpcodes.end() && scoped->second.count(*opcode) != 0;
            const Named& named = Lookup(event, inTask ? scoped->second : opcodes, *opcode, "opcode");
            descriptor.opcode = static_cast<uint8_t>(named.value);
            description.opcodeName = named.displayName;
        }
        Keywords(event, description);
        if (const std::string* channel = event.Attribute("channel")) {
            const Channel& named = Lookup(event, channels, *channel, "channel");
            descriptor.channel = static_cast<uint8_t>(named.value);
            descriptor.keyword |= named.keywordBit;
            description.channelName = named.name;
        }
        if (const std::string* message = event.Attribute("message")) {
            description.message = Message(event, *message);
        }
        if (const std::string* templateId = event.Attribute("template")) {
            FlattenProperties(Lookup(event, templates, *templateId, "template"), description);
        } else {
            description.IndexNames();
        }
        return description;
    }

    struct Channel {
        uint64_t value = 0;
        std::u16string name;
        uint64_t keywordBit = 0;
    };

    const XmlElement& provider;
    const std::unordered_map<std::string, std::u16string>& strings;
    Guid guid;
    std::u16string providerName;
    NameTable levels;
    NameTable tasks;
    NameTable opcodes;
    NameTable keywords;
    std::unordered_map<std::string, NameTable> taskOpcodes;
    std::unordered_map<std::string, Channel> channels;
    std::unordered_map<std::string, std::vector<PropertyNode>> templates;
};

} // namespace

std::vector<EventDescription> ReadManifest(std::string_view xml)
{
    const XmlElement root = ParseXml(xml);
    const XmlElement* instrumentation =
        root.LocalName() == "instrumentation" ? &root : FindDescendant(root, "instrumentation");
    const XmlElement* events = instrumentation != nullptr ? instrumentation->FirstChild("events") : nullptr;
    if (events == nullptr) {
        throw FormatError("manifest line " + std::to_string(root.line) + ": no instrumentation/events element");
    }
    const auto strings = StringTable(root);
    std::vector<EventDescription> descriptions;
    for (const XmlElement* provider : Children(events, "provider")) {
        ProviderReader(*provider, strings).Events(descriptions);
    }
    return descriptions;
}

} // namespace Etl
