#include "tests/base/ArgumentsKeyValues.h"

#include <stdexcept>

namespace Testing {

ArgumentsKeyValues::ArgumentsKeyValues(std::wstring path) : path(std::move(path))
{
    DWORD disposition = 0;
    if (::RegCreateKeyExW(HKEY_LOCAL_MACHINE, this->path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                          &disposition) != ERROR_SUCCESS) {
        throw std::runtime_error("cannot create the arguments key");
    }
    created = disposition == REG_CREATED_NEW_KEY;
}

ArgumentsKeyValues::~ArgumentsKeyValues()
{
    for (const std::wstring& name : names) {
        ::RegDeleteValueW(key, name.c_str());
    }
    ::RegCloseKey(key);
    if (created) {
        // Fails, and so keeps the key, when another test's subkey is inside it.
        ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());
    }
}

void ArgumentsKeyValues::Set(const std::wstring& name, DWORD type, const void* data, DWORD size)
{
    names.push_back(name);
    if (::RegSetValueExW(key, name.c_str(), 0, type, static_cast<const BYTE*>(data), size) != ERROR_SUCCESS) {
        throw std::runtime_error("cannot write the arguments value");
    }
}

void ArgumentsKeyValues::SetString(const std::wstring& name, const std::wstring& text)
{
    Set(name, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

void ArgumentsKeyValues::SetDword(const std::wstring& name, DWORD number)
{
    Set(name, REG_DWORD, &number, sizeof(number));
}

} // namespace Testing
