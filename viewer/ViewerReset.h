#pragma once

// Puts the viewer's process-wide state back as a process starts, for test suites that
// run many tests in one process. VIEW and LIVE run once per process in the program, which
// never resets anything.

namespace Viewer {

// The process ids whose symbol handler was set up forgotten (dbghelp itself keeps what
// it holds for them), every dbghelp binding released, the event-information buffer back
// to its first 2048 bytes, LIVE's session and consumer handles back to none, and the
// standard-output handle known not to be a console forgotten. No VIEW
// or LIVE may run meanwhile.
void ResetViewerState();

// The pieces, each defined next to the state it resets.
namespace Reset {
void ForgetSymbolProcesses();
void ReleaseDbgHelp();
void ShrinkEventInformation();
void ForgetLiveHandles();
void ForgetConsoleAnswer();
} // namespace Reset

} // namespace Viewer
