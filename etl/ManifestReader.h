#pragma once

// Reads an instrumentation manifest (the XML that TdhLoadManifest is handed) into one
// description per event, with names resolved as the message compiler resolves them:
// - levels, opcodes, tasks and keywords by name, the standard winmeta ones included; a level's
//   display name is its message (the standard levels have theirs, e.g. "Information"; a
//   custom level without a message has none); a task's, opcode's or keyword's display name is
//   its message, or its name when it has none; opcodes declared inside a task are found first;
// - channels by chid (or name), numbered from 16 in declaration order unless they carry a
//   value; each declared or imported channel owns one keyword bit from bit 63 downwards, which
//   the message compiler adds to the keyword of every event in that channel;
// - messages through the en-US string table ("$(string.id)"), or the attribute text itself;
// - template data and structs with their in- and out-types, value-map names, and lengths and
//   counts that are numbers or the names of earlier data items.

#include "etl/EventDescription.h"

#include <string_view>
#include <vector>

namespace Etl {

// Every event of every provider in the manifest (UTF-8 XML). Throws Etl::FormatError for XML
// that is not well-formed, and for a manifest that names something it does not define or
// gives a number out of range; the text says what and on which line.
std::vector<EventDescription> ReadManifest(std::string_view xml);

} // namespace Etl
