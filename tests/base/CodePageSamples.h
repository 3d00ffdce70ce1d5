#pragma once

// Expected bytes for the code pages a test machine is likely to run with, so that the
// conversion tests state exact bytes instead of asking the converter under test.

#include <windows.h>

#include <optional>
#include <string>

namespace Testing {

// The code page a conversion with codePage really uses: 0 (what GetConsoleCP answers
// in a process without a console) stands for the ANSI code page.
UINT EffectiveCodePage(UINT codePage);

// How U+00E9 (small e with acute) is written in the code page; nullopt for a code page
// the tests have no table for.
std::optional<std::string> SmallEAcute(UINT codePage);

} // namespace Testing
