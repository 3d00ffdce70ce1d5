#pragma once

// What the decoder knows about one kind of event, laid out as TDH's TRACE_EVENT_INFO so that
// a binding can build that structure field by field: the provider, the descriptor, the
// decoding source, the display names, the message, and one flat property array in which the
// top-level properties come first and each struct's members follow as a contiguous run
// (EVENT_PROPERTY_INFO's StructStartIndex and NumOfStructMembers).
//
// Names are UTF-16, as TDH reports them. An empty name means "none" (an offset of 0 in
// TRACE_EVENT_INFO).

#include "etl/Event.h"
#include "etl/PropertyTypes.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Etl {

// DECODING_SOURCE.
enum class DecodingSource : uint32_t {
    XmlFile = 0,
    Wbem = 1,
    Wpp = 2,
    TraceLogging = 3,
};

// One EVENT_PROPERTY_INFO.
struct PropertyDescription {
    std::u16string name;
    uint32_t flags = 0;       // PropertyFlag bits
    uint16_t inType = InNull; // InNull for a struct
    uint16_t outType = OutNull;
    std::u16string mapName;        // the value map or bit map a manifest names, or empty
    uint16_t structStartIndex = 0; // with PropertyStruct: the first member in the flat array
    uint16_t structMemberCount = 0;
    // The element count; with PropertyParamCount the index of the property that holds it.
    // A property is an array when the count is not 1 or a count flag is set.
    uint16_t count = 1;
    // With PropertyParamFixedLength the length (characters for strings, bytes otherwise); with
    // PropertyParamLength the index of the property that holds it; otherwise 0.
    uint16_t length = 0;
    uint32_t tags = 0; // TraceLogging field tags (28 bits), with PropertyHasTags

    bool IsStruct() const noexcept { return (flags & PropertyStruct) != 0; }
    bool IsArray() const noexcept
    {
        return count != 1 || (flags & (PropertyParamCount | PropertyParamFixedCount | PropertyCountInData)) != 0;
    }
};

struct EventDescription {
    Guid provider;
    EventDescriptor descriptor;
    DecodingSource source = DecodingSource::XmlFile;
    std::u16string providerName;
    std::u16string levelName;
    std::u16string channelName;
    std::vector<std::u16string> keywordNames; // one per keyword bit of the descriptor that has a name
    std::u16string taskName;
    std::u16string opcodeName;
    std::u16string message;   // with %1..%n inserts
    std::u16string eventName; // TraceLogging events
    uint32_t tags = 0;        // TraceLogging event tags (28 bits)
    std::vector<PropertyDescription> properties;
    size_t topLevelPropertyCount = 0;

    // The index of the top-level property of that name (case-sensitive), or npos. By hash, so
    // the viewer's lookups cost the same whatever the event's width. Requires IndexNames()
    // to have run after the last change to properties.
    static constexpr size_t npos = static_cast<size_t>(-1);
    size_t FindTopLevelProperty(std::u16string_view name) const;
    void IndexNames();

private:
    struct NameHash {
        using is_transparent = void;
        size_t operator()(std::u16string_view name) const noexcept { return std::hash<std::u16string_view>()(name); }
    };
    std::unordered_map<std::u16string, size_t, NameHash, std::equal_to<>> topLevelIndex;
};

} // namespace Etl
