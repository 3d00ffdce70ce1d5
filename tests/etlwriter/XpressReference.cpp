#include "tests/etlwriter/XpressReference.h"

#include <algorithm>
#include <stdexcept>

namespace EtlWriterTesting {

namespace {

class Input {
public:
    explicit Input(std::span<const uint8_t> bytes) : bytes(bytes) {}

    bool AtEnd() const { return position == bytes.size(); }
    size_t Position() const { return position; }

    uint32_t Read(unsigned width)
    {
        if (bytes.size() - position < width) {
            throw std::runtime_error("XPRESS stream ends inside a field");
        }
        uint32_t value = 0;
        for (unsigned index = 0; index < width; ++index) {
            value |= static_cast<uint32_t>(bytes[position + index]) << (8 * index);
        }
        position += width;
        return value;
    }

    uint8_t At(size_t offset) const { return bytes[offset]; }

private:
    std::span<const uint8_t> bytes;
    size_t position = 0;
};

} // namespace

XpressDecoded XpressReferenceDecode(std::span<const uint8_t> compressed)
{
    XpressDecoded result;
    Input input(compressed);
    uint32_t flags = 0;
    unsigned flagCount = 0;
    size_t lastLengthHalfByte = 0;
    for (;;) {
        if (flagCount == 0) {
            flags = input.Read(4);
            flagCount = 32;
        }
        --flagCount;
        if ((flags & (1u << flagCount)) == 0) {
            result.bytes.push_back(static_cast<uint8_t>(input.Read(1)));
            ++result.literals;
            continue;
        }
        if (input.AtEnd()) {
            return result;
        }
        const uint32_t matchBytes = input.Read(2);
        size_t length = matchBytes % 8;
        const size_t offset = matchBytes / 8 + 1;
        if (length == 7) {
            ++result.halfByteLengths;
            if (lastLengthHalfByte == 0) {
                lastLengthHalfByte = input.Position();
                length = input.Read(1) % 16;
            } else {
                length = input.At(lastLengthHalfByte) / 16;
                lastLengthHalfByte = 0;
            }
            if (length == 15) {
                ++result.byteLengths;
                length = input.Read(1);
                if (length == 255) {
                    ++result.wordLengths;
                    length = input.Read(2);
                    if (length == 0) {
                        ++result.doubleWordLengths;
                        length = input.Read(4);
                    }
                    if (length < 15 + 7) {
                        throw std::runtime_error("XPRESS match length below its extension's minimum");
                    }
                    length -= 15 + 7;
                }
                length += 15;
            }
            length += 7;
        }
        length += 3;
        if (offset > result.bytes.size()) {
            throw std::runtime_error("XPRESS match reaches before the start of the output");
        }
        for (size_t copied = 0; copied < length; ++copied) {
            result.bytes.push_back(result.bytes[result.bytes.size() - offset]);
        }
        ++result.matches;
        result.overlappingMatches += length > offset ? 1 : 0;
        result.longestMatch = std::max(result.longestMatch, length);
        result.farthestOffset = std::max(result.farthestOffset, offset);
    }
}

} // namespace EtlWriterTesting
