#pragma once

// One property element's bytes as a typed value, and a value as text. Structured output (the
// JSON view) takes the typed value; event messages take the text.

#include "etl/Event.h"

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace Etl {

struct FileTimeValue {
    uint64_t ticks = 0; // 100 ns since 1601-01-01 UTC
    friend bool operator==(const FileTimeValue&, const FileTimeValue&) = default;
};

struct SystemTimeValue {
    uint16_t year = 0;
    uint16_t month = 0;
    uint16_t dayOfWeek = 0;
    uint16_t day = 0;
    uint16_t hour = 0;
    uint16_t minute = 0;
    uint16_t second = 0;
    uint16_t milliseconds = 0;
    friend bool operator==(const SystemTimeValue&, const SystemTimeValue&) = default;
};

struct SidValue {
    uint8_t revision = 0;
    uint64_t authority = 0; // the 48-bit identifier authority
    std::vector<uint32_t> subAuthorities;
    friend bool operator==(const SidValue&, const SidValue&) = default;
};

// HexInt32 and HexInt64: numbers meant to be shown in hexadecimal.
struct HexValue {
    uint64_t value = 0;
    uint8_t width = 0; // bytes: 4 or 8
    friend bool operator==(const HexValue&, const HexValue&) = default;
};

struct PointerValue {
    uint64_t value = 0;
    uint8_t width = 0; // bytes: 4 or 8, the producer's pointer size
    friend bool operator==(const PointerValue&, const PointerValue&) = default;
};

// 8-bit text (ANSI and UTF-8 strings, ANSI characters) keeps its bytes: which code page they
// are in is the producer's, and only the out-type (OutUtf8) tells UTF-8 apart.
struct AnsiText {
    std::string bytes;
    friend bool operator==(const AnsiText&, const AnsiText&) = default;
};

using PropertyValue =
    std::variant<std::monostate, // nothing: a struct, or no data
                 int64_t,        // Int8 to Int64
                 uint64_t,       // UInt8 to UInt64
                 bool,           // Boolean (32 bits in the data)
                 float, double, Guid, FileTimeValue, SystemTimeValue, SidValue, HexValue, PointerValue,
                 std::u16string,        // UTF-16 strings and characters, terminator removed
                 AnsiText,              // 8-bit strings and characters, terminator removed
                 std::vector<uint8_t>>; // binary data, any byte count removed

// Decodes one element of a property of that in-type from exactly its bytes, as
// LocateProperty finds them (with their count prefix, for counted types). Strings end at
// their first NUL. pointerSize is the record's (4 or 8). Throws Etl::FormatError when the
// bytes cannot be a value of the type (a 3-byte UInt32, a SID shorter than its count says) or
// the in-type is unknown.
PropertyValue DecodeValue(uint16_t inType, std::span<const uint8_t> bytes, unsigned pointerSize);

// The value as text: strings as they are (8-bit text read as UTF-8, any malformed byte as
// U+FFFD); integers in decimal, or with an out-type of hexadecimal display (OutHexInt8 to
// OutHexInt64) as "0x" and upper-case digits, as are HexValue and PointerValue; an unsigned
// integer with the out-type of a date (OutDateTime) as the FILETIME it is; Boolean
// "true"/"false"; floating point in its shortest exact form; GUIDs in braces, upper case;
// FILETIME as "2010-10-29T19:07:49.6596360Z"; SYSTEMTIME as "2024-03-07T09:05:01.042"; SIDs as
// "S-1-5-21-..."; binary as "0x" and two upper-case digits per byte; nothing as "".
std::u16string FormatValue(const PropertyValue& value, uint16_t outType = 0);

// Appends a FILETIME (100 ns since 1601-01-01 UTC) as FormatValue writes it,
// "2010-10-29T19:07:49.6596360Z", allocating nothing once text has the room.
void AppendFileTimeText(uint64_t ticks, std::u16string& text);

} // namespace Etl
