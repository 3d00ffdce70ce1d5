#pragma once

// Unsigned numbers written in text (manifest attributes, XML character references).

#include <cstdint>
#include <string_view>

namespace Etl {

// Reads all of digits in base 10 or 16 (either case) into value. False, with value
// unspecified, when digits is empty, holds any other character, or the number passes maximum.
inline bool ParseUnsigned(std::string_view digits, unsigned base, uint64_t maximum, uint64_t& value)
{
    value = 0;
    if (digits.empty()) {
        return false;
    }
    for (const char c : digits) {
        unsigned digit = base;
        if (c >= '0' && c <= '9') {
            digit = static_cast<unsigned>(c - '0');
        } else if (c >= 'a' && c <= 'f') {
            digit = static_cast<unsigned>(c - 'a' + 10);
        } else if (c >= 'A' && c <= 'F') {
            digit = static_cast<unsigned>(c - 'A' + 10);
        }
        if (digit >= base || value > (maximum - digit) / base) {
            return false;
        }
        value = value * base + digit;
    }
    return true;
}

} // namespace Etl
