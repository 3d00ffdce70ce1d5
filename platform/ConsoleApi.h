#pragma once

// Console attributes, title and control handler: the calls whose effect a test cannot
// observe through redirected streams.

#include <windows.h>

namespace Platform {

struct ConsoleApi {
    decltype(&::GetStdHandle) GetStdHandle;
    decltype(&::GetConsoleScreenBufferInfo) GetConsoleScreenBufferInfo;
    decltype(&::SetConsoleTextAttribute) SetConsoleTextAttribute;
    decltype(&::SetConsoleTitleW) SetConsoleTitleW;
    decltype(&::SetConsoleCtrlHandler) SetConsoleCtrlHandler;
};

ConsoleApi& Console();
const ConsoleApi& SystemConsole();

} // namespace Platform
