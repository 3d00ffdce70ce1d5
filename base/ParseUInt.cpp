#include "base/ParseUInt.h"

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace Base {

namespace {

int BaseOfPrefix(std::string_view text)
{
    if (text.size() <= 2 || text[0] != '0') {
        return 10;
    }
    switch (text[1]) {
    case 'x':
    case 'X':
        return 16;
    case 'o':
    case 'O':
        return 8;
    case 'b':
    case 'B':
        return 2;
    default:
        return 10;
    }
}

} // namespace

uint32_t ParseUInt(std::string_view text)
{
    const int base = BaseOfPrefix(text);
    const std::string digits(base == 10 ? text : text.substr(2));

    // unsigned long is 32 bits wide on Windows, so strtoul's own range check is the
    // 32-bit one; a negative text wraps as strtoul defines it.
    const char* begin = digits.c_str();
    char* end = nullptr;
    errno = 0;
    const unsigned long value = std::strtoul(begin, &end, base);
    if (end == begin) {
        throw std::invalid_argument("invalid stoul argument");
    }
    if (errno == ERANGE) {
        throw std::out_of_range("stoul argument out of range");
    }
    return static_cast<uint32_t>(value);
}

} // namespace Base
