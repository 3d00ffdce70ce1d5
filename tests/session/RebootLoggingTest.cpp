// The auto-logger definition in Wine's real registry, written from what the emulated
// session reports.

#include "session/RebootLogging.h"
#include "base/Exception.h"
#include "platform/RpcApi.h"
#include "tests/session/RegistryInterceptor.h"
#include "tests/session/SessionFixture.h"
#include "tests/support/ScopedApi.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace {

using Testing::DwordValue;
using Testing::ProviderKeyValues;
using Testing::RegistryValue;
using Testing::SortedByName;
using Testing::StringValue;

constexpr uint64_t allKeywords = 0xFFFFFFFFFFFFFFFFull;

RPC_STATUS RPC_ENTRY FailingUuidToString(UUID*, RPC_WSTR*)
{
    return RPC_S_OUT_OF_MEMORY;
}

class RebootLoggingTest : public Testing::SessionFixture {
protected:
    // A running session whose reported values differ from anything START would ask for,
    // so that the definition provably copies the session.
    void AddReportedSession(ULONG logFileMode)
    {
        AddRunningSession(file, logFileMode, 300);
        etw.UpdateSession(Testing::LogSessionName, [](Testing::EmulatedSession& session) {
            session.settings.BufferSize = 64;
            session.settings.MinimumBuffers = 8;
            session.settings.FlushTimer = 3;
        });
    }

    std::vector<RegistryValue> SessionValues(uint32_t fileMax, uint32_t logFileMode) const
    {
        return {DwordValue(L"BufferSize", 64),
                DwordValue(L"MinimumBuffers", 8),
                DwordValue(L"ClockType", 2),
                StringValue(L"FileName", file),
                DwordValue(L"FileMax", fileMax),
                DwordValue(L"FlushTimer", 3),
                StringValue(L"Guid", L"{9c4e2b71-3a5f-4d86-b0e7-52a1f8c63d9e}"),
                DwordValue(L"LogFileMode", logFileMode),
                DwordValue(L"MaxFileSize", 300),
                DwordValue(L"Start", 1)};
    }

    const std::wstring file = LogFile(L"reported.etl");
};

} // namespace

TEST_F(RebootLoggingTest, WritesTheSessionAndProviderKeysInOrder)
{
    AddReportedSession(EVENT_TRACE_FILE_MODE_CIRCULAR);
    Testing::RegistryInterceptor registry;
    EXPECT_TRUE(Session::ConfigureRebootLogging(4, false, false, false, false));

    const std::wstring product = Testing::ProductProviderKey;
    const std::wstring winlogon = Testing::WinlogonProviderKey;
    EXPECT_EQ((std::vector<std::wstring>{L"delete Kestrova Diagnostics Log",
                                         L"create Kestrova Diagnostics Log",
                                         L"set BufferSize",
                                         L"set MinimumBuffers",
                                         L"set ClockType",
                                         L"set FileName",
                                         L"set FileMax",
                                         L"set FlushTimer",
                                         L"set Guid",
                                         L"set LogFileMode",
                                         L"set MaxFileSize",
                                         L"set Start",
                                         L"create " + product,
                                         L"set Enabled",
                                         L"set MatchAnyKeyword",
                                         L"set MatchAllKeyword",
                                         L"set EnableLevel",
                                         L"set EnableProperty",
                                         L"create " + winlogon,
                                         L"set Enabled",
                                         L"set MatchAnyKeyword",
                                         L"set MatchAllKeyword",
                                         L"set EnableLevel",
                                         L"set EnableProperty"}),
              registry.Writes());

    std::vector<RegistryValue> written = SessionValues(0, EVENT_TRACE_FILE_MODE_CIRCULAR);
    for (const auto& values : {ProviderKeyValues(allKeywords, 4, 2), ProviderKeyValues(allKeywords, 5, 2)}) {
        written.insert(written.end(), values.begin(), values.end());
    }
    EXPECT_EQ(written, registry.WrittenValues());
    // The parent only needs to take new subkeys; the keys written are created for writing.
    EXPECT_EQ((std::vector<std::wstring>{
                  L"open SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger access 0x4",
                  L"create Kestrova Diagnostics Log access 0x20006 options 0",
                  L"create " + product + L" access 0x20006 options 0",
                  L"create " + winlogon + L" access 0x20006 options 0",
              }),
              registry.KeyAccesses());

    EXPECT_EQ(SortedByName(SessionValues(0, EVENT_TRACE_FILE_MODE_CIRCULAR)), autologger.Values());
    EXPECT_EQ((std::vector<std::wstring>{product, winlogon}), autologger.Subkeys());
    EXPECT_EQ(SortedByName(ProviderKeyValues(allKeywords, 4, 2)), autologger.Values(product));
    EXPECT_EQ(SortedByName(ProviderKeyValues(allKeywords, 5, 2)), autologger.Values(winlogon));
    EXPECT_EQ(registry.OpenedKeys(), registry.ClosedKeys());
    EXPECT_EQ((std::vector<std::string>{"  ENTER : ConfigureRebootLogging",
                                        "   EXIT : ConfigureRebootLogging returned [true]"}),
              TraceOutput());
    EXPECT_EQ((std::vector<std::string>{"ControlTrace query \"Kestrova Diagnostics Log\" handle=0 -> 0"}),
              Testing::DescribeCalls(etw.Calls()));
}

TEST_F(RebootLoggingTest, SequentialSessionGetsFileMaxSixteen)
{
    AddReportedSession(EVENT_TRACE_FILE_MODE_SEQUENTIAL);
    EXPECT_TRUE(Session::ConfigureRebootLogging(18, false, false, false, false));
    EXPECT_EQ(SortedByName(SessionValues(16, EVENT_TRACE_FILE_MODE_SEQUENTIAL)), autologger.Values());
}

TEST_F(RebootLoggingTest, CallstacksAndKernelProcessKeywordsReachTheProviderKeys)
{
    AddReportedSession(EVENT_TRACE_FILE_MODE_CIRCULAR);
    EXPECT_TRUE(Session::ConfigureRebootLogging(18, true, true, false, true));
    EXPECT_EQ((std::vector<std::wstring>{Testing::KernelProcessProviderKey, Testing::ProductProviderKey,
                                         Testing::WinlogonProviderKey}),
              autologger.Subkeys());
    EXPECT_EQ(SortedByName(ProviderKeyValues(allKeywords, 18, 6)), autologger.Values(Testing::ProductProviderKey));
    EXPECT_EQ(SortedByName(ProviderKeyValues(allKeywords, 5, 2)), autologger.Values(Testing::WinlogonProviderKey));
    EXPECT_EQ(SortedByName(ProviderKeyValues(0x50, 5, 2)), autologger.Values(Testing::KernelProcessProviderKey));
}

TEST_F(RebootLoggingTest, EarlierDefinitionLeavesNoStaleKeyOrValue)
{
    AddReportedSession(EVENT_TRACE_FILE_MODE_CIRCULAR);
    autologger.Set(L"", DwordValue(L"Stale", 7));
    autologger.Set(Testing::KernelProcessProviderKey, DwordValue(L"EnableLevel", 5));
    EXPECT_TRUE(Session::ConfigureRebootLogging(18, false, false, false, false));
    EXPECT_EQ(SortedByName(SessionValues(0, EVENT_TRACE_FILE_MODE_CIRCULAR)), autologger.Values());
    EXPECT_EQ((std::vector<std::wstring>{Testing::ProductProviderKey, Testing::WinlogonProviderKey}),
              autologger.Subkeys());
}

TEST_F(RebootLoggingTest, NoRunningSessionWritesNothing)
{
    Testing::RegistryInterceptor registry;
    EXPECT_FALSE(Session::ConfigureRebootLogging(18, false, false, false, false));
    EXPECT_TRUE(registry.Writes().empty());
    EXPECT_FALSE(autologger.Exists());
    EXPECT_EQ((std::vector<std::string>{"  ENTER : ConfigureRebootLogging",
                                        "  ERROR : Failed to query existing logger for auto-logger [4201]",
                                        "   EXIT : ConfigureRebootLogging returned [false]"}),
              TraceOutput());
}

TEST_F(RebootLoggingTest, DeletionErrorEndsTheCallAndKeepsTheOldDefinition)
{
    AddReportedSession(EVENT_TRACE_FILE_MODE_CIRCULAR);
    autologger.Set(L"", DwordValue(L"Old", 1));
    Testing::RegistryInterceptor registry;
    registry.FailDeleteTree(ERROR_ACCESS_DENIED);

    EXPECT_FALSE(Session::ConfigureRebootLogging(18, false, false, false, false));
    EXPECT_EQ(std::vector<std::wstring>{L"delete Kestrova Diagnostics Log"}, registry.Writes());
    EXPECT_EQ(std::vector<RegistryValue>{DwordValue(L"Old", 1)}, autologger.Values());
    EXPECT_EQ((std::vector<std::string>{
                  "  ENTER : ConfigureRebootLogging",
                  "  ERROR : Failed to create auto logger error [Failed to delete registry key - " +
                      Base::Win32ErrorText(ERROR_ACCESS_DENIED) + "]",
                  "   EXIT : ConfigureRebootLogging returned [false]",
              }),
              TraceOutput());
    EXPECT_EQ(registry.OpenedKeys(), registry.ClosedKeys());
}

TEST_F(RebootLoggingTest, WriteFailureKeepsWhatWasWrittenBefore)
{
    AddReportedSession(EVENT_TRACE_FILE_MODE_CIRCULAR);
    Testing::RegistryInterceptor registry;
    registry.FailSetValue(L"FileName", ERROR_ACCESS_DENIED);

    EXPECT_FALSE(Session::ConfigureRebootLogging(18, false, false, false, false));
    EXPECT_EQ(
        SortedByName({DwordValue(L"BufferSize", 64), DwordValue(L"MinimumBuffers", 8), DwordValue(L"ClockType", 2)}),
        autologger.Values());
    EXPECT_TRUE(autologger.Subkeys().empty());
    EXPECT_EQ("  ERROR : Failed to create auto logger error [Failed to set registry value - " +
                  Base::Win32ErrorText(ERROR_ACCESS_DENIED) + "]",
              TraceOutput()[1]);
    EXPECT_EQ(registry.OpenedKeys(), registry.ClosedKeys());
}

TEST_F(RebootLoggingTest, GuidFailureEndsTheCall)
{
    AddReportedSession(EVENT_TRACE_FILE_MODE_CIRCULAR);
    Testing::ScopedApi<Platform::RpcApi> rpc(Platform::Rpc());
    rpc->UuidToStringW = FailingUuidToString;

    EXPECT_FALSE(Session::ConfigureRebootLogging(18, false, false, false, false));
    EXPECT_EQ("  ERROR : Failed to create auto logger error [" + Base::Win32ErrorText(RPC_S_OUT_OF_MEMORY) + "]",
              TraceOutput()[1]);
    // The session values before "Guid" were written and stay.
    EXPECT_EQ(6u, autologger.Values().size());
}

TEST_F(RebootLoggingTest, UnreadableLoggerNameTouchesNoKey)
{
    AddReportedSession(EVENT_TRACE_FILE_MODE_CIRCULAR);
    etw.AfterFill([](EVENT_TRACE_PROPERTIES& properties, ULONG) { properties.LoggerNameOffset = 0; });
    Testing::RegistryInterceptor registry;

    EXPECT_FALSE(Session::ConfigureRebootLogging(18, false, false, false, false));
    EXPECT_TRUE(registry.Writes().empty());
    EXPECT_EQ(0u, registry.OpenedKeys());
    EXPECT_EQ((std::vector<std::string>{
                  "  ENTER : ConfigureRebootLogging",
                  "  ERROR : Failed to create auto logger error [The running session reported no logger name]",
                  "   EXIT : ConfigureRebootLogging returned [false]",
              }),
              TraceOutput());
}
