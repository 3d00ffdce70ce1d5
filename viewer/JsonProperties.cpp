#include "viewer/JsonProperties.h"

#include "etl/FormatError.h"
#include "etl/PropertyTypes.h"
#include "etl/PropertyValue.h"
#include "viewer/DecodingTdh.h"
#include "viewer/EventInformation.h"

#include <climits>
#include <cstddef>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>
#include <variant>
#include <vector>

namespace Viewer {

namespace {

static_assert(sizeof(wchar_t) == sizeof(char16_t), "TDH's UTF-16 names are handed on as char16_t");

// Elements asked for before an array is taken to have ended: TraceLogging counts are 16-bit.
constexpr ULONG maxElements = 0x10000;

// Kept from event to event, so that a value allocates nothing once they have grown.
struct Scratch {
    std::vector<uint8_t> bytes;
    std::wstring ansi;
    std::u16string text;
};

Scratch& Buffers()
{
    static Scratch scratch;
    return scratch;
}

std::u16string_view Utf16(std::wstring_view text)
{
    return {reinterpret_cast<const char16_t*>(text.data()), text.size()};
}

unsigned PointerSize(const EVENT_RECORD& record)
{
    return (record.EventHeader.Flags & EVENT_HEADER_FLAG_32_BIT_HEADER) != 0 ? 4 : 8;
}

// PROPERTY_FLAGS as a number: not every SDK's tdh.h names the newer flags, and the decoder's
// constants are the same bits.
uint32_t Flags(const EVENT_PROPERTY_INFO& property)
{
    return static_cast<uint32_t>(property.Flags);
}

bool IsArray(const EVENT_PROPERTY_INFO& property)
{
    return (Flags(property) & (Etl::PropertyParamCount | Etl::PropertyParamFixedCount)) != 0 || property.count != 1;
}

bool IsStruct(const EVENT_PROPERTY_INFO& property)
{
    return (Flags(property) & Etl::PropertyStruct) != 0;
}

// Characters sent as an array: of UnicodeChar or AnsiChar, or of 8- or 16-bit integers that
// their out-type marks as text (TraceLogging's counted strings without a terminator).
bool IsCharacterArray(const EVENT_PROPERTY_INFO& property)
{
    if (IsStruct(property) || !IsArray(property)) {
        return false;
    }
    const USHORT in = property.nonStructType.InType;
    const USHORT out = property.nonStructType.OutType;
    if (in == Etl::InUnicodeChar || in == Etl::InAnsiChar) {
        return true;
    }
    const bool small = in == Etl::InUInt8 || in == Etl::InInt8 || in == Etl::InUInt16 || in == Etl::InInt16;
    return small && (out == Etl::OutString || out == Etl::OutUtf8);
}

// 8-bit text: UTF-8 when the out-type says so, otherwise the producer's ANSI code page, which
// TDH takes to be the consumer's own.
void AppendAnsi(const Etl::AnsiText& value, USHORT outType, std::u16string& text)
{
    if (outType == Etl::OutUtf8) {
        text += Etl::FormatValue(value);
        return;
    }
    std::wstring& wide = Buffers().ansi;
    wide.resize(value.bytes.size());
    const int length = value.bytes.empty() || value.bytes.size() > INT_MAX
                           ? 0
                           : ::MultiByteToWideChar(CP_ACP, 0, value.bytes.data(), static_cast<int>(value.bytes.size()),
                                                   wide.data(), static_cast<int>(wide.size()));
    text.append(Utf16(std::wstring_view(wide.data(), length > 0 ? static_cast<size_t>(length) : 0)));
}

bool HexOutType(USHORT outType)
{
    return outType >= Etl::OutHexInt8 && outType <= Etl::OutHexInt64;
}

// One decoded value as JSON.
struct ValueWriter {
    Etl::JsonWriter& json;
    USHORT outType;
    std::u16string& text; // scratch for values written as their text

    void AsText(const Etl::PropertyValue& value)
    {
        text = Etl::FormatValue(value, outType);
        json.String(text);
    }
    void operator()(std::monostate) { json.Null(); }
    void operator()(int64_t value)
    {
        if (HexOutType(outType)) {
            AsText(value);
        } else {
            json.Integer(value);
        }
    }
    void operator()(uint64_t value)
    {
        if (HexOutType(outType) || outType == Etl::OutDateTime) {
            AsText(value);
        } else {
            json.Integer(value);
        }
    }
    void operator()(bool value) { json.Boolean(value); }
    void operator()(float value) { json.Number(value); }
    void operator()(double value) { json.Number(value); }
    void operator()(const std::u16string& value) { json.String(value); }
    void operator()(const Etl::AnsiText& value)
    {
        if (outType == Etl::OutUtf8) {
            json.String(std::string_view(value.bytes));
            return;
        }
        text.clear();
        AppendAnsi(value, outType, text);
        json.String(text);
    }
    void operator()(const std::vector<uint8_t>& value) { json.Base64(value); }
    // GUIDs, times, SIDs, pointers and HexInt types: strings in the decoder's form.
    template <typename Other> void operator()(const Other& value) { AsText(value); }
};

// The descriptors that name one property: a top-level property, or a member of a struct.
struct Path {
    PROPERTY_DATA_DESCRIPTOR descriptors[2]{};
    ULONG depth = 0; // the descriptor being walked: 0 top level, 1 member

    ULONG Count() const { return depth + 1; }
    void Name(const wchar_t* name, ULONG arrayIndex)
    {
        descriptors[depth].PropertyName = reinterpret_cast<ULONGLONG>(name);
        descriptors[depth].ArrayIndex = arrayIndex;
        descriptors[depth].Reserved = 0;
    }
};

class PropertyWalker {
public:
    PropertyWalker(const EVENT_RECORD& record, const TRACE_EVENT_INFO& information, ULONG informationSize)
        : record(record), information(information), informationSize(informationSize)
    {
    }

    // The property at that flat index, or null when the buffer does not hold it.
    const EVENT_PROPERTY_INFO* Property(size_t index) const
    {
        constexpr size_t arrayOffset = offsetof(TRACE_EVENT_INFO, EventPropertyInfoArray);
        if (index >= information.PropertyCount ||
            arrayOffset + (index + 1) * sizeof(EVENT_PROPERTY_INFO) > informationSize) {
            return nullptr;
        }
        return &information.EventPropertyInfoArray[index];
    }

    std::optional<std::wstring_view> Name(const EVENT_PROPERTY_INFO& property) const
    {
        return EventInformationString(information, informationSize, property.NameOffset);
    }

    // The bytes of the property the path names, into the shared scratch buffer.
    ULONG Read(Path& path) const
    {
        auto* event = const_cast<EVENT_RECORD*>(&record);
        std::vector<uint8_t>& bytes = Buffers().bytes;
        ULONG size = 0;
        ULONG status = DecodingTdh().TdhGetPropertySize(event, 0, nullptr, path.Count(), path.descriptors, &size);
        if (status != ERROR_SUCCESS) {
            return status;
        }
        bytes.assign(size, 0);
        if (size == 0) {
            return ERROR_SUCCESS;
        }
        status = DecodingTdh().TdhGetProperty(event, 0, nullptr, path.Count(), path.descriptors, size, bytes.data());
        return status;
    }

    bool Present(Path& path) const
    {
        auto* event = const_cast<EVENT_RECORD*>(&record);
        ULONG size = 0;
        return DecodingTdh().TdhGetPropertySize(event, 0, nullptr, path.Count(), path.descriptors, &size) ==
               ERROR_SUCCESS;
    }

    // The value of the element the path names, decoded; nullopt when it cannot be read.
    std::optional<Etl::PropertyValue> Value(const EVENT_PROPERTY_INFO& property, Path& path) const
    {
        if (Read(path) != ERROR_SUCCESS) {
            return std::nullopt;
        }
        try {
            return Etl::DecodeValue(property.nonStructType.InType, Buffers().bytes, PointerSize(record));
        } catch (const Etl::FormatError&) {
            return std::nullopt;
        }
    }

    // How many elements to ask for: the count the description gives, else as many as TDH
    // answers for.
    ULONG ElementLimit(const EVENT_PROPERTY_INFO& property, size_t index, const Path& path) const
    {
        if ((Flags(property) & Etl::PropertyParamCount) == 0) {
            return property.count;
        }
        const size_t counter = property.countPropertyIndex;
        const EVENT_PROPERTY_INFO* holder = Property(counter);
        if (path.depth != 0 || counter == index || counter >= information.TopLevelPropertyCount || holder == nullptr) {
            return maxElements;
        }
        const std::optional<std::wstring_view> name = Name(*holder);
        if (!name) {
            return maxElements;
        }
        Path countPath;
        countPath.Name(name->data(), ULONG_MAX);
        const std::optional<Etl::PropertyValue> value = Value(*holder, countPath);
        if (value && std::holds_alternative<uint64_t>(*value)) {
            return static_cast<ULONG>(std::min<uint64_t>(std::get<uint64_t>(*value), maxElements));
        }
        return maxElements;
    }

    void AppendText(const EVENT_PROPERTY_INFO& property, const Etl::PropertyValue& value, std::u16string& text) const
    {
        if (const auto* ansi = std::get_if<Etl::AnsiText>(&value)) {
            AppendAnsi(*ansi, property.nonStructType.OutType, text);
        } else {
            text += Etl::FormatValue(value, property.nonStructType.OutType);
        }
    }

    // The characters of an array of them, as one string.
    void AppendCharacters(const EVENT_PROPERTY_INFO& property, size_t index, Path& path, std::u16string& text) const
    {
        const ULONG limit = ElementLimit(property, index, path);
        const bool narrow = property.nonStructType.InType == Etl::InAnsiChar ||
                            property.nonStructType.InType == Etl::InUInt8 ||
                            property.nonStructType.InType == Etl::InInt8;
        std::string ansi;
        for (ULONG element = 0; element < limit; ++element) {
            path.descriptors[path.depth].ArrayIndex = element;
            if (Read(path) != ERROR_SUCCESS) {
                break;
            }
            const std::vector<uint8_t>& bytes = Buffers().bytes;
            if (narrow && !bytes.empty()) {
                ansi.push_back(static_cast<char>(bytes[0]));
            } else if (bytes.size() >= 2) {
                text.push_back(static_cast<char16_t>(bytes[0] | bytes[1] << 8));
            }
        }
        if (narrow) {
            AppendText(property, Etl::AnsiText{ansi}, text);
        }
    }

    const EVENT_RECORD& record;
    const TRACE_EVENT_INFO& information;
    const ULONG informationSize;
};

class JsonPropertyWriter {
public:
    JsonPropertyWriter(Etl::JsonWriter& json, const PropertyWalker& walker)
        : json(json), walker(walker), text(Buffers().text)
    {
    }

    // The property at that flat index under its name, inside the object being written.
    void Member(size_t index, Path& path)
    {
        const EVENT_PROPERTY_INFO* property = walker.Property(index);
        const std::optional<std::wstring_view> name = property != nullptr ? walker.Name(*property) : std::nullopt;
        if (!name) {
            return; // nothing to name it by, nor to ask TDH for it with
        }
        json.Key(Utf16(*name));
        path.Name(name->data(), ULONG_MAX);
        if (IsCharacterArray(*property)) {
            text.clear();
            walker.AppendCharacters(*property, index, path, text);
            json.String(text);
        } else if (IsArray(*property)) {
            Elements(*property, index, path);
        } else {
            Element(*property, path);
        }
    }

private:
    void Elements(const EVENT_PROPERTY_INFO& property, size_t index, Path& path)
    {
        const ULONG limit = walker.ElementLimit(property, index, path);
        json.BeginArray();
        for (ULONG element = 0; element < limit; ++element) {
            path.descriptors[path.depth].ArrayIndex = element;
            if (!walker.Present(path)) {
                break;
            }
            Element(property, path);
        }
        json.EndArray();
    }

    void Element(const EVENT_PROPERTY_INFO& property, Path& path)
    {
        if (!IsStruct(property)) {
            const std::optional<Etl::PropertyValue> value = walker.Value(property, path);
            if (value) {
                std::visit(ValueWriter{json, property.nonStructType.OutType, text}, *value);
            } else {
                json.Null();
            }
            return;
        }
        if (path.depth != 0) {
            json.Null(); // a struct inside a struct: TDH's paths do not reach into it
            return;
        }
        json.BeginObject();
        const size_t first = property.structType.StructStartIndex;
        for (size_t member = first; member < first + property.structType.NumOfStructMembers; ++member) {
            path.depth = 1;
            Member(member, path);
            path.depth = 0;
        }
        json.EndObject();
    }

    Etl::JsonWriter& json;
    const PropertyWalker& walker;
    std::u16string& text;
};

} // namespace

void WriteJsonProperties(Etl::JsonWriter& json, const EVENT_RECORD& record, const TRACE_EVENT_INFO& information,
                         ULONG informationSize)
{
    const PropertyWalker walker(record, information, informationSize);
    JsonPropertyWriter writer(json, walker);
    json.Key("properties");
    json.BeginObject();
    for (size_t index = 0; index < information.TopLevelPropertyCount; ++index) {
        Path path;
        writer.Member(index, path);
    }
    json.EndObject();
}

void AppendPropertyText(const EVENT_RECORD& record, const TRACE_EVENT_INFO& information, ULONG informationSize,
                        size_t index, std::u16string& text)
{
    const PropertyWalker walker(record, information, informationSize);
    const EVENT_PROPERTY_INFO* property = walker.Property(index);
    const std::optional<std::wstring_view> name = property != nullptr ? walker.Name(*property) : std::nullopt;
    if (!name || IsStruct(*property)) {
        return;
    }
    Path path;
    path.Name(name->data(), ULONG_MAX);
    if (IsCharacterArray(*property)) {
        walker.AppendCharacters(*property, index, path, text);
        return;
    }
    if (!IsArray(*property)) {
        if (const std::optional<Etl::PropertyValue> value = walker.Value(*property, path)) {
            walker.AppendText(*property, *value, text);
        }
        return;
    }
    const ULONG limit = walker.ElementLimit(*property, index, path);
    for (ULONG element = 0; element < limit; ++element) {
        path.descriptors[0].ArrayIndex = element;
        const std::optional<Etl::PropertyValue> value = walker.Value(*property, path);
        if (!value) {
            break;
        }
        if (element != 0) {
            text += u", ";
        }
        walker.AppendText(*property, *value, text);
    }
}

} // namespace Viewer
