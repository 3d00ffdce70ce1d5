#include "tests/support/ScratchRegistryKey.h"

#include <rpc.h>

#include <stdexcept>

namespace Testing {

std::wstring UniqueName(const wchar_t* prefix)
{
    UUID uuid{};
    ::UuidCreate(&uuid);
    RPC_WSTR text = nullptr;
    ::UuidToStringW(&uuid, &text);
    std::wstring name = std::wstring(prefix) + reinterpret_cast<const wchar_t*>(text);
    ::RpcStringFreeW(&text);
    return name;
}

ScratchRegistryKey::ScratchRegistryKey(HKEY root, const std::wstring& parentPath)
    : root(root), path(parentPath + L"\\" + UniqueName(L"scratch-"))
{
    ::RegDeleteTreeW(root, path.c_str());
    if (::RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &handle, nullptr) !=
        ERROR_SUCCESS) {
        throw std::runtime_error("cannot create the scratch registry key");
    }
}

ScratchRegistryKey::~ScratchRegistryKey()
{
    ::RegCloseKey(handle);
    ::RegDeleteTreeW(root, path.c_str());
}

} // namespace Testing
