#pragma once

// An event's properties as JSON, read through the viewer's TDH (DecodingTdh()) alone, so that
// the system's TDH and the built-in one serve alike: the TRACE_EVENT_INFO names and types
// them, TdhGetPropertySize and TdhGetProperty give their bytes, one PROPERTY_DATA_DESCRIPTOR
// for a top-level property and two for a member of a struct.
//
// Values are typed: integers as numbers (beyond 2^53 as decimal strings), Boolean as true or
// false, floating point as numbers, pointers, HexInt types and integers meant for hexadecimal
// as "0x..." strings, text as strings (8-bit text as UTF-8 when its out-type says so, else in
// the ANSI code page, as TDH formats it), binary as base64, GUIDs in braces, FILETIME as ISO
// 8601 UTC, SYSTEMTIME as ISO 8601 without a zone, SIDs as "S-1-...". Arrays are JSON arrays,
// an array of characters one string; structs are objects. A property whose bytes TDH does not
// give or that cannot be its type is null.
//
// Arrays are enumerated by ArrayIndex. The element count comes from the description where it
// says it (a fixed count, or an earlier top-level property that holds it); otherwise elements
// are asked for until TDH refuses the index: that is how an array whose count is in the data
// (TraceLogging's) is read from either TDH.
//
// Used on the thread that runs ProcessTrace only; buffers are kept from event to event.

#include "etl/JsonWriter.h"

#include <windows.h>

#include <evntcons.h>
#include <tdh.h>

#include <string>

namespace Viewer {

// Writes the "properties" member: an object of the event's top-level properties by name.
// informationSize is the size of the buffer that holds information.
void WriteJsonProperties(Etl::JsonWriter& json, const EVENT_RECORD& record, const TRACE_EVENT_INFO& information,
                         ULONG informationSize);

// Appends the text of the top-level property at that index, as an event message inserts it:
// a value as the decoder formats it, an array's elements joined by ", ", nothing for a struct
// or a property that cannot be read.
void AppendPropertyText(const EVENT_RECORD& record, const TRACE_EVENT_INFO& information, ULONG informationSize,
                        size_t index, std::u16string& text);

} // namespace Viewer
