// STATUS: the details of the emulated session and every reboot-logging line, read from
// Wine's real registry.

#include "session/SessionControl.h"
#include "tests/session/RegistryInterceptor.h"
#include "tests/session/SessionFixture.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace {

using Testing::BinaryValue;
using Testing::DwordValue;
using Testing::StringValue;

class StatusReportTest : public Testing::SessionFixture {
protected:
    // The report's reboot-logging line alone (the last line of the wide output).
    std::wstring RebootLine() const
    {
        std::wstring output = WideOutput();
        if (!output.empty()) {
            output.pop_back();
        }
        return output.substr(output.find_last_of(L'\n') + 1);
    }

    // What RegGetValueW answers when Status is read as the report reads it.
    LSTATUS StatusReadResult(const std::wstring& subkey) const
    {
        const std::wstring path =
            Testing::AutologgerDefinition::SessionPath() + (subkey.empty() ? L"" : L"\\" + subkey);
        DWORD value = 0;
        DWORD size = sizeof(value);
        return ::RegGetValueW(HKEY_LOCAL_MACHINE, path.c_str(), L"Status", RRF_RT_REG_DWORD | RRF_RT_REG_BINARY,
                              nullptr, &value, &size);
    }

    // A Status value the report cannot read as a 32-bit number: its error (whatever the
    // registry answers for it) becomes the line and the result, and both keys are closed.
    void ExpectUnreadableStatus(const std::wstring& subkey, const Testing::RegistryValue& status,
                                const std::wstring& text)
    {
        AddRunningSession(file);
        SeedDefinition();
        autologger.Set(subkey, status);
        const LSTATUS error = StatusReadResult(subkey);
        ASSERT_NE(ERROR_SUCCESS, error);
        ASSERT_NE(ERROR_FILE_NOT_FOUND, error);
        Testing::RegistryInterceptor registry;
        EXPECT_EQ(static_cast<uint32_t>(error), Session::ReportStatus());
        EXPECT_EQ(L" Reboot Logging    - " + text + L" Error " + std::to_wstring(error) + L".", RebootLine());
        EXPECT_EQ(2u, registry.OpenedKeys());
        EXPECT_EQ(2u, registry.ClosedKeys());
    }

    const std::wstring file = LogFile(L"status.etl");
};

} // namespace

TEST_F(StatusReportTest, NoSessionPrintsOneLineAndSucceeds)
{
    EXPECT_EQ(0u, Session::ReportStatus());
    EXPECT_EQ(L"The log is not currently running\n", WideOutput());
    EXPECT_EQ((std::vector<std::string>{
                  "  ENTER : ReportStatus",
                  "  ERROR : Failed to re-query trace with error [4201]",
                  "   EXIT : ReportStatus returned [0]",
              }),
              TraceOutput());
}

TEST_F(StatusReportTest, FreshDefinitionWithoutStatusValuesIsEnabled)
{
    AddRunningSession(file);
    SeedDefinition();
    EXPECT_EQ(0u, Session::ReportStatus());
    EXPECT_EQ(L"Details:\n"
              L" Session           - Kestrova Diagnostics Log\n"
              L" File Name         - status.etl\n"
              L" Directory Name    - " +
                  (scratch.Path() / L"logs").wstring() +
                  L"\\\n"
                  L" File Mode         - Circular\n"
                  L" Maximum Size (MB) - 1024\n"
                  L" Buffer Size (KB)  - 512\n"
                  L" Buffers Written   - 0\n"
                  L" Buffers Lost      - 0\n"
                  L" Events Lost       - 0\n"
                  L" Reboot Logging    - Enabled.\n",
              WideOutput());
    EXPECT_EQ((std::vector<std::string>{"  ENTER : ReportStatus", "   EXIT : ReportStatus returned [0]"}),
              TraceOutput());
}

TEST_F(StatusReportTest, CountersComeFromTheSession)
{
    AddRunningSession(file, EVENT_TRACE_FILE_MODE_CIRCULAR, 200);
    etw.UpdateSession(Testing::LogSessionName, [](Testing::EmulatedSession& session) {
        session.settings.BufferSize = 64;
        session.settings.BuffersWritten = 4096;
        session.settings.LogBuffersLost = 3;
        session.settings.EventsLost = 11;
    });
    EXPECT_EQ(0u, Session::ReportStatus());
    Testing::ExpectedStatus expected = Testing::StatusOf(file);
    expected.maximumSize = L"200";
    expected.bufferKb = 64;
    expected.buffersWritten = 4096;
    expected.buffersLost = 3;
    expected.eventsLost = 11;
    expected.rebootLogging = L"Disabled.";
    EXPECT_EQ(Testing::StatusReport(expected), WideOutput());
}

TEST_F(StatusReportTest, WithoutDefinitionRebootLoggingIsDisabled)
{
    AddRunningSession(file);
    EXPECT_EQ(0u, Session::ReportStatus());
    EXPECT_EQ(L" Reboot Logging    - Disabled.", RebootLine());
}

TEST_F(StatusReportTest, SequentialUnlimitedSession)
{
    AddRunningSession(file, EVENT_TRACE_FILE_MODE_SEQUENTIAL, 0);
    EXPECT_EQ(0u, Session::ReportStatus());
    Testing::ExpectedStatus expected = Testing::StatusOf(file);
    expected.fileMode = L"Sequential";
    expected.maximumSize = L"Unlimited";
    expected.rebootLogging = L"Disabled.";
    EXPECT_EQ(Testing::StatusReport(expected), WideOutput());
}

TEST_F(StatusReportTest, ModeWithoutFileModeBitsPrintsTheNumber)
{
    AddRunningSession(file, EVENT_TRACE_REAL_TIME_MODE | EVENT_TRACE_FILE_MODE_APPEND, 0);
    EXPECT_EQ(0u, Session::ReportStatus());
    Testing::ExpectedStatus expected = Testing::StatusOf(file);
    expected.fileMode = L"260";
    expected.maximumSize = L"Unlimited";
    expected.rebootLogging = L"Disabled.";
    EXPECT_EQ(Testing::StatusReport(expected), WideOutput());
}

TEST_F(StatusReportTest, NonZeroSessionStatusReportsBothNumbersAndFails)
{
    AddRunningSession(file);
    SeedDefinition();
    autologger.Set(L"", DwordValue(L"Status", 0xC0000001));
    EXPECT_EQ(1287u, Session::ReportStatus());
    EXPECT_EQ(L" Reboot Logging    - The auto-logger failed. Session status is 3221225473 and provider status is 0.",
              RebootLine());
    EXPECT_EQ("   EXIT : ReportStatus returned [1287]", TraceOutput().back());
}

TEST_F(StatusReportTest, NonZeroBinaryProviderStatusReportsBothNumbersAndFails)
{
    AddRunningSession(file);
    SeedDefinition();
    autologger.Set(L"", DwordValue(L"Status", 0));
    autologger.Set(Testing::ProductProviderKey, BinaryValue(L"Status", {0x05, 0x00, 0x00, 0x00}));
    EXPECT_EQ(1287u, Session::ReportStatus());
    EXPECT_EQ(L" Reboot Logging    - The auto-logger failed. Session status is 0 and provider status is 5.",
              RebootLine());
}

TEST_F(StatusReportTest, ZeroStatusValuesAreEnabled)
{
    AddRunningSession(file);
    SeedDefinition();
    autologger.Set(L"", DwordValue(L"Status", 0));
    autologger.Set(Testing::ProductProviderKey, BinaryValue(L"Status", {0, 0, 0, 0}));
    EXPECT_EQ(0u, Session::ReportStatus());
    EXPECT_EQ(L" Reboot Logging    - Enabled.", RebootLine());
}

TEST_F(StatusReportTest, OnlyTheProductProviderStatusCounts)
{
    AddRunningSession(file);
    SeedDefinition();
    autologger.Set(Testing::WinlogonProviderKey, DwordValue(L"Status", 9));
    EXPECT_EQ(0u, Session::ReportStatus());
    EXPECT_EQ(L" Reboot Logging    - Enabled.", RebootLine());
}

TEST_F(StatusReportTest, MissingProviderKeyIsReportedWithItsError)
{
    AddRunningSession(file);
    autologger.Set(L"", DwordValue(L"Start", 1));
    Testing::RegistryInterceptor registry;
    EXPECT_EQ(2u, Session::ReportStatus());
    EXPECT_EQ(L" Reboot Logging    - The auto-logger provider key is missing. Error 2.", RebootLine());
    // The session key it did open is closed on that path too.
    EXPECT_EQ(1u, registry.OpenedKeys());
    EXPECT_EQ(1u, registry.ClosedKeys());
}

TEST_F(StatusReportTest, UnopenableSessionKeyIsReportedWithItsError)
{
    AddRunningSession(file);
    SeedDefinition();
    Testing::RegistryInterceptor registry;
    registry.FailOpenKey(L"\\Kestrova Diagnostics Log", ERROR_ACCESS_DENIED);
    EXPECT_EQ(5u, Session::ReportStatus());
    EXPECT_EQ(L" Reboot Logging    - The auto-logger session key is missing. Error 5.", RebootLine());
    EXPECT_EQ(registry.OpenedKeys(), registry.ClosedKeys());
}

TEST_F(StatusReportTest, UnreadableSessionStatusIsReportedWithItsError)
{
    ExpectUnreadableStatus(L"", BinaryValue(L"Status", {1, 2, 3, 4, 5, 6, 7, 8}),
                           L"The auto-logger session status could not be queried.");
}

TEST_F(StatusReportTest, UnreadableProviderStatusIsReportedWithItsError)
{
    ExpectUnreadableStatus(Testing::ProductProviderKey, StringValue(L"Status", L"0"),
                           L"The auto-logger provider status could not be queried.");
}

TEST_F(StatusReportTest, EveryOpenedKeyIsClosedOnTheNormalPath)
{
    AddRunningSession(file);
    SeedDefinition();
    Testing::RegistryInterceptor registry;
    EXPECT_EQ(0u, Session::ReportStatus());
    EXPECT_EQ(2u, registry.OpenedKeys());
    EXPECT_EQ(2u, registry.ClosedKeys());
    // Read access only, and the provider key in the upper-case braced form of the GUID.
    EXPECT_EQ((std::vector<std::wstring>{
                  L"open SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\Kestrova Diagnostics Log "
                  L"access 0x20019",
                  L"open {6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04} access 0x20019",
              }),
              registry.KeyAccesses());
}

TEST_F(StatusReportTest, UntrustworthyNamesInTheReplyPrintEmpty)
{
    AddRunningSession(file);
    SeedDefinition();
    etw.AfterFill([](EVENT_TRACE_PROPERTIES& properties, ULONG size) {
        properties.LogFileNameOffset = size; // beyond the block
        auto* bytes = reinterpret_cast<uint8_t*>(&properties);
        for (ULONG offset = properties.LoggerNameOffset; offset < size; offset += 2) {
            bytes[offset] = 'n'; // the logger name runs to the block's end
            bytes[offset + 1] = 0;
        }
    });
    EXPECT_EQ(0u, Session::ReportStatus());
    Testing::ExpectedStatus expected;
    expected.session = L"";
    expected.rebootLogging = L"Disabled.";
    EXPECT_EQ(Testing::StatusReport(expected), WideOutput());
}
