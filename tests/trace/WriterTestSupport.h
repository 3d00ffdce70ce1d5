#pragma once

// Assertions of the writer tests over what the provider emulator recorded, messages at
// every trace level, and a line from every member of the DebugTrace family.

#include "tests/emulator/ProviderEmulator.h"
#include "tests/trace/EventExpectations.h"
#include "trace/DebugTrace.h"
#include "trace/Log.h"

#include <gtest/gtest.h>

#include <vector>

namespace Testing {

// One descriptor per write, in order.
inline void ExpectDescriptors(const std::vector<DescriptorFields>& expected, const std::vector<EventWrite>& writes)
{
    ASSERT_EQ(expected.size(), writes.size());
    for (size_t index = 0; index < expected.size(); ++index) {
        EXPECT_EQ(expected[index], Fields(writes[index].descriptor)) << "write " << index;
    }
}

// Data descriptor 0, where a provider-traits blob would go: this provider has none, so
// a null pointer, size 0 and type 0.
inline void ExpectEmptyTraitsSlot(const EventWrite& write)
{
    ASSERT_FALSE(write.data.empty());
    EXPECT_EQ(0u, write.data[0].pointer);
    EXPECT_EQ(0u, write.data[0].size);
    EXPECT_EQ(0u, write.data[0].reserved);
}

// One message at each level, from FATAL to DEBUG.
inline void EmitEveryLevel(const Trace::Log& log)
{
    log.Fatal("fatal");
    log.Error("error");
    log.Warning("warning");
    log.Info("info");
    log.Verbose("verbose");
    log.Debug("debug");
}

// One line from each DebugTrace member, from TraceEnter to TraceError.
inline void TraceEveryDebugMember()
{
    Trace::TraceEnter(L"enter [%u]", 1u);
    Trace::TraceExit(L"exit [%u]", 2u);
    Trace::TraceVerbose(L"verbose [%s]", L"v");
    Trace::TraceInfo(L"info [%s]", L"i");
    Trace::TraceWarning(L"warning [%S]", "w");
    Trace::TraceError(L"error [%u]", 6u);
}

} // namespace Testing
