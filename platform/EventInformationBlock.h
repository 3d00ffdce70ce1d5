#pragma once

// TRACE_EVENT_INFO as TdhGetEventInformation lays it out, built from the decoder's
// description of an event: the fixed structure, one EVENT_PROPERTY_INFO per property, then
// every name as a terminated UTF-16 string at the offset the structure gives (0 for none).

#include "etl/EventDescription.h"

#include <cstdint>
#include <vector>

namespace Platform {

// Replaces block's content with the structure. The keyword names follow TDH's form: one
// terminated string per name, ended by an empty string. A TraceLogging event's name goes
// where newer SDKs call the field EventNameOffset (ActivityIDNameOffset in older ones), its
// tags into the high 28 bits of Flags, a property's tags into the low 28 bits of Reserved.
// A TraceLogging array whose count is in the data is PropertyParamCount with its own index as
// countPropertyIndex: no property holds the count, so its elements are asked for by index.
void BuildEventInformation(const Etl::EventDescription& description, std::vector<uint8_t>& block);

} // namespace Platform
