#include "tests/base/DeniedRegistryKey.h"

#include <sddl.h>

#include <memory>
#include <stdexcept>

namespace Testing {

namespace {

// Everyone is refused KEY_READ and granted the rest; a deny entry wins over an allow.
constexpr wchar_t deniedDescriptor[] = L"D:(D;;KR;;;WD)(A;;KA;;;WD)";
constexpr wchar_t openDescriptor[] = L"D:(A;;KA;;;WD)";

struct LocalFreeDeleter {
    void operator()(void* memory) const { ::LocalFree(memory); }
};

void SetDacl(HKEY key, const wchar_t* sddl)
{
    PSECURITY_DESCRIPTOR raw = nullptr;
    if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, &raw, nullptr)) {
        throw std::runtime_error("cannot build the security descriptor");
    }
    const std::unique_ptr<void, LocalFreeDeleter> descriptor(raw);
    if (::RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor.get()) != ERROR_SUCCESS) {
        throw std::runtime_error("cannot set the key's security descriptor");
    }
}

} // namespace

DeniedRegistryKey::DeniedRegistryKey(HKEY parent, std::wstring name) : parent(parent), name(std::move(name))
{
    HKEY key = nullptr;
    if (::RegCreateKeyExW(parent, this->name.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr) !=
        ERROR_SUCCESS) {
        throw std::runtime_error("cannot create the denied key");
    }
    const std::unique_ptr<HKEY__, decltype(&::RegCloseKey)> owned(key, ::RegCloseKey);
    SetDacl(key, deniedDescriptor);
}

DeniedRegistryKey::~DeniedRegistryKey()
{
    // WRITE_DAC is not part of what the descriptor denies.
    HKEY key = nullptr;
    if (::RegOpenKeyExW(parent, name.c_str(), 0, WRITE_DAC, &key) == ERROR_SUCCESS) {
        try {
            SetDacl(key, openDescriptor);
        } catch (const std::exception&) {
            // The scratch key then stays behind; nothing else depends on it.
        }
        ::RegCloseKey(key);
    }
}

} // namespace Testing
