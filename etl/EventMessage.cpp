#include "etl/EventMessage.h"

#include "etl/FormatError.h"
#include "etl/PropertyLocator.h"
#include "etl/PropertyValue.h"

namespace Etl {

namespace {

std::span<const uint8_t> Bytes(const Event& event, const PropertyLocation& location)
{
    return event.userData.subspan(location.offset, location.size);
}

// Characters written as an array of 8- or 16-bit integers, marked as text by their out-type
// (TraceLogging's way of sending a counted string without a terminator).
bool CharacterArray(const PropertyDescription& property)
{
    if (property.outType != OutString && property.outType != OutUtf8) {
        return false;
    }
    return property.inType == InUInt16 || property.inType == InInt16 || property.inType == InUInt8 ||
           property.inType == InInt8;
}

std::u16string ElementText(const Event& event, const PropertyDescription& property, const PropertyLocation& location)
{
    try {
        return FormatValue(DecodeValue(property.inType, Bytes(event, location), event.pointerSize), property.outType);
    } catch (const FormatError&) {
        return {};
    }
}

} // namespace

std::u16string FormatProperty(const Event& event, const EventDescription& description, size_t index)
{
    if (index >= description.topLevelPropertyCount) {
        return {};
    }
    const PropertyDescription& property = description.properties[index];
    if (property.IsStruct()) {
        return {};
    }
    if (!property.IsArray()) {
        const PropertyLocation location = LocatePropertyAt(event, description, index);
        return location.status == StatusSuccess ? ElementText(event, property, location) : std::u16string();
    }
    std::vector<PropertyLocation> elements;
    if (LocateElements(event, description, index, elements) != StatusSuccess) {
        return {};
    }
    std::u16string text;
    const bool characters = CharacterArray(property);
    for (size_t element = 0; element < elements.size(); ++element) {
        if (characters) {
            const PropertyValue value =
                DecodeValue(property.inType, Bytes(event, elements[element]), event.pointerSize);
            const uint64_t code = std::holds_alternative<int64_t>(value)
                                      ? static_cast<uint64_t>(std::get<int64_t>(value))
                                      : std::get<uint64_t>(value);
            const bool narrow = property.inType == InUInt8 || property.inType == InInt8;
            text.push_back(static_cast<char16_t>(narrow ? code & 0xFF : code & 0xFFFF));
            continue;
        }
        if (element != 0) {
            text += u", ";
        }
        text += ElementText(event, property, elements[element]);
    }
    return text;
}

void AppendMessageWithInserts(std::u16string_view message, size_t propertyCount,
                              const std::function<void(size_t index, std::u16string& text)>& appendProperty,
                              std::u16string& text)
{
    for (size_t at = 0; at < message.size(); ++at) {
        const char16_t c = message[at];
        if (c != u'%' || at + 1 >= message.size()) {
            text.push_back(c);
            continue;
        }
        const char16_t next = message[at + 1];
        if (next >= u'1' && next <= u'9') {
            size_t number = static_cast<size_t>(next - u'0');
            size_t end = at + 2;
            if (end < message.size() && message[end] >= u'0' && message[end] <= u'9') {
                number = number * 10 + static_cast<size_t>(message[end] - u'0');
                ++end;
            }
            if (end < message.size() && message[end] == u'!') {
                const size_t close = message.find(u'!', end + 1);
                end = close == std::u16string::npos ? end : close + 1;
            }
            if (number <= propertyCount) {
                appendProperty(number - 1, text);
            } else {
                text.append(message.substr(at, end - at));
            }
            at = end - 1;
            continue;
        }
        switch (next) {
        case u'n':
            text += u"\r\n";
            break;
        case u't':
            text.push_back(u'\t');
            break;
        case u'r':
            text.push_back(u'\r');
            break;
        case u'b':
            text.push_back(u' ');
            break;
        default:
            text.push_back(next); // "%%", "%.", "%!" and anything else: the character itself
            break;
        }
        ++at;
    }
}

std::u16string FormatEventMessage(const Event& event, const EventDescription& description)
{
    std::u16string text;
    AppendMessageWithInserts(
        description.message, description.topLevelPropertyCount,
        [&event, &description](size_t index, std::u16string& to) { to += FormatProperty(event, description, index); },
        text);
    return text;
}

} // namespace Etl
