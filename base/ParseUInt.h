#pragma once

#include <cstdint>
#include <string_view>

namespace Base {

// Parses an unsigned 32-bit number the way strtoul does (leading white space and a sign
// accepted, trailing characters ignored), with the prefixes "0x", "0o" and "0b" (either
// case) selecting base 16, 8 or 2 when the text is longer than the prefix.
// Throws std::invalid_argument "invalid stoul argument" when there is no digit and
// std::out_of_range "stoul argument out of range" on overflow.
uint32_t ParseUInt(std::string_view text);

} // namespace Base
