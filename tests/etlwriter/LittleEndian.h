#pragma once

// Stores little-endian integers and GUIDs into byte spans at a given offset. Every .etl
// structure is little-endian whatever the producer; writing through these keeps the
// encoders free of pointer casts and catches a layout slip as an exception instead of a
// write past the end of a buffer.

#include "etl/Event.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>

namespace EtlWriter {

// Throws std::out_of_range when width bytes at offset do not fit into bytes.
inline void CheckRoom(std::span<uint8_t> bytes, size_t offset, size_t width)
{
    if (offset > bytes.size() || width > bytes.size() - offset) {
        throw std::out_of_range("EtlWriter: a field would be written past the end of its structure");
    }
}

inline void StoreU8(std::span<uint8_t> bytes, size_t offset, uint8_t value)
{
    CheckRoom(bytes, offset, 1);
    bytes[offset] = value;
}

inline void StoreU16(std::span<uint8_t> bytes, size_t offset, uint16_t value)
{
    CheckRoom(bytes, offset, 2);
    bytes[offset] = static_cast<uint8_t>(value);
    bytes[offset + 1] = static_cast<uint8_t>(value >> 8);
}

inline void StoreU32(std::span<uint8_t> bytes, size_t offset, uint32_t value)
{
    CheckRoom(bytes, offset, 4);
    for (size_t index = 0; index < 4; ++index) {
        bytes[offset + index] = static_cast<uint8_t>(value >> (8 * index));
    }
}

inline void StoreU64(std::span<uint8_t> bytes, size_t offset, uint64_t value)
{
    CheckRoom(bytes, offset, 8);
    for (size_t index = 0; index < 8; ++index) {
        bytes[offset + index] = static_cast<uint8_t>(value >> (8 * index));
    }
}

inline void StoreI64(std::span<uint8_t> bytes, size_t offset, int64_t value)
{
    StoreU64(bytes, offset, static_cast<uint64_t>(value));
}

// The in-memory form of a GUID: Data1 to Data3 little-endian, then the 8 bytes of Data4.
inline void StoreGuid(std::span<uint8_t> bytes, size_t offset, const Etl::Guid& guid)
{
    CheckRoom(bytes, offset, 16);
    StoreU32(bytes, offset, guid.data1);
    StoreU16(bytes, offset + 4, guid.data2);
    StoreU16(bytes, offset + 6, guid.data3);
    for (size_t index = 0; index < 8; ++index) {
        bytes[offset + 8 + index] = guid.data4[index];
    }
}

// Records, extended items and buffers are laid out on 8-byte boundaries.
constexpr size_t AlignTo8(size_t size)
{
    return (size + 7) & ~static_cast<size_t>(7);
}

} // namespace EtlWriter
