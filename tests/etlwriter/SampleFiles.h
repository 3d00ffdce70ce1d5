#pragma once

// The tests' view of bytes: the real logs under tests/data/etl (see SOURCES.md there) and
// little-endian reads at offsets, shared by the layout tests of the writer.

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace EtlWriterTesting {

// The whole sample file; throws std::runtime_error when it cannot be read.
std::vector<uint8_t> ReadSample(std::string_view name);

// Little-endian values at offset; throw std::out_of_range past the end.
uint16_t U16(std::span<const uint8_t> bytes, size_t offset);
uint32_t U32(std::span<const uint8_t> bytes, size_t offset);
uint64_t U64(std::span<const uint8_t> bytes, size_t offset);

// bytes[offset, offset + size) as a vector, for comparing ranges with EXPECT_EQ.
std::vector<uint8_t> Slice(std::span<const uint8_t> bytes, size_t offset, size_t size);

} // namespace EtlWriterTesting
