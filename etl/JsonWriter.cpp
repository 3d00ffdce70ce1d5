#include "etl/JsonWriter.h"

#include "etl/TextEncoding.h"

#include <charconv>
#include <cmath>

namespace Etl {

namespace {

constexpr char16_t replacement = u'\uFFFD';

bool HighSurrogate(char16_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool LowSurrogate(char16_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

template <typename Number> void AppendNumber(std::u16string& text, Number value)
{
    char digits[32];
    const auto result = std::to_chars(digits, digits + sizeof digits, value);
    for (const char* at = digits; at != result.ptr; ++at) {
        text.push_back(static_cast<char16_t>(*at));
    }
}

} // namespace

void JsonWriter::Clear() noexcept
{
    text.clear();
    needsComma = false;
}

void JsonWriter::Separate()
{
    if (needsComma) {
        text.push_back(u',');
    }
    needsComma = false;
}

void JsonWriter::BeginObject()
{
    Separate();
    text.push_back(u'{');
}

void JsonWriter::EndObject()
{
    text.push_back(u'}');
    needsComma = true;
}

void JsonWriter::BeginArray()
{
    Separate();
    text.push_back(u'[');
}

void JsonWriter::EndArray()
{
    text.push_back(u']');
    needsComma = true;
}

void JsonWriter::Key(std::string_view utf8)
{
    Separate();
    Quoted(utf8);
    text.push_back(u':');
}

void JsonWriter::Key(std::u16string_view utf16)
{
    Separate();
    Quoted(utf16);
    text.push_back(u':');
}

void JsonWriter::String(std::u16string_view utf16)
{
    Separate();
    Quoted(utf16);
    needsComma = true;
}

void JsonWriter::String(std::string_view utf8)
{
    Separate();
    Quoted(utf8);
    needsComma = true;
}

void JsonWriter::Base64(std::span<const uint8_t> bytes)
{
    static const char16_t alphabet[] = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    Separate();
    text.push_back(u'"');
    size_t at = 0;
    for (; at + 3 <= bytes.size(); at += 3) {
        const uint32_t group = uint32_t{bytes[at]} << 16 | uint32_t{bytes[at + 1]} << 8 | bytes[at + 2];
        text.push_back(alphabet[group >> 18]);
        text.push_back(alphabet[group >> 12 & 0x3F]);
        text.push_back(alphabet[group >> 6 & 0x3F]);
        text.push_back(alphabet[group & 0x3F]);
    }
    const size_t left = bytes.size() - at;
    if (left > 0) {
        const uint32_t group = uint32_t{bytes[at]} << 16 | (left == 2 ? uint32_t{bytes[at + 1]} << 8 : 0);
        text.push_back(alphabet[group >> 18]);
        text.push_back(alphabet[group >> 12 & 0x3F]);
        text.push_back(left == 2 ? alphabet[group >> 6 & 0x3F] : u'=');
        text.push_back(u'=');
    }
    text.push_back(u'"');
    needsComma = true;
}

void JsonWriter::Integer(int64_t value)
{
    const uint64_t magnitude = value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    Separate();
    if (magnitude > largestExactInteger) {
        text.push_back(u'"');
        AppendNumber(text, value);
        text.push_back(u'"');
    } else {
        AppendNumber(text, value);
    }
    needsComma = true;
}

void JsonWriter::Integer(uint64_t value)
{
    Separate();
    if (value > largestExactInteger) {
        text.push_back(u'"');
        AppendNumber(text, value);
        text.push_back(u'"');
    } else {
        AppendNumber(text, value);
    }
    needsComma = true;
}

void JsonWriter::Number(double value)
{
    Separate();
    if (std::isnan(value)) {
        Ascii("\"NaN\"");
    } else if (std::isinf(value)) {
        Ascii(value > 0 ? "\"Infinity\"" : "\"-Infinity\"");
    } else {
        AppendNumber(text, value);
    }
    needsComma = true;
}

void JsonWriter::Number(float value)
{
    if (!std::isfinite(value)) {
        Number(static_cast<double>(value));
        return;
    }
    // The float's own shortest form: 0.1f as 0.1, not as the double nearest to it.
    Separate();
    AppendNumber(text, value);
    needsComma = true;
}

void JsonWriter::Boolean(bool value)
{
    Separate();
    Ascii(value ? "true" : "false");
    needsComma = true;
}

void JsonWriter::Null()
{
    Separate();
    Ascii("null");
    needsComma = true;
}

void JsonWriter::Ascii(std::string_view ascii)
{
    for (const char c : ascii) {
        text.push_back(static_cast<char16_t>(c));
    }
}

void JsonWriter::Escaped(char32_t codePoint)
{
    static const char16_t hex[] = u"0123456789abcdef";
    switch (codePoint) {
    case u'"':
        Ascii("\\\"");
        return;
    case u'\\':
        Ascii("\\\\");
        return;
    case u'\b':
        Ascii("\\b");
        return;
    case u'\f':
        Ascii("\\f");
        return;
    case u'\n':
        Ascii("\\n");
        return;
    case u'\r':
        Ascii("\\r");
        return;
    case u'\t':
        Ascii("\\t");
        return;
    default:
        break;
    }
    if (codePoint < 0x20 || (codePoint >= 0x7F && codePoint <= 0x9F)) {
        Ascii("\\u00");
        text.push_back(hex[codePoint >> 4]);
        text.push_back(hex[codePoint & 0xF]);
        return;
    }
    if (codePoint > 0xFFFF) {
        const char32_t offset = codePoint - 0x10000;
        text.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
        text.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
        return;
    }
    text.push_back(static_cast<char16_t>(codePoint));
}

void JsonWriter::Quoted(std::u16string_view utf16)
{
    text.push_back(u'"');
    for (size_t at = 0; at < utf16.size(); ++at) {
        const char16_t unit = utf16[at];
        if (HighSurrogate(unit) && at + 1 < utf16.size() && LowSurrogate(utf16[at + 1])) {
            text.push_back(unit);
            text.push_back(utf16[++at]);
        } else if (HighSurrogate(unit) || LowSurrogate(unit)) {
            text.push_back(replacement);
        } else {
            Escaped(unit);
        }
    }
    text.push_back(u'"');
}

void JsonWriter::Quoted(std::string_view utf8)
{
    text.push_back(u'"');
    for (size_t at = 0; at < utf8.size();) {
        char32_t codePoint = 0;
        const size_t length = DecodeUtf8(utf8, at, codePoint);
        if (length == 0) {
            // One replacement per offending byte, as Utf8ToUtf16 does.
            text.push_back(replacement);
            ++at;
            continue;
        }
        Escaped(codePoint);
        at += length;
    }
    text.push_back(u'"');
}

} // namespace Etl
