// START against the controller emulator: calls, trace lines, reports and results.

#include "base/Exception.h"
#include "platform/EtwApi.h"
#include "session/SessionControl.h"
#include "session/SessionProperties.h"
#include "tests/session/SessionFixture.h"

#include <gtest/gtest.h>

#include <evntcons.h>
#include <shlobj.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace {

using Testing::ControllerCallKind;
using Testing::DescribeCalls;

const std::string queryMissing = "ControlTrace query \"Kestrova Diagnostics Log\" handle=0 -> 4201";
const std::string queryRunning = "ControlTrace query \"Kestrova Diagnostics Log\" handle=0 -> 0";
const std::string startCall = "StartTrace \"Kestrova Diagnostics Log\" -> 0";
const std::string productGuid = "{6e2b9c41-7a3d-4f15-8c62-3d9a1b7e5f04}";
const std::string winlogonGuid = "{dbe9b383-7cf3-4331-91cc-a3cb16a3b538}";
const std::string kernelGuid = "{22fb2cd6-0e7b-422b-a0c7-2fad1fd0e716}";

std::string EnableCall(const std::string& guid, int level, const std::string& any, int property, int result = 0)
{
    return "EnableTrace " + guid + " enable level " + std::to_string(level) + " any " + any +
           " all 0x0 timeout 0 property " + std::to_string(property) + " handle=H -> " + std::to_string(result);
}

std::string CaptureCall(int level, int result = 0)
{
    return "EnableTrace " + productGuid + " capture-state level " + std::to_string(level) +
           " any 0x0 all 0x0 timeout 0 no parameters handle=H -> " + std::to_string(result);
}

const std::string winlogonCall = EnableCall(winlogonGuid, 5, "0x4000000000000000", 2);

const std::vector<std::string> successTrace = {
    "  ENTER : StartLog",     "  ENTER : ConfigureRebootLogging",    "   EXIT : ConfigureRebootLogging returned [true]",
    "  ENTER : ReportStatus", "   EXIT : ReportStatus returned [0]", "   EXIT : StartLog returned [0]",
};

// An exception where a provider's answer was expected, as a failing allocation would be.
ULONG WINAPI ThrowingEnable(TRACEHANDLE, LPCGUID, ULONG, UCHAR, ULONGLONG, ULONGLONG, ULONG, PENABLE_TRACE_PARAMETERS)
{
    throw Base::Exception("enable blew up");
}

class StartLogTest : public Testing::SessionFixture {
protected:
    // Every call after StartTrace carries the handle it returned.
    void ExpectOneSessionHandle() const
    {
        const auto calls = etw.Calls();
        TRACEHANDLE started = 0;
        for (const auto& call : calls) {
            if (call.kind == ControllerCallKind::StartTrace) {
                started = call.handle;
            } else if (call.kind == ControllerCallKind::EnableTrace) {
                EXPECT_EQ(started, call.handle);
            }
        }
        EXPECT_NE(0u, started);
    }

    // The ordinal-th EnableTraceEx2 fails with access denied: one trace line more, and
    // START succeeds with its usual report.
    void ExpectSecondaryFailureTraced(size_t ordinal, const Session::StartOptions& options, const std::string& line)
    {
        etw.FailCall(ControllerCallKind::EnableTrace, ordinal, ERROR_ACCESS_DENIED);
        EXPECT_EQ(0u, Session::StartLog(options));
        std::vector<std::string> expected = successTrace;
        expected.insert(expected.begin() + 1, line);
        EXPECT_EQ(expected, TraceOutput());
        EXPECT_EQ(Testing::StatusReport(Testing::StatusOf(options.file)) + L"\n", WideOutput());
    }
};

} // namespace

TEST_F(StartLogTest, StartsTheSessionEnablesProvidersWritesAutologgerAndReports)
{
    const Session::StartOptions options = DefaultOptions();
    EXPECT_EQ(0u, Session::StartLog(options));

    EXPECT_EQ((std::vector<std::string>{queryMissing, startCall, EnableCall(productGuid, 18, "0x0", 2), CaptureCall(18),
                                        winlogonCall, queryRunning, queryRunning}),
              DescribeCalls(etw.Calls()));
    ExpectOneSessionHandle();
    EXPECT_EQ(successTrace, TraceOutput());
    EXPECT_EQ(Testing::StatusReport(Testing::StatusOf(options.file)) + L"\n", WideOutput());

    const auto session = etw.FindSession(Testing::LogSessionName);
    ASSERT_TRUE(session);
    EXPECT_EQ(options.file, session->logFileName);
    EXPECT_EQ(512u, session->settings.BufferSize);
    EXPECT_EQ(1024u, session->settings.MaximumFileSize);
    EXPECT_EQ(static_cast<ULONG>(EVENT_TRACE_FILE_MODE_CIRCULAR), session->settings.LogFileMode);
    EXPECT_EQ(1u, session->captureStateRequests);
    EXPECT_TRUE(std::filesystem::is_directory(scratch.Path() / L"logs"));
    const auto values = autologger.Values();
    EXPECT_NE(values.end(), std::find(values.begin(), values.end(), Testing::StringValue(L"FileName", options.file)));
}

TEST_F(StartLogTest, StartsWithTheBuildFormOfTheBlock)
{
    const Session::StartOptions options = DefaultOptions();
    ASSERT_EQ(0u, Session::StartLog(options));
    const auto calls = etw.Calls();
    ASSERT_EQ(ControllerCallKind::StartTrace, calls[1].kind);
    const Session::SessionProperties expected =
        Session::BuildSessionProperties(L"Kestrova Diagnostics Log", options.file, 1024, true, 512);
    EXPECT_EQ(std::vector<uint8_t>(expected.Bytes(), expected.Bytes() + 2688), calls[1].properties);
    // The first query went out in the query form.
    const Session::SessionProperties query = Session::BuildQueryProperties();
    EXPECT_EQ(std::vector<uint8_t>(query.Bytes(), query.Bytes() + 2688), calls[0].properties);
}

TEST_F(StartLogTest, ProductProviderGetsVersionTwoParametersWithOnlyTheEnableProperty)
{
    ASSERT_EQ(0u, Session::StartLog(DefaultOptions()));
    const auto calls = etw.Calls();
    ASSERT_TRUE(calls[2].parameters);
    ENABLE_TRACE_PARAMETERS expected{};
    expected.Version = ENABLE_TRACE_PARAMETERS_VERSION_2;
    expected.EnableProperty = EVENT_ENABLE_PROPERTY_TS_ID;
    EXPECT_EQ(0, std::memcmp(&expected, &*calls[2].parameters, sizeof(expected)));
}

TEST_F(StartLogTest, CallstacksAddStackTracesForTheProductProviderOnly)
{
    Session::StartOptions options = DefaultOptions();
    options.callstacks = true;
    options.processes = true;
    ASSERT_EQ(0u, Session::StartLog(options));
    EXPECT_EQ(
        (std::vector<std::string>{queryMissing, startCall, EnableCall(productGuid, 18, "0x0", 6), CaptureCall(18),
                                  winlogonCall, EnableCall(kernelGuid, 5, "0x10", 2), queryRunning, queryRunning}),
        DescribeCalls(etw.Calls()));
}

TEST_F(StartLogTest, ThreadsAloneAskKernelProcessForThreadEventsOnly)
{
    Session::StartOptions options = DefaultOptions();
    options.threads = true;
    options.level = 4;
    ASSERT_EQ(0u, Session::StartLog(options));
    const auto calls = DescribeCalls(etw.Calls());
    ASSERT_EQ(8u, calls.size());
    EXPECT_EQ(EnableCall(productGuid, 4, "0x0", 2), calls[2]);
    EXPECT_EQ(CaptureCall(4), calls[3]);
    EXPECT_EQ(EnableCall(kernelGuid, 5, "0x20", 2), calls[5]);
}

TEST_F(StartLogTest, ProcessesThreadsAndImagesTogetherOrTheirKeywords)
{
    Session::StartOptions options = DefaultOptions();
    options.processes = true;
    options.threads = true;
    options.images = true;
    ASSERT_EQ(0u, Session::StartLog(options));
    EXPECT_EQ(EnableCall(kernelGuid, 5, "0x70", 2), DescribeCalls(etw.Calls())[5]);
    const auto session = etw.FindSession(Testing::LogSessionName);
    ASSERT_TRUE(session);
    EXPECT_EQ(3u, session->providers.size());
}

TEST_F(StartLogTest, SequentialWithoutMaximumIsUnlimitedModeOne)
{
    Session::StartOptions options = DefaultOptions();
    options.circular = false;
    options.maxSizeMb = 0;
    ASSERT_EQ(0u, Session::StartLog(options));
    const auto session = etw.FindSession(Testing::LogSessionName);
    ASSERT_TRUE(session);
    EXPECT_EQ(0u, session->settings.MaximumFileSize);
    EXPECT_EQ(static_cast<ULONG>(EVENT_TRACE_FILE_MODE_SEQUENTIAL), session->settings.LogFileMode);
    Testing::ExpectedStatus expected = Testing::StatusOf(options.file);
    expected.fileMode = L"Sequential";
    expected.maximumSize = L"Unlimited";
    EXPECT_EQ(Testing::StatusReport(expected) + L"\n", WideOutput());
}

TEST_F(StartLogTest, RunningSessionIsReportedAndLeftAlone)
{
    const std::wstring running = LogFile(L"running.etl");
    AddRunningSession(running, EVENT_TRACE_FILE_MODE_SEQUENTIAL, 0);
    Session::StartOptions options = DefaultOptions();
    options.bufferKb = 64;
    options.callstacks = true;

    EXPECT_EQ(183u, Session::StartLog(options));
    Testing::ExpectedStatus expected = Testing::StatusOf(running);
    expected.fileMode = L"Sequential";
    expected.maximumSize = L"Unlimited";
    expected.rebootLogging = L"Disabled.";
    EXPECT_EQ(L"A log is already running.\n\n" + Testing::StatusReport(expected) + L"\n", WideOutput());
    EXPECT_EQ((std::vector<std::string>{
                  "  ENTER : StartLog",
                  "   INFO : ControlTrace queried an existing logging session at [" +
                      std::string(running.begin(), running.end()) + "]",
                  "  ENTER : ReportStatus",
                  "   EXIT : ReportStatus returned [0]",
                  "   EXIT : StartLog returned [183]",
              }),
              TraceOutput());
    EXPECT_EQ((std::vector<std::string>{queryRunning, queryRunning}), DescribeCalls(etw.Calls()));
    const auto session = etw.FindSession(Testing::LogSessionName);
    ASSERT_TRUE(session);
    EXPECT_EQ(512u, session->settings.BufferSize);
    EXPECT_TRUE(session->providers.empty());
    EXPECT_FALSE(autologger.Exists());
    EXPECT_FALSE(std::filesystem::exists(scratch.Path() / L"logs"));
}

TEST_F(StartLogTest, ExistingLogDirectoryOnlyWarns)
{
    std::filesystem::create_directories(scratch.Path() / L"logs");
    const Session::StartOptions options = DefaultOptions();
    EXPECT_EQ(0u, Session::StartLog(options));
    const std::string directory = (scratch.Path() / L"logs").string() + "\\";
    std::vector<std::string> expected = successTrace;
    expected.insert(expected.begin() + 1,
                    "WARNING : Attempt to create directory [" + directory + "] failed with error [183]");
    EXPECT_EQ(expected, TraceOutput());
    EXPECT_TRUE(etw.FindSession(Testing::LogSessionName));
}

TEST_F(StartLogTest, MissingParentFoldersAreCreatedWithoutWarning)
{
    Session::StartOptions options = DefaultOptions();
    options.file = (scratch.Path() / L"a" / L"b" / L"logs" / L"k.etl").wstring();
    EXPECT_EQ(0u, Session::StartLog(options));
    EXPECT_EQ(successTrace, TraceOutput());
    EXPECT_TRUE(std::filesystem::is_directory(scratch.Path() / L"a" / L"b" / L"logs"));
    EXPECT_FALSE(std::filesystem::exists(options.file));
}

TEST_F(StartLogTest, AutologgerMirrorsTheStartedSessionAndTheOptions)
{
    Session::StartOptions options = DefaultOptions();
    options.level = 4;
    options.callstacks = true;
    options.threads = true;
    options.images = true;
    ASSERT_EQ(0u, Session::StartLog(options));

    // The session values are those the started session reports: the build form's.
    EXPECT_EQ(Testing::SortedByName({
                  Testing::DwordValue(L"BufferSize", 512),
                  Testing::DwordValue(L"MinimumBuffers", 0),
                  Testing::DwordValue(L"ClockType", 2),
                  Testing::StringValue(L"FileName", options.file),
                  Testing::DwordValue(L"FileMax", 0),
                  Testing::DwordValue(L"FlushTimer", 5),
                  Testing::StringValue(L"Guid", L"{9c4e2b71-3a5f-4d86-b0e7-52a1f8c63d9e}"),
                  Testing::DwordValue(L"LogFileMode", EVENT_TRACE_FILE_MODE_CIRCULAR),
                  Testing::DwordValue(L"MaxFileSize", 1024),
                  Testing::DwordValue(L"Start", 1),
              }),
              autologger.Values());
    EXPECT_EQ((std::vector<std::wstring>{Testing::KernelProcessProviderKey, Testing::ProductProviderKey,
                                         Testing::WinlogonProviderKey}),
              autologger.Subkeys());
    const uint64_t allKeywords = 0xFFFFFFFFFFFFFFFFull;
    EXPECT_EQ(Testing::SortedByName(Testing::ProviderKeyValues(allKeywords, 4, 6)),
              autologger.Values(Testing::ProductProviderKey));
    EXPECT_EQ(Testing::SortedByName(Testing::ProviderKeyValues(allKeywords, 5, 2)),
              autologger.Values(Testing::WinlogonProviderKey));
    EXPECT_EQ(Testing::SortedByName(Testing::ProviderKeyValues(0x60, 5, 2)),
              autologger.Values(Testing::KernelProcessProviderKey));
}

TEST_F(StartLogTest, BareFileNameStartsWithADirectoryWarning)
{
    Session::StartOptions options = DefaultOptions();
    options.file = L"bare.etl";
    const int emptyDirectory = ::SHCreateDirectoryExW(nullptr, L"", nullptr);
    ASSERT_NE(0, emptyDirectory);

    EXPECT_EQ(0u, Session::StartLog(options));
    std::vector<std::string> expected = successTrace;
    expected.insert(expected.begin() + 1, "WARNING : Attempt to create directory [] failed with error [" +
                                              std::to_string(emptyDirectory) + "]");
    EXPECT_EQ(expected, TraceOutput());
    const auto session = etw.FindSession(Testing::LogSessionName);
    ASSERT_TRUE(session);
    EXPECT_EQ(L"bare.etl", session->logFileName);
    Testing::ExpectedStatus status = Testing::StatusOf(L"bare.etl");
    EXPECT_EQ(Testing::StatusReport(status) + L"\n", WideOutput());
}

TEST_F(StartLogTest, PathOfTheLongestLengthStarts)
{
    Session::StartOptions options = DefaultOptions();
    options.file = std::wstring(255, L'p') + L".etl";
    ASSERT_EQ(259u, options.file.size());
    EXPECT_EQ(0u, Session::StartLog(options));
    const auto session = etw.FindSession(Testing::LogSessionName);
    ASSERT_TRUE(session);
    EXPECT_EQ(options.file, session->logFileName);
}

TEST_F(StartLogTest, LongerPathIsRefusedAfterTheQuery)
{
    Session::StartOptions options = DefaultOptions();
    options.file = LogFile(std::wstring(300, L'q') + L".etl");
    const size_t length = options.file.size();

    EXPECT_EQ(206u, Session::StartLog(options));
    EXPECT_EQ(std::vector<std::string>{queryMissing}, DescribeCalls(etw.Calls()));
    EXPECT_EQ((std::vector<std::string>{
                  "  ENTER : StartLog",
                  "  ERROR : Log file path of [" + std::to_string(length) +
                      "] characters exceeds the [259] a session can hold",
                  "   EXIT : StartLog returned [206]",
              }),
              TraceOutput());
    EXPECT_EQ(L"", WideOutput());
    EXPECT_FALSE(std::filesystem::exists(scratch.Path() / L"logs"));
    EXPECT_FALSE(autologger.Exists());
}

// The running session is what the user needs to hear of, not the path.
TEST_F(StartLogTest, LongerPathWhileASessionRunsReportsTheSession)
{
    const std::wstring running = LogFile(L"running.etl");
    AddRunningSession(running);
    Session::StartOptions options = DefaultOptions();
    options.file = LogFile(std::wstring(300, L'q') + L".etl");

    EXPECT_EQ(183u, Session::StartLog(options));
    Testing::ExpectedStatus expected = Testing::StatusOf(running);
    expected.rebootLogging = L"Disabled.";
    EXPECT_EQ(L"A log is already running.\n\n" + Testing::StatusReport(expected) + L"\n", WideOutput());
    EXPECT_EQ((std::vector<std::string>{queryRunning, queryRunning}), DescribeCalls(etw.Calls()));
    EXPECT_EQ("   EXIT : StartLog returned [183]", TraceOutput().back());
}

TEST_F(StartLogTest, StartTraceFailureIsReportedAndReturned)
{
    etw.FailCall(ControllerCallKind::StartTrace, 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(5u, Session::StartLog(DefaultOptions()));
    EXPECT_EQ(L"The log failed to start.\n", WideOutput());
    EXPECT_EQ((std::vector<std::string>{
                  "  ENTER : StartLog",
                  "  ERROR : Failed to start trace [Kestrova Diagnostics Log] with error [5]",
                  "   EXIT : StartLog returned [5]",
              }),
              TraceOutput());
    EXPECT_EQ((std::vector<std::string>{queryMissing, "StartTrace \"Kestrova Diagnostics Log\" -> 5"}),
              DescribeCalls(etw.Calls()));
    EXPECT_FALSE(autologger.Exists());
}

TEST_F(StartLogTest, ProductEnableFailureStopsTheNewSession)
{
    etw.FailCall(ControllerCallKind::EnableTrace, 1, ERROR_NO_SYSTEM_RESOURCES);
    EXPECT_EQ(1450u, Session::StartLog(DefaultOptions()));
    EXPECT_EQ(L"An error occurred whilst enabling the trace provider.\n", WideOutput());
    EXPECT_EQ((std::vector<std::string>{
                  "  ENTER : StartLog",
                  "  ERROR : Failed to enable trace with error [1450]",
                  "   EXIT : StartLog returned [1450]",
              }),
              TraceOutput());
    const auto calls = etw.Calls();
    EXPECT_EQ((std::vector<std::string>{queryMissing, startCall, EnableCall(productGuid, 18, "0x0", 2, 1450),
                                        "ControlTrace stop handle=H -> 0"}),
              DescribeCalls(calls));
    // Stopped by the handle StartTrace gave, with the block it was started with.
    EXPECT_EQ(calls[1].handle, calls[3].handle);
    EXPECT_FALSE(calls[3].hasName);
    EXPECT_EQ(calls[1].properties.size(), calls[3].properties.size());
    EXPECT_EQ(0, std::memcmp(calls[1].properties.data() + 120, calls[3].properties.data() + 120, 2688 - 120));
    EXPECT_FALSE(etw.FindSession(Testing::LogSessionName));
    EXPECT_FALSE(autologger.Exists());
}

TEST_F(StartLogTest, FailedStopAfterFailedEnableTracesTheEnableError)
{
    etw.FailCall(ControllerCallKind::EnableTrace, 1, ERROR_NO_SYSTEM_RESOURCES);
    etw.FailCall(ControllerCallKind::ControlTrace, 2, ERROR_ACCESS_DENIED);
    EXPECT_EQ(1450u, Session::StartLog(DefaultOptions()));
    EXPECT_EQ((std::vector<std::string>{
                  "  ENTER : StartLog",
                  "  ERROR : Failed to enable trace with error [1450]",
                  "  ERROR : Failed to stop trace with error [1450]",
                  "   EXIT : StartLog returned [1450]",
              }),
              TraceOutput());
    EXPECT_EQ("ControlTrace stop handle=H -> 5", DescribeCalls(etw.Calls()).back());
    EXPECT_TRUE(etw.FindSession(Testing::LogSessionName));
    EXPECT_EQ(L"An error occurred whilst enabling the trace provider.\n", WideOutput());
}

TEST_F(StartLogTest, CaptureStateFailureOnlyWarns)
{
    etw.FailCall(ControllerCallKind::EnableTrace, 2, ERROR_TIMEOUT);
    EXPECT_EQ(0u, Session::StartLog(DefaultOptions()));
    std::vector<std::string> expected = successTrace;
    expected.insert(expected.begin() + 1, "WARNING : Failed to capture state of Kestrova provider with error [1460]");
    EXPECT_EQ(expected, TraceOutput());
    EXPECT_EQ(winlogonCall, DescribeCalls(etw.Calls())[4]);
}

TEST_F(StartLogTest, WinlogonFailureIsTracedAndStartGoesOn)
{
    Session::StartOptions options = DefaultOptions();
    options.images = true;
    ExpectSecondaryFailureTraced(
        3, options, "  ERROR : Failed to add the Microsoft-Windows-Winlogon trace provider with error [5]");
    EXPECT_EQ(EnableCall(kernelGuid, 5, "0x40", 2), DescribeCalls(etw.Calls())[5]);
}

TEST_F(StartLogTest, KernelProcessFailureIsTracedAndStartGoesOn)
{
    Session::StartOptions options = DefaultOptions();
    options.processes = true;
    ExpectSecondaryFailureTraced(
        4, options, "  ERROR : Failed to add the Microsoft-Windows-Kernel-Process trace provider with error [5]");
    EXPECT_TRUE(autologger.Exists(Testing::KernelProcessProviderKey));
}

TEST_F(StartLogTest, AutologgerFailureIsTracedAndStartSucceeds)
{
    // The second ControlTrace is the auto-logger's query of the new session.
    etw.FailCall(ControllerCallKind::ControlTrace, 2, ERROR_ACCESS_DENIED);
    const Session::StartOptions options = DefaultOptions();
    EXPECT_EQ(0u, Session::StartLog(options));
    EXPECT_EQ((std::vector<std::string>{
                  "  ENTER : StartLog",
                  "  ENTER : ConfigureRebootLogging",
                  "  ERROR : Failed to query existing logger for auto-logger [5]",
                  "   EXIT : ConfigureRebootLogging returned [false]",
                  "  ERROR : Failed to enable auto-logging. Logging will not survive reboots.",
                  "  ENTER : ReportStatus",
                  "   EXIT : ReportStatus returned [0]",
                  "   EXIT : StartLog returned [0]",
              }),
              TraceOutput());
    Testing::ExpectedStatus expected = Testing::StatusOf(options.file);
    expected.rebootLogging = L"Disabled.";
    EXPECT_EQ(Testing::StatusReport(expected) + L"\n", WideOutput());
    EXPECT_TRUE(etw.FindSession(Testing::LogSessionName));
}

TEST_F(StartLogTest, ExceptionAfterTheStartStopsTheSession)
{
    Platform::Etw().EnableTraceEx2 = ThrowingEnable;
    EXPECT_THROW(Session::StartLog(DefaultOptions()), Base::Exception);
    EXPECT_EQ((std::vector<std::string>{queryMissing, startCall, "ControlTrace stop handle=H -> 0"}),
              DescribeCalls(etw.Calls()));
    EXPECT_FALSE(etw.FindSession(Testing::LogSessionName));
    EXPECT_EQ((std::vector<std::string>{"  ENTER : StartLog", "   EXIT : StartLog left by an exception"}),
              TraceOutput());
}
