#include "base/Base64.h"

#include <stdexcept>
#include <string>

namespace Base {

namespace {

constexpr int padding = -2;
constexpr int invalid = -1;

int SixBitValue(char c)
{
    if (c >= 'A' && c <= 'Z') {
        return c - 'A';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 26;
    }
    if (c >= '0' && c <= '9') {
        return c - '0' + 52;
    }
    switch (c) {
    case '+':
    case '-':
        return 62;
    case '/':
    case '_':
        return 63;
    case '=':
    case '.':
        return padding;
    default:
        return invalid;
    }
}

} // namespace

std::vector<uint8_t> DecodeBase64(std::string_view text, bool ignoreLineFeeds)
{
    if (ignoreLineFeeds) {
        std::string copy(text);
        std::erase(copy, '\n');
        return DecodeBase64(copy, false);
    }

    std::vector<uint8_t> bytes;
    bytes.reserve(text.size() / 4 * 3);
    uint32_t bits = 0;
    int bitCount = 0;
    for (const char c : text) {
        const int value = SixBitValue(c);
        if (value == invalid) {
            throw std::runtime_error("Input is not valid base64-encoded data.");
        }
        if (value == padding) {
            // Padding closes the group: the bits left over belong to no byte.
            bits = 0;
            bitCount = 0;
            continue;
        }
        bits = (bits << 6) | static_cast<uint32_t>(value);
        bitCount += 6;
        if (bitCount >= 8) {
            bitCount -= 8;
            bytes.push_back(static_cast<uint8_t>(bits >> bitCount));
            bits &= (1u << bitCount) - 1;
        }
    }
    return bytes;
}

} // namespace Base
