// Placeholder entry points until the viewer is built.

#include "viewer/LogReader.h"

#include <windows.h>

namespace Viewer {

uint32_t ViewLogFile(const std::wstring&, ViewOptions&)
{
    return ERROR_CALL_NOT_IMPLEMENTED;
}

void RunLiveView(ViewOptions&)
{
}

} // namespace Viewer
