#include "base/TextUtilities.h"

#include <algorithm>
#include <cctype>
#include <ostream>

namespace Base {

namespace {

bool IsSpace(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// The same white space as the narrow form's C locale: the ASCII blanks and controls only.
bool IsSpace(wchar_t c)
{
    return c < 0x80 && IsSpace(static_cast<char>(c));
}

template <typename Char> std::basic_string<Char> Trim(std::basic_string_view<Char> text)
{
    size_t end = text.size();
    while (end > 0 && (IsSpace(text[end - 1]) || text[end - 1] == Char{})) {
        --end;
    }
    size_t begin = 0;
    while (begin < end && IsSpace(text[begin])) {
        ++begin;
    }
    return std::basic_string<Char>(text.substr(begin, end - begin));
}

template <typename Char> std::basic_string<Char> Unquote(std::basic_string_view<Char> text)
{
    const auto isQuoteOrSpace = [](Char c) { return c == Char('"') || IsSpace(c); };
    size_t begin = 0;
    while (begin < text.size() && isQuoteOrSpace(text[begin])) {
        ++begin;
    }
    size_t end = text.size();
    while (end > begin && isQuoteOrSpace(text[end - 1])) {
        --end;
    }
    return std::basic_string<Char>(text.substr(begin, end - begin));
}

} // namespace

std::string TrimWhitespace(std::string_view text)
{
    return Trim(text);
}

std::wstring TrimWhitespace(std::wstring_view text)
{
    return Trim(text);
}

std::string StripQuotes(std::string_view text)
{
    return Unquote(text);
}

std::wstring StripQuotes(std::wstring_view text)
{
    return Unquote(text);
}

namespace {

// The one walk behind both forms of the escaping: emit(piece) receives, in order, each
// run of units that stay as they are and the six characters "\uXXXX" of each unit that
// does not.
template <typename Emit> void WalkEscaped(std::wstring_view text, bool keepNewlines, Emit emit)
{
    static constexpr wchar_t hexDigits[] = L"0123456789ABCDEF";
    size_t runStart = 0;
    for (size_t index = 0; index < text.size(); ++index) {
        const wchar_t c = text[index];
        const bool printable = c > 0 && c < 255 && std::isprint(static_cast<int>(c)) != 0;
        if (printable || (keepNewlines && c == L'\n')) {
            continue;
        }
        if (index > runStart) {
            emit(text.substr(runStart, index - runStart));
        }
        const auto unit = static_cast<unsigned>(c);
        const wchar_t sequence[] = {L'\\',
                                    L'u',
                                    hexDigits[(unit >> 12) & 0xF],
                                    hexDigits[(unit >> 8) & 0xF],
                                    hexDigits[(unit >> 4) & 0xF],
                                    hexDigits[unit & 0xF]};
        emit(std::wstring_view(sequence, 6));
        runStart = index + 1;
    }
    if (text.size() > runStart) {
        emit(text.substr(runStart));
    }
}

} // namespace

std::wstring EscapeNonPrintable(std::wstring_view text, bool keepNewlines)
{
    std::wstring result;
    result.reserve(text.size());
    const auto append = [&result](std::wstring_view piece) { result.append(piece); };
    WalkEscaped(text, keepNewlines, append);
    return result;
}

void WriteEscapedNonPrintable(std::wostream& out, std::wstring_view text, bool keepNewlines)
{
    const auto write = [&out](std::wstring_view piece) {
        out.write(piece.data(), static_cast<std::streamsize>(piece.size()));
    };
    WalkEscaped(text, keepNewlines, write);
}

bool CharsEqualIgnoreCase(char left, char right)
{
    return left == right ||
           std::toupper(static_cast<unsigned char>(left)) == std::toupper(static_cast<unsigned char>(right));
}

bool EqualsIgnoreCase(std::string_view left, std::string_view right)
{
    return left.size() == right.size() && std::equal(left.begin(), left.end(), right.begin(), CharsEqualIgnoreCase);
}

size_t FindIgnoreCase(std::string_view haystack, std::string_view needle)
{
    const auto found =
        std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end(), CharsEqualIgnoreCase);
    return found == haystack.end() && !needle.empty() ? std::string_view::npos
                                                      : static_cast<size_t>(found - haystack.begin());
}

std::string ToLower(std::string_view text)
{
    std::string result(text);
    for (char& c : result) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return result;
}

} // namespace Base
