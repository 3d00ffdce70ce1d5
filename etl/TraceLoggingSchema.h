#pragma once

// Describes a TraceLogging (self-describing) event from the metadata it carries: the event
// schema of its EVENT_HEADER_EXT_TYPE_EVENT_SCHEMA_TL item and the provider name of its
// EVENT_HEADER_EXT_TYPE_PROV_TRAITS item. Level, opcode, keyword and channel come from the
// event's descriptor, which TraceLogging fills in like any other event.
//
// The metadata encoding, as Microsoft documents and publishes it (TraceLoggingProvider.h and
// the TraceLoggingEventTag page of Microsoft Learn; the writer side in dotnet/runtime,
// System.Private.CoreLib/src/System/Diagnostics/Tracing/TraceLogging/Statics.cs and
// FieldMetadata.cs):
// - event schema: a 16-bit total size (counting itself), the event tags (1 to 4 bytes, 7 bits
//   each, most significant first, a set high bit meaning "another byte follows"), the event
//   name in NUL-terminated UTF-8, then the fields to the end;
// - field: NUL-terminated UTF-8 name; in-type byte (low 5 bits the type, 0x20 a constant
//   count, 0x40 a variable count, 0x60 a custom schema, 0x80 "an out-type byte follows");
//   out-type byte (low 7 bits, 0x80 "field tags follow"), then the tags; for a constant count
//   or a custom schema a 16-bit number (the count, or the size of the schema bytes that
//   follow). A struct (type 24) holds the following n fields, n being its out-type;
// - provider traits: a 16-bit total size, then the provider name in NUL-terminated UTF-8.
// In the data a variable count is a 16-bit number before the elements; binary and custom
// fields are a 16-bit byte count and the bytes, and are described with TDH's in-type for that
// layout (InManifestCountedBinary), custom ones with PropertyHasCustomSchema.

#include "etl/Event.h"
#include "etl/EventDescription.h"

#include <cstdint>
#include <span>

namespace Etl {

// The first extended item of that type, or null.
const ExtendedItem* FindExtendedItem(const Event& event, uint16_t type);

// The description of a TraceLogging event from its schema item and its provider-traits item
// (which may be empty: the provider then has no name). Throws Etl::FormatError when the
// metadata is malformed: sizes beyond the item, missing terminators, an unknown type, or
// structs nested deeper than 32 levels.
EventDescription ReadTraceLoggingSchema(const Event& event, std::span<const uint8_t> schema,
                                        std::span<const uint8_t> traits);

} // namespace Etl
