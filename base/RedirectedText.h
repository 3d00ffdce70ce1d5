#pragma once

// How standard output is encoded when it is not a console (a file or a pipe): UTF-8,
// each line feed written as CR LF. UTF-8 carries every character a log can hold (CJK,
// emoji), which the console code page would turn into '?'; CR LF is what the C runtime
// has always written for a line break on a redirected stream, so the narrow lines of
// the front end keep their bytes. No byte-order mark: redirected output is often
// appended to or concatenated, and a mark in the middle of a file is a stray character.

#include <string>
#include <string_view>

namespace Base {

// Replaces the contents of encoded with the text in that form. An unpaired surrogate
// becomes U+FFFD. encoded keeps its capacity, so a caller that reuses one string
// allocates only while its texts still grow.
void EncodeRedirectedText(std::wstring_view text, std::string& encoded);

} // namespace Base
