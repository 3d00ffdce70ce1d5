#include "viewer/EventInformation.h"

#include "viewer/DecodingTdh.h"
#include "viewer/TdhBuffer.h"
#include "viewer/ViewerReset.h"

#include <algorithm>
#include <cstddef>

namespace Viewer {

namespace {

constexpr ULONG initialBufferSize = 2048;

TdhBuffer& SharedBuffer()
{
    static TdhBuffer buffer(initialBufferSize);
    return buffer;
}

} // namespace

const TRACE_EVENT_INFO* GetEventInformation(const EVENT_RECORD& record, ULONG& error)
{
    TdhBuffer& buffer = SharedBuffer();
    error = buffer.Fill([&record](void* data, ULONG* size) {
        return DecodingTdh().TdhGetEventInformation(const_cast<EVENT_RECORD*>(&record), 0, nullptr,
                                                      static_cast<TRACE_EVENT_INFO*>(data), size);
    });
    if (error != ERROR_SUCCESS) {
        return nullptr;
    }
    return static_cast<const TRACE_EVENT_INFO*>(buffer.Data());
}

ULONG EventInformationBufferSize()
{
    return SharedBuffer().Size();
}

void Reset::ShrinkEventInformation()
{
    SharedBuffer().Reset(initialBufferSize);
}

std::optional<std::wstring_view> EventInformationString(const TRACE_EVENT_INFO& information, ULONG size, ULONG offset)
{
    // The strings follow the fixed part and the property array; an offset that points
    // into the fixed part names no string.
    constexpr ULONG fixedPart = offsetof(TRACE_EVENT_INFO, EventPropertyInfoArray);
    if (offset < fixedPart || offset >= size || offset % sizeof(wchar_t) != 0) {
        return std::nullopt;
    }
    const auto* start = reinterpret_cast<const wchar_t*>(reinterpret_cast<const uint8_t*>(&information) + offset);
    const size_t room = (size - offset) / sizeof(wchar_t);
    const wchar_t* terminator = std::find(start, start + room, L'\0');
    if (terminator == start + room) {
        return std::nullopt;
    }
    return std::wstring_view(start, static_cast<size_t>(terminator - start));
}

} // namespace Viewer
