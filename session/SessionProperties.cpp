#include "session/SessionProperties.h"

#include "session/SessionIdentity.h"

#include <algorithm>
#include <cstring>

namespace Session {

static_assert(sizeof(EVENT_TRACE_PROPERTIES) == SessionProperties::LoggerNameOffset,
              "the logger name sits directly behind the structure");
static_assert(SessionProperties::LoggerNameOffset + SessionProperties::LoggerNameCapacity * sizeof(wchar_t) ==
              SessionProperties::LogFileNameOffset);
static_assert(SessionProperties::LogFileNameOffset + SessionProperties::LogFileNameCapacity * sizeof(wchar_t) ==
              SessionProperties::BlockSize);

namespace {

// Wnode.ClientContext 1: time stamps from the query performance counter.
constexpr ULONG performanceCounterClock = 1;
constexpr ULONG flushTimerSeconds = 5;

void SetWnode(EVENT_TRACE_PROPERTIES& properties, const GUID& sessionGuid)
{
    properties.Wnode.BufferSize = SessionProperties::BlockSize;
    properties.Wnode.Guid = sessionGuid;
    properties.Wnode.ClientContext = performanceCounterClock;
    properties.Wnode.Flags = WNODE_FLAG_TRACED_GUID;
}

// Copies at most capacity - 1 units and always terminates; the area is zero already.
void CopyName(EVENT_TRACE_PROPERTIES& properties, ULONG offset, ULONG capacity, std::wstring_view name)
{
    auto* area = reinterpret_cast<wchar_t*>(reinterpret_cast<uint8_t*>(&properties) + offset);
    const size_t length = std::min<size_t>(name.size(), capacity - 1);
    std::memcpy(area, name.data(), length * sizeof(wchar_t));
    area[length] = L'\0';
}

} // namespace

SessionProperties::SessionProperties() : block(std::make_unique<uint64_t[]>(BlockSize / sizeof(uint64_t)))
{
}

SessionProperties SessionProperties::Build(const std::wstring& sessionName, const std::wstring& filePath,
                                           uint32_t maxSizeMb, bool circular, uint32_t bufferKb)
{
    SessionProperties built;
    EVENT_TRACE_PROPERTIES& properties = *built.Get();
    SetWnode(properties, SessionGuid);
    properties.BufferSize = bufferKb;
    // MinimumBuffers and MaximumBuffers stay 0: the system's defaults.
    properties.MaximumFileSize = maxSizeMb;
    properties.LogFileMode = circular ? EVENT_TRACE_FILE_MODE_CIRCULAR : EVENT_TRACE_FILE_MODE_SEQUENTIAL;
    properties.FlushTimer = flushTimerSeconds;
    properties.EnableFlags = 1;
    properties.LoggerNameOffset = LoggerNameOffset;
    properties.LogFileNameOffset = LogFileNameOffset;
    CopyName(properties, LoggerNameOffset, LoggerNameCapacity, sessionName);
    CopyName(properties, LogFileNameOffset, LogFileNameCapacity, filePath);
    return built;
}

SessionProperties SessionProperties::Query()
{
    SessionProperties query;
    EVENT_TRACE_PROPERTIES& properties = *query.Get();
    SetWnode(properties, SessionGuid);
    // ControlTraceW writes the names where the caller's offsets say; whether it finds a
    // place of its own when they are 0 is not part of its contract.
    properties.LoggerNameOffset = LoggerNameOffset;
    properties.LogFileNameOffset = LogFileNameOffset;
    return query;
}

SessionProperties SessionProperties::RealTime(const GUID& sessionGuid, std::wstring_view loggerName)
{
    SessionProperties built;
    EVENT_TRACE_PROPERTIES& properties = *built.Get();
    SetWnode(properties, sessionGuid);
    properties.LogFileMode = EVENT_TRACE_REAL_TIME_MODE;
    properties.EnableFlags = 1;
    properties.LoggerNameOffset = LoggerNameOffset;
    properties.LogFileNameOffset = LogFileNameOffset;
    CopyName(properties, LoggerNameOffset, LoggerNameCapacity, loggerName);
    return built;
}

std::wstring SessionProperties::LoggerName() const
{
    return NameAt(Get()->LoggerNameOffset);
}

std::wstring SessionProperties::LogFileName() const
{
    return NameAt(Get()->LogFileNameOffset);
}

std::wstring SessionProperties::NameAt(ULONG offset) const
{
    // The bound is the memory this object owns, not the Wnode.BufferSize that came back.
    if (offset < sizeof(EVENT_TRACE_PROPERTIES) || offset >= BlockSize) {
        return {};
    }
    const uint8_t* start = Bytes() + offset;
    const size_t units = (BlockSize - offset) / sizeof(wchar_t);
    std::wstring name;
    for (size_t index = 0; index < units; ++index) {
        wchar_t unit = L'\0';
        // The system may choose an odd offset; copying avoids a misaligned read.
        std::memcpy(&unit, start + index * sizeof(wchar_t), sizeof(wchar_t));
        if (unit == L'\0') {
            return name;
        }
        name.push_back(unit);
    }
    return {};
}

} // namespace Session
