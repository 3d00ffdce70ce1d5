#pragma once

// Text that comes from a log, or from what a log names (process, subscriber and image
// names, module file names and versions, symbol and source file names), reaches the
// console only after the escaping the event text gets (Base::EscapeNonPrintable): a
// crafted log must not send control characters or terminal escape sequences to the
// administrator's console. Printable characters print as they are. These fields are
// one line each, so a line feed in them is escaped too; otherwise it would start a line
// that looks like another event.

#include <string_view>

namespace Viewer {

// Writes the field, escaped, to std::wcout.
void WriteLogField(std::wstring_view text);

// The same for narrow text in the process (ANSI) code page, as image events and the
// symbol handler give it.
void WriteLogField(std::string_view ansiText);

} // namespace Viewer
