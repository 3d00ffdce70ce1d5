#pragma once

// Reference-counted base of the long-lived library objects (trace categories, registry
// keys), and the counted handle that holds them.

#include <atomic>
#include <cstdint>
#include <utility>

namespace Base {

class Shareable {
public:
    Shareable() = default;
    Shareable(const Shareable&) = delete;
    Shareable& operator=(const Shareable&) = delete;
    virtual ~Shareable();

    // The first reference makes the object count as live; releasing the last one
    // destroys it through the virtual destructor.
    void AddReference() noexcept;
    void Release() noexcept;

    uint32_t References() const noexcept { return references.load(); }

    // A fixed label that marks memory as a shared object when it is seen in a debugger.
    const char* Label() const noexcept { return text; }

    // Objects that currently hold at least one reference, process-wide.
    static uint32_t LiveObjects() noexcept;

private:
    const char* text = "???";
    std::atomic<uint32_t> references{0};
};

// A counted reference to a Shareable-derived object: copying adds a reference,
// destroying or resetting releases one.
template <typename T> class SharedRef {
public:
    SharedRef() noexcept = default;
    explicit SharedRef(T* object) noexcept : object(object)
    {
        if (object != nullptr) {
            object->AddReference();
        }
    }
    SharedRef(const SharedRef& other) noexcept : SharedRef(other.object) {}
    SharedRef(SharedRef&& other) noexcept : object(std::exchange(other.object, nullptr)) {}
    SharedRef& operator=(SharedRef other) noexcept
    {
        std::swap(object, other.object);
        return *this;
    }
    ~SharedRef() { Reset(); }

    void Reset() noexcept
    {
        if (object != nullptr) {
            std::exchange(object, nullptr)->Release();
        }
    }

    T* Get() const noexcept { return object; }
    T* operator->() const noexcept { return object; }
    T& operator*() const noexcept { return *object; }
    explicit operator bool() const noexcept { return object != nullptr; }

private:
    T* object = nullptr;
};

// The one place where shared objects are allocated; Release() frees them.
template <typename T, typename... Args> SharedRef<T> MakeShared(Args&&... args)
{
    return SharedRef<T>(new T(std::forward<Args>(args)...));
}

} // namespace Base
