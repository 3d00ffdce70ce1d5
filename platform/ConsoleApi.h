#pragma once

// Console attributes, title, control handler and the console side of standard output:
// the calls whose effect a test cannot observe through redirected streams.

#include <windows.h>

namespace Platform {

struct ConsoleApi {
    decltype(&::GetStdHandle) GetStdHandle;
    decltype(&::GetConsoleScreenBufferInfo) GetConsoleScreenBufferInfo;
    decltype(&::SetConsoleTextAttribute) SetConsoleTextAttribute;
    decltype(&::SetConsoleTitleW) SetConsoleTitleW;
    decltype(&::SetConsoleCtrlHandler) SetConsoleCtrlHandler;
    decltype(&::GetConsoleMode) GetConsoleMode;
    decltype(&::WriteConsoleW) WriteConsoleW;
};

ConsoleApi& Console();
const ConsoleApi& SystemConsole();

} // namespace Platform
