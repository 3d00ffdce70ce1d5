#pragma once

// Builds the data of the extended items an event carries, in the documented structures of
// evntcons.h (EVENT_EXTENDED_ITEM_TS_ID, _STACK_TRACE32/64, _RELATED_ACTIVITYID), and keeps
// it alive for an EventRecord to point at:
//
//   EtlWriter::ExtendedItems items;
//   items.SessionId(1).StackTrace64(7, {0x7FF612340000, 0x7FF612345678});
//   record.extended = items.Items();
//
// The spans Items() returns stay valid until the next change to the list.

#include "etl/Event.h"

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>
#include <vector>

namespace EtlWriter {

class ExtendedItems {
public:
    ExtendedItems() = default;
    ExtendedItems(const ExtendedItems&) = delete;
    ExtendedItems& operator=(const ExtendedItems&) = delete;
    ExtendedItems(ExtendedItems&&) = default;
    ExtendedItems& operator=(ExtendedItems&&) = default;

    // EVENT_HEADER_EXT_TYPE_TS_ID: the terminal session id, 4 bytes.
    ExtendedItems& SessionId(uint32_t sessionId);
    // EVENT_HEADER_EXT_TYPE_STACK_TRACE32: the 8-byte match id, then 4 bytes an address.
    ExtendedItems& StackTrace32(uint64_t matchId, std::span<const uint32_t> addresses);
    ExtendedItems& StackTrace32(uint64_t matchId, std::initializer_list<uint32_t> addresses);
    // EVENT_HEADER_EXT_TYPE_STACK_TRACE64: the 8-byte match id, then 8 bytes an address.
    ExtendedItems& StackTrace64(uint64_t matchId, std::span<const uint64_t> addresses);
    ExtendedItems& StackTrace64(uint64_t matchId, std::initializer_list<uint64_t> addresses);
    // EVENT_HEADER_EXT_TYPE_RELATED_ACTIVITYID: the GUID in its 16-byte memory form.
    ExtendedItems& RelatedActivityId(const Etl::Guid& activityId);
    // EVENT_HEADER_EXT_TYPE_EVENT_SCHEMA_TL: a TraceLogging event's metadata blob as is
    // (its 16-bit total size first).
    ExtendedItems& TraceLoggingSchema(std::span<const uint8_t> metadata);
    // EVENT_HEADER_EXT_TYPE_PROV_TRAITS: a provider-traits blob as is (16-bit total size,
    // the NUL-terminated UTF-8 provider name, then the traits).
    ExtendedItems& ProviderTraits(std::span<const uint8_t> traits);
    // Any type with any data, for items the helpers above do not cover.
    ExtendedItems& Raw(uint16_t type, std::span<const uint8_t> data);

    std::span<const Etl::ExtendedItem> Items();
    bool Empty() const { return data.empty(); }
    void Clear();

private:
    std::vector<uint16_t> types;
    std::vector<std::vector<uint8_t>> data;
    std::vector<Etl::ExtendedItem> items;
};

// The provider-traits blob of a provider that has only its name: 16-bit total size, then
// the name as NUL-terminated UTF-8 (AMSITrace.etl at 0x100A0: 0C 00 "AmsiTrace" 00).
std::vector<uint8_t> ProviderTraitsBlob(std::string_view providerName);

} // namespace EtlWriter
