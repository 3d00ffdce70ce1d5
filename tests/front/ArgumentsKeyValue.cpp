#include "tests/front/ArgumentsKeyValue.h"

#include <stdexcept>

namespace Testing {

ArgumentsKeyValue::ArgumentsKeyValue(const std::wstring& moduleName, const std::wstring& name, const std::wstring& text)
    : path(L"Software\\Kestrova\\Arguments\\" + moduleName), name(name)
{
    Write(REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

ArgumentsKeyValue::ArgumentsKeyValue(const std::wstring& moduleName, const std::wstring& name, DWORD number)
    : path(L"Software\\Kestrova\\Arguments\\" + moduleName), name(name)
{
    Write(REG_DWORD, &number, sizeof(number));
}

void ArgumentsKeyValue::Write(DWORD type, const void* data, DWORD size)
{
    DWORD disposition = 0;
    if (::RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                          &disposition) != ERROR_SUCCESS) {
        throw std::runtime_error("cannot create the arguments key");
    }
    created = disposition == REG_CREATED_NEW_KEY;
    if (::RegSetValueExW(key, name.c_str(), 0, type, static_cast<const BYTE*>(data), size) != ERROR_SUCCESS) {
        Remove();
        throw std::runtime_error("cannot write the arguments value");
    }
}

ArgumentsKeyValue::~ArgumentsKeyValue()
{
    Remove();
}

void ArgumentsKeyValue::Remove()
{
    ::RegDeleteValueW(key, name.c_str());
    ::RegCloseKey(key);
    if (created) {
        ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());
    }
}

} // namespace Testing
