#pragma once

// The events of the product's provider Kestrova-Diagnostics as its components write them
// (resources/TRACE_WIN32.MAN; the trace framework's ETW writer): descriptors and payloads,
// for logs that look like the product's own.
//
// Payloads hold the strings only: the writer's data descriptor 0 (provider traits) is
// empty and adds nothing to the user data.
//   2000-2006, version 1: ProcessName and Message (Arguments for 2001 and 2002), UTF-16
//   2010-2014, version 1: ProcessName, Name, Message, Arguments, Stack, UTF-16
//   2010-2014, version 2: the same five fields, UTF-8 (the trace framework writes these)
// every string NUL-terminated.

#include "etl/Event.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace EtlWriter {

// {6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04}
inline constexpr Etl::Guid kestrovaProvider = {
    0x6E2B9C41, 0x7A3D, 0x4F15, {0x8C, 0x62, 0x3D, 0x9A, 0x1B, 0x7E, 0x5F, 0x04}};

// The descriptor of event id in version: 2000 to 2006 in version 1, 2010 to 2014 in version
// 1 or 2. Throws std::invalid_argument for any other pair (2020 and 2021 are not written by
// the product's trace framework and have no payload builder here).
Etl::EventDescriptor ProductDescriptor(uint16_t id, uint8_t version);

struct OperationalFields {
    std::string_view processName;
    std::string_view name; // the trace category
    std::string_view message;
    std::string_view arguments;
    std::string_view stack;
};

// Replaces payload with the five fields as NUL-terminated UTF-8 (version 2).
void OperationalPayloadV2(const OperationalFields& fields, std::vector<uint8_t>& payload);

// Replaces payload with the five fields as NUL-terminated UTF-16 (version 1). The fields
// are taken as Latin-1 (every byte one character): the generator's texts are ASCII.
void OperationalPayloadV1(const OperationalFields& fields, std::vector<uint8_t>& payload);

// Replaces payload with ProcessName and the message (or arguments) of 2000 to 2006, as
// NUL-terminated UTF-16, the texts taken as Latin-1.
void DebugTracePayload(std::string_view processName, std::string_view text, std::vector<uint8_t>& payload);

} // namespace EtlWriter
