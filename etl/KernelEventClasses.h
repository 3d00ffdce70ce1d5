#pragma once

// The event class GUIDs under which records of the kernel logger (system and perfinfo
// headers) are delivered: such a record names its event by a 16-bit hook, whose high
// byte is a group and low byte the type; the group becomes the provider GUID and the type
// the opcode.

#include "etl/Event.h"

#include <cstdint>
#include <optional>

namespace Etl {

// The EventTrace class, {68FDD900-4A3E-11D1-84F4-0000F80464E3}: the log file header and
// the other records the logger writes about the session itself (hook group 0).
Guid EventTraceClass();

// The class of a hook group, or nothing for a group without a documented class.
std::optional<Guid> KernelEventClass(uint8_t group);

} // namespace Etl
