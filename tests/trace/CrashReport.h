#pragma once

// Reading a crash report back from captured trace output.

#include <string>
#include <vector>

namespace Testing {

// The line that ends every completed stack dump.
extern const std::string FinishedDumpHint;

// The texts of the "crash_handler" trace lines, in order; other lines are left out.
std::vector<std::string> CrashHandlerTexts(const std::string& output);

} // namespace Testing
