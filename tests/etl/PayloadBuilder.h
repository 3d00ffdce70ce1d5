#pragma once

// Builds event user data field by field, little-endian, for tests of the decoder; and the
// Etl::Event records that carry it.

#include "etl/Event.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Testing {

class PayloadBuilder {
public:
    PayloadBuilder& U8(uint8_t value)
    {
        bytes.push_back(value);
        return *this;
    }
    PayloadBuilder& U16(uint16_t value) { return Little(value, 2); }
    PayloadBuilder& U32(uint32_t value) { return Little(value, 4); }
    PayloadBuilder& U64(uint64_t value) { return Little(value, 8); }
    PayloadBuilder& Pointer(uint64_t value, unsigned size) { return Little(value, size); }
    // UTF-16 text and its terminator.
    PayloadBuilder& Wide(std::u16string_view text, bool terminated = true)
    {
        for (const char16_t unit : text) {
            U16(unit);
        }
        return terminated ? U16(0) : *this;
    }
    // 8-bit text and its terminator.
    PayloadBuilder& Narrow(std::string_view text, bool terminated = true)
    {
        bytes.insert(bytes.end(), text.begin(), text.end());
        return terminated ? U8(0) : *this;
    }
    PayloadBuilder& Bytes(const std::vector<uint8_t>& more)
    {
        bytes.insert(bytes.end(), more.begin(), more.end());
        return *this;
    }
    // A SID: revision 1, the authority, the sub-authorities.
    PayloadBuilder& Sid(uint64_t authority, const std::vector<uint32_t>& subAuthorities)
    {
        U8(1).U8(static_cast<uint8_t>(subAuthorities.size()));
        for (int shift = 40; shift >= 0; shift -= 8) {
            U8(static_cast<uint8_t>(authority >> shift));
        }
        for (const uint32_t subAuthority : subAuthorities) {
            U32(subAuthority);
        }
        return *this;
    }

    const std::vector<uint8_t>& Data() const { return bytes; }

private:
    PayloadBuilder& Little(uint64_t value, unsigned size)
    {
        for (unsigned index = 0; index < size; ++index) {
            bytes.push_back(static_cast<uint8_t>(value >> (8 * index)));
        }
        return *this;
    }

    std::vector<uint8_t> bytes;
};

// An event of that provider, id and version whose user data is data (which must outlive it).
inline Etl::Event MakeEvent(const Etl::Guid& provider, uint16_t id, uint8_t version, const std::vector<uint8_t>& data,
                            unsigned pointerSize = 8)
{
    Etl::Event event;
    event.provider = provider;
    event.descriptor.id = id;
    event.descriptor.version = version;
    event.pointerSize = pointerSize;
    event.kind = pointerSize == 4 ? Etl::HeaderKind::Event32 : Etl::HeaderKind::Event64;
    event.userData = data;
    return event;
}

} // namespace Testing
