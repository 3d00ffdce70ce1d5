#pragma once

// The two code pages narrow text comes in: the ANSI code page, in which the C runtime
// builds argv and the system hands out the narrow environment, and the console's input
// code page, which the program's own narrow text uses. They differ on many systems (a
// Western-European one has 1252 and 850); a test makes them differ through this table.

#include <windows.h>

namespace Platform {

struct CodePageApi {
    decltype(&::GetACP) GetACP;
    decltype(&::GetConsoleCP) GetConsoleCP;
};

CodePageApi& CodePages();
const CodePageApi& SystemCodePages();

} // namespace Platform
