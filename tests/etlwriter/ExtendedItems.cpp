#include "tests/etlwriter/ExtendedItems.h"

#include "tests/etlwriter/LittleEndian.h"

namespace EtlWriter {

namespace {

// EVENT_EXTENDED_ITEM_STACK_TRACE32/64: the 8-byte match id, then the addresses in the
// producer's pointer width.
template <typename Address> std::vector<uint8_t> StackTrace(uint64_t matchId, std::span<const Address> addresses)
{
    std::vector<uint8_t> bytes(8 + addresses.size() * sizeof(Address));
    StoreU64(bytes, 0, matchId);
    for (size_t index = 0; index < addresses.size(); ++index) {
        const size_t offset = 8 + index * sizeof(Address);
        if constexpr (sizeof(Address) == 4) {
            StoreU32(bytes, offset, addresses[index]);
        } else {
            StoreU64(bytes, offset, addresses[index]);
        }
    }
    return bytes;
}

} // namespace

ExtendedItems& ExtendedItems::SessionId(uint32_t sessionId)
{
    std::vector<uint8_t> bytes(4);
    StoreU32(bytes, 0, sessionId);
    return Raw(Etl::ExtTsId, bytes);
}

ExtendedItems& ExtendedItems::StackTrace32(uint64_t matchId, std::span<const uint32_t> addresses)
{
    return Raw(Etl::ExtStackTrace32, StackTrace(matchId, addresses));
}

ExtendedItems& ExtendedItems::StackTrace32(uint64_t matchId, std::initializer_list<uint32_t> addresses)
{
    return StackTrace32(matchId, std::span<const uint32_t>(addresses.begin(), addresses.size()));
}

ExtendedItems& ExtendedItems::StackTrace64(uint64_t matchId, std::span<const uint64_t> addresses)
{
    return Raw(Etl::ExtStackTrace64, StackTrace(matchId, addresses));
}

ExtendedItems& ExtendedItems::StackTrace64(uint64_t matchId, std::initializer_list<uint64_t> addresses)
{
    return StackTrace64(matchId, std::span<const uint64_t>(addresses.begin(), addresses.size()));
}

ExtendedItems& ExtendedItems::RelatedActivityId(const Etl::Guid& activityId)
{
    std::vector<uint8_t> bytes(16);
    StoreGuid(bytes, 0, activityId);
    return Raw(Etl::ExtRelatedActivityId, bytes);
}

ExtendedItems& ExtendedItems::TraceLoggingSchema(std::span<const uint8_t> metadata)
{
    return Raw(Etl::ExtEventSchemaTl, metadata);
}

ExtendedItems& ExtendedItems::ProviderTraits(std::span<const uint8_t> traits)
{
    return Raw(Etl::ExtProvTraits, traits);
}

ExtendedItems& ExtendedItems::Raw(uint16_t type, std::span<const uint8_t> bytes)
{
    types.push_back(type);
    data.emplace_back(bytes.begin(), bytes.end());
    items.clear();
    return *this;
}

std::span<const Etl::ExtendedItem> ExtendedItems::Items()
{
    // Built on demand: the vectors of data may have moved while items were added.
    items.clear();
    for (size_t index = 0; index < data.size(); ++index) {
        items.push_back({types[index], data[index]});
    }
    return items;
}

void ExtendedItems::Clear()
{
    types.clear();
    data.clear();
    items.clear();
}

std::vector<uint8_t> ProviderTraitsBlob(std::string_view providerName)
{
    std::vector<uint8_t> blob(2);
    // Byte by byte: GCC 12 warns of a bounds error that is not there when a range is
    // inserted into so small a vector.
    for (const char character : providerName) {
        blob.push_back(static_cast<uint8_t>(character));
    }
    blob.push_back(0);
    StoreU16(blob, 0, static_cast<uint16_t>(blob.size()));
    return blob;
}

} // namespace EtlWriter
