// STATUS /format:json: the same report as one JSON object, with the same results.

#include "session/SessionControl.h"
#include "tests/session/SessionFixture.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace {

using Testing::DwordValue;

class StatusReportJsonTest : public Testing::SessionFixture {
protected:
    // JSON escapes the backslashes of the folder.
    std::wstring Directory() const
    {
        std::wstring escaped;
        for (const wchar_t c : (scratch.Path() / L"logs").wstring() + L"\\") {
            escaped += c == L'\\' ? std::wstring(L"\\\\") : std::wstring(1, c);
        }
        return escaped;
    }

    const std::wstring file = LogFile(L"status.etl");
};

} // namespace

TEST_F(StatusReportJsonTest, NoSessionIsNotRunningAndSucceeds)
{
    EXPECT_EQ(0u, Session::ReportStatusJson());
    EXPECT_EQ(L"{\"running\":false}\n", WideOutput());
    EXPECT_EQ("   EXIT : ReportStatusJson returned [0]", TraceOutput().back());
}

TEST_F(StatusReportJsonTest, EveryLineOfTheReportAsATypedMember)
{
    AddRunningSession(file);
    SeedDefinition();
    etw.UpdateSession(Testing::LogSessionName, [](Testing::EmulatedSession& session) {
        session.settings.BuffersWritten = 4096;
        session.settings.LogBuffersLost = 3;
        session.settings.EventsLost = 11;
    });
    EXPECT_EQ(0u, Session::ReportStatusJson());
    EXPECT_EQ(L"{\"running\":true,\"session\":\"Kestrova Diagnostics Log\",\"fileName\":\"status.etl\","
              L"\"directory\":\"" +
                  Directory() +
                  L"\",\"fileMode\":\"circular\",\"logFileMode\":2,\"maximumSizeMb\":1024,\"bufferSizeKb\":512,"
                  L"\"buffersWritten\":4096,\"buffersLost\":3,\"eventsLost\":11,\"rebootLogging\":{\"state\":"
                  L"\"enabled\",\"text\":\"Enabled.\",\"code\":0,\"sessionStatus\":0,\"providerStatus\":0}}\n",
              WideOutput());
}

TEST_F(StatusReportJsonTest, SequentialUnlimitedWithoutRebootLogging)
{
    AddRunningSession(file, EVENT_TRACE_FILE_MODE_SEQUENTIAL, 0);
    EXPECT_EQ(0u, Session::ReportStatusJson());
    const std::wstring output = WideOutput();
    EXPECT_NE(std::wstring::npos,
              output.find(L"\"fileMode\":\"sequential\",\"logFileMode\":1,\"maximumSizeMb\":null,"));
    EXPECT_NE(std::wstring::npos,
              output.find(L"\"rebootLogging\":{\"state\":\"disabled\",\"text\":\"Disabled.\",\"code\":0}}\n"));
}

TEST_F(StatusReportJsonTest, FailedAutologgerGivesItsNumbersAndTheSameResult)
{
    AddRunningSession(file, EVENT_TRACE_REAL_TIME_MODE, 0);
    SeedDefinition();
    autologger.Set(L"", DwordValue(L"Status", 0xC0000001));
    EXPECT_EQ(1287u, Session::ReportStatusJson());
    const std::wstring output = WideOutput();
    EXPECT_NE(std::wstring::npos, output.find(L"\"fileMode\":\"other\",\"logFileMode\":256,"));
    EXPECT_NE(std::wstring::npos,
              output.find(L"\"rebootLogging\":{\"state\":\"failed\",\"text\":\"The auto-logger failed. Session status "
                          L"is 3221225473 and provider status is 0.\",\"code\":1287,\"sessionStatus\":3221225473,"
                          L"\"providerStatus\":0}}\n"));
    EXPECT_EQ("   EXIT : ReportStatusJson returned [1287]", TraceOutput().back());
}
