#pragma once

// The properties block of an ETW session: one zero-filled 2688-byte buffer holding an
// EVENT_TRACE_PROPERTIES and, behind it, room for the logger name (1024 UTF-16 units at
// offset 120) and the log file path (260 units at offset 2168).
//
// Three forms: the build form that StartTraceW starts the log session with, the query
// form that ControlTraceW fills when it queries or stops the session, and the real-time
// form of the viewer's live session. In a filled block the names are read through the
// offsets the system left there, which need not be the ones it was given, and never
// trusted: an offset of 0, one inside the structure or
// beyond the block, or a name with no terminator before the block ends, reads as an
// empty name.
//
// The block owns its memory, is move-only and is freed with the object on every path.

#include <windows.h>

#include <evntrace.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace Session {

class SessionProperties {
public:
    static constexpr ULONG BlockSize = 2688;          // bytes
    static constexpr ULONG LoggerNameOffset = 120;    // bytes from the block's start
    static constexpr ULONG LoggerNameCapacity = 1024; // UTF-16 units, terminator included
    static constexpr ULONG LogFileNameOffset = 2168;  // bytes from the block's start
    static constexpr ULONG LogFileNameCapacity = 260; // UTF-16 units, terminator included
    // The longest log file path the block holds, in UTF-16 units.
    static constexpr size_t MaxLogFileNameLength = LogFileNameCapacity - 1;

    // The build form: Wnode (size, GUID, QPC clock, traced-GUID flag), the buffer size
    // in KB, the maximum file size in MB (0 unlimited), the circular or sequential mode,
    // a flush every 5 seconds, EnableFlags 1, and both names copied to their areas. A
    // name longer than its area is cut to fit; callers refuse such paths beforehand.
    static SessionProperties Build(const std::wstring& sessionName, const std::wstring& filePath, uint32_t maxSizeMb,
                                   bool circular, uint32_t bufferKb);

    // The query form: Wnode's size, GUID, clock and flag, and the two offsets of the
    // build form, where the system is to write the names; both name areas are empty.
    static SessionProperties Query();

    // The real-time form of a viewer's own session: Wnode with the given session GUID,
    // EVENT_TRACE_REAL_TIME_MODE, EnableFlags 1, both offsets set, loggerName copied to
    // its area (cut to fit) and no log file name.
    static SessionProperties RealTime(const GUID& sessionGuid, std::wstring_view loggerName);

    SessionProperties(SessionProperties&&) noexcept = default;
    SessionProperties& operator=(SessionProperties&&) noexcept = default;
    SessionProperties(const SessionProperties&) = delete;
    SessionProperties& operator=(const SessionProperties&) = delete;
    ~SessionProperties() = default;

    // The block to hand to the platform; null only in a moved-from object.
    EVENT_TRACE_PROPERTIES* Get() noexcept { return reinterpret_cast<EVENT_TRACE_PROPERTIES*>(block.get()); }
    const EVENT_TRACE_PROPERTIES* Get() const noexcept
    {
        return reinterpret_cast<const EVENT_TRACE_PROPERTIES*>(block.get());
    }
    // All BlockSize bytes, for inspection.
    const uint8_t* Bytes() const noexcept { return reinterpret_cast<const uint8_t*>(block.get()); }

    // The names where the block's offsets point; empty when an offset or a name cannot
    // be trusted (see above).
    std::wstring LoggerName() const;
    std::wstring LogFileName() const;

private:
    // Zero-filled.
    SessionProperties();

    std::wstring NameAt(ULONG offset) const;

    // 8-byte units, so that the structure's 64-bit fields are aligned.
    std::unique_ptr<uint64_t[]> block;
};

// The build and query forms under the names the rest of the session code uses.
inline SessionProperties BuildSessionProperties(const std::wstring& sessionName, const std::wstring& filePath,
                                                uint32_t maxSizeMb, bool circular, uint32_t bufferKb)
{
    return SessionProperties::Build(sessionName, filePath, maxSizeMb, circular, bufferKb);
}

inline SessionProperties BuildQueryProperties()
{
    return SessionProperties::Query();
}

} // namespace Session
