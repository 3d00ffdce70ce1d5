#pragma once

// Conversions between UTF-16 and the narrow text the program uses internally.
//
// Both console conversions use the console's *input* code page (GetConsoleCP), in both
// directions; narrow text typed at the console and narrow text printed back then agree.
// Without a console GetConsoleCP answers 0, which the system reads as the ANSI code page.
// Both code pages are asked through Platform::CodePages().
//
// None of them reports a failure: text the system refuses to convert gives an empty
// result. ConsoleToWide and the other narrow-to-wide forms end at an embedded NUL, as a
// C string would; WideToConsole converts every unit it is given. WideToConsole never
// substitutes a look-alike (no best fit): a character the code page lacks becomes the
// code page's default character, usually '?'.

#include <string>
#include <string_view>

namespace Base {

std::wstring ConsoleToWide(std::string_view text);
std::string WideToConsole(std::wstring_view text);

// The process (ANSI) code page: the one the C runtime builds argv in and the system
// gives the narrow environment in. WideToAnsi converts as the system does for those
// (best-fit characters allowed, the code page's default character for the rest), so
// that a token converted back can be compared with the narrow one.
std::wstring AnsiToWide(std::string_view text);
std::string WideToAnsi(std::wstring_view text);

// UTF-8 to UTF-16; malformed sequences become U+FFFD as the system converts them.
std::wstring Utf8ToWide(std::string_view text);

} // namespace Base
