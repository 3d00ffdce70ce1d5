#pragma once

// The auto-logger definition of the log session in the real registry, for tests that
// START, STOP or report: HKLM\SYSTEM\CurrentControlSet\Control\WMI\Autologger\Kestrova
// Diagnostics Log. Every test process shares that one key, so the object holds the
// machine-wide lock for its lifetime, makes sure the Autologger parent exists (Windows
// always has it, a fresh Wine prefix does not) and deletes the session's tree when it
// is created and when it is destroyed.

#include "tests/support/NamedLock.h"

#include <windows.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace Testing {

struct RegistryValue {
    std::wstring name;
    DWORD type = REG_NONE;
    std::vector<uint8_t> data;

    bool operator==(const RegistryValue&) const = default;
};

RegistryValue DwordValue(const std::wstring& name, uint32_t value);
RegistryValue QwordValue(const std::wstring& name, uint64_t value);
// REG_SZ with its terminator, as the product writes it.
RegistryValue StringValue(const std::wstring& name, const std::wstring& value);
RegistryValue BinaryValue(const std::wstring& name, std::vector<uint8_t> bytes);

void PrintTo(const RegistryValue& value, std::ostream* stream);

// Sorted by name, as AutologgerDefinition::Values() lists them.
std::vector<RegistryValue> SortedByName(std::vector<RegistryValue> values);

// The five values of a provider key in the order they are written: Enabled 1, the
// keywords (match-all 0), the level and the enable property.
std::vector<RegistryValue> ProviderKeyValues(uint64_t matchAnyKeyword, uint32_t level, uint32_t enableProperty);

class AutologgerDefinition {
public:
    AutologgerDefinition();
    AutologgerDefinition(const AutologgerDefinition&) = delete;
    AutologgerDefinition& operator=(const AutologgerDefinition&) = delete;
    ~AutologgerDefinition();

    // "SYSTEM\CurrentControlSet\Control\WMI\Autologger"
    static const wchar_t* ParentPath();
    // ParentPath() + "\Kestrova Diagnostics Log"
    static std::wstring SessionPath();

    // Below the session key; an empty subkey is the session key itself.
    bool Exists(const std::wstring& subkey = L"") const;
    // Every value with its type and data, sorted by name (the registry does not promise
    // an enumeration order; the order of writing is checked through the calls).
    std::vector<RegistryValue> Values(const std::wstring& subkey = L"") const;
    // The session key's subkeys, sorted.
    std::vector<std::wstring> Subkeys() const;

    // Creates the key as needed and writes the value.
    void Set(const std::wstring& subkey, const RegistryValue& value) const;

private:
    static std::wstring Path(const std::wstring& subkey);
    static void Delete();

    NamedLock lock;
};

} // namespace Testing
