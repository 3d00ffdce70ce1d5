#include "trace/TraceSettings.h"
#include "base/ProcessArguments.h"
#include "tests/emulator/ProviderEmulator.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TraceLines.h"
#include "tests/trace/TraceTestSupport.h"
#include "trace/CrashHandler.h"
#include "trace/Log.h"
#include "trace/TraceFile.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <csignal>

namespace {

using Testing::ConfigureWith;
using Testing::PathSwitch;

const Trace::Category testLog("settings");

void LogEveryLevel()
{
    testLog->Fatal("fatal");
    testLog->Error("error");
    testLog->Warning("warning");
    testLog->Info("info");
    testLog->Verbose("verbose");
    testLog->Debug("debug");
}

bool ConsoleSinkOn()
{
    return (Trace::Settings().sinks & Trace::SinkConsole) != 0;
}

bool FileSinkOn()
{
    return (Trace::Settings().sinks & Trace::SinkFile) != 0;
}

// Whether either crash handler is in place. Both setters answer with what was there
// before, and putting that back leaves the process as it was.
bool CrashHandlersInstalled()
{
    const LPTOP_LEVEL_EXCEPTION_FILTER filter = ::SetUnhandledExceptionFilter(nullptr);
    ::SetUnhandledExceptionFilter(filter);
    const auto abortHandler = std::signal(SIGABRT, SIG_DFL);
    std::signal(SIGABRT, abortHandler);
    return filter == &Trace::OnUnhandledException || abortHandler == &Trace::OnAbortSignal;
}

} // namespace

TEST(TraceSettings, AreZeroUntilConfigured)
{
    EXPECT_EQ(0, Trace::Settings().level);
    EXPECT_EQ(0u, Trace::Settings().sinks);
    Trace::EnsureConfigured(Trace::SkipCrashHandlers | Trace::SkipProviderRegistration);
    EXPECT_EQ(4, Trace::Settings().level);
    EXPECT_EQ(0u, Trace::Settings().sinks);
}

TEST(TraceSettings, WithoutSettingsNothingIsWrittenAndTheThresholdIsVerbose)
{
    Trace::EnsureConfigured(Trace::SkipCrashHandlers | Trace::SkipProviderRegistration);
    Testing::OutputCapture capture;
    LogEveryLevel();
    EXPECT_EQ("", capture.Out());
    EXPECT_EQ("", capture.Err());
    EXPECT_TRUE(testLog->IsEnabled(Trace::LogLevel::Fatal));
    EXPECT_TRUE(testLog->IsEnabled(Trace::LogLevel::Error));
    EXPECT_TRUE(testLog->IsEnabled(Trace::LogLevel::Warning));
    EXPECT_TRUE(testLog->IsEnabled(Trace::LogLevel::Info));
    EXPECT_TRUE(testLog->IsEnabled(Trace::LogLevel::Verbose));
    EXPECT_FALSE(testLog->IsEnabled(Trace::LogLevel::Debug));
}

TEST(TraceSettings, FirstMessageConfiguresTheFramework)
{
    const char* argv[] = {"trace_tests.exe", "/trace-level:2"};
    Base::ProcessArguments::Populate(2, argv);
    EXPECT_FALSE(testLog->IsEnabled(Trace::LogLevel::Info));
    EXPECT_EQ(2, Trace::Settings().level);
}

TEST(TraceSettings, FirstMessageConfiguresWithNoOptionBits)
{
    // Nobody configured the framework: the first message does it with no option bits,
    // so the provider is registered and the crash handlers are installed.
    Testing::ProviderEmulator provider;
    const char* argv[] = {"trace_tests.exe", "/trace-level:3"};
    Base::ProcessArguments::Populate(2, argv);
    testLog->Error("first");

    EXPECT_EQ(1u, provider.Registrations().size());
    EXPECT_TRUE(CrashHandlersInstalled());
    EXPECT_EQ(3, Trace::Settings().level);
}

TEST(TraceSettings, TraceLevelZeroLetsOnlyFatalThrough)
{
    ConfigureWith({"/trace-console", "/trace-level:0"});
    EXPECT_EQ(0, Trace::Settings().level);
    Testing::OutputCapture capture;
    LogEveryLevel();
    EXPECT_EQ(std::vector<std::string>{"fatal"}, Testing::TraceTexts(capture.Err()));
    EXPECT_EQ(1u, Testing::SplitLines(capture.Err()).size());
    EXPECT_EQ("", capture.Out());
    EXPECT_TRUE(testLog->IsEnabled(Trace::LogLevel::Fatal));
    EXPECT_FALSE(testLog->IsEnabled(Trace::LogLevel::Error));
}

TEST(TraceSettings, TraceLevelReadsPrefixedNumbers)
{
    ConfigureWith({"/trace-level:0b10"});
    EXPECT_EQ(2, Trace::Settings().level);
}

TEST(TraceSettings, UnparsableTraceLevelKeepsTheDefault)
{
    ConfigureWith({"/trace-level:high"});
    EXPECT_EQ(4, Trace::Settings().level);
}

TEST(TraceSettings, TraceLevelFromTheEnvironment)
{
    Testing::ScopedEnvironment level("KESTROVA_TRACE_LEVEL", "1");
    ConfigureWith({});
    EXPECT_EQ(1, Trace::Settings().level);
}

TEST(TraceSettings, TraceConsoleWithAnEmptyValueSwitchesTheConsoleOn)
{
    ConfigureWith({"/trace-console:"});
    EXPECT_TRUE(ConsoleSinkOn());
    EXPECT_FALSE(FileSinkOn());
    Testing::OutputCapture capture;
    testLog->Info("shown");
    EXPECT_EQ(std::vector<std::string>{"shown"}, Testing::TraceTexts(capture.Out()));
}

TEST(TraceSettings, TraceConsoleValueIsNotExamined)
{
    ConfigureWith({"/trace-console:false"});
    EXPECT_TRUE(ConsoleSinkOn());
}

TEST(TraceSettings, TraceConsoleFromAnEmptyEnvironmentVariable)
{
    Testing::ScopedEnvironment console("KESTROVA_TRACE_CONSOLE", "");
    ConfigureWith({});
    EXPECT_TRUE(ConsoleSinkOn());
}

TEST(TraceSettings, TraceConsoleFromAnEnvironmentVariableSaying0)
{
    Testing::ScopedEnvironment console("KESTROVA_TRACE_CONSOLE", "0");
    ConfigureWith({});
    EXPECT_TRUE(ConsoleSinkOn());
}

TEST(TraceSettings, TraceFileWithoutTraceFolderLeavesTheFileSinkOff)
{
    Testing::TempDirectory directory;
    // Releases the file should the sink open one after all, so the directory goes.
    Testing::TraceFileCloser closer;
    ConfigureWith({PathSwitch("trace-file", directory.Path() / "alone.log")});
    EXPECT_FALSE(FileSinkOn());
    EXPECT_FALSE(ConsoleSinkOn());
    testLog->Error("not in any file");
    EXPECT_TRUE(directory.Files().empty());
}

TEST(TraceSettings, LoggingFileWithoutTraceFolderLeavesTheFileSinkOff)
{
    Testing::TempDirectory directory;
    // Releases the file should the sink open one after all, so the directory goes.
    Testing::TraceFileCloser closer;
    ConfigureWith({PathSwitch("logging-file", directory.Path() / "alone.log")});
    EXPECT_FALSE(FileSinkOn());
    testLog->Error("not in any file");
    EXPECT_TRUE(directory.Files().empty());
}

TEST(TraceSettings, TraceFolderSwitchesTheFileSinkOn)
{
    Testing::TempDirectory directory;
    ConfigureWith({PathSwitch("trace-folder", directory.Path())});
    EXPECT_TRUE(FileSinkOn());
    EXPECT_FALSE(ConsoleSinkOn());
}

TEST(TraceSettings, PresetTraceFileNameSwitchesTheFileSinkOn)
{
    Trace::DefaultTraceFileName() = "preset.log";
    ConfigureWith({});
    EXPECT_TRUE(FileSinkOn());
    EXPECT_FALSE(ConsoleSinkOn());
}

TEST(TraceSettings, SecondCallWithOtherOptionsChangesNothing)
{
    Testing::ProviderEmulator provider;
    Trace::EnsureConfigured(Trace::SkipCrashHandlers | Trace::SkipProviderRegistration);
    ConfigureWith({"/trace-console", "/trace-level:0"}, 0);
    Trace::EnsureConfigured(0);

    EXPECT_EQ(0u, provider.Registrations().size());
    EXPECT_FALSE(CrashHandlersInstalled());
    EXPECT_EQ(4, Trace::Settings().level);
    EXPECT_EQ(0u, Trace::Settings().sinks);
}

TEST(TraceSettings, LaterChangesToTheArgumentStoreAreIgnored)
{
    ConfigureWith({"/trace-level:1"});
    ConfigureWith({"/trace-level:5", "/trace-console"});
    EXPECT_EQ(1, Trace::Settings().level);
    EXPECT_FALSE(ConsoleSinkOn());
}
