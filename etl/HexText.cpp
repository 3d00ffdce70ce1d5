#include "etl/HexText.h"

#include <cstdio>

namespace Etl {

std::string Hex(uint64_t value)
{
    char text[24];
    std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value));
    return text;
}

} // namespace Etl
