// A child program for the module-name tests: configures the trace framework from its
// command line, writes one INFO message, and prints the module name it found, narrow
// and wide, one per line. The tests run copies of it under other file names.

#include "base/ProcessArguments.h"
#include "base/TextConversion.h"
#include "trace/Log.h"
#include "trace/ProcessName.h"
#include "trace/TraceSettings.h"

#include <iostream>

int main(int argc, char** argv)
{
    Base::ProcessArguments::Populate(argc, argv);
    Trace::EnsureConfigured(Trace::SkipCrashHandlers | Trace::SkipProviderRegistration);
    const Trace::Category log("probe");
    log->Info("Probe message");
    std::cout << Trace::ProcessNameNarrow() << "\n" << Base::WideToConsole(Trace::ProcessNameWide()) << "\n";
    return 0;
}
