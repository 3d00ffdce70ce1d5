#pragma once

// A uniquely named registry key for one test, deleted with its whole tree before and
// after use. Keys live under the given root, e.g. HKEY_CURRENT_USER\Software\KestrovaTests.

#include <windows.h>

#include <string>

namespace Testing {

class ScratchRegistryKey {
public:
    // parentPath is relative to root; the scratch key is parentPath\<unique name>.
    ScratchRegistryKey(HKEY root, const std::wstring& parentPath);
    ScratchRegistryKey(const ScratchRegistryKey&) = delete;
    ScratchRegistryKey& operator=(const ScratchRegistryKey&) = delete;
    ~ScratchRegistryKey();

    HKEY Root() const { return root; }
    // The key's path relative to the root.
    const std::wstring& Path() const { return path; }
    // An open handle with full access (closed with the object).
    HKEY Handle() const { return handle; }

private:
    HKEY root;
    std::wstring path;
    HKEY handle = nullptr;
};

// A unique suffix for names that tests share a key or a directory with.
std::wstring UniqueName(const wchar_t* prefix);

} // namespace Testing
