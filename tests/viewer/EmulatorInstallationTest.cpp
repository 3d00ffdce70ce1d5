// The ETW emulators share one platform table, and tests install them in any order.

#include "platform/EtwApi.h"
#include "tests/emulator/ConsumerEmulator.h"
#include "tests/emulator/ControllerEmulator.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>

TEST(EtwEmulators, EachGivesBackOnlyItsOwnEntriesWhateverTheOrder)
{
    const Platform::EtwApi& system = Platform::SystemEtw();
    std::optional<Testing::ControllerEmulator> controller;
    std::optional<Testing::ConsumerEmulator> consumer;
    controller.emplace();
    consumer.emplace();
    const auto consumerOpen = Platform::Etw().OpenTraceW;
    ASSERT_NE(system.OpenTraceW, consumerOpen);

    controller.reset(); // first in, first out: not the reverse of installation

    EXPECT_EQ(system.StartTraceW, Platform::Etw().StartTraceW);
    EXPECT_EQ(system.ControlTraceW, Platform::Etw().ControlTraceW);
    EXPECT_EQ(system.EnableTraceEx2, Platform::Etw().EnableTraceEx2);
    EXPECT_EQ(consumerOpen, Platform::Etw().OpenTraceW);
    EXPECT_NE(system.ProcessTrace, Platform::Etw().ProcessTrace);
    EXPECT_NE(system.CloseTrace, Platform::Etw().CloseTrace);

    consumer.reset();

    EXPECT_EQ(system.OpenTraceW, Platform::Etw().OpenTraceW);
    EXPECT_EQ(system.ProcessTrace, Platform::Etw().ProcessTrace);
    EXPECT_EQ(system.CloseTrace, Platform::Etw().CloseTrace);
}

TEST(EtwEmulators, SecondOfAKindIsRefusedAndTheFirstKeepsItsCalls)
{
    Testing::ConsumerEmulator first;
    const auto firstOpen = Platform::Etw().OpenTraceW;
    std::string refusal;
    try {
        Testing::ConsumerEmulator second;
    } catch (const std::logic_error& error) {
        refusal = error.what();
    }
    EXPECT_EQ("a ConsumerEmulator is already installed", refusal);
    EXPECT_EQ(firstOpen, Platform::Etw().OpenTraceW);

    // The refused one left the first reachable: it still answers for its log.
    first.AddLogFile(L"C:\\logs\\one.etl", {});
    EVENT_TRACE_LOGFILEW logFile{};
    std::wstring path = L"C:\\logs\\one.etl";
    logFile.LogFileName = path.data();
    EXPECT_NE(INVALID_PROCESSTRACE_HANDLE, Platform::Etw().OpenTraceW(&logFile));
    ASSERT_EQ(1u, first.Opens().size());
    EXPECT_EQ(path, first.Opens()[0].logFileName);
}
