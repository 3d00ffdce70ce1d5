#pragma once

// One owner for any handle kind: a traits type names the handle type, its invalid
// value(s) and its close function; each kind is then a one-line alias.

#include <windows.h>

#include <utility>

namespace Base {

template <typename Traits> class UniqueHandle {
public:
    using Type = typename Traits::Type;

    UniqueHandle() noexcept = default;
    explicit UniqueHandle(Type handle) noexcept : handle(handle) {}
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    UniqueHandle(UniqueHandle&& other) noexcept : handle(other.Release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept
    {
        if (this != &other) {
            Reset(other.Release());
        }
        return *this;
    }
    ~UniqueHandle() { Reset(); }

    Type Get() const noexcept { return handle; }
    bool IsValid() const noexcept { return Traits::IsValid(handle); }
    explicit operator bool() const noexcept { return IsValid(); }

    // Gives up ownership without closing.
    Type Release() noexcept { return std::exchange(handle, Traits::Invalid()); }

    // Closes the current handle, if valid, and takes the new one. The caller's
    // GetLastError survives the close, so a failure path can close first and report after.
    void Reset(Type replacement = Traits::Invalid()) noexcept
    {
        const Type old = std::exchange(handle, replacement);
        if (Traits::IsValid(old)) {
            const DWORD lastError = ::GetLastError();
            Traits::Close(old);
            ::SetLastError(lastError);
        }
    }

    // Closes the current handle and lends the slot to an out-parameter.
    Type* Put() noexcept
    {
        Reset();
        return &handle;
    }

private:
    Type handle = Traits::Invalid();
};

// Kernel object handles from CreateFileW: both null and INVALID_HANDLE_VALUE are empty.
struct KernelHandleTraits {
    using Type = HANDLE;
    static Type Invalid() noexcept { return nullptr; }
    static bool IsValid(Type handle) noexcept { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
    static void Close(Type handle) noexcept { ::CloseHandle(handle); }
};
using UniqueKernelHandle = UniqueHandle<KernelHandleTraits>;

} // namespace Base
