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
#include <vector>

namespace Viewer {

// What accompanies the loading of an image's symbols on the console. Text: the image line,
// and the symbol handler's diagnostics (/symbols) on standard output. Json: no line, since
// the image event is one of the JSON objects, and the diagnostics on standard error, since
// standard output holds JSON only. The choice for a process is made by its first image event.
enum class ImageOutput { Text, Json };

// Sets up the symbol handler for the record's process once, prints the image line (Text)
// and loads the module described by the record. Failures are traced; the display goes on.
void LoadImageSymbols(const EVENT_RECORD& record, ImageOutput output = ImageOutput::Text);

// The return addresses of the record's first stack-trace item, innermost first; empty when
// the record carries none. addresses keeps its capacity.
void ReadStackAddresses(const EVENT_RECORD& record, std::vector<uint64_t>& addresses);

// One frame of a stack as far as the loaded images and the symbol handler know it. Texts are
// ANSI, as the image events and dbghelp give them; empty when unknown.
struct ResolvedFrame {
    std::string module;   // the file name an image event logged for the image holding the address
    std::string function; // the symbol's name
    std::string file;     // the source file's path, as the debug information holds it
    uint32_t line = 0;    // with file
};

// Resolves the address in the record's process. A module is known once its image event has
// been loaded (LoadImageSymbols); names and lines need dbghelp, and so /callstack. Failures
// leave the fields empty and are not traced: the JSON view asks for every frame.
void ResolveStackFrame(const EVENT_RECORD& record, uint64_t address, ResolvedFrame& frame);

// Prints the record's captured stack below its event, skipping the logging machinery
// (the frames up to the first one, after the first, whose symbol contains "Trace_").
// frameLimit 0 means every frame.
void PrintCallStack(const EVENT_RECORD& record, uint32_t frameLimit);

// Looks the address up in the record's process. When print is set, writes the frame
// line: "   name in file line n", or "   0x<address>" when it cannot be resolved.
// True when the symbol's name contains "Trace_".
bool PrintStackFrame(const EVENT_RECORD& record, uint64_t address, bool print);

// The symbol handler's callback: event and debug texts go to std::cout (that is how
// SYMOPT_DEBUG diagnostics reach the user), or to std::cerr when registered with context 1
// (the JSON view); every other action is declined.
BOOL CALLBACK SymbolCallback(HANDLE process, ULONG action, ULONG64 data, ULONG64 context);

// The image line's machine: " (x86)" for 0x14C, " (AMD64)" for 0x8664, nothing for 0,
// else " (<n>)" in decimal.
std::wstring MachineSuffix(uint16_t machine);

} // namespace Viewer
