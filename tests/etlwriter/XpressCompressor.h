#pragma once

// XPRESS compression in its "plain LZ77" form (Microsoft's [MS-XCA], sections 2.3 and
// 2.4), the form ETW applies to whole buffers of a compressed log. Test-only: the product
// reads such logs and never writes them, so this exists to give the reader's decompressor
// real input: literals, matches that overlap what they copy (runs), and match lengths
// that need every length extension (4-bit half byte, 8-bit, 16-bit and 32-bit).
//
// The stream: a 32-bit little-endian flag word before every 32 symbols, read from its top
// bit down (0 a literal byte, 1 a match); a match is a 16-bit word of (offset - 1) << 3
// with the length - 3 in the low three bits, 7 there meaning "longer, read on". Flag bits
// past the last symbol are ones, so a decoder meets a match flag exactly at the end of the
// input and stops there.

#include <cstdint>
#include <span>
#include <vector>

namespace EtlWriter {

// Matches reach back at most this many bytes: the 13 offset bits hold offset - 1.
inline constexpr size_t xpressMaximumOffset = 8192;

// The compressed form of input. Empty input gives the single flag word FF FF FF FF. Throws
// std::length_error for input of 2 GB or more (a buffer is at most a few MB).
std::vector<uint8_t> XpressCompress(std::span<const uint8_t> input);

// The same into output, whose contents are replaced and whose capacity is reused, so that a
// writer compressing buffer after buffer does not allocate for each.
void XpressCompress(std::span<const uint8_t> input, std::vector<uint8_t>& output);

} // namespace EtlWriter
