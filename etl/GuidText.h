#pragma once

// GUIDs as text, in the registry form: upper-case hexadecimal in groups 8-4-4-4-12,
// with or without braces.

#include "etl/Event.h"

#include <optional>
#include <string>
#include <string_view>

namespace Etl {

// "6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04", without braces.
std::string FormatGuid(const Guid& guid);

// Reads "{6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04}" or the same without braces, in either
// case; nothing for any other text (no white space is skipped).
std::optional<Guid> ParseGuid(std::string_view text);

// The 16 bytes of a GUID as they lie in memory and in files: Data1 to Data3 little-endian.
Guid GuidFromBytes(const uint8_t* bytes);

} // namespace Etl
