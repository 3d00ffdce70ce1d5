#include "trace/TraceSettings.h"

#include "base/ProcessArguments.h"
#include "trace/CrashHandler.h"
#include "trace/EtwWriter.h"
#include "trace/FrameworkReset.h"
#include "trace/TraceFile.h"

#include <windows.h>

#include <cstdlib>

namespace Trace {

namespace {

TraceSettings settings;
INIT_ONCE configureOnce = INIT_ONCE_STATIC_INIT;

void Configure(uint32_t options)
{
    if ((options & SkipProviderRegistration) == 0) {
        RegisterProvider();
    }
    if ((options & SkipCrashHandlers) == 0) {
        InstallCrashHandlers();
    }

    TraceSettings configured;
    configured.level = static_cast<int32_t>(Base::ProcessArguments::GetUInt("trace-level", 4));
    if (Base::ProcessArguments::Has("trace-console")) {
        configured.sinks |= SinkConsole;
    }
    // The file sink follows "trace-folder" alone: "trace-file" and "logging-file" only
    // name the file once something else has asked for one.
    if (!DefaultTraceFileName().empty() || Base::ProcessArguments::Has("trace-folder")) {
        configured.sinks |= SinkFile;
    }
    settings = configured;
}

} // namespace

const TraceSettings& Settings()
{
    return settings;
}

void EnsureConfigured(uint32_t options)
{
    BOOL pending = FALSE;
    if (!::InitOnceBeginInitialize(&configureOnce, 0, &pending, nullptr)) {
        std::abort();
    }
    if (!pending) {
        return;
    }
    Configure(options);
    if (!::InitOnceComplete(&configureOnce, 0, nullptr)) {
        ::TerminateProcess(::GetCurrentProcess(), ::GetLastError());
    }
}

void Reset::ForgetConfiguration()
{
    settings = TraceSettings{};
    ::InitOnceInitialize(&configureOnce);
}

} // namespace Trace
