#include "viewer/LiveSessionProperties.h"

#include "base/Guid.h"

#include <string_view>

namespace Viewer {

const wchar_t LiveSessionName[] = L"Kestrova Diagnostics Live Trace";

Session::SessionProperties BuildLiveSessionProperties()
{
    // The copy into the block has always been bounded by the name's own length with the
    // terminator counted in, so the last character is lost; nothing reads the block's
    // copy, and it stays as it was.
    const std::wstring_view name(LiveSessionName);
    return Session::SessionProperties::RealTime(Base::CreateGuid(), name.substr(0, name.size() - 1));
}

} // namespace Viewer
