#pragma once

// XPRESS decompression ("plain LZ77" of the compression formats Windows documents), which
// ETW applies to whole buffers of a compressed log (buffer flag 0x40, logfile mode
// 0x04000000).

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Etl {

// Decompresses input into output, which the caller sizes to the expected decompressed
// length (the buffer header says how many bytes the buffer held). Returns the number of
// bytes produced. Throws Etl::FormatError when the input is malformed: a match that
// reaches before the start of the output, output that would exceed output.size(), or
// input that ends inside a flag word, a literal or a length. Never reads or writes
// outside the two spans, and never allocates.
size_t XpressDecompress(std::span<const uint8_t> input, std::span<uint8_t> output);

} // namespace Etl
