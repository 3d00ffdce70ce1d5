#include "tests/etlwriter/SampleFiles.h"

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace EtlWriterTesting {

namespace {

uint64_t Read(std::span<const uint8_t> bytes, size_t offset, size_t width)
{
    if (offset > bytes.size() || width > bytes.size() - offset) {
        throw std::out_of_range("read past the end of " + std::to_string(bytes.size()) + " bytes at " +
                                std::to_string(offset));
    }
    uint64_t value = 0;
    for (size_t index = 0; index < width; ++index) {
        value |= static_cast<uint64_t>(bytes[offset + index]) << (8 * index);
    }
    return value;
}

} // namespace

std::vector<uint8_t> ReadSample(std::string_view name)
{
    const std::string path = std::string(KSDIAG_TEST_DATA) + "/etl/" + std::string(name);
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot open " + path);
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

uint16_t U16(std::span<const uint8_t> bytes, size_t offset)
{
    return static_cast<uint16_t>(Read(bytes, offset, 2));
}

uint32_t U32(std::span<const uint8_t> bytes, size_t offset)
{
    return static_cast<uint32_t>(Read(bytes, offset, 4));
}

uint64_t U64(std::span<const uint8_t> bytes, size_t offset)
{
    return Read(bytes, offset, 8);
}

std::vector<uint8_t> Slice(std::span<const uint8_t> bytes, size_t offset, size_t size)
{
    Read(bytes, offset, 0);
    if (size > bytes.size() - offset) {
        throw std::out_of_range("slice past the end");
    }
    return {bytes.begin() + static_cast<ptrdiff_t>(offset), bytes.begin() + static_cast<ptrdiff_t>(offset + size)};
}

} // namespace EtlWriterTesting
