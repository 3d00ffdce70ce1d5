#pragma once

// The JSON view of VIEW and LIVE (/format:json): each shown event as one JSON object on one
// line of std::wcout, in the order the text view would print it, and nothing else on standard
// output: no colour, no image lines, no minidump files (a fault's dump is in its "debug"
// property).
//
// The object's members, in this order:
//   time      the UTC time stamp, ISO 8601 with all seven digits of its 100 ns
//   provider  {"name": when the event's description names it, "guid": "{...}"}
//   id, version, task, opcode   the descriptor's numbers
//   level     {"value": the number, "name": the level's name where the description has one}
//   keywords  "0x" and 16 hexadecimal digits
//   pid, tid, cpu   the header's process and thread ids and the processor's index
//   session   the terminal-session id, when the record carries one
//   activity  "{...}", when not all zero
//   properties   the properties by name (viewer/JsonProperties.h), for an event that TDH
//                describes; otherwise "decoded": false and "data", the user data in base64
//   message   the description's message with its inserts filled, where it has one
//   stack     the captured stack, when the record carries one: an array of {"address":
//             "0x...", and, as far as /callstack resolves them, "module", "function", "file",
//             "line"}; every frame, the first /callstack:<n> frames with a limit.
//
// Without /all the text view's filters choose the events; with /all every record is shown,
// whatever its provider, level or id. The window of time applies either way.

#include "viewer/ViewOptions.h"

#include <windows.h>

#include <evntcons.h>

namespace Viewer {

// Writes the record as one line when it is shown. Used on the thread that runs ProcessTrace;
// the line's buffer is kept from event to event.
void RenderJsonEvent(const EVENT_RECORD& record, const ViewOptions& options);

} // namespace Viewer
