#pragma once

// A read position over untrusted bytes (event payloads, schema blobs). Every read states its
// width, is little-endian, and checks what remains: a read that would pass the end returns
// false and leaves the position where it was, so a caller can never touch memory beyond the
// span it was given. Sub-ranges are new cursors, so one record cannot read its neighbour.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace Etl {

class ByteCursor {
public:
    ByteCursor() = default;
    explicit ByteCursor(std::span<const uint8_t> bytes) noexcept : bytes(bytes) {}

    size_t Position() const noexcept { return position; }
    size_t Remaining() const noexcept { return bytes.size() - position; }
    bool AtEnd() const noexcept { return position == bytes.size(); }
    // The bytes not read yet.
    std::span<const uint8_t> Rest() const noexcept { return bytes.subspan(position); }

    bool Skip(size_t count) noexcept
    {
        if (count > Remaining()) {
            return false;
        }
        position += count;
        return true;
    }

    // The next count bytes as a span of their own; false (and nothing consumed) when fewer remain.
    bool ReadBytes(size_t count, std::span<const uint8_t>& out) noexcept
    {
        if (count > Remaining()) {
            return false;
        }
        out = bytes.subspan(position, count);
        position += count;
        return true;
    }

    bool ReadU8(uint8_t& value) noexcept { return ReadLittleEndian(value); }
    bool ReadU16(uint16_t& value) noexcept { return ReadLittleEndian(value); }
    bool ReadU32(uint32_t& value) noexcept { return ReadLittleEndian(value); }
    bool ReadU64(uint64_t& value) noexcept { return ReadLittleEndian(value); }

    // A NUL-terminated 8-bit string; the terminator is consumed but not part of the text.
    // False when no terminator remains.
    bool ReadTerminated(std::string_view& text) noexcept
    {
        for (size_t at = position; at < bytes.size(); ++at) {
            if (bytes[at] == 0) {
                text = std::string_view(reinterpret_cast<const char*>(bytes.data() + position), at - position);
                position = at + 1;
                return true;
            }
        }
        return false;
    }

private:
    template <typename T> bool ReadLittleEndian(T& value) noexcept
    {
        if (sizeof(T) > Remaining()) {
            return false;
        }
        T result = 0;
        for (size_t index = 0; index < sizeof(T); ++index) {
            result = static_cast<T>(result | static_cast<T>(static_cast<T>(bytes[position + index]) << (8 * index)));
        }
        value = result;
        position += sizeof(T);
        return true;
    }

    std::span<const uint8_t> bytes;
    size_t position = 0;
};

} // namespace Etl
