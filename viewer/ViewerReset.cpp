#include "viewer/ViewerReset.h"

namespace Viewer {

void ResetViewerState()
{
    Reset::ForgetSymbolProcesses();
    Reset::ReleaseDbgHelp();
    Reset::ShrinkEventInformation();
    Reset::ForgetLiveHandles();
    Reset::ForgetConsoleAnswer();
}

} // namespace Viewer
