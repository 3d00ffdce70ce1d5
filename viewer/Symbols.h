#pragma once

// Call stacks of product events, resolved offline. Each DebugImage event (2020) of the
// log loads its module into dbghelp's symbol handler under the recorded process id,
// which stands in for a process handle, so that the logged processes need not exist any
// more. Stacks then print frame by frame below their event. A module is known only from
// its image event onwards, and the handler is never cleaned up: modules accumulate for
// the life of the process.

#include <windows.h>

#include <evntcons.h>

#include <cstdint>
#include <string>

namespace Viewer {

// Sets up the symbol handler for the record's process once, prints the image line and
// loads the module described by the record. Failures are traced; the display goes on.
void LoadImageSymbols(const EVENT_RECORD& record);

// Prints the record's captured stack below its event, skipping the logging machinery
// (the frames up to the first one, after the first, whose symbol contains "Trace_").
// frameLimit 0 means every frame.
void PrintCallStack(const EVENT_RECORD& record, uint32_t frameLimit);

// Looks the address up in the record's process. When print is set, writes the frame
// line: "   name in file line n", or "   0x<address>" when it cannot be resolved.
// True when the symbol's name contains "Trace_".
bool PrintStackFrame(const EVENT_RECORD& record, uint64_t address, bool print);

// The symbol handler's callback: event and debug texts go to std::cout (that is how
// SYMOPT_DEBUG diagnostics reach the user); every other action is declined.
BOOL CALLBACK SymbolCallback(HANDLE process, ULONG action, ULONG64 data, ULONG64 context);

// The image line's machine: " (x86)" for 0x14C, " (AMD64)" for 0x8664, nothing for 0,
// else " (<n>)" in decimal.
std::wstring MachineSuffix(uint16_t machine);

} // namespace Viewer
