#pragma once

// One value in an executable's own registry arguments key,
// HKLM\Software\Kestrova\Arguments\<module name>, for the lifetime of the object.
// The arguments-keys lock is held from before the write until after the removal, so no
// other test reads or writes those keys meanwhile. The value is removed afterwards, and
// the key too when this object created it.

#include "tests/support/NamedLock.h"

#include <windows.h>

#include <string>

namespace Testing {

class ArgumentsKeyValue {
public:
    // A REG_SZ value.
    ArgumentsKeyValue(const std::wstring& moduleName, const std::wstring& name, const std::wstring& text);
    // A REG_DWORD value.
    ArgumentsKeyValue(const std::wstring& moduleName, const std::wstring& name, DWORD number);
    ArgumentsKeyValue(const ArgumentsKeyValue&) = delete;
    ArgumentsKeyValue& operator=(const ArgumentsKeyValue&) = delete;
    ~ArgumentsKeyValue();

private:
    void Write(DWORD type, const void* data, DWORD size);
    void Remove();

    NamedLock lock{ArgumentsKeyLockName};
    std::wstring path;
    std::wstring name;
    HKEY key = nullptr;
    bool created = false;
};

} // namespace Testing
