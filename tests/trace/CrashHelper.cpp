// A process that crashes on request, so that the tests watch the crash handlers at work
// in a real crash: "null" reads through a null pointer, "abort" calls abort(). Its trace
// lines go to the console (ERROR to standard error); it prints nothing else.

#include "base/ProcessArguments.h"
#include "trace/TraceSettings.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>

// Out of line and opaque to interprocedural optimisation, so that the faulting
// instruction lies in a frame of its own that the symbol handler can name, and the
// compiler cannot prove the pointer null and replace the read with a trap.
__attribute__((noinline, noipa)) int CrashByNullPointer(const volatile int* pointer)
{
    return *pointer;
}

__attribute__((noinline, noipa)) void CrashByAbort()
{
    std::abort();
}

int main(int argc, char** argv)
{
    // No error box: the test waits for this process to end by itself. (Wine starts its
    // debugger after the crash handler all the same, which only costs time.)
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);

    // The console sink needs "trace-console" in the store before the framework reads its
    // settings. Populate logs as soon as it holds the command line, and that first line
    // configures the framework already (options 0: crash handlers and the provider, which
    // no session enables here); the call after it then finds nothing left to do.
    const char* arguments[] = {argv[0], "/trace-console"};
    Base::ProcessArguments::Populate(2, arguments);
    Trace::EnsureConfigured(Trace::SkipProviderRegistration);

    if (argc == 2 && std::strcmp(argv[1], "null") == 0) {
        return CrashByNullPointer(nullptr);
    }
    if (argc == 2 && std::strcmp(argv[1], "abort") == 0) {
        CrashByAbort();
    }
    return 2; // no such crash
}
