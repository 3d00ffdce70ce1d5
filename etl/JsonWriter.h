#pragma once

// Writes JSON text (RFC 8259) into one buffer that the writer keeps and reuses: the JSON view
// writes one object per event, and a buffer that only grows stops allocating once it has held
// the widest.
//
// Whatever the input, the text is valid JSON: strings escape the quote, the backslash and every
// control character; an unpaired UTF-16 surrogate and every byte that is not well-formed UTF-8
// become U+FFFD. The C1 controls (U+0080 to U+009F) are escaped too, although JSON allows them
// raw: some terminals act on them, and the text may reach a console.
//
// The caller keeps the structure right (keys only inside objects, every Begin matched by its
// End); commas and colons are the writer's.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace Etl {

class JsonWriter {
public:
    // Integers beyond this magnitude are written as strings: a reader that takes numbers as
    // IEEE doubles (JavaScript, jq, PowerShell's ConvertFrom-Json) would round them.
    static constexpr uint64_t largestExactInteger = uint64_t{1} << 53;

    // Empties the buffer (keeping its capacity) for a new value.
    void Clear() noexcept;

    void BeginObject();
    void EndObject();
    void BeginArray();
    void EndArray();

    // A member's name; the value follows with the next call.
    void Key(std::string_view utf8);
    void Key(std::u16string_view utf16);

    void String(std::u16string_view utf16);
    void String(std::string_view utf8);
    // Bytes as a string in standard base64 ("+/", padded with '='), as RFC 4648 writes them.
    void Base64(std::span<const uint8_t> bytes);
    void Integer(int64_t value);
    void Integer(uint64_t value);
    // Shortest text that reads back as the same value; NaN and the infinities, which JSON
    // cannot write as numbers, as the strings "NaN", "Infinity" and "-Infinity".
    void Number(double value);
    void Number(float value);
    void Boolean(bool value);
    void Null();

    // The text written since the last Clear, in UTF-16.
    const std::u16string& Text() const noexcept { return text; }

private:
    void Separate();
    void Quoted(std::u16string_view utf16);
    void Quoted(std::string_view utf8);
    void Escaped(char32_t codePoint);
    void Ascii(std::string_view ascii);

    std::u16string text;
    bool needsComma = false;
};

} // namespace Etl
