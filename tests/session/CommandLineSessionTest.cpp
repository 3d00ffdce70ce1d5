// START, STOP and STATUS from the argument vector to the output and the exit code, in
// process through the front end, against the controller emulator and the real
// auto-logger key.

#include "front/Main.h"
#include "tests/emulator/ControllerEmulator.h"
#include "tests/front/ArgumentVector.h"
#include "tests/session/AutologgerDefinition.h"
#include "tests/session/SessionFixture.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TraceLines.h"

#include <gtest/gtest.h>

#include <evntrace.h>

#include <initializer_list>
#include <string>

namespace {

using Testing::ControllerCallKind;

std::string Narrow(const std::wstring& text)
{
    return std::string(text.begin(), text.end());
}

class CommandLineSessionTest : public ::testing::Test {
protected:
    int Run(std::initializer_list<std::string> arguments)
    {
        Testing::ArgumentVector vector(arguments);
        return Front::Main(vector.Count(), vector.Data());
    }

    std::string FileOption() const { return "/file:" + Narrow(file); }

    void AddRunningSession()
    {
        Testing::EmulatedSession session;
        session.name = Testing::LogSessionName;
        session.logFileName = file;
        session.settings.BufferSize = 512;
        session.settings.MaximumFileSize = 1024;
        session.settings.LogFileMode = EVENT_TRACE_FILE_MODE_CIRCULAR;
        etw.AddSession(session);
    }

    Testing::ControllerEmulator etw;
    Testing::AutologgerDefinition autologger;
    Testing::TempDirectory scratch;
    const std::wstring file = (scratch.Path() / L"logs" / L"cli.etl").wstring();
    Testing::OutputCapture capture;
};

} // namespace

TEST_F(CommandLineSessionTest, StartSucceedsAndExitsZero)
{
    EXPECT_EQ(0, Run({"ksdiag", "START", "/nologo", FileOption()}));
    EXPECT_EQ("Start log completed successfully.\n", capture.Out());
    EXPECT_EQ("", capture.Err());
    EXPECT_EQ(Testing::StatusReport(Testing::StatusOf(file)) + L"\n", capture.WideOut());
    const auto session = etw.FindSession(Testing::LogSessionName);
    ASSERT_TRUE(session);
    EXPECT_EQ(file, session->logFileName);
    EXPECT_EQ(1024u, session->settings.MaximumFileSize);
    EXPECT_EQ(18u, session->providers.at(0).level);
    EXPECT_TRUE(autologger.Exists(Testing::ProductProviderKey));
}

TEST_F(CommandLineSessionTest, StartOnARunningSessionExitsOne)
{
    AddRunningSession();
    EXPECT_EQ(1, Run({"ksdiag", "start", "/nologo", FileOption()}));
    EXPECT_EQ("", capture.Out());
    EXPECT_EQ("The log file is already running.\n", capture.Err());
    Testing::ExpectedStatus expected = Testing::StatusOf(file);
    expected.rebootLogging = L"Disabled.";
    EXPECT_EQ(L"A log is already running.\n\n" + Testing::StatusReport(expected) + L"\n", capture.WideOut());
}

TEST_F(CommandLineSessionTest, StartFailureShowsTheError)
{
    etw.FailCall(ControllerCallKind::StartTrace, 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(1, Run({"ksdiag", "START", "/nologo", FileOption()}));
    EXPECT_EQ("", capture.Out());
    EXPECT_EQ("Start log failed with error 5.\n", capture.Err());
    EXPECT_EQ(L"The log failed to start.\n", capture.WideOut());
}

TEST_F(CommandLineSessionTest, StartWithAPathTooLongForTheSessionFails)
{
    const std::string longFile = "/file:C:\\" + std::string(300, 'l') + ".etl";
    EXPECT_EQ(1, Run({"ksdiag", "START", "/nologo", longFile}));
    EXPECT_EQ("Start log failed with error 206.\n", capture.Err());
    EXPECT_EQ(L"", capture.WideOut());
    EXPECT_EQ(std::vector<std::string>{"ControlTrace query \"Kestrova Diagnostics Log\" handle=0 -> 4201"},
              Testing::DescribeCalls(etw.Calls()));
}

TEST_F(CommandLineSessionTest, StartWithAPathTooLongWhileASessionRunsSaysItRuns)
{
    AddRunningSession();
    const std::string longFile = "/file:C:\\" + std::string(300, 'l') + ".etl";
    EXPECT_EQ(1, Run({"ksdiag", "START", "/nologo", longFile}));
    EXPECT_EQ("", capture.Out());
    EXPECT_EQ("The log file is already running.\n", capture.Err());
    Testing::ExpectedStatus expected = Testing::StatusOf(file);
    expected.rebootLogging = L"Disabled.";
    EXPECT_EQ(L"A log is already running.\n\n" + Testing::StatusReport(expected) + L"\n", capture.WideOut());
}

TEST_F(CommandLineSessionTest, StartWithDebugEchoesTheTraceLines)
{
    EXPECT_EQ(0, Run({"ksdiag", "START", "/nologo", "/debug", FileOption()}));
    EXPECT_EQ((std::vector<std::string>{
                  "  ENTER : StartLog",
                  "  ENTER : ConfigureRebootLogging",
                  "   EXIT : ConfigureRebootLogging returned [true]",
                  "  ENTER : ReportStatus",
                  "   EXIT : ReportStatus returned [0]",
                  "   EXIT : StartLog returned [0]",
                  "Start log completed successfully.",
              }),
              Testing::SplitLines(capture.Out()));
}

TEST_F(CommandLineSessionTest, StartOptionsFromEnvironmentVariables)
{
    Testing::ScopedEnvironment level("KESTROVA_LEVEL", std::string("info"));
    Testing::ScopedEnvironment callstacks("KESTROVA_CALLSTACKS", std::string("1"));
    Testing::ScopedEnvironment sequential("KESTROVA_SEQUENTIAL", std::string("1"));
    Testing::ScopedEnvironment maxSize("KESTROVA_MAXSIZE", std::string("0x40"));
    Testing::ScopedEnvironment buffer("KESTROVA_BUFFER", std::string("128"));
    Testing::ScopedEnvironment threads("KESTROVA_THREADS", std::string("1"));
    Testing::ScopedEnvironment logFile("KESTROVA_FILE", Narrow(file));

    EXPECT_EQ(0, Run({"ksdiag", "START", "/nologo"}));
    const auto session = etw.FindSession(Testing::LogSessionName);
    ASSERT_TRUE(session);
    EXPECT_EQ(file, session->logFileName);
    EXPECT_EQ(static_cast<ULONG>(EVENT_TRACE_FILE_MODE_SEQUENTIAL), session->settings.LogFileMode);
    EXPECT_EQ(64u, session->settings.MaximumFileSize);
    EXPECT_EQ(128u, session->settings.BufferSize);
    const auto calls = Testing::DescribeCalls(etw.Calls());
    ASSERT_EQ(8u, calls.size());
    EXPECT_EQ("EnableTrace {6e2b9c41-7a3d-4f15-8c62-3d9a1b7e5f04} enable level 4 any 0x0 all 0x0 timeout 0 "
              "property 6 handle=H -> 0",
              calls[2]);
    EXPECT_EQ("EnableTrace {22fb2cd6-0e7b-422b-a0c7-2fad1fd0e716} enable level 5 any 0x20 all 0x0 timeout 0 "
              "property 2 handle=H -> 0",
              calls[5]);
    EXPECT_EQ("Start log completed successfully.\n", capture.Out());
    const auto values = autologger.Values();
    EXPECT_NE(values.end(), std::find(values.begin(), values.end(), Testing::DwordValue(L"FileMax", 16)));
}

TEST_F(CommandLineSessionTest, StopWithoutSessionPrintsBothLinesAndExitsOne)
{
    EXPECT_EQ(1, Run({"ksdiag", "STOP", "/nologo"}));
    EXPECT_EQ(L"The log is not currently running\n", capture.WideOut());
    EXPECT_EQ("Stop log failed with error 4201.\n", capture.Err());
    EXPECT_EQ("", capture.Out());
}

TEST_F(CommandLineSessionTest, StopOfARunningSessionExitsZeroWithTheReportOnly)
{
    AddRunningSession();
    autologger.Set(L"", Testing::DwordValue(L"Start", 1));
    autologger.Set(Testing::ProductProviderKey, Testing::DwordValue(L"Enabled", 1));
    EXPECT_EQ(0, Run({"ksdiag", "Stop", "/nologo"}));
    EXPECT_EQ(Testing::StatusReport(Testing::StatusOf(file)) + L"\n", capture.WideOut());
    EXPECT_EQ("", capture.Out());
    EXPECT_EQ("", capture.Err());
    EXPECT_FALSE(etw.FindSession(Testing::LogSessionName));
    EXPECT_FALSE(autologger.Exists());
}

TEST_F(CommandLineSessionTest, StatusWithAFailedAutologgerExitsOneWithoutALineOfItsOwn)
{
    AddRunningSession();
    autologger.Set(L"", Testing::DwordValue(L"Status", 3));
    autologger.Set(Testing::ProductProviderKey, Testing::DwordValue(L"Enabled", 1));
    EXPECT_EQ(1, Run({"ksdiag", "STATUS", "/nologo"}));
    Testing::ExpectedStatus expected = Testing::StatusOf(file);
    expected.rebootLogging = L"The auto-logger failed. Session status is 3 and provider status is 0.";
    EXPECT_EQ(Testing::StatusReport(expected), capture.WideOut());
    EXPECT_EQ("", capture.Out());
    EXPECT_EQ("", capture.Err());
}

TEST_F(CommandLineSessionTest, StatusWithoutSessionExitsZero)
{
    EXPECT_EQ(0, Run({"ksdiag", "status", "/nologo"}));
    EXPECT_EQ(L"The log is not currently running\n", capture.WideOut());
    EXPECT_EQ("", capture.Err());
}
