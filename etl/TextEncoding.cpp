#include "etl/TextEncoding.h"

namespace Etl {

namespace {

constexpr char16_t replacementCharacter = 0xFFFD;

void AppendUtf16(std::u16string& out, char32_t codePoint)
{
    if (codePoint < 0x10000) {
        out.push_back(static_cast<char16_t>(codePoint));
        return;
    }
    codePoint -= 0x10000;
    out.push_back(static_cast<char16_t>(0xD800 + (codePoint >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF)));
}

} // namespace

void AppendUtf8(std::string& out, char32_t codePoint)
{
    if (codePoint < 0x80) {
        out.push_back(static_cast<char>(codePoint));
    } else if (codePoint < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (codePoint >> 6)));
        out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    } else if (codePoint < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (codePoint >> 12)));
        out.push_back(static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (codePoint >> 18)));
        out.push_back(static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    }
}

size_t DecodeUtf8(std::string_view text, size_t position, char32_t& codePoint)
{
    const auto byte = [&text](size_t at) { return static_cast<uint8_t>(text[at]); };
    const uint8_t lead = byte(position);
    if (lead < 0x80) {
        codePoint = lead;
        return 1;
    }
    size_t length = 0;
    char32_t value = 0;
    char32_t minimum = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        value = lead & 0x1F;
        minimum = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        value = lead & 0x0F;
        minimum = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        value = lead & 0x07;
        minimum = 0x10000;
    } else {
        return 0;
    }
    if (text.size() - position < length) {
        return 0;
    }
    for (size_t index = 1; index < length; ++index) {
        const uint8_t continuation = byte(position + index);
        if ((continuation & 0xC0) != 0x80) {
            return 0;
        }
        value = (value << 6) | (continuation & 0x3F);
    }
    if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
        return 0;
    }
    codePoint = value;
    return length;
}

std::u16string Utf8ToUtf16(std::string_view text)
{
    std::u16string out;
    out.reserve(text.size());
    for (size_t position = 0; position < text.size();) {
        char32_t codePoint = 0;
        const size_t length = DecodeUtf8(text, position, codePoint);
        if (length == 0) {
            out.push_back(replacementCharacter);
            ++position;
            continue;
        }
        AppendUtf16(out, codePoint);
        position += length;
    }
    return out;
}

std::string Utf16ToUtf8(std::u16string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (size_t position = 0; position < text.size(); ++position) {
        const char16_t unit = text[position];
        if (unit >= 0xD800 && unit <= 0xDBFF && position + 1 < text.size() && text[position + 1] >= 0xDC00 &&
            text[position + 1] <= 0xDFFF) {
            AppendUtf8(out, 0x10000 + ((static_cast<char32_t>(unit) - 0xD800) << 10) + (text[position + 1] - 0xDC00));
            ++position;
        } else if (unit >= 0xD800 && unit <= 0xDFFF) {
            AppendUtf8(out, replacementCharacter);
        } else {
            AppendUtf8(out, unit);
        }
    }
    return out;
}

std::u16string Utf16FromLittleEndian(std::span<const uint8_t> bytes)
{
    std::u16string out(bytes.size() / 2, u'\0');
    for (size_t index = 0; index < out.size(); ++index) {
        out[index] = static_cast<char16_t>(bytes[2 * index] | bytes[2 * index + 1] << 8);
    }
    return out;
}

} // namespace Etl
