#pragma once

// Registry entry points. Wine implements the registry for real and the tests use it;
// the table exists so that a test can make one chosen call fail with a chosen code.

#include <windows.h>

namespace Platform {

struct RegistryApi {
    decltype(&::RegCreateKeyExW) RegCreateKeyExW;
    decltype(&::RegOpenKeyExW) RegOpenKeyExW;
    decltype(&::RegGetValueW) RegGetValueW;
    decltype(&::RegSetValueExW) RegSetValueExW;
    decltype(&::RegQueryValueExW) RegQueryValueExW;
    decltype(&::RegEnumValueW) RegEnumValueW;
    decltype(&::RegDeleteTreeW) RegDeleteTreeW;
    decltype(&::RegCloseKey) RegCloseKey;
};

RegistryApi& Registry();
const RegistryApi& SystemRegistry();

} // namespace Platform
