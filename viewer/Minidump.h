#pragma once

// Fault events (2021) carry a minidump of the faulting process as base64 text in their
// "debug" field. Showing such an event turns the text back into a dump file that a
// debugger can open: "fault_<guid>.dmp" in the temporary directory, a new file each time
// the event is shown.

#include <windows.h>

#include <evntcons.h>

namespace Viewer {

// Writes the dump and its outcome ("Minidump written to <path>" or the failure) on the
// console line that the caller has begun, and ends that line. Text that is not base64 is
// only traced ("Failed to save minidump error [...]"); nothing is then written.
void SaveFaultMinidump(const EVENT_RECORD& record);

} // namespace Viewer
