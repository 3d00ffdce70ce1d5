#pragma once

// The parts of an event's header line that every kind of event shares: when it
// happened and who wrote it.

#include <windows.h>

#include <evntcons.h>

#include <string_view>

namespace Viewer {

// "2024-03-07 09:05:01.042" on std::wcout: the record's UTC time stamp in local time.
// The milliseconds come from the raw time stamp. Leaves the stream's fill at '0' and
// its base decimal.
void WriteTimestamp(const EVENT_RECORD& record);

// "name(session:pid:tid)" on std::wcout; the session part (from the last terminal-session
// extended item) only when the record carries one. The name comes from the log and is
// written escaped (viewer/LogText.h).
void WriteSource(const EVENT_RECORD& record, std::wstring_view name);

// The product's source name: the record's "ProcessName", or "???" when it has none. The
// view is valid until the next call.
std::wstring_view ProductSourceName(const EVENT_RECORD& record);

} // namespace Viewer
