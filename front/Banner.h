#pragma once

// The first line of every run: product name and the four-part file version.

#include <ostream>

namespace Front {

// The product's name as the banner and the help text print it.
constexpr char ProductName[] = "Kestrova";

// "major.minor.build.revision": the project version that CMake also writes into the
// executable's VERSIONINFO, fixed when the program is built. Reading it back from the
// running image would only add a way to fail before every command.
extern const char FileVersionText[];

// "Kestrova Diagnostics Utility, Version <FileVersionText>" and an empty line, on the
// stream: standard output, or standard error when standard output is kept for JSON.
void PrintBanner(std::ostream& stream);

} // namespace Front
