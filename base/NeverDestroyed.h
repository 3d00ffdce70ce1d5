#pragma once

// An object that is constructed in place and never destroyed, for the process-wide
// state that logging reaches (trace categories, level names, the trace file): a crash
// handler or another static destructor may still log while the C runtime runs the
// destructors at exit, and must then find that state whole. The memory is part of the
// holder itself; the system reclaims it, and the handles the object owns, when the
// process ends.
//
// The holder is trivially destructible, so it has no place in the runtime's list of
// destructors at all.

#include <new>
#include <type_traits>
#include <utility>

namespace Base {

template <typename T> class NeverDestroyed {
public:
    template <typename... Args> explicit NeverDestroyed(Args&&... args)
    {
        ::new (static_cast<void*>(storage)) T(std::forward<Args>(args)...);
    }
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;
    ~NeverDestroyed() = default;

    T& Get() noexcept { return *std::launder(reinterpret_cast<T*>(storage)); }
    const T& Get() const noexcept { return *std::launder(reinterpret_cast<const T*>(storage)); }
    T* operator->() noexcept { return &Get(); }
    const T* operator->() const noexcept { return &Get(); }
    T& operator*() noexcept { return Get(); }
    const T& operator*() const noexcept { return Get(); }

private:
    alignas(T) unsigned char storage[sizeof(T)];
};

} // namespace Base
