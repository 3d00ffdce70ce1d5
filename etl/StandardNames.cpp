#include "etl/StandardNames.h"

#include "etl/PropertyTypes.h"

#include <utility>

namespace Etl {

namespace {

// winmeta.xml, with the English texts of its message strings.
constexpr StandardName levels[] = {
    {"win:LogAlways", 0, u"Log Always"}, {"win:Critical", 1, u"Critical"},         {"win:Error", 2, u"Error"},
    {"win:Warning", 3, u"Warning"},      {"win:Informational", 4, u"Information"}, {"win:Verbose", 5, u"Verbose"},
};

constexpr StandardName opcodes[] = {
    {"win:Info", 0, u"Info"},        {"win:Start", 1, u"Start"},       {"win:Stop", 2, u"Stop"},
    {"win:DC_Start", 3, u"DCStart"}, {"win:DC_Stop", 4, u"DCStop"},    {"win:Extension", 5, u"Extension"},
    {"win:Reply", 6, u"Reply"},      {"win:Resume", 7, u"Resume"},     {"win:Suspend", 8, u"Suspend"},
    {"win:Send", 9, u"Send"},        {"win:Receive", 240, u"Receive"},
};

constexpr StandardName tasks[] = {{"win:None", 0, u"None"}};

constexpr StandardName keywords[] = {
    {"win:ResponseTime", 0x0001000000000000, u"Response Time"},
    {"win:WDIContext", 0x0002000000000000, u"WDI Context"},
    {"win:WDIDiag", 0x0004000000000000, u"WDI Diag"},
    {"win:SQM", 0x0008000000000000, u"SQM"},
    {"win:AuditFailure", 0x0010000000000000, u"Audit Failure"},
    {"win:AuditSuccess", 0x0020000000000000, u"Audit Success"},
    {"win:CorrelationHint", 0x0040000000000000, u"Correlation Hint"},
    {"win:EventlogClassic", 0x0080000000000000, u"Classic"},
};

// The channels a manifest may import by name.
constexpr StandardName channels[] = {
    {"System", 8, u"System"}, {"Application", 9, u"Application"}, {"Security", 10, u"Security"}};

constexpr std::pair<std::string_view, uint16_t> inTypes[] = {
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
    {"win:Float", InFloat},
    {"win:Double", InDouble},
    {"win:Boolean", InBoolean},
    {"win:Binary", InBinary},
    {"win:GUID", InGuid},
    {"win:Pointer", InPointer},
    {"win:FILETIME", InFileTime},
    {"win:SYSTEMTIME", InSystemTime},
    {"win:SID", InSid},
    {"win:HexInt32", InHexInt32},
    {"win:HexInt64", InHexInt64},
    {"win:CountedUnicodeString", InManifestCountedString},
    {"win:CountedAnsiString", InManifestCountedAnsiString},
    {"win:CountedBinary", InManifestCountedBinary},
};

constexpr std::pair<std::string_view, uint16_t> outTypes[] = {
    {"xs:string", OutString},
    {"xs:dateTime", OutDateTime},
    {"xs:byte", OutByte},
    {"xs:unsignedByte", OutUnsignedByte},
    {"xs:short", OutShort},
    {"xs:unsignedShort", OutUnsignedShort},
    {"xs:int", OutInt},
    {"xs:unsignedInt", OutUnsignedInt},
    {"xs:long", OutLong},
    {"xs:unsignedLong", OutUnsignedLong},
    {"xs:float", OutFloat},
    {"xs:double", OutDouble},
    {"xs:boolean", OutBoolean},
    {"xs:GUID", OutGuid},
    {"xs:hexBinary", OutHexBinary},
    {"win:HexInt8", OutHexInt8},
    {"win:HexInt16", OutHexInt16},
    {"win:HexInt32", OutHexInt32},
    {"win:HexInt64", OutHexInt64},
    {"win:PID", OutPid},
    {"win:TID", OutTid},
    {"win:Port", OutPort},
    {"win:IPv4", OutIpv4},
    {"win:IPv6", OutIpv6},
    {"win:SocketAddress", OutSocketAddress},
    {"win:CIMDateTime", OutCimDateTime},
    {"win:ETWTIME", OutEtwTime},
    {"win:Xml", OutXml},
    {"win:ErrorCode", OutErrorCode},
    {"win:Win32Error", OutWin32Error},
    {"win:NTSTATUS", OutNtStatus},
    {"win:HResult", OutHResult},
    {"win:DateTimeCultureInsensitive", OutCultureInsensitiveDateTime},
    {"win:Json", OutJson},
    {"win:Utf8", OutUtf8},
    {"win:Pkcs7WithTypeInfo", OutPkcs7WithTypeInfo},
    {"win:CodePointer", OutCodePointer},
    {"win:DateTimeUtc", OutDateTimeUtc},
};

std::u16string_view DisplayNameOf(std::span<const StandardName> table, uint64_t value)
{
    for (const StandardName& entry : table) {
        if (entry.value == value) {
            return entry.displayName;
        }
    }
    return {};
}

template <size_t size>
bool TypeFromName(const std::pair<std::string_view, uint16_t> (&table)[size], std::string_view name, uint16_t& type)
{
    for (const auto& [typeName, number] : table) {
        if (typeName == name) {
            type = number;
            return true;
        }
    }
    return false;
}

} // namespace

std::span<const StandardName> StandardLevels()
{
    return levels;
}

std::span<const StandardName> StandardOpcodes()
{
    return opcodes;
}

std::span<const StandardName> StandardTasks()
{
    return tasks;
}

std::span<const StandardName> StandardKeywords()
{
    return keywords;
}

std::span<const StandardName> StandardChannels()
{
    return channels;
}

std::u16string_view StandardLevelName(uint8_t level)
{
    return DisplayNameOf(levels, level);
}

std::u16string_view StandardOpcodeName(uint8_t opcode)
{
    return DisplayNameOf(opcodes, opcode);
}

bool InTypeFromName(std::string_view name, uint16_t& inType)
{
    return TypeFromName(inTypes, name, inType);
}

bool OutTypeFromName(std::string_view name, uint16_t& outType)
{
    return TypeFromName(outTypes, name, outType);
}

} // namespace Etl
