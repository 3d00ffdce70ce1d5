#pragma once

// The TRACE_EVENT_INFO of the record being rendered, in one process-wide buffer that
// starts at 2048 bytes, only ever grows, and is reused for every record: rendering a
// long log allocates nothing per event. Used only on the thread that runs ProcessTrace.

#include <windows.h>

#include <evntcons.h>
#include <tdh.h>

#include <cstdint>
#include <optional>
#include <string_view>

namespace Viewer {

// TdhGetEventInformation for the record. On success the result points into the shared
// buffer and stays valid until the next call; on failure it is null and error holds
// TDH's answer (for example ERROR_NOT_FOUND for an event no manifest describes).
const TRACE_EVENT_INFO* GetEventInformation(const EVENT_RECORD& record, ULONG& error);

// The current size of the shared buffer in bytes.
ULONG EventInformationBufferSize();

// The string that an offset of the TRACE_EVENT_INFO names (LevelNameOffset and the
// other name offsets), read only inside the size bytes that hold the structure. TDH
// answers offsets in bytes from the start of the structure, 0 for a name the event does
// not have; that, an odd offset, one inside the fixed part of the structure or past its
// end, or a string with no terminator before the end gives nullopt. Whatever TDH
// answers, nothing outside the buffer is read.
std::optional<std::wstring_view> EventInformationString(const TRACE_EVENT_INFO& information, ULONG size, ULONG offset);

} // namespace Viewer
