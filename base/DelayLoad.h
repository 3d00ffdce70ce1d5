#pragma once

// Functions of system libraries bound at run time, so that a missing library or export
// is reported where the function is used rather than stopping the program at load.

#include "base/Exception.h"

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace Base {

enum LoadFlag : uint32_t {
    SearchSystem32 = 1, // LOAD_LIBRARY_SEARCH_SYSTEM32: never a copy next to the program
};

// LoadLibraryExW. Logs "Loaded module" (DEBUG) or "Failed to load module" (ERROR) in
// category "delay_load"; throws Base::ExceptionWin32 with the system's error text.
HMODULE LoadModule(const std::wstring& path, uint32_t flags);

// GetProcAddress. Logs and throws Base::ExceptionWin32 when the export is missing.
FARPROC GetModuleMethod(HMODULE module, const char* name);

// FreeLibrary. Never throws; a failure is only logged.
void CloseModule(HMODULE module) noexcept;

// One bound function: the module in use, the function pointer, and the first failure.
// The first outcome sticks: a failed binding never retries, a bound one never reloads.
class DelayLoadedMethod {
public:
    DelayLoadedMethod() = default;
    DelayLoadedMethod(const DelayLoadedMethod&) = delete;
    DelayLoadedMethod& operator=(const DelayLoadedMethod&) = delete;

    HMODULE Module() const noexcept { return module; }
    FARPROC Method() const noexcept { return method; }
    bool Failed() const noexcept { return error.has_value(); }

    // The stored failure; throws Base::Exception "Value Not Set" when there is none.
    const Exception& Error() const;

    // The checks before every call: the stored failure is thrown again as a
    // Base::Exception with its text; an unbound method throws "Method not loaded".
    template <typename Function> Function Get() const
    {
        if (error.has_value()) {
            throw Exception(error->what());
        }
        if (method == nullptr) {
            throw Exception("Method not loaded");
        }
        return reinterpret_cast<Function>(reinterpret_cast<void*>(method));
    }

    // Forgets the outcome and frees the module it loaded, so that the next Bind loads
    // and resolves again. For process-wide bindings that a test suite puts back between
    // tests; the program keeps every outcome. Never throws.
    void Reset() noexcept;

private:
    friend bool Bind(DelayLoadedMethod& binding, const std::wstring& path, const char* name, uint32_t flags);

    void StoreError(const char* text);

    HMODULE module = nullptr;
    FARPROC method = nullptr;
    std::optional<Exception> error;
};

// Loads the module and resolves the name unless the binding already has an outcome.
// True when the method can be called. Never throws.
bool Bind(DelayLoadedMethod& binding, const std::wstring& path, const char* name, uint32_t flags);

// A DelayLoadedMethod that knows its function type.
template <typename Function> class DelayLoaded {
public:
    bool Bind(const std::wstring& path, const char* name, uint32_t flags)
    {
        return Base::Bind(binding, path, name, flags);
    }

    template <typename... Args> auto operator()(Args&&... args) const
    {
        return binding.Get<Function>()(std::forward<Args>(args)...);
    }

    const DelayLoadedMethod& Binding() const noexcept { return binding; }
    void Reset() noexcept { binding.Reset(); }

private:
    DelayLoadedMethod binding;
};

} // namespace Base
