#include "trace/ThreadStreams.h"

#include "base/Exception.h"

#include <windows.h>

#include <memory>

// The streams live in a fiber-local slot whose callback destroys them as the thread
// ends, not in a C++ thread_local: with the MinGW-w64 runtime the product is built
// with, destroying thread_local objects at thread exit corrupts the heap, and any
// thread may log.

namespace Trace {

namespace {

void WINAPI DestroyStreams(void* streams)
{
    std::unique_ptr<ThreadStreams> owned(static_cast<ThreadStreams*>(streams));
}

DWORD AllocateSlot()
{
    const DWORD index = ::FlsAlloc(DestroyStreams);
    if (index == FLS_OUT_OF_INDEXES) {
        // Taken before the throw allocates the exception.
        const DWORD error = ::GetLastError();
        throw Base::ExceptionWin32("Failed to allocate the trace streams' slot", error);
    }
    return index;
}

// One slot for the process, never freed: threads may log until the process ends.
DWORD Slot()
{
    static const DWORD index = AllocateSlot();
    return index;
}

} // namespace

ThreadStreams& CurrentThreadStreams()
{
    const DWORD index = Slot();
    if (auto* streams = static_cast<ThreadStreams*>(::FlsGetValue(index))) {
        return *streams;
    }
    auto streams = std::make_unique<ThreadStreams>();
    if (!::FlsSetValue(index, streams.get())) {
        const DWORD error = ::GetLastError();
        throw Base::ExceptionWin32("Failed to keep the trace streams of a thread", error);
    }
    return *streams.release();
}

} // namespace Trace
