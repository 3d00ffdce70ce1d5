#pragma once

// A subkey whose security descriptor denies KEY_READ to everyone, so that opening it for
// reading fails with access denied (5), as for a key an administrator has locked. The
// descriptor is opened up again before the object goes, so that the parent (a scratch
// key) can still be deleted with its tree.

#include <windows.h>

#include <string>

namespace Testing {

class DeniedRegistryKey {
public:
    DeniedRegistryKey(HKEY parent, std::wstring name);
    DeniedRegistryKey(const DeniedRegistryKey&) = delete;
    DeniedRegistryKey& operator=(const DeniedRegistryKey&) = delete;
    ~DeniedRegistryKey();

    const std::wstring& Name() const { return name; }

private:
    HKEY parent;
    std::wstring name;
};

} // namespace Testing
