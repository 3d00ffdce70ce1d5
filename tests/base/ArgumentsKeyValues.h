#pragma once

// Values that one test writes into a registry arguments key under HKEY_LOCAL_MACHINE:
// the product-wide key or this executable's own subkey. The object holds the
// arguments-keys lock for its whole life, so no other test reads or writes those keys
// meanwhile; it removes its values when it goes, and the key too when it created it.

#include "tests/support/NamedLock.h"

#include <windows.h>

#include <string>
#include <vector>

namespace Testing {

constexpr wchar_t ProductArgumentsPath[] = L"Software\\Kestrova\\Arguments";
// The subkey is named after the running module, registry_tests.exe.
constexpr wchar_t ProcessArgumentsPath[] = L"Software\\Kestrova\\Arguments\\registry_tests";

class ArgumentsKeyValues {
public:
    explicit ArgumentsKeyValues(std::wstring path);
    ArgumentsKeyValues(const ArgumentsKeyValues&) = delete;
    ArgumentsKeyValues& operator=(const ArgumentsKeyValues&) = delete;
    ~ArgumentsKeyValues();

    // Raw data of any type and size, for the values the wrapper's own setters cannot make.
    void Set(const std::wstring& name, DWORD type, const void* data, DWORD size);
    // REG_SZ with its terminator.
    void SetString(const std::wstring& name, const std::wstring& text);
    void SetDword(const std::wstring& name, DWORD number);

private:
    NamedLock lock{ArgumentsKeyLockName};
    std::wstring path;
    HKEY key = nullptr;
    bool created = false;
    std::vector<std::wstring> names;
};

} // namespace Testing
