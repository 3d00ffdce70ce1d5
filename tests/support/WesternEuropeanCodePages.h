#pragma once

// For the lifetime of the object, Platform::CodePages() answers as a Western-European
// Windows does: ANSI code page 1252, console input code page 850. In 1252 the byte 0xE9
// is e with acute; in 850 it is U with acute, so text read in the wrong one shows it.

#include "platform/CodePageApi.h"
#include "tests/support/ScopedApi.h"

namespace Testing {

class WesternEuropeanCodePages {
public:
    WesternEuropeanCodePages();

private:
    ScopedApi<Platform::CodePageApi> codePages;
};

} // namespace Testing
