// The controller emulator's own contract, which every session test relies on.

#include "tests/emulator/ControllerEmulator.h"
#include "platform/EtwApi.h"

#include <gtest/gtest.h>

#include <evntcons.h>

#include <cstring>
#include <stdexcept>
#include <vector>

namespace {

using Testing::ControllerCallKind;
using Testing::ControllerEmulator;

constexpr ULONG structureSize = sizeof(EVENT_TRACE_PROPERTIES);
constexpr GUID providerA = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};
constexpr GUID sessionGuid = {0xAAAAAAAA, 0xBBBB, 0xCCCC, {0xDD, 0xDD, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}};

// A block of the given size: logger name area right behind the structure, log file name
// area at `fileOffset` holding `file` (no file area when fileOffset is 0).
class Block {
public:
    explicit Block(ULONG size = 2688, ULONG fileOffset = 2168, const std::wstring& file = L"C:\\logs\\a.etl")
        : bytes(size / 8 + 1, 0)
    {
        Get()->Wnode.BufferSize = size;
        Get()->Wnode.Flags = WNODE_FLAG_TRACED_GUID;
        Get()->Wnode.ClientContext = 1;
        Get()->BufferSize = 64;
        Get()->MinimumBuffers = 4;
        Get()->MaximumFileSize = 100;
        Get()->LogFileMode = EVENT_TRACE_FILE_MODE_SEQUENTIAL;
        Get()->FlushTimer = 3;
        Get()->LoggerNameOffset = structureSize;
        Get()->LogFileNameOffset = fileOffset;
        if (fileOffset != 0) {
            std::memcpy(At(fileOffset), file.c_str(), (file.size() + 1) * sizeof(wchar_t));
        }
    }

    EVENT_TRACE_PROPERTIES* Get() { return reinterpret_cast<EVENT_TRACE_PROPERTIES*>(bytes.data()); }
    uint8_t* At(ULONG offset) { return reinterpret_cast<uint8_t*>(bytes.data()) + offset; }
    std::wstring Name(ULONG offset) { return reinterpret_cast<const wchar_t*>(At(offset)); }

private:
    std::vector<uint64_t> bytes;
};

// A query block: the Wnode size and the offsets where the names are to go, by default
// those of the product's blocks.
Block QueryBlock(ULONG size = 2688, ULONG loggerNameOffset = structureSize, ULONG logFileNameOffset = 2168)
{
    Block block(size, 0);
    std::memset(block.Get(), 0, structureSize);
    block.Get()->Wnode.BufferSize = size;
    block.Get()->LoggerNameOffset = loggerNameOffset;
    block.Get()->LogFileNameOffset = logFileNameOffset;
    return block;
}

ULONG Start(const wchar_t* name, Block& block, TRACEHANDLE& handle)
{
    return Platform::Etw().StartTraceW(&handle, name, block.Get());
}

ULONG Control(TRACEHANDLE handle, const wchar_t* name, Block& block, ULONG code)
{
    return Platform::Etw().ControlTraceW(handle, name, block.Get(), code);
}

ULONG Enable(TRACEHANDLE handle, ULONG code, ENABLE_TRACE_PARAMETERS* parameters)
{
    return Platform::Etw().EnableTraceEx2(handle, &providerA, code, 5, 0x30, 0x1, 0, parameters);
}

// An emulator with the session "One" started from a default Block.
class ControllerEmulatorWithSession : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(0u, Start(L"One", started, handle)); }

    ControllerEmulator etw;
    Block started;
    TRACEHANDLE handle = 0;
};

} // namespace

TEST(ControllerEmulator, InstallsItselfAndRestoresTheTable)
{
    const Platform::EtwApi before = Platform::Etw();
    {
        ControllerEmulator etw;
        EXPECT_NE(before.StartTraceW, Platform::Etw().StartTraceW);
        EXPECT_NE(before.ControlTraceW, Platform::Etw().ControlTraceW);
        EXPECT_NE(before.EnableTraceEx2, Platform::Etw().EnableTraceEx2);
        EXPECT_EQ(before.OpenTraceW, Platform::Etw().OpenTraceW);
        EXPECT_THROW(ControllerEmulator second, std::logic_error);
    }
    EXPECT_EQ(before.StartTraceW, Platform::Etw().StartTraceW);
    EXPECT_EQ(before.ControlTraceW, Platform::Etw().ControlTraceW);
    EXPECT_EQ(before.EnableTraceEx2, Platform::Etw().EnableTraceEx2);
}

TEST(ControllerEmulator, StartCopiesTheNameAndHandsOutTheHandle)
{
    ControllerEmulator etw;
    Block block;
    TRACEHANDLE handle = 0;
    ASSERT_EQ(0u, Start(L"One", block, handle));
    EXPECT_NE(0u, handle);
    EXPECT_EQ(handle, block.Get()->Wnode.HistoricalContext);
    EXPECT_EQ(L"One", block.Name(structureSize));
    const auto session = etw.FindSession(L"ONE");
    ASSERT_TRUE(session);
    EXPECT_EQ(L"One", session->name);
    EXPECT_EQ(L"C:\\logs\\a.etl", session->logFileName);
    EXPECT_EQ(handle, session->handle);
    EXPECT_EQ(64u, session->settings.BufferSize);
    EXPECT_EQ(std::vector<std::wstring>{L"One"}, etw.SessionNames());
}

TEST(ControllerEmulator, StartOfARunningNameFailsWithAlreadyExists)
{
    ControllerEmulator etw;
    Block first;
    Block second;
    TRACEHANDLE handle = 0;
    ASSERT_EQ(0u, Start(L"One", first, handle));
    TRACEHANDLE again = 99;
    EXPECT_EQ(static_cast<ULONG>(ERROR_ALREADY_EXISTS), Start(L"one", second, again));
    EXPECT_EQ(0u, again);
}

TEST(ControllerEmulator, StartWithTheGuidOfARunningSessionFailsWithAlreadyExists)
{
    ControllerEmulator etw;
    Block first;
    first.Get()->Wnode.Guid = sessionGuid;
    Block second;
    second.Get()->Wnode.Guid = sessionGuid;
    TRACEHANDLE handle = 0;
    ASSERT_EQ(0u, Start(L"One", first, handle));
    EXPECT_EQ(static_cast<ULONG>(ERROR_ALREADY_EXISTS), Start(L"Two", second, handle));
}

TEST(ControllerEmulator, BlockShorterThanTheStructureIsABadLength)
{
    ControllerEmulator etw;
    Block block;
    block.Get()->Wnode.BufferSize = structureSize - 1;
    TRACEHANDLE handle = 0;
    EXPECT_EQ(static_cast<ULONG>(ERROR_BAD_LENGTH), Start(L"One", block, handle));
    EXPECT_EQ(static_cast<ULONG>(ERROR_BAD_LENGTH), Control(0, L"One", block, EVENT_TRACE_CONTROL_QUERY));
}

TEST(ControllerEmulator, StartWithoutRoomForTheNameIsABadLength)
{
    ControllerEmulator etw;
    Block block(structureSize + 6, 0); // three units: "One" needs four
    TRACEHANDLE handle = 0;
    EXPECT_EQ(static_cast<ULONG>(ERROR_BAD_LENGTH), Start(L"One", block, handle));
    Block roomy(structureSize + 8, 0);
    EXPECT_EQ(0u, Start(L"One", roomy, handle));
}

TEST(ControllerEmulator, NameOffsetsOutsideTheBlockAreInvalidParameters)
{
    ControllerEmulator etw;
    TRACEHANDLE handle = 0;
    Block loggerBeyond;
    loggerBeyond.Get()->LoggerNameOffset = 2688;
    EXPECT_EQ(static_cast<ULONG>(ERROR_INVALID_PARAMETER), Start(L"One", loggerBeyond, handle));
    Block fileInside;
    fileInside.Get()->LogFileNameOffset = 16;
    EXPECT_EQ(static_cast<ULONG>(ERROR_INVALID_PARAMETER), Start(L"One", fileInside, handle));
    Block query = QueryBlock();
    query.Get()->LogFileNameOffset = 4000;
    EXPECT_EQ(static_cast<ULONG>(ERROR_INVALID_PARAMETER), Control(0, L"One", query, EVENT_TRACE_CONTROL_QUERY));
}

TEST(ControllerEmulator, UnterminatedLogFileNameIsAnInvalidParameter)
{
    ControllerEmulator etw;
    Block block(2688, 2680, L"abc"); // "abc" and its terminator need 8 bytes, 8 remain
    TRACEHANDLE handle = 0;
    ASSERT_EQ(0u, Start(L"Fits", block, handle));
    Block tight(2688, 2682, L"ab");
    std::memcpy(tight.At(2682), L"abc", 6); // no room left for a terminator
    EXPECT_EQ(static_cast<ULONG>(ERROR_INVALID_PARAMETER), Start(L"Tight", tight, handle));
}

TEST(ControllerEmulator, CircularAndSequentialTogetherAreAnInvalidParameter)
{
    ControllerEmulator etw;
    Block block;
    block.Get()->LogFileMode = EVENT_TRACE_FILE_MODE_CIRCULAR | EVENT_TRACE_FILE_MODE_SEQUENTIAL;
    TRACEHANDLE handle = 0;
    EXPECT_EQ(static_cast<ULONG>(ERROR_INVALID_PARAMETER), Start(L"One", block, handle));
}

TEST(ControllerEmulator, QueryWritesTheNamesAtTheCallersOffsets)
{
    ControllerEmulator etw;
    Block started;
    started.Get()->Wnode.Guid = sessionGuid;
    TRACEHANDLE handle = 0;
    ASSERT_EQ(0u, Start(L"One", started, handle));
    ASSERT_TRUE(etw.UpdateSession(L"One", [](Testing::EmulatedSession& session) {
        session.settings.BuffersWritten = 7;
        session.settings.LogBuffersLost = 2;
        session.settings.EventsLost = 9;
    }));

    // Not where the product puts them: the file name first, the logger name behind it.
    Block query = QueryBlock(2688, 2000, 130);
    ASSERT_EQ(0u, Control(0, L"One", query, EVENT_TRACE_CONTROL_QUERY));
    const EVENT_TRACE_PROPERTIES& filled = *query.Get();
    EXPECT_EQ(2688u, filled.Wnode.BufferSize);
    EXPECT_EQ(handle, filled.Wnode.HistoricalContext);
    EXPECT_TRUE(filled.Wnode.Guid == sessionGuid);
    EXPECT_EQ(1u, filled.Wnode.ClientContext);
    EXPECT_EQ(64u, filled.BufferSize);
    EXPECT_EQ(4u, filled.MinimumBuffers);
    EXPECT_EQ(100u, filled.MaximumFileSize);
    EXPECT_EQ(static_cast<ULONG>(EVENT_TRACE_FILE_MODE_SEQUENTIAL), filled.LogFileMode);
    EXPECT_EQ(3u, filled.FlushTimer);
    EXPECT_EQ(7u, filled.BuffersWritten);
    EXPECT_EQ(2u, filled.LogBuffersLost);
    EXPECT_EQ(9u, filled.EventsLost);
    EXPECT_EQ(130u, filled.LogFileNameOffset);
    EXPECT_EQ(2000u, filled.LoggerNameOffset);
    EXPECT_EQ(L"C:\\logs\\a.etl", query.Name(130));
    EXPECT_EQ(L"One", query.Name(2000));
    EXPECT_TRUE(etw.FindSession(L"One"));
}

TEST(ControllerEmulator, QueryOfAMissingSessionIsInstanceNotFound)
{
    ControllerEmulator etw;
    Block query = QueryBlock();
    EXPECT_EQ(static_cast<ULONG>(ERROR_WMI_INSTANCE_NOT_FOUND),
              Control(0, L"Nobody", query, EVENT_TRACE_CONTROL_QUERY));
}

TEST_F(ControllerEmulatorWithSession, QueryIntoABlockTooSmallForTheNamesIsMoreData)
{
    // "One" needs eight bytes and finds four before the file name's area.
    Block query = QueryBlock(structureSize + 8, structureSize, structureSize + 4);
    EXPECT_EQ(static_cast<ULONG>(ERROR_MORE_DATA), Control(0, L"One", query, EVENT_TRACE_CONTROL_QUERY));
    EXPECT_EQ(64u, query.Get()->BufferSize);
    EXPECT_EQ(structureSize, query.Get()->LoggerNameOffset);
    EXPECT_EQ(structureSize + 4, query.Get()->LogFileNameOffset);
    EXPECT_EQ(L"", query.Name(structureSize));
}

TEST_F(ControllerEmulatorWithSession, NameRunningIntoTheOtherAreaIsMoreData)
{
    // "C:\logs\a.etl" needs 28 bytes and finds 20 before the logger name's area.
    Block query = QueryBlock(2688, 2168, 2148);
    EXPECT_EQ(static_cast<ULONG>(ERROR_MORE_DATA), Control(0, L"One", query, EVENT_TRACE_CONTROL_QUERY));
    Block roomy = QueryBlock(2688, 2176, 2148);
    EXPECT_EQ(0u, Control(0, L"One", roomy, EVENT_TRACE_CONTROL_QUERY));
    EXPECT_EQ(L"C:\\logs\\a.etl", roomy.Name(2148));
}

TEST_F(ControllerEmulatorWithSession, ControlWithoutBothNameOffsetsIsAnInvalidParameter)
{
    const ULONG invalid = ERROR_INVALID_PARAMETER;
    Block neither = QueryBlock(2688, 0, 0);
    EXPECT_EQ(invalid, Control(0, L"One", neither, EVENT_TRACE_CONTROL_QUERY));
    EXPECT_EQ(0u, neither.Get()->BufferSize);
    Block noLogger = QueryBlock(2688, 0, 2168);
    EXPECT_EQ(invalid, Control(0, L"One", noLogger, EVENT_TRACE_CONTROL_QUERY));
    Block noFile = QueryBlock(2688, structureSize, 0);
    EXPECT_EQ(invalid, Control(0, L"One", noFile, EVENT_TRACE_CONTROL_QUERY));
    EXPECT_EQ(invalid, Control(0, L"One", neither, EVENT_TRACE_CONTROL_STOP));
    EXPECT_TRUE(etw.FindSession(L"One"));
}

TEST_F(ControllerEmulatorWithSession, StopByNameRemovesTheSessionAndFillsTheBlock)
{
    Block stop = QueryBlock();
    ASSERT_EQ(0u, Control(0, L"One", stop, EVENT_TRACE_CONTROL_STOP));
    EXPECT_EQ(L"One", stop.Name(stop.Get()->LoggerNameOffset));
    EXPECT_FALSE(etw.FindSession(L"One"));
    EXPECT_EQ(static_cast<ULONG>(ERROR_WMI_INSTANCE_NOT_FOUND), Control(0, L"One", stop, EVENT_TRACE_CONTROL_QUERY));
}

TEST_F(ControllerEmulatorWithSession, StopByHandleRemovesTheSession)
{
    ASSERT_EQ(0u, Control(handle, nullptr, started, EVENT_TRACE_CONTROL_STOP));
    EXPECT_FALSE(etw.FindSession(L"One"));
    EXPECT_EQ(static_cast<ULONG>(ERROR_WMI_INSTANCE_NOT_FOUND),
              Control(handle, nullptr, started, EVENT_TRACE_CONTROL_STOP));
}

TEST(ControllerEmulator, ControlNeedsAHandleOrANameAndAKnownCode)
{
    ControllerEmulator etw;
    Block query = QueryBlock();
    EXPECT_EQ(static_cast<ULONG>(ERROR_INVALID_PARAMETER), Control(0, nullptr, query, EVENT_TRACE_CONTROL_QUERY));
    EXPECT_EQ(static_cast<ULONG>(ERROR_INVALID_PARAMETER), Control(0, L"One", query, 9));
    EXPECT_EQ(static_cast<ULONG>(ERROR_INVALID_PARAMETER),
              Platform::Etw().ControlTraceW(0, L"One", nullptr, EVENT_TRACE_CONTROL_QUERY));
}

TEST_F(ControllerEmulatorWithSession, EnableRecordsTheProviderAndEveryArgument)
{
    ENABLE_TRACE_PARAMETERS parameters{};
    parameters.Version = ENABLE_TRACE_PARAMETERS_VERSION_2;
    parameters.EnableProperty = EVENT_ENABLE_PROPERTY_TS_ID;
    ASSERT_EQ(0u, Enable(handle, EVENT_CONTROL_CODE_ENABLE_PROVIDER, &parameters));
    ASSERT_EQ(0u, Enable(handle, EVENT_CONTROL_CODE_CAPTURE_STATE, nullptr));

    const auto session = etw.FindSession(L"One");
    ASSERT_TRUE(session);
    const Testing::EnabledProvider* enabled = session->Provider(providerA);
    ASSERT_NE(nullptr, enabled);
    EXPECT_EQ(5u, enabled->level);
    EXPECT_EQ(0x30u, enabled->matchAnyKeyword);
    EXPECT_EQ(0x1u, enabled->matchAllKeyword);
    EXPECT_EQ(2u, enabled->enableProperty);
    EXPECT_EQ(1u, session->captureStateRequests);

    const auto calls = etw.Calls();
    ASSERT_EQ(3u, calls.size());
    EXPECT_EQ(handle, calls[1].handle);
    ASSERT_TRUE(calls[1].parameters);
    EXPECT_EQ(0, std::memcmp(&parameters, &*calls[1].parameters, sizeof(parameters)));
    EXPECT_FALSE(calls[2].parameters);
    EXPECT_EQ((std::vector<std::string>{
                  "StartTrace \"One\" -> 0",
                  "EnableTrace {11111111-2222-3333-4444-555555555555} enable level 5 any 0x30 all 0x1 timeout 0 "
                  "property 2 handle=H -> 0",
                  "EnableTrace {11111111-2222-3333-4444-555555555555} capture-state level 5 any 0x30 all 0x1 "
                  "timeout 0 no parameters handle=H -> 0",
              }),
              Testing::DescribeCalls(calls));
}

TEST_F(ControllerEmulatorWithSession, DisableRemovesTheProvider)
{
    ASSERT_EQ(0u, Enable(handle, EVENT_CONTROL_CODE_ENABLE_PROVIDER, nullptr));
    ASSERT_EQ(0u, Enable(handle, EVENT_CONTROL_CODE_DISABLE_PROVIDER, nullptr));
    EXPECT_EQ(nullptr, etw.FindSession(L"One")->Provider(providerA));
}

TEST_F(ControllerEmulatorWithSession, EnableRejectsWhatWindowsRejects)
{
    ENABLE_TRACE_PARAMETERS parameters{};
    parameters.Version = 3;
    const ULONG invalid = ERROR_INVALID_PARAMETER;
    EXPECT_EQ(invalid, Enable(handle, EVENT_CONTROL_CODE_ENABLE_PROVIDER, &parameters));
    EXPECT_EQ(invalid, Enable(handle, 3, nullptr));
    EXPECT_EQ(invalid, Enable(0, EVENT_CONTROL_CODE_ENABLE_PROVIDER, nullptr));
    EXPECT_EQ(invalid, Enable(handle + 1, EVENT_CONTROL_CODE_ENABLE_PROVIDER, nullptr));
    EXPECT_EQ(invalid, Platform::Etw().EnableTraceEx2(handle, nullptr, 1, 5, 0, 0, 0, nullptr));
    EXPECT_TRUE(etw.FindSession(L"One")->providers.empty());
}

TEST(ControllerEmulator, ChosenCallFailsAndChangesNothing)
{
    ControllerEmulator etw;
    etw.FailCall(ControllerCallKind::StartTrace, 2, ERROR_ACCESS_DENIED);
    Block first;
    Block second;
    Block third;
    TRACEHANDLE handle = 0;
    ASSERT_EQ(0u, Start(L"One", first, handle));
    TRACEHANDLE refused = 5;
    EXPECT_EQ(static_cast<ULONG>(ERROR_ACCESS_DENIED), Start(L"Two", second, refused));
    EXPECT_EQ(0u, refused);
    EXPECT_FALSE(etw.FindSession(L"Two"));
    EXPECT_EQ(0u, Start(L"Two", third, handle));

    etw.FailCall(ControllerCallKind::ControlTrace, 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(static_cast<ULONG>(ERROR_ACCESS_DENIED), Control(0, L"One", first, EVENT_TRACE_CONTROL_STOP));
    EXPECT_TRUE(etw.FindSession(L"One"));
    EXPECT_EQ((std::vector<std::string>{"StartTrace \"One\" -> 0", "StartTrace \"Two\" -> 5", "StartTrace \"Two\" -> 0",
                                        "ControlTrace stop \"One\" handle=0 -> 5"}),
              Testing::DescribeCalls(etw.Calls()));
}

TEST(ControllerEmulator, CallsRecordTheBlockAsItCameIn)
{
    ControllerEmulator etw;
    Block query = QueryBlock();
    std::vector<uint8_t> sent(query.At(0), query.At(2688));
    Control(0, L"One", query, EVENT_TRACE_CONTROL_QUERY);
    const auto calls = etw.Calls();
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(sent, calls[0].properties);
    EXPECT_TRUE(calls[0].hasName);
    EXPECT_EQ(L"One", calls[0].name);
}

TEST_F(ControllerEmulatorWithSession, AfterFillEditsTheReply)
{
    etw.AfterFill([](EVENT_TRACE_PROPERTIES& properties, ULONG) { properties.LoggerNameOffset = 0; });
    Block query = QueryBlock();
    ASSERT_EQ(0u, Control(0, L"One", query, EVENT_TRACE_CONTROL_QUERY));
    EXPECT_EQ(0u, query.Get()->LoggerNameOffset);
    EXPECT_EQ(2168u, query.Get()->LogFileNameOffset);
}

TEST(ControllerEmulator, AddedSessionIsFoundAndQueried)
{
    ControllerEmulator etw;
    Testing::EmulatedSession session;
    session.name = L"Boot";
    session.logFileName = L"C:\\boot.etl";
    session.settings.LogFileMode = EVENT_TRACE_FILE_MODE_CIRCULAR;
    const TRACEHANDLE handle = etw.AddSession(session);
    EXPECT_NE(0u, handle);
    Block query = QueryBlock();
    ASSERT_EQ(0u, Control(0, L"boot", query, EVENT_TRACE_CONTROL_QUERY));
    EXPECT_EQ(handle, query.Get()->Wnode.HistoricalContext);
    EXPECT_EQ(L"C:\\boot.etl", query.Name(query.Get()->LogFileNameOffset));
    EXPECT_EQ(static_cast<ULONG>(EVENT_TRACE_FILE_MODE_CIRCULAR), query.Get()->LogFileMode);
}
