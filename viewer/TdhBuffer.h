#pragma once

// The one place that speaks TDH's sizing protocol: call with the buffer at hand; on
// ERROR_INSUFFICIENT_BUFFER the call has said how much it needs, so grow to exactly that
// (zero-filled) and call once more. The buffer is kept by its owner and only grows, so a
// caller that reuses it allocates nothing once it has met its largest answer.

#include <windows.h>

#include <cstdint>
#include <memory>

namespace Viewer {

class TdhBuffer {
public:
    // Nothing is allocated until the first call; then at least initialSize bytes.
    explicit TdhBuffer(ULONG initialSize) noexcept : size(initialSize) {}
    TdhBuffer(const TdhBuffer&) = delete;
    TdhBuffer& operator=(const TdhBuffer&) = delete;

    // call(void* buffer, ULONG* size) is one TDH call; returns its final status.
    template <typename Call> ULONG Fill(Call call)
    {
        Allocate(size);
        ULONG requested = size;
        ULONG status = call(data.get(), &requested);
        if (status == ERROR_INSUFFICIENT_BUFFER) {
            // Never shrinks: a smaller answer than the buffer at hand is not believed.
            Allocate(requested > size ? requested : size);
            requested = size;
            status = call(data.get(), &requested);
        }
        return status;
    }

    const void* Data() const noexcept { return data.get(); }
    ULONG Size() const noexcept { return size; }

    // Back to a new buffer's state: nothing allocated, initialSize for the first call.
    void Reset(ULONG initialSize) noexcept
    {
        data.reset();
        size = initialSize;
    }

private:
    // Replaces the buffer by a zero-filled one of newSize bytes, unless one of that
    // size is already there.
    void Allocate(ULONG newSize);

    ULONG size;
    // 8-byte units: TDH structures hold GUIDs and 64-bit fields.
    std::unique_ptr<uint64_t[]> data;
};

} // namespace Viewer
