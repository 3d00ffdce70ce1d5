#pragma once

// Stands between the product and the real registry through Platform::Registry(): every
// call is forwarded to the system, after being recorded, unless the test asked for it
// to fail. It shows the order in which keys are created and values written (which the
// registry itself cannot tell afterwards), makes calls fail that Wine never fails, and
// counts opened and closed keys. The table is restored when the object dies; one
// interceptor at a time.

#include "platform/RegistryApi.h"
#include "tests/session/AutologgerDefinition.h"
#include "tests/support/ScopedApi.h"
#include "tests/support/SoleInstance.h"

#include <windows.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Testing {

class RegistryInterceptor {
public:
    RegistryInterceptor();
    RegistryInterceptor(const RegistryInterceptor&) = delete;
    RegistryInterceptor& operator=(const RegistryInterceptor&) = delete;
    ~RegistryInterceptor();

    // "create <subkey>" and "set <name>" in call order.
    const std::vector<std::wstring>& Writes() const noexcept { return writes; }
    // The values written, in call order.
    const std::vector<RegistryValue>& WrittenValues() const noexcept { return writtenValues; }

    // Every open and create in call order, with the access asked for (and the options
    // of a create), e.g. "open SYSTEM\...\Autologger access 0x4" or
    // "create Kestrova Diagnostics Log access 0x20006 options 0".
    const std::vector<std::wstring>& KeyAccesses() const noexcept { return keyAccesses; }

    // Keys the product opened or created successfully, and RegCloseKey calls.
    uint32_t OpenedKeys() const noexcept { return opened; }
    uint32_t ClosedKeys() const noexcept { return closed; }

    // Makes RegSetValueExW of that value name answer the code without writing.
    void FailSetValue(const std::wstring& name, LSTATUS code) { setFailures[name] = code; }
    // Makes every RegDeleteTreeW answer the code without deleting.
    void FailDeleteTree(LSTATUS code) noexcept { deleteFailure = code; }
    // Makes RegOpenKeyExW of a subkey path ending in `suffix` answer the code.
    void FailOpenKey(const std::wstring& suffix, LSTATUS code) { openFailures[suffix] = code; }

private:
    static LSTATUS WINAPI CreateKey(HKEY key, LPCWSTR subkey, DWORD reserved, LPWSTR keyClass, DWORD options,
                                    REGSAM desired, LPSECURITY_ATTRIBUTES security, PHKEY result, LPDWORD disposition);
    static LSTATUS WINAPI OpenKey(HKEY key, LPCWSTR subkey, DWORD options, REGSAM desired, PHKEY result);
    static LSTATUS WINAPI SetValue(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
    static LSTATUS WINAPI DeleteTree(HKEY key, LPCWSTR subkey);
    static LSTATUS WINAPI CloseKey(HKEY key);

    std::vector<std::wstring> writes;
    std::vector<RegistryValue> writtenValues;
    std::vector<std::wstring> keyAccesses;
    std::map<std::wstring, LSTATUS> setFailures;
    std::map<std::wstring, LSTATUS> openFailures;
    LSTATUS deleteFailure = ERROR_SUCCESS;
    uint32_t opened = 0;
    uint32_t closed = 0;

    // Last, so that the calls are taken only once the state above exists and are
    // given back before it goes.
    SoleInstance<RegistryInterceptor> sole;
    ScopedApi<Platform::RegistryApi> registry;
};

} // namespace Testing
