#pragma once

// The first line of every run: product name and the four-part file version.

#include <string>

namespace Front {

// The product's name as the banner and the help text print it.
constexpr char ProductName[] = "Kestrova";

// "major.minor.build.revision" from the fixed file information of the running
// executable's VERSIONINFO, so the banner always tells the version of the file that
// runs. Throws Base::ExceptionWin32 when the executable carries no version information.
std::string FileVersionText();

// "Kestrova Diagnostics Utility, Version <FileVersionText>" and an empty line, on
// standard output.
void PrintBanner();

} // namespace Front
