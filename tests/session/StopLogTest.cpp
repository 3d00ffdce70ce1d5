// STOP against the controller emulator and the real auto-logger key.

#include "session/SessionControl.h"
#include "tests/session/RegistryInterceptor.h"
#include "tests/session/SessionFixture.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace {

using Testing::ControllerCallKind;
using Testing::DescribeCalls;

const std::string queryRunning = "ControlTrace query \"Kestrova Diagnostics Log\" handle=0 -> 0";

class StopLogTest : public Testing::SessionFixture {
protected:
    const std::wstring file = LogFile(L"stop.etl");
};

// What RegDeleteTreeW answers for a key that is not there.
LSTATUS MissingKeyDeletion()
{
    return ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, Testing::AutologgerDefinition::SessionPath().c_str());
}

} // namespace

TEST_F(StopLogTest, WithoutSessionReportsNotRunningAndLeavesTheDefinition)
{
    SeedDefinition();
    EXPECT_EQ(4201u, Session::StopLog());
    EXPECT_EQ(L"The log is not currently running\n", WideOutput());
    EXPECT_EQ((std::vector<std::string>{
                  "  ENTER : StopLog",
                  "  ERROR : Failed to re-query trace with error [4201]",
                  "   EXIT : StopLog returned [4201]",
              }),
              TraceOutput());
    EXPECT_EQ((std::vector<std::string>{"ControlTrace query \"Kestrova Diagnostics Log\" handle=0 -> 4201"}),
              DescribeCalls(etw.Calls()));
    EXPECT_TRUE(autologger.Exists(Testing::ProductProviderKey));
}

TEST_F(StopLogTest, ReportsRemovesTheDefinitionAndStopsByName)
{
    AddRunningSession(file);
    SeedDefinition();
    EXPECT_EQ(0u, Session::StopLog());

    // The report still shows the definition as it was before the deletion.
    EXPECT_EQ(Testing::StatusReport(Testing::StatusOf(file)) + L"\n", WideOutput());
    EXPECT_EQ((std::vector<std::string>{
                  "  ENTER : StopLog",
                  "  ENTER : ReportStatus",
                  "   EXIT : ReportStatus returned [0]",
                  "   INFO : RegDeleteTree for [Kestrova Diagnostics Log] returned [0]",
                  "   EXIT : StopLog returned [0]",
              }),
              TraceOutput());
    EXPECT_EQ((std::vector<std::string>{queryRunning, queryRunning,
                                        "ControlTrace stop \"Kestrova Diagnostics Log\" handle=0 -> 0"}),
              DescribeCalls(etw.Calls()));
    EXPECT_FALSE(autologger.Exists());
    EXPECT_FALSE(etw.FindSession(Testing::LogSessionName));
}

TEST_F(StopLogTest, StopsWithTheBlockTheQueryFilled)
{
    AddRunningSession(file);
    ASSERT_EQ(0u, Session::StopLog());
    const auto calls = etw.Calls();
    ASSERT_EQ(3u, calls.size());
    // The stop went out with the first query's block as the system filled it: both
    // names where the query form asked for them, which a fresh block leaves empty.
    const auto* block = reinterpret_cast<const EVENT_TRACE_PROPERTIES*>(calls[2].properties.data());
    ASSERT_EQ(2168u, block->LogFileNameOffset);
    ASSERT_EQ(120u, block->LoggerNameOffset);
    EXPECT_EQ(file, std::wstring(reinterpret_cast<const wchar_t*>(calls[2].properties.data() + 2168)));
    EXPECT_EQ(std::wstring(Testing::LogSessionName),
              std::wstring(reinterpret_cast<const wchar_t*>(calls[2].properties.data() + 120)));
}

TEST_F(StopLogTest, MissingDefinitionIsTracedAndTheStopGoesOn)
{
    AddRunningSession(file);
    const LSTATUS missing = MissingKeyDeletion();
    EXPECT_EQ(0u, Session::StopLog());
    EXPECT_EQ("   INFO : RegDeleteTree for [Kestrova Diagnostics Log] returned [" + std::to_string(missing) + "]",
              TraceOutput()[3]);
    EXPECT_FALSE(etw.FindSession(Testing::LogSessionName));
    Testing::ExpectedStatus expected = Testing::StatusOf(file);
    expected.rebootLogging = L"Disabled.";
    EXPECT_EQ(Testing::StatusReport(expected) + L"\n", WideOutput());
}

TEST_F(StopLogTest, UndeletableDefinitionIsTracedAndTheStopGoesOn)
{
    AddRunningSession(file);
    SeedDefinition();
    Testing::RegistryInterceptor registry;
    registry.FailDeleteTree(ERROR_ACCESS_DENIED);
    EXPECT_EQ(0u, Session::StopLog());
    EXPECT_EQ("   INFO : RegDeleteTree for [Kestrova Diagnostics Log] returned [5]", TraceOutput()[3]);
    EXPECT_EQ(
        std::vector<std::wstring>{
            L"delete SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\Kestrova Diagnostics Log"},
        registry.Writes());
    EXPECT_TRUE(autologger.Exists());
    EXPECT_FALSE(etw.FindSession(Testing::LogSessionName));
}

TEST_F(StopLogTest, FailedStopIsReportedAfterTheDefinitionIsGone)
{
    AddRunningSession(file);
    SeedDefinition();
    etw.FailCall(ControllerCallKind::ControlTrace, 3, ERROR_ACCESS_DENIED);
    EXPECT_EQ(5u, Session::StopLog());
    EXPECT_EQ(Testing::StatusReport(Testing::StatusOf(file)) + L"\n" + L"An error occurred whilst stopping the log.\n",
              WideOutput());
    EXPECT_EQ((std::vector<std::string>{
                  "  ENTER : StopLog",
                  "  ENTER : ReportStatus",
                  "   EXIT : ReportStatus returned [0]",
                  "   INFO : RegDeleteTree for [Kestrova Diagnostics Log] returned [0]",
                  "  ERROR : ControlTrace failed to stop the trace with error [5]",
                  "   EXIT : StopLog returned [5]",
              }),
              TraceOutput());
    // The deliberate order: no definition, yet the session still runs.
    EXPECT_FALSE(autologger.Exists());
    EXPECT_TRUE(etw.FindSession(Testing::LogSessionName));
}

TEST_F(StopLogTest, FailingStatusReportDoesNotStopTheStop)
{
    AddRunningSession(file);
    SeedDefinition();
    autologger.Set(L"", Testing::DwordValue(L"Status", 1));
    EXPECT_EQ(0u, Session::StopLog());
    EXPECT_FALSE(etw.FindSession(Testing::LogSessionName));
    EXPECT_EQ("   EXIT : ReportStatus returned [1287]", TraceOutput()[2]);
}
