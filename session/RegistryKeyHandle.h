#pragma once

// A registry key opened directly through Platform::Registry() (STATUS reads the
// auto-logger keys without the registry wrapper), closed through the same table.

#include "base/UniqueHandle.h"
#include "platform/RegistryApi.h"

#include <windows.h>

namespace Session {

struct RegistryKeyTraits {
    using Type = HKEY;
    static Type Invalid() noexcept { return nullptr; }
    static bool IsValid(Type key) noexcept { return key != nullptr; }
    static void Close(Type key) noexcept { Platform::Registry().RegCloseKey(key); }
};
using UniqueRegistryKey = Base::UniqueHandle<RegistryKeyTraits>;

} // namespace Session
