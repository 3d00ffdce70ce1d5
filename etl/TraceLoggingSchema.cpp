#include "etl/TraceLoggingSchema.h"

#include "etl/ByteCursor.h"
#include "etl/FormatError.h"
#include "etl/PropertyTree.h"
#include "etl/StandardNames.h"
#include "etl/TextEncoding.h"

#include <string>

namespace Etl {

namespace {

constexpr uint8_t typeMask = 0x1F;
constexpr uint8_t countMask = 0x60;
constexpr uint8_t constantCount = 0x20;
constexpr uint8_t variableCount = 0x40;
constexpr uint8_t customSchema = 0x60;
constexpr uint8_t chainFlag = 0x80;
constexpr uint8_t structType = 24;
constexpr unsigned maxStructDepth = 32;

// TraceLogging's out-types (_TlgOut in TraceLoggingProvider.h).
enum TlgOut : uint8_t {
    TlgOutNull = 0,
    TlgOutNoPrint = 1,
    TlgOutString = 2,
    TlgOutBoolean = 3,
    TlgOutHex = 4,
    TlgOutPid = 5,
    TlgOutTid = 6,
    TlgOutPort = 7,
    TlgOutIpv4 = 8,
    TlgOutIpv6 = 9,
    TlgOutSocketAddress = 10,
    TlgOutXml = 11,
    TlgOutJson = 12,
    TlgOutWin32Error = 13,
    TlgOutNtStatus = 14,
    TlgOutHResult = 15,
    TlgOutFileTime = 16,
    TlgOutSigned = 17,
    TlgOutUnsigned = 18,
};

[[noreturn]] void Malformed(const std::string& what)
{
    throw FormatError("TraceLogging metadata: " + what);
}

// The width class of an integer in-type: 0 for 8 bits up to 3 for 64 bits, -1 for others.
int IntegerWidth(uint16_t inType)
{
    switch (inType) {
    case InInt8:
    case InUInt8:
        return 0;
    case InInt16:
    case InUInt16:
        return 1;
    case InInt32:
    case InUInt32:
    case InHexInt32:
        return 2;
    case InInt64:
    case InUInt64:
    case InHexInt64:
        return 3;
    default:
        return -1;
    }
}

// TDH reports TraceLogging's out-types in its own numbering.
uint16_t TdhOutType(uint8_t out, uint16_t inType)
{
    const int width = IntegerWidth(inType);
    switch (out) {
    case TlgOutNull:
        return OutNull;
    case TlgOutNoPrint:
        return OutNoPrint;
    case TlgOutString:
        return OutString;
    case TlgOutBoolean:
        return OutBoolean;
    case TlgOutHex:
        if (width >= 0) {
            return static_cast<uint16_t>(OutHexInt8 + width);
        }
        return inType == InBinary || inType == InManifestCountedBinary ? OutHexBinary : OutNull;
    case TlgOutPid:
        return OutPid;
    case TlgOutTid:
        return OutTid;
    case TlgOutPort:
        return OutPort;
    case TlgOutIpv4:
        return OutIpv4;
    case TlgOutIpv6:
        return OutIpv6;
    case TlgOutSocketAddress:
        return OutSocketAddress;
    case TlgOutXml:
        return OutXml;
    case TlgOutJson:
        return OutJson;
    case TlgOutWin32Error:
        return OutWin32Error;
    case TlgOutNtStatus:
        return OutNtStatus;
    case TlgOutHResult:
        return OutHResult;
    case TlgOutFileTime:
        return OutDateTime;
    case TlgOutSigned:
        return static_cast<uint16_t>(width >= 0 ? OutByte + 2 * width : OutNull);
    case TlgOutUnsigned:
        return static_cast<uint16_t>(width >= 0 ? OutUnsignedByte + 2 * width : OutNull);
    default:
        // 33 and above (culture-insensitive date, UTF-8, PKCS#7, code pointer, UTC date) share
        // TDH's numbers.
        return out;
    }
}

class SchemaReader {
public:
    explicit SchemaReader(std::span<const uint8_t> item) : cursor(Sized(item, "event schema")) {}

    static ByteCursor Sized(std::span<const uint8_t> item, const char* what)
    {
        ByteCursor whole(item);
        const uint16_t size = whole.U16();
        if (!whole.Ok() || size < 2 || size > item.size()) {
            Malformed(std::string(what) + " size does not fit its item");
        }
        ByteCursor cursor(item.first(size));
        cursor.Skip(2);
        return cursor;
    }

    uint32_t Tags()
    {
        uint32_t tags = 0;
        for (int shift = 21; shift >= 0; shift -= 7) {
            const uint8_t byte = cursor.U8();
            if (!cursor.Ok()) {
                Malformed("tags end early");
            }
            tags |= static_cast<uint32_t>(byte & 0x7F) << shift;
            if ((byte & chainFlag) == 0) {
                return tags;
            }
        }
        Malformed("tags longer than four bytes");
    }

    std::string_view Name(const char* what)
    {
        const std::string_view name = cursor.Terminated();
        if (!cursor.Ok()) {
            Malformed(std::string(what) + " without a terminator");
        }
        return name;
    }

    PropertyNode Field(unsigned depth)
    {
        PropertyNode node;
        PropertyDescription& property = node.property;
        property.name = Utf8ToUtf16(Name("field name"));
        const uint8_t in = cursor.U8();
        if (!cursor.Ok()) {
            Malformed("field \"" + Utf16ToUtf8(property.name) + "\" has no type");
        }
        uint8_t out = 0;
        if ((in & chainFlag) != 0) {
            out = cursor.U8();
            if (!cursor.Ok()) {
                Malformed("field \"" + Utf16ToUtf8(property.name) + "\" ends before its out-type");
            }
            if ((out & chainFlag) != 0) {
                property.tags = Tags();
                property.flags |= PropertyHasTags;
            }
            out &= 0x7F;
        }
        const uint8_t count = in & countMask;
        if (count == constantCount || count == customSchema) {
            const uint16_t number = cursor.U16();
            if (!cursor.Ok()) {
                Malformed("field \"" + Utf16ToUtf8(property.name) + "\" ends before its count");
            }
            if (count == constantCount) {
                property.count = number;
                property.flags |= PropertyParamFixedCount;
            } else {
                cursor.Skip(number);
                if (!cursor.Ok()) {
                    Malformed("custom schema of field \"" + Utf16ToUtf8(property.name) + "\" passes the end");
                }
            }
        } else if (count == variableCount) {
            property.flags |= PropertyCountInData;
        }
        const uint8_t type = in & typeMask;
        if (count == customSchema) {
            // Its data is a byte count and bytes, whatever the type says.
            property.inType = InManifestCountedBinary;
            property.flags |= PropertyHasCustomSchema;
        } else if (type == structType) {
            if (depth >= maxStructDepth) {
                Malformed("structs nested deeper than " + std::to_string(maxStructDepth) + " levels");
            }
            property.flags |= PropertyStruct;
            for (uint8_t member = 0; member < out; ++member) {
                if (cursor.AtEnd()) {
                    Malformed("struct \"" + Utf16ToUtf8(property.name) + "\" has fewer fields than it declares");
                }
                node.members.push_back(Field(depth + 1));
            }
        } else if (type == 0 || type > InManifestCountedBinary) {
            Malformed("field \"" + Utf16ToUtf8(property.name) + "\" has unknown type " + std::to_string(type));
        } else {
            // TraceLogging's binary type is a byte count and the bytes: the layout of TDH's
            // counted binary, which says so without knowing where the event came from.
            property.inType = type == InBinary ? uint16_t{InManifestCountedBinary} : uint16_t{type};
            property.outType = TdhOutType(out, property.inType);
        }
        return node;
    }

    EventDescription Read(const Event& event, std::span<const uint8_t> traits)
    {
        EventDescription description;
        description.provider = event.provider;
        description.descriptor = event.descriptor;
        description.source = DecodingSource::TraceLogging;
        description.levelName = StandardLevelName(event.descriptor.level);
        // Opcode 0 is what an event that sets none carries: it gets no name, as in a manifest.
        if (event.descriptor.opcode != 0) {
            description.opcodeName = StandardOpcodeName(event.descriptor.opcode);
        }
        description.tags = Tags();
        description.eventName = Utf8ToUtf16(Name("event name"));
        description.taskName = description.eventName;
        std::vector<PropertyNode> fields;
        while (!cursor.AtEnd()) {
            fields.push_back(Field(0));
        }
        FlattenProperties(fields, description);
        if (!traits.empty()) {
            SchemaReader traitsReader(traits, "provider traits");
            description.providerName = Utf8ToUtf16(traitsReader.Name("provider name"));
        }
        return description;
    }

private:
    SchemaReader(std::span<const uint8_t> item, const char* what) : cursor(Sized(item, what)) {}

    ByteCursor cursor;
};

} // namespace

const ExtendedItem* FindExtendedItem(const Event& event, uint16_t type)
{
    for (const ExtendedItem& item : event.extended) {
        if (item.type == type) {
            return &item;
        }
    }
    return nullptr;
}

EventDescription ReadTraceLoggingSchema(const Event& event, std::span<const uint8_t> schema,
                                        std::span<const uint8_t> traits)
{
    return SchemaReader(schema).Read(event, traits);
}

} // namespace Etl
