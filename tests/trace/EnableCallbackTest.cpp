#include "tests/emulator/ProviderEmulator.h"
#include "tests/trace/WriterTestSupport.h"
#include "trace/EtwWriter.h"

#include <gtest/gtest.h>

namespace {

// Families by enable bit: 0-6 are the debug events 2000-2006, 7-11 the operational
// events 2010-2014.
constexpr uint32_t everyFamily = 0xFFF;
constexpr uint32_t debugFamilies = 0x07F;
constexpr uint32_t operationalFamilies = 0xF80;

class EnableCallback : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(0u, Trace::RegisterProvider()); }

    Testing::ProviderEmulator provider;
};

} // namespace

TEST_F(EnableCallback, NothingIsEnabledBeforeASessionAsks)
{
    EXPECT_EQ(0u, Trace::ProviderEnableBits());
    EXPECT_FALSE(Trace::EnableState().enabled);
}

TEST_F(EnableCallback, LevelZeroAndEveryKeywordEnableEveryFamily)
{
    provider.Enable(0, Testing::AllKeywords);
    EXPECT_EQ(everyFamily, Trace::ProviderEnableBits());
}

TEST_F(EnableCallback, OperationalKeywordAtInformationalLevelEnablesErrorWarningAndInfo)
{
    provider.Enable(4, 0x1);
    // 2014, 2013, 2012; not 2011 (level 5) nor 2010 (level 18).
    EXPECT_EQ(0xE00u, Trace::ProviderEnableBits());
}

TEST_F(EnableCallback, DebugInfoKeywordEnablesTheInfoWarningAndErrorMembers)
{
    provider.Enable(0, 0x2);
    EXPECT_EQ(0x070u, Trace::ProviderEnableBits());
}

TEST_F(EnableCallback, DebugVerboseKeywordEnablesDebugExitEnterAndVerbose)
{
    provider.Enable(0, 0x4);
    EXPECT_EQ(0x00Fu, Trace::ProviderEnableBits());
}

TEST_F(EnableCallback, KeywordsWithoutAFamilyEnableNothing)
{
    provider.Enable(0, 0x8 | 0x10);
    EXPECT_EQ(0u, Trace::ProviderEnableBits());
}

TEST_F(EnableCallback, ZeroMatchAnyKeywordMeansEveryKeyword)
{
    provider.Enable(0, 0);
    EXPECT_EQ(everyFamily, Trace::ProviderEnableBits());
    EXPECT_EQ(Testing::AllKeywords, Trace::EnableState().matchAnyKeyword);
}

TEST_F(EnableCallback, ZeroAndAllOnesEnableTheSameFamiliesAtEveryLevel)
{
    for (unsigned level = 0; level <= 0xFF; ++level) {
        provider.Enable(static_cast<UCHAR>(level), 0);
        const uint32_t fromZero = Trace::ProviderEnableBits();
        provider.Enable(static_cast<UCHAR>(level), Testing::AllKeywords);
        EXPECT_EQ(fromZero, Trace::ProviderEnableBits()) << "level " << level;
    }
    // The comparison is not empty: the levels START offers pick these families.
    provider.Enable(2, 0);
    EXPECT_EQ(0x840u, Trace::ProviderEnableBits()); // 2006 and 2014
    provider.Enable(4, 0);
    EXPECT_EQ(0xE70u, Trace::ProviderEnableBits());
    provider.Enable(18, 0);
    EXPECT_EQ(everyFamily, Trace::ProviderEnableBits());
}

TEST_F(EnableCallback, ZeroMatchAnyKeywordKeepsMatchAllKeyword)
{
    provider.Enable(0, 0, 0x4000000000000001ull);
    EXPECT_EQ(operationalFamilies, Trace::ProviderEnableBits());
    EXPECT_EQ(0x4000000000000001ull, Trace::EnableState().matchAllKeyword);
}

TEST_F(EnableCallback, ChannelBitsReachTheirChannelsEvents)
{
    provider.Enable(0, 0x8000000000000000ull);
    EXPECT_EQ(debugFamilies, Trace::ProviderEnableBits());
    provider.Enable(0, 0x4000000000000000ull);
    EXPECT_EQ(operationalFamilies, Trace::ProviderEnableBits());
}

TEST_F(EnableCallback, MatchAllKeywordMustBeContainedInTheEventsKeyword)
{
    provider.Enable(0, Testing::AllKeywords, 0x8000000000000000ull);
    EXPECT_EQ(debugFamilies, Trace::ProviderEnableBits());
    provider.Enable(0, Testing::AllKeywords, 0x4000000000000001ull);
    EXPECT_EQ(operationalFamilies, Trace::ProviderEnableBits());
    provider.Enable(0, Testing::AllKeywords, 0x8000000000000004ull);
    EXPECT_EQ(0x00Fu, Trace::ProviderEnableBits());
    provider.Enable(0, Testing::AllKeywords, 0x3);
    EXPECT_EQ(0u, Trace::ProviderEnableBits());
}

TEST_F(EnableCallback, SessionLevelLetsThroughEveryEventAtOrBelowIt)
{
    provider.Enable(2, Testing::AllKeywords);
    EXPECT_EQ(0x840u, Trace::ProviderEnableBits()); // 2006, 2014
    provider.Enable(3, Testing::AllKeywords);
    EXPECT_EQ(0xC60u, Trace::ProviderEnableBits()); // and 2005, 2013
    provider.Enable(5, Testing::AllKeywords);
    EXPECT_EQ(0xF78u, Trace::ProviderEnableBits()); // and 2004, 2012, 2003, 2011
    provider.Enable(16, Testing::AllKeywords);
    EXPECT_EQ(0xF7Cu, Trace::ProviderEnableBits()); // and 2002 (Enter)
    provider.Enable(17, Testing::AllKeywords);
    EXPECT_EQ(0xF7Eu, Trace::ProviderEnableBits()); // and 2001 (Exit)
    provider.Enable(18, Testing::AllKeywords);
    EXPECT_EQ(everyFamily, Trace::ProviderEnableBits()); // and 2000, 2010 (Debug)
    provider.Enable(1, Testing::AllKeywords);
    EXPECT_EQ(0u, Trace::ProviderEnableBits()); // nothing is written at Critical
}

TEST_F(EnableCallback, EnableRecordsTheSessionsFilter)
{
    provider.Enable(5, 0x4000000000000001ull, 0x1);

    const Trace::ProviderEnableState state = Trace::EnableState();
    EXPECT_TRUE(state.enabled);
    EXPECT_EQ(5, state.level);
    EXPECT_EQ(0x4000000000000001ull, state.matchAnyKeyword);
    EXPECT_EQ(0x1ull, state.matchAllKeyword);
}

TEST_F(EnableCallback, DisableClearsLevelKeywordsAndEveryBit)
{
    provider.Enable(18, Testing::AllKeywords, 0x1);
    provider.Disable();

    const Trace::ProviderEnableState state = Trace::EnableState();
    EXPECT_FALSE(state.enabled);
    EXPECT_EQ(0, state.level);
    EXPECT_EQ(0u, state.matchAnyKeyword);
    EXPECT_EQ(0u, state.matchAllKeyword);
    EXPECT_EQ(0u, Trace::ProviderEnableBits());
}

TEST_F(EnableCallback, DisableIgnoresTheLevelAndKeywordsItIsGiven)
{
    provider.Enable(4, 0x1);
    provider.Control(EVENT_CONTROL_CODE_DISABLE_PROVIDER, 5, Testing::AllKeywords, 0);
    EXPECT_EQ(0u, Trace::ProviderEnableBits());
    EXPECT_EQ(0, Trace::EnableState().level);
}

TEST_F(EnableCallback, CaptureStateChangesNothingAndWritesNothing)
{
    provider.Enable(4, 0x1);
    provider.Control(EVENT_CONTROL_CODE_CAPTURE_STATE, 18, Testing::AllKeywords, 0);

    EXPECT_EQ(0xE00u, Trace::ProviderEnableBits());
    const Trace::ProviderEnableState state = Trace::EnableState();
    EXPECT_TRUE(state.enabled);
    EXPECT_EQ(4, state.level);
    EXPECT_EQ(0x1u, state.matchAnyKeyword);
    EXPECT_TRUE(provider.Writes().empty());
}

TEST_F(EnableCallback, CaptureStateBeforeAnyEnableLeavesTheProviderDisabled)
{
    provider.Control(EVENT_CONTROL_CODE_CAPTURE_STATE, 0, Testing::AllKeywords, 0);
    EXPECT_EQ(0u, Trace::ProviderEnableBits());
    EXPECT_FALSE(Trace::EnableState().enabled);
}

TEST_F(EnableCallback, UnknownControlCodeChangesNothing)
{
    provider.Enable(4, 0x1);
    provider.Control(7, 0, 0, 0);
    EXPECT_EQ(0xE00u, Trace::ProviderEnableBits());
}

TEST_F(EnableCallback, CallWithoutContextIsIgnored)
{
    Trace::ProviderEnableCallback(&Trace::ProviderGuid, EVENT_CONTROL_CODE_ENABLE_PROVIDER, 0, Testing::AllKeywords, 0,
                                  nullptr, nullptr);
    EXPECT_EQ(0u, Trace::ProviderEnableBits());
}
