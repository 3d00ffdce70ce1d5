#pragma once

// The registry key wrapper on a test's scratch key under
// HKEY_CURRENT_USER\Software\KestrovaTests, opened with the access the test chooses: a
// key opened for reading only lets the real registry refuse a write, and one opened for
// writing only lets it refuse a read.

#include "base/RegistryKeyWin32.h"
#include "tests/support/ScratchRegistryKey.h"

namespace Testing {

constexpr wchar_t ScratchParentPath[] = L"Software\\KestrovaTests";

inline Base::RegistryKey OpenScratchKey(const ScratchRegistryKey& scratch, REGSAM access)
{
    Base::RegistryKeyWin32 root(scratch.Root());
    return root.OpenSubkey(scratch.Path(), access);
}

} // namespace Testing
