#include "etl/GuidText.h"

#include <cstdio>

namespace Etl {

namespace {

int HexValue(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// Reads count hexadecimal digits at text[position], most significant first.
std::optional<uint64_t> ReadHex(std::string_view text, size_t position, size_t count)
{
    uint64_t value = 0;
    for (size_t index = 0; index < count; ++index) {
        const int digit = HexValue(text[position + index]);
        if (digit < 0) {
            return std::nullopt;
        }
        value = (value << 4) | static_cast<uint64_t>(digit);
    }
    return value;
}

} // namespace

std::string FormatGuid(const Guid& guid)
{
    char text[37];
    std::snprintf(text, sizeof text, "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", guid.data1, guid.data2,
                  guid.data3, guid.data4[0], guid.data4[1], guid.data4[2], guid.data4[3], guid.data4[4], guid.data4[5],
                  guid.data4[6], guid.data4[7]);
    return text;
}

std::optional<Guid> ParseGuid(std::string_view text)
{
    if (text.size() == 38 && text.front() == '{' && text.back() == '}') {
        text = text.substr(1, 36);
    }
    if (text.size() != 36 || text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') {
        return std::nullopt;
    }
    const auto data1 = ReadHex(text, 0, 8);
    const auto data2 = ReadHex(text, 9, 4);
    const auto data3 = ReadHex(text, 14, 4);
    if (!data1 || !data2 || !data3) {
        return std::nullopt;
    }
    Guid guid;
    guid.data1 = static_cast<uint32_t>(*data1);
    guid.data2 = static_cast<uint16_t>(*data2);
    guid.data3 = static_cast<uint16_t>(*data3);
    // Data4: two bytes before the last dash, six after it.
    constexpr size_t positions[8] = {19, 21, 24, 26, 28, 30, 32, 34};
    for (size_t index = 0; index < 8; ++index) {
        const auto byte = ReadHex(text, positions[index], 2);
        if (!byte) {
            return std::nullopt;
        }
        guid.data4[index] = static_cast<uint8_t>(*byte);
    }
    return guid;
}

Guid GuidFromBytes(const uint8_t* bytes)
{
    Guid guid;
    guid.data1 = static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
                 static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
    guid.data2 = static_cast<uint16_t>(bytes[4] | bytes[5] << 8);
    guid.data3 = static_cast<uint16_t>(bytes[6] | bytes[7] << 8);
    for (size_t index = 0; index < 8; ++index) {
        guid.data4[index] = bytes[8 + index];
    }
    return guid;
}

} // namespace Etl
