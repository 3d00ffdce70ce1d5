#include "tests/session/RegistryInterceptor.h"

#include <cwchar>

namespace Testing {

namespace {

RegistryInterceptor* active = nullptr;

bool EndsWith(const std::wstring& text, const std::wstring& suffix)
{
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::wstring Hex(unsigned long value)
{
    wchar_t text[16] = {};
    std::swprintf(text, 16, L"0x%lx", value);
    return text;
}

} // namespace

RegistryInterceptor::RegistryInterceptor()
    : sole(active, *this, "a RegistryInterceptor"), registry(Platform::Registry())
{
    registry->RegCreateKeyExW = CreateKey;
    registry->RegOpenKeyExW = OpenKey;
    registry->RegSetValueExW = SetValue;
    registry->RegDeleteTreeW = DeleteTree;
    registry->RegCloseKey = CloseKey;
}

RegistryInterceptor::~RegistryInterceptor() = default;

LSTATUS WINAPI RegistryInterceptor::CreateKey(HKEY key, LPCWSTR subkey, DWORD reserved, LPWSTR keyClass, DWORD options,
                                              REGSAM desired, LPSECURITY_ATTRIBUTES security, PHKEY result,
                                              LPDWORD disposition)
{
    active->writes.push_back(L"create " + std::wstring(subkey));
    active->keyAccesses.push_back(L"create " + std::wstring(subkey) + L" access " + Hex(desired) + L" options " +
                                  std::to_wstring(options));
    const LSTATUS status = active->registry.Saved().RegCreateKeyExW(key, subkey, reserved, keyClass, options, desired,
                                                                    security, result, disposition);
    active->opened += status == ERROR_SUCCESS ? 1 : 0;
    return status;
}

LSTATUS WINAPI RegistryInterceptor::OpenKey(HKEY key, LPCWSTR subkey, DWORD options, REGSAM desired, PHKEY result)
{
    active->keyAccesses.push_back(L"open " + std::wstring(subkey) + L" access " + Hex(desired));
    for (const auto& [suffix, code] : active->openFailures) {
        if (EndsWith(subkey, suffix)) {
            *result = nullptr;
            return code;
        }
    }
    const LSTATUS status = active->registry.Saved().RegOpenKeyExW(key, subkey, options, desired, result);
    active->opened += status == ERROR_SUCCESS ? 1 : 0;
    return status;
}

LSTATUS WINAPI RegistryInterceptor::SetValue(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                                             DWORD size)
{
    const auto failure = active->setFailures.find(name);
    if (failure != active->setFailures.end()) {
        return failure->second;
    }
    active->writes.push_back(L"set " + std::wstring(name));
    active->writtenValues.push_back({name, type, std::vector<uint8_t>(data, data + size)});
    return active->registry.Saved().RegSetValueExW(key, name, reserved, type, data, size);
}

LSTATUS WINAPI RegistryInterceptor::DeleteTree(HKEY key, LPCWSTR subkey)
{
    active->writes.push_back(L"delete " + std::wstring(subkey));
    if (active->deleteFailure != ERROR_SUCCESS) {
        return active->deleteFailure;
    }
    return active->registry.Saved().RegDeleteTreeW(key, subkey);
}

LSTATUS WINAPI RegistryInterceptor::CloseKey(HKEY key)
{
    ++active->closed;
    return active->registry.Saved().RegCloseKey(key);
}

} // namespace Testing
