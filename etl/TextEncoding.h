#pragma once

// Conversions between the encodings event data and manifests use: UTF-8 (manifests,
// TraceLogging names, UTF-8 payload strings) and UTF-16 (names as TDH reports them, wide
// payload strings). std::u16string rather than std::wstring, because wchar_t is 32 bits wide
// outside Windows.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace Etl {

// Decodes UTF-8. A byte sequence that is not well-formed UTF-8 (overlong forms, surrogates,
// code points above U+10FFFF, truncated sequences) becomes one U+FFFD per offending byte, so
// that text from an event can always be shown.
std::u16string Utf8ToUtf16(std::string_view text);

// Encodes UTF-16 as UTF-8; an unpaired surrogate becomes U+FFFD.
std::string Utf16ToUtf8(std::u16string_view text);

// UTF-16 code units stored little-endian, as in event payloads; an odd last byte is ignored.
std::u16string Utf16FromLittleEndian(std::span<const uint8_t> bytes);

// Appends one code point (at most U+10FFFF, not a surrogate) in UTF-8.
void AppendUtf8(std::string& out, char32_t codePoint);

// The length of the well-formed UTF-8 sequence at text[position], or 0 when the bytes there
// are not well-formed UTF-8. codePoint receives the decoded value.
size_t DecodeUtf8(std::string_view text, size_t position, char32_t& codePoint);

} // namespace Etl
