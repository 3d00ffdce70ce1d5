#include "tests/session/AutologgerDefinition.h"

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <stdexcept>
#include <utility>

namespace Testing {

namespace {

class Key {
public:
    Key(const std::wstring& path, bool create)
    {
        const LSTATUS status = create ? ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0,
                                                          KEY_ALL_ACCESS, nullptr, &handle, nullptr)
                                      : ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &handle);
        if (status != ERROR_SUCCESS) {
            handle = nullptr;
            if (create) {
                throw std::runtime_error("cannot create a test registry key");
            }
        }
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    ~Key()
    {
        if (handle != nullptr) {
            ::RegCloseKey(handle);
        }
    }

    HKEY handle = nullptr;
};

RegistryValue MakeValue(const std::wstring& name, DWORD type, const void* data, size_t size)
{
    const auto* bytes = static_cast<const uint8_t*>(data);
    return {name, type, std::vector<uint8_t>(bytes, bytes + size)};
}

} // namespace

RegistryValue DwordValue(const std::wstring& name, uint32_t value)
{
    return MakeValue(name, REG_DWORD, &value, sizeof(value));
}

RegistryValue QwordValue(const std::wstring& name, uint64_t value)
{
    return MakeValue(name, REG_QWORD, &value, sizeof(value));
}

RegistryValue StringValue(const std::wstring& name, const std::wstring& value)
{
    return MakeValue(name, REG_SZ, value.c_str(), (value.size() + 1) * sizeof(wchar_t));
}

RegistryValue BinaryValue(const std::wstring& name, std::vector<uint8_t> bytes)
{
    return {name, REG_BINARY, std::move(bytes)};
}

std::vector<RegistryValue> SortedByName(std::vector<RegistryValue> values)
{
    std::sort(values.begin(), values.end(),
              [](const RegistryValue& left, const RegistryValue& right) { return left.name < right.name; });
    return values;
}

std::vector<RegistryValue> ProviderKeyValues(uint64_t matchAnyKeyword, uint32_t level, uint32_t enableProperty)
{
    return {DwordValue(L"Enabled", 1), QwordValue(L"MatchAnyKeyword", matchAnyKeyword),
            QwordValue(L"MatchAllKeyword", 0), DwordValue(L"EnableLevel", level),
            DwordValue(L"EnableProperty", enableProperty)};
}

void PrintTo(const RegistryValue& value, std::ostream* stream)
{
    *stream << std::string(value.name.begin(), value.name.end()) << " type " << value.type << " data";
    for (const uint8_t byte : value.data) {
        *stream << ' ' << std::hex << std::setw(2) << std::setfill('0') << static_cast<int>(byte) << std::dec;
    }
}

AutologgerDefinition::AutologgerDefinition() : lock(AutologgerKeyLockName)
{
    Key parent(ParentPath(), true);
    Delete();
}

AutologgerDefinition::~AutologgerDefinition()
{
    Delete();
}

const wchar_t* AutologgerDefinition::ParentPath()
{
    return L"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger";
}

std::wstring AutologgerDefinition::SessionPath()
{
    return std::wstring(ParentPath()) + L"\\Kestrova Diagnostics Log";
}

std::wstring AutologgerDefinition::Path(const std::wstring& subkey)
{
    return subkey.empty() ? SessionPath() : SessionPath() + L"\\" + subkey;
}

void AutologgerDefinition::Delete()
{
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, SessionPath().c_str());
}

bool AutologgerDefinition::Exists(const std::wstring& subkey) const
{
    return Key(Path(subkey), false).handle != nullptr;
}

std::vector<RegistryValue> AutologgerDefinition::Values(const std::wstring& subkey) const
{
    Key key(Path(subkey), false);
    std::vector<RegistryValue> values;
    for (DWORD index = 0; key.handle != nullptr; ++index) {
        wchar_t name[256] = {};
        DWORD nameLength = 256;
        DWORD type = 0;
        uint8_t data[2048] = {};
        DWORD size = sizeof(data);
        if (::RegEnumValueW(key.handle, index, name, &nameLength, nullptr, &type, data, &size) != ERROR_SUCCESS) {
            break;
        }
        values.push_back(MakeValue(std::wstring(name, nameLength), type, data, size));
    }
    return SortedByName(std::move(values));
}

std::vector<std::wstring> AutologgerDefinition::Subkeys() const
{
    Key key(SessionPath(), false);
    std::vector<std::wstring> names;
    for (DWORD index = 0; key.handle != nullptr; ++index) {
        wchar_t name[256] = {};
        DWORD nameLength = 256;
        if (::RegEnumKeyExW(key.handle, index, name, &nameLength, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            break;
        }
        names.emplace_back(name, nameLength);
    }
    std::sort(names.begin(), names.end());
    return names;
}

void AutologgerDefinition::Set(const std::wstring& subkey, const RegistryValue& value) const
{
    Key key(Path(subkey), true);
    if (::RegSetValueExW(key.handle, value.name.c_str(), 0, value.type, value.data.data(),
                         static_cast<DWORD>(value.data.size())) != ERROR_SUCCESS) {
        throw std::runtime_error("cannot set a test registry value");
    }
}

} // namespace Testing
