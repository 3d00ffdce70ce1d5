#pragma once

// Run-time loading of system libraries (dbghelp.dll). The table lets a test count the
// loads and hide one export, as an older or stripped library would.

#include <windows.h>

namespace Platform {

struct ModuleApi {
    decltype(&::LoadLibraryExW) LoadLibraryExW;
    decltype(&::GetProcAddress) GetProcAddress;
    decltype(&::FreeLibrary) FreeLibrary;
};

ModuleApi& Module();
const ModuleApi& SystemModule();

} // namespace Platform
