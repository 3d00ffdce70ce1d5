#include "etl/PropertyValue.h"

#include "etl/FormatError.h"
#include "etl/GuidText.h"
#include "etl/PropertyTypes.h"
#include "etl/TextEncoding.h"

#include <charconv>
#include <cstring>
#include <string_view>

namespace Etl {

namespace {

[[noreturn]] void WrongSize(uint16_t inType, size_t size)
{
    throw FormatError("a value of in-type " + std::to_string(inType) + " cannot be " + std::to_string(size) +
                      " bytes long");
}

uint64_t Unsigned(uint16_t inType, std::span<const uint8_t> bytes, size_t width)
{
    if (bytes.size() != width) {
        WrongSize(inType, bytes.size());
    }
    uint64_t value = 0;
    for (size_t index = 0; index < width; ++index) {
        value |= uint64_t{bytes[index]} << (8 * index);
    }
    return value;
}

int64_t Signed(uint16_t inType, std::span<const uint8_t> bytes, size_t width)
{
    const uint64_t value = Unsigned(inType, bytes, width);
    const unsigned unused = static_cast<unsigned>(64 - 8 * width);
    // Sign-extend through the unused high bits; the shift is done on the unsigned value.
    return unused == 0 ? static_cast<int64_t>(value) : static_cast<int64_t>(value << unused) >> unused;
}

std::u16string Utf16UpToNul(std::span<const uint8_t> bytes)
{
    std::u16string text = Utf16FromLittleEndian(bytes);
    const size_t nul = text.find(u'\0');
    return nul == std::u16string::npos ? text : text.substr(0, nul);
}

AnsiText AnsiUpToNul(std::span<const uint8_t> bytes)
{
    std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const size_t nul = text.find('\0');
    return AnsiText{nul == std::string::npos ? text : text.substr(0, nul)};
}

// The bytes after a 16-bit (or 32-bit) count, which must account for all of them.
std::span<const uint8_t> AfterCount(uint16_t inType, std::span<const uint8_t> bytes, size_t prefix, bool bigEndian)
{
    if (bytes.size() < prefix) {
        WrongSize(inType, bytes.size());
    }
    uint64_t count = Unsigned(inType, bytes.first(prefix), prefix);
    if (bigEndian) {
        count = static_cast<uint16_t>(count >> 8 | count << 8);
    }
    if (count != bytes.size() - prefix) {
        WrongSize(inType, bytes.size());
    }
    return bytes.subspan(prefix);
}

SidValue Sid(uint16_t inType, std::span<const uint8_t> bytes)
{
    if (bytes.size() < 8 || bytes.size() != 8 + 4 * size_t{bytes[1]}) {
        WrongSize(inType, bytes.size());
    }
    SidValue sid;
    sid.revision = bytes[0];
    for (size_t index = 2; index < 8; ++index) {
        sid.authority = sid.authority << 8 | bytes[index]; // big-endian, as SID_IDENTIFIER_AUTHORITY
    }
    for (size_t index = 0; index < bytes[1]; ++index) {
        sid.subAuthorities.push_back(static_cast<uint32_t>(Unsigned(inType, bytes.subspan(8 + 4 * index, 4), 4)));
    }
    return sid;
}

template <typename Float, typename Integer> Float Floating(uint16_t inType, std::span<const uint8_t> bytes)
{
    const auto bits = static_cast<Integer>(Unsigned(inType, bytes, sizeof(Float)));
    Float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

} // namespace

PropertyValue DecodeValue(uint16_t inType, std::span<const uint8_t> bytes, unsigned pointerSize)
{
    switch (inType) {
    case InUnicodeString:
    case InNonNullTerminatedString:
        return Utf16UpToNul(bytes);
    case InAnsiString:
    case InNonNullTerminatedAnsiString:
        return AnsiUpToNul(bytes);
    case InManifestCountedString:
    case InCountedString:
        return Utf16UpToNul(AfterCount(inType, bytes, 2, false));
    case InReversedCountedString:
        return Utf16UpToNul(AfterCount(inType, bytes, 2, true));
    case InManifestCountedAnsiString:
    case InCountedAnsiString:
        return AnsiUpToNul(AfterCount(inType, bytes, 2, false));
    case InReversedCountedAnsiString:
        return AnsiUpToNul(AfterCount(inType, bytes, 2, true));
    case InUnicodeChar:
        return std::u16string(1, static_cast<char16_t>(Unsigned(inType, bytes, 2)));
    case InAnsiChar:
        return AnsiText{std::string(1, static_cast<char>(Unsigned(inType, bytes, 1)))};
    case InInt8:
        return Signed(inType, bytes, 1);
    case InInt16:
        return Signed(inType, bytes, 2);
    case InInt32:
        return Signed(inType, bytes, 4);
    case InInt64:
        return Signed(inType, bytes, 8);
    case InUInt8:
        return Unsigned(inType, bytes, 1);
    case InUInt16:
        return Unsigned(inType, bytes, 2);
    case InUInt32:
        return Unsigned(inType, bytes, 4);
    case InUInt64:
        return Unsigned(inType, bytes, 8);
    case InFloat:
        return Floating<float, uint32_t>(inType, bytes);
    case InDouble:
        return Floating<double, uint64_t>(inType, bytes);
    case InBoolean:
        return Unsigned(inType, bytes, 4) != 0;
    case InHexInt32:
        return HexValue{Unsigned(inType, bytes, 4), 4};
    case InHexInt64:
        return HexValue{Unsigned(inType, bytes, 8), 8};
    case InPointer:
    case InSizeT:
        return PointerValue{Unsigned(inType, bytes, pointerSize), static_cast<uint8_t>(pointerSize)};
    case InFileTime:
        return FileTimeValue{Unsigned(inType, bytes, 8)};
    case InSystemTime: {
        if (bytes.size() != 16) {
            WrongSize(inType, bytes.size());
        }
        uint16_t fields[8] = {};
        for (size_t index = 0; index < 8; ++index) {
            fields[index] = static_cast<uint16_t>(Unsigned(inType, bytes.subspan(2 * index, 2), 2));
        }
        return SystemTimeValue{fields[0], fields[1], fields[2], fields[3], fields[4], fields[5], fields[6], fields[7]};
    }
    case InGuid:
        if (bytes.size() != 16) {
            WrongSize(inType, bytes.size());
        }
        return GuidFromBytes(bytes.data());
    case InSid:
        return Sid(inType, bytes);
    case InWbemSid:
        if (bytes.size() < 2 * size_t{pointerSize}) {
            WrongSize(inType, bytes.size());
        }
        return Sid(inType, bytes.subspan(2 * size_t{pointerSize}));
    case InBinary:
        return std::vector<uint8_t>(bytes.begin(), bytes.end());
    case InManifestCountedBinary: {
        const std::span<const uint8_t> data = AfterCount(inType, bytes, 2, false);
        return std::vector<uint8_t>(data.begin(), data.end());
    }
    case InHexDump: {
        const std::span<const uint8_t> data = AfterCount(inType, bytes, 4, false);
        return std::vector<uint8_t>(data.begin(), data.end());
    }
    default:
        throw FormatError("in-type " + std::to_string(inType) + " is not known");
    }
}

namespace {

std::u16string Ascii(std::string_view text)
{
    return std::u16string(text.begin(), text.end());
}

std::u16string Hexadecimal(uint64_t value)
{
    char digits[17];
    const auto result = std::to_chars(digits, digits + sizeof digits, value, 16);
    std::string text(digits, result.ptr);
    for (char& c : text) {
        if (c >= 'a' && c <= 'f') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return u"0x" + Ascii(text);
}

template <typename Number> std::u16string Decimal(Number value)
{
    char digits[32];
    const auto result = std::to_chars(digits, digits + sizeof digits, value);
    return Ascii(std::string_view(digits, static_cast<size_t>(result.ptr - digits)));
}

std::u16string Padded(uint64_t value, size_t width)
{
    std::u16string text = Decimal(value);
    return std::u16string(text.size() < width ? width - text.size() : 0, u'0') + text;
}

// Days since 1970-01-01 to a civil date (proleptic Gregorian calendar).
void CivilFromDays(int64_t days, int64_t& year, unsigned& month, unsigned& day)
{
    days += 719468;
    const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const auto dayOfEra = static_cast<unsigned>(days - era * 146097);
    const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const unsigned shiftedMonth = (5 * dayOfYear + 2) / 153;
    day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
    month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
    year = static_cast<int64_t>(yearOfEra) + era * 400 + (month <= 2 ? 1 : 0);
}

std::u16string FileTimeText(uint64_t ticks)
{
    std::u16string text;
    AppendFileTimeText(ticks, text);
    return text;
}

std::u16string SidText(const SidValue& sid)
{
    std::u16string text = u"S-" + Decimal(unsigned{sid.revision}) + u"-";
    // As ConvertSidToStringSid: decimal below 2^32, otherwise hexadecimal.
    text += sid.authority < (uint64_t{1} << 32) ? Decimal(sid.authority) : Hexadecimal(sid.authority);
    for (const uint32_t subAuthority : sid.subAuthorities) {
        text += u"-" + Decimal(subAuthority);
    }
    return text;
}

bool HexOutType(uint16_t outType)
{
    return outType >= OutHexInt8 && outType <= OutHexInt64;
}

struct Formatter {
    uint16_t outType;

    std::u16string operator()(std::monostate) const { return {}; }
    std::u16string operator()(int64_t value) const
    {
        if (!HexOutType(outType)) {
            return Decimal(value);
        }
        // A negative number in hexadecimal shows the bits of its own width, as the out-type says.
        const unsigned bits = 8u << (outType - OutHexInt8);
        const uint64_t mask = bits == 64 ? ~uint64_t{0} : (uint64_t{1} << bits) - 1;
        return Hexadecimal(static_cast<uint64_t>(value) & mask);
    }
    std::u16string operator()(uint64_t value) const
    {
        if (outType == OutDateTime) {
            return FileTimeText(value); // a 64-bit count of 100 ns shown as the time it is
        }
        return HexOutType(outType) ? Hexadecimal(value) : Decimal(value);
    }
    std::u16string operator()(bool value) const { return value ? u"true" : u"false"; }
    std::u16string operator()(float value) const { return Decimal(value); }
    std::u16string operator()(double value) const { return Decimal(value); }
    std::u16string operator()(const Guid& value) const { return u"{" + Ascii(FormatGuid(value)) + u"}"; }
    std::u16string operator()(const FileTimeValue& value) const { return FileTimeText(value.ticks); }
    std::u16string operator()(const SystemTimeValue& value) const
    {
        return Padded(value.year, 4) + u"-" + Padded(value.month, 2) + u"-" + Padded(value.day, 2) + u"T" +
               Padded(value.hour, 2) + u":" + Padded(value.minute, 2) + u":" + Padded(value.second, 2) + u"." +
               Padded(value.milliseconds, 3);
    }
    std::u16string operator()(const SidValue& value) const { return SidText(value); }
    std::u16string operator()(const HexValue& value) const { return Hexadecimal(value.value); }
    std::u16string operator()(const PointerValue& value) const { return Hexadecimal(value.value); }
    std::u16string operator()(const std::u16string& value) const { return value; }
    std::u16string operator()(const AnsiText& value) const { return Utf8ToUtf16(value.bytes); }
    std::u16string operator()(const std::vector<uint8_t>& value) const
    {
        static const char16_t digits[] = u"0123456789ABCDEF";
        std::u16string text = u"0x";
        for (const uint8_t byte : value) {
            text.push_back(digits[byte >> 4]);
            text.push_back(digits[byte & 0xF]);
        }
        return text;
    }
};

} // namespace

void AppendFileTimeText(uint64_t ticks, std::u16string& text)
{
    constexpr uint64_t ticksPerSecond = 10000000;
    constexpr uint64_t secondsPerDay = 86400;
    constexpr int64_t daysFrom1601To1970 = 134774;
    const uint64_t seconds = ticks / ticksPerSecond;
    int64_t year = 0;
    unsigned month = 0;
    unsigned day = 0;
    CivilFromDays(static_cast<int64_t>(seconds / secondsPerDay) - daysFrom1601To1970, year, month, day);
    const uint64_t secondOfDay = seconds % secondsPerDay;
    // Digit by digit into the caller's string: the JSON view stamps every event with this.
    const auto digits = [&text](uint64_t value, unsigned width) {
        char16_t buffer[20];
        for (unsigned at = width; at > 0; --at) {
            buffer[at - 1] = static_cast<char16_t>(u'0' + value % 10);
            value /= 10;
        }
        text.append(buffer, width);
    };
    // A FILETIME reaches no further than the year 60056.
    digits(static_cast<uint64_t>(year), year >= 10000 ? 5 : 4);
    text.push_back(u'-');
    digits(month, 2);
    text.push_back(u'-');
    digits(day, 2);
    text.push_back(u'T');
    digits(secondOfDay / 3600, 2);
    text.push_back(u':');
    digits(secondOfDay / 60 % 60, 2);
    text.push_back(u':');
    digits(secondOfDay % 60, 2);
    text.push_back(u'.');
    digits(ticks % ticksPerSecond, 7);
    text.push_back(u'Z');
}

std::u16string FormatValue(const PropertyValue& value, uint16_t outType)
{
    return std::visit(Formatter{outType}, value);
}

} // namespace Etl
