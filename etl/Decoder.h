#pragma once

// The set of event descriptions the viewer decodes with, in the role TDH plays for the
// platform: the manifests handed to LoadManifest (as TdhLoadManifest is), the system
// providers' events it knows without a manifest (SystemProviders.h), and TraceLogging events,
// which describe themselves.
//
// Not thread-safe: one decoder serves the thread that pumps the log.

#include "etl/Event.h"
#include "etl/EventDescription.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Etl {

class Decoder {
public:
    // At most this many TraceLogging schemas are kept parsed; when a new one would pass the
    // limit, the cache is emptied first.
    static constexpr size_t maxCachedSchemas = 1024;

    Decoder();
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    ~Decoder();

    // Adds the events of an instrumentation manifest (UTF-8 XML). An event it describes
    // replaces any description of the same provider, id and version from an earlier manifest
    // or from the built-in system providers. Throws Etl::FormatError (see ReadManifest) and
    // then changes nothing: earlier manifests stay loaded.
    void LoadManifest(std::string_view xml);

    // The description of the event, or null when nothing describes it:
    // - an event carrying a TraceLogging schema item is described by it (and its provider
    //   traits item), parsed once per distinct metadata and descriptor; null when the
    //   metadata is malformed;
    // - any other event by its provider, id and version: a loaded manifest's description
    //   first, then the built-in system providers'.
    // Lookups are by hash; describing an event of a manifest or a system provider allocates
    // nothing. A manifest or system description stays valid as long as the decoder; a
    // TraceLogging one until the next call of Describe.
    const EventDescription* Describe(const Event& event);

    // The number of TraceLogging schemas parsed and kept.
    size_t CachedSchemaCount() const noexcept { return schemas.size(); }

private:
    struct Key {
        Guid provider;
        uint16_t id = 0;
        uint8_t version = 0;
        friend bool operator==(const Key&, const Key&) = default;
    };
    struct KeyHash {
        size_t operator()(const Key& key) const noexcept;
    };
    struct TextHash {
        using is_transparent = void;
        size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
    };
    using Table = std::unordered_map<Key, std::unique_ptr<EventDescription>, KeyHash>;

    static Key KeyOf(const Guid& provider, const EventDescriptor& descriptor) noexcept;
    const EventDescription* DescribeTraceLogging(const Event& event, const ExtendedItem& schema);

    Table manifestEvents;
    Table systemEvents;
    // Descriptions a later manifest replaced: kept, since callers may still hold them.
    std::vector<std::unique_ptr<EventDescription>> replaced;
    // Keyed by the descriptor, provider and metadata bytes; a null entry remembers metadata
    // that did not parse.
    std::unordered_map<std::string, std::unique_ptr<EventDescription>, TextHash, std::equal_to<>> schemas;
    std::string schemaKey; // reused, so that a cache hit allocates nothing
};

} // namespace Etl
