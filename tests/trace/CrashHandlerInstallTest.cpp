#include "trace/CrashHandler.h"
#include "trace/TraceSettings.h"

#include <gtest/gtest.h>

#include <csignal>

namespace {

using AbortHandler = void (*)(int);

LONG WINAPI TestFilter(EXCEPTION_POINTERS*)
{
    return EXCEPTION_CONTINUE_SEARCH;
}

void TestAbortHandler(int)
{
}

// Both setters answer with what was installed before; putting back the same value
// leaves the process as it was.
LPTOP_LEVEL_EXCEPTION_FILTER InstalledFilter()
{
    const LPTOP_LEVEL_EXCEPTION_FILTER current = ::SetUnhandledExceptionFilter(nullptr);
    ::SetUnhandledExceptionFilter(current);
    return current;
}

AbortHandler InstalledAbortHandler()
{
    const AbortHandler current = std::signal(SIGABRT, SIG_DFL);
    std::signal(SIGABRT, current);
    return current;
}

} // namespace

TEST(CrashHandlerInstallation, EnsureConfiguredInstallsBothHandlers)
{
    Trace::EnsureConfigured(Trace::SkipProviderRegistration);

    EXPECT_EQ(&Trace::OnUnhandledException, InstalledFilter());
    EXPECT_EQ(&Trace::OnAbortSignal, InstalledAbortHandler());
}

TEST(CrashHandlerInstallation, SkipCrashHandlersLeavesBothAsTheyWere)
{
    ::SetUnhandledExceptionFilter(TestFilter);
    std::signal(SIGABRT, TestAbortHandler);

    Trace::EnsureConfigured(Trace::SkipCrashHandlers | Trace::SkipProviderRegistration);
    Trace::EnsureConfigured(0); // the first caller's options stand

    EXPECT_EQ(&TestFilter, InstalledFilter());
    EXPECT_EQ(&TestAbortHandler, InstalledAbortHandler());
}

TEST(CrashHandlerInstallation, HandlersAreInstalledOncePerProcess)
{
    Trace::InstallCrashHandlers();
    ::SetUnhandledExceptionFilter(TestFilter);
    std::signal(SIGABRT, TestAbortHandler);

    Trace::InstallCrashHandlers();

    EXPECT_EQ(&TestFilter, InstalledFilter());
    EXPECT_EQ(&TestAbortHandler, InstalledAbortHandler());
}
