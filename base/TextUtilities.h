#pragma once

// Trimming, quote stripping, escaping and case-insensitive matching of text.

#include <iosfwd>
#include <string>
#include <string_view>

namespace Base {

// Drops trailing white space and NUL characters, then leading white space. White space
// is that of the C locale, in the UTF-16 forms too (ASCII blanks and controls only).
std::string TrimWhitespace(std::string_view text);
std::wstring TrimWhitespace(std::wstring_view text);

// Drops every leading and every trailing character that is '"' or white space; the
// inside of the text is left alone, quotes included.
std::string StripQuotes(std::string_view text);
std::wstring StripQuotes(std::wstring_view text);

// Replaces every UTF-16 unit that is not a printable character below 255 by "\uXXXX"
// (upper-case hex). A line feed is kept when keepNewlines is set. The backslash itself
// is printable, so the result cannot be reversed; it is meant for display only.
std::wstring EscapeNonPrintable(std::wstring_view text, bool keepNewlines);

// The same escaping written straight to a stream, without building the escaped text.
void WriteEscapedNonPrintable(std::wostream& out, std::wstring_view text, bool keepNewlines);

// Characters are alike when identical or equal after toupper.
bool CharsEqualIgnoreCase(char left, char right);
bool EqualsIgnoreCase(std::string_view left, std::string_view right);

// Position of the first case-insensitive occurrence of needle, or npos.
size_t FindIgnoreCase(std::string_view haystack, std::string_view needle);

// Lower-cases byte by byte with tolower.
std::string ToLower(std::string_view text);

} // namespace Base
