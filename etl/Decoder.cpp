#include "etl/Decoder.h"

#include "etl/FormatError.h"
#include "etl/ManifestReader.h"
#include "etl/SystemProviders.h"
#include "etl/TraceLoggingSchema.h"

#include <cstring>

namespace Etl {

namespace {

void AppendBytes(std::string& key, const void* bytes, size_t size)
{
    key.append(static_cast<const char*>(bytes), size);
}

template <typename Number> void AppendNumber(std::string& key, Number value)
{
    for (size_t index = 0; index < sizeof value; ++index) {
        key.push_back(static_cast<char>(static_cast<uint64_t>(value) >> (8 * index)));
    }
}

} // namespace

size_t Decoder::KeyHash::operator()(const Key& key) const noexcept
{
    // FNV-1a over the fields: the provider's bytes, id and version.
    uint64_t hash = 14695981039346656037ull;
    const auto mix = [&hash](uint64_t value, size_t bytes) {
        for (size_t index = 0; index < bytes; ++index) {
            hash = (hash ^ ((value >> (8 * index)) & 0xFF)) * 1099511628211ull;
        }
    };
    mix(key.provider.data1, 4);
    mix(key.provider.data2, 2);
    mix(key.provider.data3, 2);
    for (const uint8_t byte : key.provider.data4) {
        mix(byte, 1);
    }
    mix(key.id, 2);
    mix(key.version, 1);
    return static_cast<size_t>(hash);
}

Decoder::Decoder()
{
    for (EventDescription& description : SystemProviderDescriptions()) {
        const Key key = KeyOf(description.provider, description.descriptor);
        systemEvents[key] = std::make_unique<EventDescription>(std::move(description));
    }
}

Decoder::~Decoder() = default;

Decoder::Key Decoder::KeyOf(const Guid& provider, const EventDescriptor& descriptor) noexcept
{
    return Key{provider, descriptor.id, descriptor.version};
}

void Decoder::LoadManifest(std::string_view xml)
{
    std::vector<EventDescription> descriptions = ReadManifest(xml);
    // Nothing below throws but allocation failure: the tables change only once it has parsed.
    for (EventDescription& description : descriptions) {
        std::unique_ptr<EventDescription>& slot = manifestEvents[KeyOf(description.provider, description.descriptor)];
        if (slot) {
            replaced.push_back(std::move(slot));
        }
        slot = std::make_unique<EventDescription>(std::move(description));
    }
}

const EventDescription* Decoder::Describe(const Event& event)
{
    if (const ExtendedItem* schema = FindExtendedItem(event, ExtEventSchemaTl)) {
        return DescribeTraceLogging(event, *schema);
    }
    const Key key = KeyOf(event.provider, event.descriptor);
    if (const auto found = manifestEvents.find(key); found != manifestEvents.end()) {
        return found->second.get();
    }
    if (const auto found = systemEvents.find(key); found != systemEvents.end()) {
        return found->second.get();
    }
    return nullptr;
}

const EventDescription* Decoder::DescribeTraceLogging(const Event& event, const ExtendedItem& schema)
{
    const ExtendedItem* traits = FindExtendedItem(event, ExtProvTraits);
    const std::span<const uint8_t> traitBytes = traits != nullptr ? traits->data : std::span<const uint8_t>();
    schemaKey.clear();
    AppendNumber(schemaKey, event.provider.data1);
    AppendNumber(schemaKey, event.provider.data2);
    AppendNumber(schemaKey, event.provider.data3);
    AppendBytes(schemaKey, event.provider.data4.data(), event.provider.data4.size());
    const EventDescriptor& descriptor = event.descriptor;
    AppendNumber(schemaKey, descriptor.id);
    AppendNumber(schemaKey, descriptor.version);
    AppendNumber(schemaKey, descriptor.channel);
    AppendNumber(schemaKey, descriptor.level);
    AppendNumber(schemaKey, descriptor.opcode);
    AppendNumber(schemaKey, descriptor.task);
    AppendNumber(schemaKey, descriptor.keyword);
    // The traits' length keeps the boundary between the two blobs unambiguous.
    AppendNumber(schemaKey, static_cast<uint32_t>(traitBytes.size()));
    AppendBytes(schemaKey, traitBytes.data(), traitBytes.size());
    AppendBytes(schemaKey, schema.data.data(), schema.data.size());
    if (const auto found = schemas.find(std::string_view(schemaKey)); found != schemas.end()) {
        return found->second.get();
    }
    std::unique_ptr<EventDescription> description;
    try {
        description = std::make_unique<EventDescription>(ReadTraceLoggingSchema(event, schema.data, traitBytes));
    } catch (const FormatError&) {
        // Undescribable, as TDH finds such an event; remembered so that it is not parsed again.
    }
    if (schemas.size() >= maxCachedSchemas) {
        schemas.clear();
    }
    return schemas.emplace(schemaKey, std::move(description)).first->second.get();
}

} // namespace Etl
