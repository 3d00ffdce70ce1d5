#include "base/DelayLoad.h"

#include "platform/ModuleApi.h"
#include "trace/Log.h"

#include <utility>

namespace Base {

namespace {

Trace::Category delayLoadLog("delay_load");

} // namespace

HMODULE LoadModule(const std::wstring& path, uint32_t flags)
{
    const DWORD loadFlags = (flags & SearchSystem32) != 0 ? LOAD_LIBRARY_SEARCH_SYSTEM32 : 0;
    const HMODULE module = Platform::Module().LoadLibraryExW(path.c_str(), nullptr, loadFlags);
    if (module == nullptr) {
        const uint32_t errorCode = ::GetLastError();
        delayLoadLog->Error("Failed to load module", Trace::Field{"errorCode", errorCode}, Trace::Field{"flags", flags},
                            Trace::Field{"path", path});
        throw ExceptionWin32(errorCode);
    }
    delayLoadLog->Debug("Loaded module", Trace::Field{"path", path}, Trace::Field{"module", module},
                        Trace::Field{"flags", flags});
    return module;
}

FARPROC GetModuleMethod(HMODULE module, const char* name)
{
    const FARPROC method = Platform::Module().GetProcAddress(module, name);
    if (method == nullptr) {
        const uint32_t errorCode = ::GetLastError();
        delayLoadLog->Error("Failed to get module method", Trace::Field{"errorCode", errorCode},
                            Trace::Field{"name", name}, Trace::Field{"module", module});
        throw ExceptionWin32(errorCode);
    }
    return method;
}

void CloseModule(HMODULE module) noexcept
{
    if (!Platform::Module().FreeLibrary(module)) {
        const uint32_t errorCode = ::GetLastError();
        try {
            delayLoadLog->Error("Failed to close module", Trace::Field{"module", module},
                                Trace::Field{"errorCode", errorCode});
        } catch (...) {
            // Closing is best effort; a failing log sink must not turn it into a throw.
        }
    }
}

const Exception& DelayLoadedMethod::Error() const
{
    if (!error.has_value()) {
        throw Exception("Value Not Set");
    }
    return *error;
}

void DelayLoadedMethod::Reset() noexcept
{
    if (module != nullptr) {
        CloseModule(std::exchange(module, nullptr));
    }
    method = nullptr;
    error.reset();
}

void DelayLoadedMethod::StoreError(const char* text)
{
    error = Exception(text);
}

bool Bind(DelayLoadedMethod& binding, const std::wstring& path, const char* name, uint32_t flags)
{
    if (binding.error.has_value()) {
        return false;
    }
    if (binding.method != nullptr) {
        return true;
    }
    try {
        const HMODULE module = LoadModule(path, flags);
        if (module != binding.module) {
            if (binding.module != nullptr) {
                CloseModule(binding.module);
            }
            binding.module = module;
        }
        if (module == nullptr) {
            binding.StoreError("Failed to load module");
            return false;
        }
    } catch (const std::exception& failure) {
        // Base::ExceptionWin32 in practice; anything else (a failing log sink) is stored
        // the same way, because Bind reports through its result and never throws.
        binding.StoreError(failure.what());
        return false;
    }
    try {
        const FARPROC method = GetModuleMethod(binding.module, name);
        if (method == nullptr) {
            binding.StoreError("Failed to find method");
            return false;
        }
        binding.method = method;
    } catch (const std::exception& failure) {
        binding.StoreError(failure.what());
        return false;
    }
    return !binding.error.has_value();
}

} // namespace Base
