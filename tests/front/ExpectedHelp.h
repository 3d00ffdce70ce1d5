#pragma once

// The help text as the user reads it, line by line, to compare "/?" output with.

#include <string>
#include <vector>

namespace Testing {

// moduleFileName is the running executable's file name, as the usage line shows it.
std::vector<std::string> ExpectedHelpLines(const std::string& moduleFileName);

// The lines, each followed by lineEnd.
std::string JoinLines(const std::vector<std::string>& lines, const std::string& lineEnd);

} // namespace Testing
