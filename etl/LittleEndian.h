#pragma once

// Little-endian integers from bytes, assembled byte by byte so that neither the host's
// byte order nor alignment matters. The caller has checked that the bytes are there.

#include <cstddef>
#include <cstdint>
#include <span>

namespace Etl {

template <typename Integer> Integer LoadLittleEndian(std::span<const uint8_t> bytes, size_t offset)
{
    Integer value = 0;
    for (size_t index = 0; index < sizeof(Integer); ++index) {
        value = static_cast<Integer>(value | static_cast<Integer>(bytes[offset + index]) << (8 * index));
    }
    return value;
}

} // namespace Etl
