#pragma once

// The sample log of the product (samples/kestrova-sample.etl): what a machine running the
// product records with START /level:debug /callstacks, in a few dozen events. Written with
// the test-only .etl writer from fixed values, so that the same module always gives the
// same bytes:
// - operational events of both versions (UTF-16 and UTF-8) at every level, and Debug
//   channel events 2000 to 2006, from two processes in two terminal sessions on two
//   processors;
// - a DebugImage event of the sample module (samples/kestrova-sample-module.dll) at its
//   preferred base, with its debug directories, so that VIEW /callstack loads its symbols;
// - an operational error whose stack runs through that module's functions;
// - a DebugFault event whose minidump (a small one, built here: system information, the
//   access violation at a function of the module, the module list) dbghelp can read.

#include <filesystem>

namespace Testing {

// What the image event names the module by: its file name alone, so that dbghelp finds it
// wherever the sample is viewed, in the current directory or on the symbol path
// (_NT_SYMBOL_PATH); a full path would name a folder only the recording machine has.
inline constexpr const char* SampleModuleName = "kestrova-sample-module.dll";

// Writes the log. The module is loaded into this process to read its exports and debug
// directories. Throws std::runtime_error when it cannot be loaded, and what the writer
// throws.
void WriteSampleLog(const std::filesystem::path& module, const std::filesystem::path& log);

} // namespace Testing
