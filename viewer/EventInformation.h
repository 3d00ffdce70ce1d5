#pragma once

// The TRACE_EVENT_INFO of the record being rendered, in one process-wide buffer that
// starts at 2048 bytes, only ever grows, and is reused for every record: rendering a
// long log allocates nothing per event. Used only on the thread that runs ProcessTrace.

#include <windows.h>

#include <evntcons.h>
#include <tdh.h>

#include <cstdint>

namespace Viewer {

// TdhGetEventInformation for the record. On success the result points into the shared
// buffer and stays valid until the next call; on failure it is null and error holds
// TDH's answer (for example ERROR_NOT_FOUND for an event no manifest describes).
const TRACE_EVENT_INFO* GetEventInformation(const EVENT_RECORD& record, ULONG& error);

// The current size of the shared buffer in bytes.
ULONG EventInformationBufferSize();

} // namespace Viewer
