#pragma once

// Assertions of the writer tests over what the provider emulator recorded, and
// messages at every trace level.

#include "tests/emulator/ProviderEmulator.h"
#include "tests/trace/EventExpectations.h"
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

} // namespace Testing
