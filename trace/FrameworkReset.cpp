#include "trace/FrameworkReset.h"

#include "trace/DebugTrace.h"

namespace Trace {

void ResetTraceFramework()
{
    // The configuration goes last: releasing the crash handler's bindings may still log,
    // and that message is then configured by the settings it is leaving.
    Reset::UninstallCrashHandlers();
    Reset::ForgetProviderRegistration();
    Reset::ForgetStringLimits();
    Reset::CloseTraceFile();
    DebugConsoleLevel = 0;
    DebugConsoleEnabled = 0;
    Reset::ForgetConfiguration();
}

} // namespace Trace
