#include "viewer/EventInformation.h"

#include "platform/TdhApi.h"
#include "viewer/TdhBuffer.h"
#include "viewer/ViewerReset.h"

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
        return Platform::Tdh().TdhGetEventInformation(const_cast<EVENT_RECORD*>(&record), 0, nullptr,
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

} // namespace Viewer
