#pragma once

// The properties block of LIVE's real-time session: one zero-filled 2688-byte buffer,
// an EVENT_TRACE_PROPERTIES followed by room for the logger name (1024 UTF-16 units at
// offset 120) and the log file name (260 units at offset 2168, left empty). Every block
// gets a GUID of its own.

#include <windows.h>

#include <evntrace.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Viewer {

// "Kestrova Diagnostics Live Trace"
extern const wchar_t LiveSessionName[];

class LiveSessionProperties {
public:
    static constexpr ULONG BlockSize = 2688;
    static constexpr ULONG LoggerNameOffset = 120;
    static constexpr ULONG LogFileNameOffset = 2168;

    // Throws Base::ExceptionWin32 when no GUID can be created.
    LiveSessionProperties();
    LiveSessionProperties(const LiveSessionProperties&) = delete;
    LiveSessionProperties& operator=(const LiveSessionProperties&) = delete;

    EVENT_TRACE_PROPERTIES* Get() noexcept { return reinterpret_cast<EVENT_TRACE_PROPERTIES*>(block.get()); }
    const uint8_t* Bytes() const noexcept { return reinterpret_cast<const uint8_t*>(block.get()); }

private:
    // 8-byte units for the structure's 64-bit fields.
    std::unique_ptr<uint64_t[]> block;
};

} // namespace Viewer
