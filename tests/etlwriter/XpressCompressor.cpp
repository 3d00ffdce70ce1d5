#include "tests/etlwriter/XpressCompressor.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace EtlWriter {

namespace {

constexpr size_t minimumMatch = 3;
constexpr unsigned hashBits = 15;
// How many earlier positions with the same three-byte hash are tried before settling for
// the longest match found so far: enough to find the repeats of a log buffer, bounded so
// that a buffer of one repeated byte costs no more than any other.
constexpr unsigned chainDepth = 32;

uint32_t Hash3(const uint8_t* bytes)
{
    const uint32_t value =
        static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 | static_cast<uint32_t>(bytes[2]) << 16;
    return (value * 2654435761u) >> (32 - hashBits);
}

// Emits symbols and keeps the flag word and the shared half byte of [MS-XCA] 2.3.4.
class SymbolWriter {
public:
    explicit SymbolWriter(std::vector<uint8_t>& output) : output(output)
    {
        output.clear();
        output.resize(4); // room for the first flag word
    }

    void Literal(uint8_t byte)
    {
        output.push_back(byte);
        Flag(0);
    }

    void Match(size_t offset, size_t length)
    {
        size_t rest = length - minimumMatch;
        const auto metadata = static_cast<uint16_t>((offset - 1) << 3);
        if (rest < 7) {
            Put16(static_cast<uint16_t>(metadata | rest));
            Flag(1);
            return;
        }
        Put16(static_cast<uint16_t>(metadata | 7));
        rest -= 7;
        // Lengths of 10 and more continue in a half byte; two such matches share one byte,
        // the first taking its low half, the next its high half.
        const auto halfByte = static_cast<uint8_t>(std::min<size_t>(rest, 15));
        if (halfBytePosition == 0) {
            halfBytePosition = output.size();
            output.push_back(halfByte);
        } else {
            output[halfBytePosition] = static_cast<uint8_t>(output[halfBytePosition] | halfByte << 4);
            halfBytePosition = 0;
        }
        if (rest >= 15) {
            rest -= 15;
            if (rest < 255) {
                output.push_back(static_cast<uint8_t>(rest));
            } else {
                // From here on the length is written whole (less the 3 of every match), in
                // 16 bits when it fits, else as a 16-bit zero and 32 bits.
                output.push_back(255);
                rest += 15 + 7;
                if (rest < 0x10000) {
                    Put16(static_cast<uint16_t>(rest));
                } else {
                    Put16(0);
                    Put32(static_cast<uint32_t>(rest));
                }
            }
        }
        Flag(1);
    }

    // Pads the last flag word with ones, which a decoder reads as "match" at the end of its
    // input and so as the end of the stream.
    void Finish()
    {
        const unsigned unused = 32 - flagCount;
        const uint32_t padded =
            unused == 32 ? 0xFFFFFFFFu : static_cast<uint32_t>((flags << unused) | ((1u << unused) - 1));
        Store32(flagPosition, padded);
    }

private:
    void Flag(uint32_t bit)
    {
        flags = (flags << 1) | bit;
        if (++flagCount == 32) {
            Store32(flagPosition, flags);
            flagPosition = output.size();
            output.resize(output.size() + 4);
            flags = 0;
            flagCount = 0;
        }
    }

    void Put16(uint16_t value)
    {
        output.push_back(static_cast<uint8_t>(value));
        output.push_back(static_cast<uint8_t>(value >> 8));
    }

    void Put32(uint32_t value)
    {
        for (unsigned shift = 0; shift < 32; shift += 8) {
            output.push_back(static_cast<uint8_t>(value >> shift));
        }
    }

    void Store32(size_t position, uint32_t value)
    {
        for (unsigned index = 0; index < 4; ++index) {
            output[position + index] = static_cast<uint8_t>(value >> (8 * index));
        }
    }

    std::vector<uint8_t>& output;
    uint32_t flags = 0;
    unsigned flagCount = 0;
    size_t flagPosition = 0;
    // 0 means no half byte waits for its high half: position 0 always holds a flag word.
    size_t halfBytePosition = 0;
};

struct Found {
    size_t offset = 0;
    size_t length = 0;
};

// Greedy longest-match search over hash chains of three-byte prefixes.
class MatchFinder {
public:
    explicit MatchFinder(std::span<const uint8_t> input)
        : input(input), heads(size_t{1} << hashBits, -1), previous(input.size(), -1)
    {
    }

    Found Longest(size_t position) const
    {
        Found best;
        if (input.size() - position < minimumMatch) {
            return best;
        }
        const size_t limit = input.size() - position;
        int32_t candidate = heads[Hash3(&input[position])];
        for (unsigned tried = 0; candidate >= 0 && tried < chainDepth; ++tried) {
            const size_t offset = position - static_cast<size_t>(candidate);
            if (offset > xpressMaximumOffset) {
                break;
            }
            // Comparing the input with itself is what the decoder's byte-by-byte copy
            // yields, also where the match overlaps the bytes it produces.
            size_t length = 0;
            while (length < limit && input[static_cast<size_t>(candidate) + length] == input[position + length]) {
                ++length;
            }
            if (length > best.length) {
                best = {offset, length};
                if (length == limit) {
                    break;
                }
            }
            candidate = previous[static_cast<size_t>(candidate)];
        }
        return best.length >= minimumMatch ? best : Found{};
    }

    void Insert(size_t position)
    {
        if (input.size() - position < minimumMatch) {
            return;
        }
        int32_t& head = heads[Hash3(&input[position])];
        previous[position] = head;
        head = static_cast<int32_t>(position);
    }

private:
    std::span<const uint8_t> input;
    std::vector<int32_t> heads;
    std::vector<int32_t> previous;
};

} // namespace

void XpressCompress(std::span<const uint8_t> input, std::vector<uint8_t>& output)
{
    if (input.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
        throw std::length_error("XpressCompress: input of 2 GB or more");
    }
    SymbolWriter symbols(output);
    MatchFinder finder(input);
    size_t position = 0;
    while (position < input.size()) {
        const Found match = finder.Longest(position);
        if (match.length == 0) {
            symbols.Literal(input[position]);
            finder.Insert(position);
            ++position;
            continue;
        }
        symbols.Match(match.offset, match.length);
        for (size_t covered = 0; covered < match.length; ++covered) {
            finder.Insert(position + covered);
        }
        position += match.length;
    }
    symbols.Finish();
}

std::vector<uint8_t> XpressCompress(std::span<const uint8_t> input)
{
    std::vector<uint8_t> output;
    XpressCompress(input, output);
    return output;
}

} // namespace EtlWriter
