#pragma once

// The help text of "ksdiag /?".

namespace Front {

// Writes the help text to standard output. The usage line names the running
// executable's file (GetModuleFileNameA, without its folder).
void PrintUsage();

} // namespace Front
