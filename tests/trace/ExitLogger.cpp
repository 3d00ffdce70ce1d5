// A process that logs once in main and once more from the destructor of a static object
// that the runtime destroys after the category it logs through: what a crash handler or
// any other code running during exit may do. Trace lines go to the console (ERROR to
// standard error); it prints nothing else.

#include "base/ProcessArguments.h"
#include "trace/Log.h"
#include "trace/TraceSettings.h"

namespace ExitLogging {

extern const Trace::Category exitLog;

struct LogsWhenDestroyed {
    ~LogsWhenDestroyed() { exitLog->Error("Logged after the category's destructor would have run"); }
};

// Objects of one translation unit are constructed in the order of their definitions and
// destroyed in the reverse order: this one is destroyed after the category below.
LogsWhenDestroyed logsWhenDestroyed;
const Trace::Category exitLog("exit");

} // namespace ExitLogging

int main(int, char** argv)
{
    const char* arguments[] = {argv[0], "/trace-console"};
    Base::ProcessArguments::Populate(2, arguments);
    Trace::EnsureConfigured(Trace::SkipCrashHandlers | Trace::SkipProviderRegistration);
    ExitLogging::exitLog->Error("Logged in main");
    return 0;
}
