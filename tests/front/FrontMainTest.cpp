#include "Version.h"
#include "base/Exception.h"
#include "front/Main.h"
#include "front/Usage.h"
#include "tests/emulator/ProviderEmulator.h"
#include "tests/front/ArgumentVector.h"
#include "tests/front/FakeOperations.h"
#include "tests/support/NamedLock.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TraceLines.h"
#include "trace/CrashHandler.h"
#include "trace/DebugTrace.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <utility>
#include <vector>

namespace {

const std::string banner = "Kestrova Diagnostics Utility, Version " KSDIAG_VERSION_TEXT "\n\n";

struct MainRun {
    int exitCode = 0;
    std::string out;
    std::string err;
};

MainRun RunMain(std::vector<std::string> arguments)
{
    // Main fills the store from this executable's registry arguments key, which other
    // tests of it write "level" and "buffer" into while they hold this lock.
    const Testing::NamedLock lock(Testing::ArgumentsKeyLockName);
    Testing::ArgumentVector vector(std::move(arguments));
    Testing::OutputCapture capture;
    MainRun run;
    run.exitCode = Front::Main(vector.Count(), vector.Data());
    run.out = capture.Out();
    run.err = capture.Err();
    return run;
}

// The exit code and both streams, exactly.
void ExpectRun(const MainRun& run, int exitCode, const std::string& out, const std::string& err)
{
    EXPECT_EQ(exitCode, run.exitCode);
    EXPECT_EQ(out, run.out);
    EXPECT_EQ(err, run.err);
}

std::string HelpText()
{
    Testing::OutputCapture capture;
    Front::PrintUsage();
    return capture.Out();
}

} // namespace

TEST(FrontMain, NoCommandPrintsBannerThenInsufficientArguments)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"..\\Tools\\KsDiag"});
    ExpectRun(run, -1, banner, "Insufficient arguments. Run ..\\Tools\\KsDiag /? for help.\n");
}

TEST(FrontMain, StartUpInstallsTheCrashHandlersAndRegistersNoProvider)
{
    Testing::ProviderEmulator provider;
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "STATUS", "/nologo"});
    EXPECT_EQ(0, run.exitCode);
    // The events ksdiag reads are always those of other components.
    EXPECT_TRUE(provider.Registrations().empty());
    const LPTOP_LEVEL_EXCEPTION_FILTER installed = ::SetUnhandledExceptionFilter(nullptr);
    ::SetUnhandledExceptionFilter(installed);
    EXPECT_EQ(&Trace::OnUnhandledException, installed);
}

TEST(FrontMain, NoLogoAloneIsTakenAsTheCommandWord)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "/nologo"});
    ExpectRun(run, 1, "", "Unknown option \"/nologo\". Run ksdiag /? for help.\n");
}

TEST(FrontMain, NoLogoAfterTheCommandSuppressesTheBanner)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "stop", "/NoLogo"});
    ExpectRun(run, 0, "", "");
    EXPECT_EQ(1, operations.Record().stopCalls);
}

TEST(FrontMain, UnknownWordIsReportedLowerCased)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"C:\\kestrova\\ksdiag.exe", "Frobnicate", "/level:info"});
    ExpectRun(run, 1, banner, "Unknown option \"frobnicate\". Run C:\\kestrova\\ksdiag.exe /? for help.\n");
}

TEST(FrontMain, CommandWordInAnyCaseRunsTheCommand)
{
    Testing::FakeOperations operations;
    for (const char* word : {"Start", "START", "start", "sTaRt"}) {
        const MainRun run = RunMain({"ksdiag", word, "/nologo"});
        EXPECT_EQ(0, run.exitCode) << word;
        EXPECT_EQ("Start log completed successfully.\n", run.out) << word;
    }
    EXPECT_EQ(4, operations.Record().startCalls);
}

TEST(FrontMain, QuotedCommandWordIsUnquoted)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "\"STATUS\"", "/nologo"});
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ(1, operations.Record().statusCalls);
}

TEST(FrontMain, CommandWordAfterAnOptionIsNotFound)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "/verbose", "start"});
    EXPECT_EQ(1, run.exitCode);
    EXPECT_EQ("Unknown option \"/verbose\". Run ksdiag /? for help.\n", run.err);
    EXPECT_EQ(0, operations.Record().startCalls);
}

TEST(FrontMain, HelpPrintsBannerAndUsage)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "/?"});
    ExpectRun(run, 0, banner + HelpText(), "");
}

TEST(FrontMain, StartSucceeds)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "START"});
    ExpectRun(run, 0, banner + "Start log completed successfully.\n", "");
    const Session::StartOptions& options = operations.Record().startOptions;
    EXPECT_EQ(operations.Record().defaultPath, options.file);
    EXPECT_EQ(18, options.level);
    EXPECT_EQ(1024u, options.maxSizeMb);
    EXPECT_TRUE(options.circular);
    EXPECT_EQ(512u, options.bufferKb);
}

TEST(FrontMain, StartHandsOverEveryOption)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "start", "/level:info", "/file:C:\\Logs\\a.etl", "/sequential",
                                 "/maxSize:0x100", "/buffer:64", "/callstacks", "/processes", "/threads", "/images"});
    EXPECT_EQ(0, run.exitCode);
    ASSERT_EQ(1, operations.Record().startCalls);
    const Session::StartOptions& options = operations.Record().startOptions;
    EXPECT_EQ(L"C:\\Logs\\a.etl", options.file);
    EXPECT_EQ(256u, options.maxSizeMb);
    EXPECT_FALSE(options.circular);
    EXPECT_TRUE(options.callstacks);
    EXPECT_EQ(4, options.level);
    EXPECT_EQ(64u, options.bufferKb);
    EXPECT_TRUE(options.processes);
    EXPECT_TRUE(options.threads);
    EXPECT_TRUE(options.images);
}

TEST(FrontMain, StartWithDebugAndLevelWordRecordsAtDebug)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "START", "/debug", "/level:error"});
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ(18, operations.Record().startOptions.level);
}

TEST(FrontMain, StartFindsARunningSession)
{
    Testing::FakeOperations operations;
    operations.Record().startResult = 183;
    const MainRun run = RunMain({"ksdiag", "START"});
    ExpectRun(run, 1, banner, "The log file is already running.\n");
}

TEST(FrontMain, StartFailsWithDecimalError)
{
    Testing::FakeOperations operations;
    operations.Record().startResult = 0x80070005;
    const MainRun run = RunMain({"ksdiag", "START"});
    ExpectRun(run, 1, banner, "Start log failed with error 2147942405.\n");
}

TEST(FrontMain, StartWithCapitalLevelWritesTheRawLevelByteToStandardOutput)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "START", "/level:INFO"});
    ExpectRun(run, 1, banner + "Unrecognised level '\x12'. Run ksdiag /? for help.\n", "");
    EXPECT_EQ(0, operations.Record().startCalls);
}

TEST(FrontMain, StopSucceedsSilently)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "STOP"});
    ExpectRun(run, 0, banner, "");
    EXPECT_EQ(1, operations.Record().stopCalls);
}

TEST(FrontMain, StopFails)
{
    Testing::FakeOperations operations;
    operations.Record().stopResult = 4201;
    const MainRun run = RunMain({"ksdiag", "stop"});
    ExpectRun(run, 1, banner, "Stop log failed with error 4201.\n");
}

TEST(FrontMain, ViewWithoutLevelFailsOnStandardOutput)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "VIEW"});
    ExpectRun(run, 1, banner + "Unrecognised level. Run ksdiag /? for help.\n", "");
    EXPECT_EQ(0, operations.Record().viewCalls);
}

TEST(FrontMain, ViewWithAnUnknownReaderFailsOnStandardOutput)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "VIEW", "/level:info", "/reader:tdh"});
    ExpectRun(run, 1, banner + "Unrecognised reader. Run ksdiag /? for help.\n", "");
    EXPECT_EQ(0, operations.Record().viewCalls);
}

TEST(FrontMain, ViewPassesTheReaderChoice)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "VIEW", "/level:info", "/reader:builtin"});
    ExpectRun(run, 0, banner, "");
    EXPECT_EQ(1, operations.Record().viewCalls);
    EXPECT_EQ(static_cast<uint32_t>(Viewer::ReaderBuiltin), operations.Record().viewOptions.reader);
}

TEST(FrontMain, LiveIgnoresTheReaderOption)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "LIVE", "/level:info", "/reader:tdh"});
    ExpectRun(run, 0, banner, "");
    EXPECT_EQ(1, operations.Record().liveCalls);
    EXPECT_EQ(static_cast<uint32_t>(Viewer::ReaderAutomatic), operations.Record().liveOptions.reader);
}

TEST(FrontMain, ViewWithInfoLevelReadsTheDefaultFile)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "VIEW", "/level:info"});
    ExpectRun(run, 0, banner, "");
    ASSERT_EQ(1, operations.Record().viewCalls);
    EXPECT_EQ(operations.Record().defaultPath, operations.Record().viewPath);
    EXPECT_EQ(4u, operations.Record().viewOptions.level);
}

TEST(FrontMain, ViewWithVerboseFlagHandsOverOptionsAndFile)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "view", "/verbose", "/file:x.etl", "/process", "/callstack:3", "/symbols"});
    EXPECT_EQ(0, run.exitCode);
    ASSERT_EQ(1, operations.Record().viewCalls);
    EXPECT_EQ(L"x.etl", operations.Record().viewPath);
    const Viewer::ViewOptions& options = operations.Record().viewOptions;
    EXPECT_EQ(5u, options.level);
    EXPECT_EQ(0xFFFFFFFFu, options.process);
    EXPECT_EQ(1u, options.callstack);
    EXPECT_EQ(3u, options.frameLimit);
    EXPECT_EQ(1u, options.symbols);
    EXPECT_EQ(0u, options.winlogon);
}

TEST(FrontMain, ViewFails)
{
    Testing::FakeOperations operations;
    operations.Record().viewResult = 2;
    const MainRun run = RunMain({"ksdiag", "VIEW", "/level:error"});
    ExpectRun(run, 1, banner, "View log failed with error 2.\n");
}

TEST(FrontMain, StatusSucceedsSilently)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "Status"});
    ExpectRun(run, 0, banner, "");
    EXPECT_EQ(1, operations.Record().statusCalls);
}

TEST(FrontMain, StatusProblemExitsWithOneAndNoLine)
{
    Testing::FakeOperations operations;
    operations.Record().statusResult = 2;
    const MainRun run = RunMain({"ksdiag", "STATUS"});
    ExpectRun(run, 1, banner, "");
}

TEST(FrontMain, LiveHandsOverOptionsAndExitsZero)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "LIVE", "/level:error", "/winlogon", "/process:1234", "/threads"});
    ExpectRun(run, 0, banner, "");
    ASSERT_EQ(1, operations.Record().liveCalls);
    const Viewer::ViewOptions& options = operations.Record().liveOptions;
    EXPECT_EQ(2u, options.level);
    EXPECT_EQ(1u, options.winlogon);
    EXPECT_EQ(1234u, options.process);
    EXPECT_EQ(1u, options.threads);
    EXPECT_EQ(0u, options.images);
}

TEST(FrontMain, LiveWithoutLevelFailsOnStandardOutput)
{
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "live", "/level:Info"});
    ExpectRun(run, 1, banner + "Unrecognised level. Run ksdiag /? for help.\n", "");
    EXPECT_EQ(0, operations.Record().liveCalls);
}

TEST(FrontMain, EscapingExceptionPrintsItsMessageAndExitsZero)
{
    Testing::FakeOperations operations;
    operations.Record().during = [] { throw Base::Exception("Out of range"); };
    const MainRun run = RunMain({"ksdiag", "STOP"});
    ExpectRun(run, 0, banner, "Out of range\n");
}

TEST(FrontMain, EscapingWin32ExceptionPrintsItsFullMessage)
{
    Testing::FakeOperations operations;
    operations.Record().during = [] { throw Base::ExceptionWin32("Failed to open key", ERROR_ACCESS_DENIED); };
    const MainRun run = RunMain({"ksdiag", "VIEW", "/level:info"});
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ("Failed to open key - " + Base::Win32ErrorText(ERROR_ACCESS_DENIED) + "\n", run.err);
}

TEST(FrontMain, DebugFlagEchoesTheCommandsTraceLines)
{
    Testing::FakeOperations operations;
    operations.Record().during = [] { Trace::TraceEnter(L"probe [%u]", 7u); };
    const MainRun run = RunMain({"ksdiag", "STOP", "/debug"});
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ(banner + "  ENTER : probe [7]\n", run.out);
    EXPECT_EQ(7, Trace::DebugConsoleLevel);
    EXPECT_EQ(1u, Trace::DebugConsoleEnabled);
}

TEST(FrontMain, WithoutDebugFlagTheCommandsTraceLinesStayOffTheConsole)
{
    Testing::FakeOperations operations;
    operations.Record().during = [] { Trace::TraceError(L"probe [%u]", 7u); };
    const MainRun run = RunMain({"ksdiag", "STOP"});
    EXPECT_EQ(banner, run.out);
    EXPECT_EQ(0, Trace::DebugConsoleLevel);
    EXPECT_EQ(0u, Trace::DebugConsoleEnabled);
}

TEST(FrontMain, DebugFromEnvironmentIsNotSwitchedOnWithoutACommand)
{
    Testing::FakeOperations operations;
    Testing::ScopedEnvironment variable("KESTROVA_DEBUG", "1");
    const MainRun run = RunMain({"ksdiag"});
    EXPECT_EQ(-1, run.exitCode);
    EXPECT_EQ(0, Trace::DebugConsoleLevel);
    EXPECT_EQ(0u, Trace::DebugConsoleEnabled);
}

TEST(FrontMain, DebugFromEnvironmentSwitchesTheEchoOn)
{
    Testing::FakeOperations operations;
    Testing::ScopedEnvironment variable("KESTROVA_DEBUG", "1");
    const MainRun run = RunMain({"ksdiag", "status"});
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ(7, Trace::DebugConsoleLevel);
    EXPECT_EQ(1u, Trace::DebugConsoleEnabled);
}

TEST(FrontMain, ArgumentsAreLoggedBeforeTheStoreIsRefilled)
{
    // Whatever the store holds when main starts configures the trace and is what gets
    // logged: ksdiag itself starts with an empty store, so it traces with the defaults.
    Testing::PopulateArguments({"earlier", "/trace-console", "/trace-level:5"});
    Testing::FakeOperations operations;
    const MainRun run = RunMain({"ksdiag", "STOP", "/nologo"});
    EXPECT_EQ(0, run.exitCode);
    std::vector<std::string> commandLineEntries;
    for (const std::string& text : Testing::TraceTexts(run.out)) {
        if (text.find("commandLine:true") != std::string::npos) {
            commandLineEntries.push_back(text);
        }
    }
    const std::vector<std::string> expected = {
        "Found field { commandLine:true, full:\"earlier\" }",
        "Found flag { commandLine:true, full:\"/trace-console\", name:\"trace-console\" }",
        "Found named arg { commandLine:true, full:\"/trace-level:5\", name:\"trace-level\", value:\"5\" }",
    };
    EXPECT_EQ(expected, commandLineEntries);
}
