#pragma once

// A small decoder of the XPRESS "plain LZ77" stream, written for the tests straight from
// the decompression pseudocode of Microsoft's [MS-XCA] 2.4.4, independently of the
// compressor it checks. Besides the bytes it reports what the stream used, so that a test
// can tell that a compressor really wrote matches, overlapping ones and long lengths.

#include <cstdint>
#include <span>
#include <vector>

namespace EtlWriterTesting {

struct XpressDecoded {
    std::vector<uint8_t> bytes;
    size_t literals = 0;
    size_t matches = 0;
    size_t overlappingMatches = 0; // length greater than offset: the copy reads its own output
    size_t halfByteLengths = 0;    // lengths 10 and more (length bits 7, then a half byte)
    size_t byteLengths = 0;        // ... 25 and more (half byte 15, then a byte)
    size_t wordLengths = 0;        // ... 280 and more (byte 255, then 16 bits)
    size_t doubleWordLengths = 0;  // ... too long for 16 bits (16-bit zero, then 32 bits)
    size_t longestMatch = 0;
    size_t farthestOffset = 0;
};

// Throws std::runtime_error when the stream reads past its end or copies from before the
// start of the output.
XpressDecoded XpressReferenceDecode(std::span<const uint8_t> input);

} // namespace EtlWriterTesting
