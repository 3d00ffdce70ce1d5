#pragma once

// Reading one top-level property of an event record by name through TDH: the size
// first (TdhGetPropertySize), then the bytes into a zero-filled buffer of exactly that
// size (TdhGetProperty). Every reader returns TDH's status (0 on success) and leaves its
// output untouched on failure. Conversions never look past the bytes TDH returned,
// whatever the payload holds.

#include <windows.h>

#include <evntcons.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Viewer {

// The property's raw bytes.
ULONG ReadPropertyBytes(const EVENT_RECORD& record, const wchar_t* name, std::vector<uint8_t>& bytes);

// Text as UTF-16. Version-2 events (of any provider) carry UTF-8, converted with its
// terminator and without it afterwards; every other version carries UTF-16, taken as the
// first (size - 1) / 2 characters. The result loses trailing white space and leading
// white space and NULs.
ULONG ReadTextProperty(const EVENT_RECORD& record, const wchar_t* name, std::wstring& text);

// Narrow text: the bytes less one final NUL, if there is one.
ULONG ReadAnsiProperty(const EVENT_RECORD& record, const wchar_t* name, std::string& text);

// A 32-bit number, read only when TDH reports exactly 4 bytes. A property of any other
// size is not read: success, with the value left as it was (callers start from 0).
ULONG ReadUInt32Property(const EVENT_RECORD& record, const wchar_t* name, uint32_t& value);

// A 16-bit number, read only when TDH reports exactly 2 bytes; otherwise as above.
ULONG ReadUInt16Property(const EVENT_RECORD& record, const wchar_t* name, uint16_t& value);

// Writes the text property to std::wcout with non-printable characters escaped ("\uXXXX")
// and line feeds kept; writes nothing when it cannot be read.
void PrintTextProperty(const EVENT_RECORD& record, const wchar_t* name);

} // namespace Viewer
