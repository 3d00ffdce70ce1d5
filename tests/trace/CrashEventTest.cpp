// The crash report as a listening ETW session receives it: the handlers' lines are
// ordinary ERROR messages of category "crash_handler", so they become event 2014 like
// any other error, whether or not a console or trace file takes them.

#include "tests/emulator/ProviderEmulator.h"
#include "tests/support/OutputCapture.h"
#include "tests/trace/CrashReport.h"
#include "tests/trace/FakeDbgHelp.h"
#include "trace/CrashHandler.h"
#include "trace/TraceSettings.h"

#include <gtest/gtest.h>

#include <csignal>

namespace {

// An address no module holds, so that its frame line carries no module path.
constexpr DWORD64 unmappedAddress = 0x10;

// The operational keyword at level Error: a session that takes errors only.
constexpr UCHAR errorLevel = 2;
constexpr ULONGLONG operationalKeyword = 0x1;

std::string Text(const Testing::WrittenData& data)
{
    const std::string bytes = data.Narrow();
    return bytes.empty() ? bytes : bytes.substr(0, bytes.size() - 1);
}

// "<id> <Name> - <Message><Arguments>" of every event written, like a console line
// without its time and level.
std::vector<std::string> EventLines(const Testing::ProviderEmulator& provider)
{
    std::vector<std::string> lines;
    for (const Testing::EventWrite& write : provider.Writes()) {
        if (write.data.size() != 6) {
            lines.push_back("unexpected payload of event " + std::to_string(write.descriptor.Id));
            continue;
        }
        lines.push_back(std::to_string(write.descriptor.Id) + " " + Text(write.data[2]) + " - " + Text(write.data[3]) +
                        Text(write.data[4]));
    }
    return lines;
}

} // namespace

TEST(CrashEvents, ReportReachesASessionThatTakesOnlyErrors)
{
    Testing::ProviderEmulator provider;
    Trace::EnsureConfigured(Trace::SkipCrashHandlers); // no console, no trace file
    provider.Enable(errorLevel, operationalKeyword);
    Testing::FakeDbgHelp dbghelp;
    dbghelp.frames = {unmappedAddress};
    EXCEPTION_RECORD record{};
    record.ExceptionCode = EXCEPTION_ACCESS_VIOLATION;
    CONTEXT context{};
    EXCEPTION_POINTERS pointers{&record, &context};

    Testing::OutputCapture capture;
    EXPECT_EQ(EXCEPTION_CONTINUE_SEARCH, Trace::OnUnhandledException(&pointers));
    EXPECT_THROW(Trace::OnAbortSignal(SIGABRT), int);

    const std::vector<std::string> expected = {
        "2014 crash_handler - Unhandled exception handler called { ExceptionCode:3221225477 }",
        "2014 crash_handler - Stack frame { frame:0, moduleName:\"\", moduleHandle:0, frameAddress:0x10 }",
        "2014 crash_handler - " + Testing::FinishedDumpHint,
        "2014 crash_handler - Abort handler called { signum:22 }",
    };
    EXPECT_EQ(expected, EventLines(provider));
    EXPECT_EQ("", capture.Out());
    EXPECT_EQ("", capture.Err());
}
