#include "tests/emulator/ProviderEmulator.h"
#include "tests/trace/WriterTestSupport.h"
#include "trace/EtwWriter.h"

#include <gtest/gtest.h>

namespace {

class WriteEvent : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(0u, Trace::RegisterProvider()); }

    Testing::ProviderEmulator provider;
};

} // namespace

TEST_F(WriteEvent, FillsDescriptorZeroAndPassesHandleDescriptorAndCount)
{
    EVENT_DATA_DESCRIPTOR data[2];
    data[0].Ptr = 0x1234; // whatever the caller left there is replaced
    data[0].Size = 99;
    data[0].Reserved = 2;
    const char payload[] = "abc";
    EventDataDescCreate(&data[1], payload, sizeof(payload));

    EXPECT_EQ(0u, Trace::WriteEvent(Trace::EventDescriptors[Trace::OperationalInfoEvent], 2, data));

    ASSERT_EQ(1u, provider.Writes().size());
    const Testing::EventWrite& write = provider.Writes()[0];
    EXPECT_EQ(provider.Registrations().at(0).handle, write.handle);
    EXPECT_EQ((Testing::DescriptorFields{2012, 2, 17, 4, 13, 3, 0x4000000000000001ull}),
              Testing::Fields(write.descriptor));
    EXPECT_FALSE(write.hasActivityId);
    EXPECT_FALSE(write.hasRelatedActivityId);
    EXPECT_EQ(2u, write.count);
    ASSERT_EQ(2u, write.data.size());
    Testing::ExpectEmptyTraitsSlot(write);
    EXPECT_EQ(Testing::Terminated("abc"), write.data[1].bytes);
}

TEST_F(WriteEvent, ReturnsTheResultOfEventWriteTransfer)
{
    provider.FailEventWriteTransfer(ERROR_MORE_DATA);
    EVENT_DATA_DESCRIPTOR data[1];
    EXPECT_EQ(static_cast<ULONG>(ERROR_MORE_DATA),
              Trace::WriteEvent(Trace::EventDescriptors[Trace::DebugErrorEvent], 1, data));
    EXPECT_EQ(1u, provider.Writes().size());
}

TEST(EventDescriptors, EveryFamilyHasTheManifestsDescriptor)
{
    const Testing::DescriptorFields expected[Trace::EventBitCount] = {
        {2000, 1, 16, 18, 17, 1, 0x8000000000000004ull}, {2001, 1, 16, 17, 11, 2, 0x8000000000000004ull},
        {2002, 1, 16, 16, 10, 2, 0x8000000000000004ull}, {2003, 1, 16, 5, 12, 1, 0x8000000000000004ull},
        {2004, 1, 16, 4, 13, 1, 0x8000000000000002ull},  {2005, 1, 16, 3, 14, 1, 0x8000000000000002ull},
        {2006, 1, 16, 2, 15, 1, 0x8000000000000002ull},  {2010, 2, 17, 18, 17, 3, 0x4000000000000001ull},
        {2011, 2, 17, 5, 12, 3, 0x4000000000000001ull},  {2012, 2, 17, 4, 13, 3, 0x4000000000000001ull},
        {2013, 2, 17, 3, 14, 3, 0x4000000000000001ull},  {2014, 2, 17, 2, 15, 3, 0x4000000000000001ull},
    };
    for (uint32_t bit = 0; bit < Trace::EventBitCount; ++bit) {
        EXPECT_EQ(expected[bit], Testing::Fields(Trace::EventDescriptors[bit])) << "bit " << bit;
    }
}

TEST(EventDescriptors, TraceLevelsMapOntoTheOperationalFamilies)
{
    EXPECT_EQ(Trace::OperationalErrorEvent, Trace::OperationalEventBit(Trace::LogLevel::Fatal));
    EXPECT_EQ(Trace::OperationalErrorEvent, Trace::OperationalEventBit(Trace::LogLevel::Error));
    EXPECT_EQ(Trace::OperationalWarningEvent, Trace::OperationalEventBit(Trace::LogLevel::Warning));
    EXPECT_EQ(Trace::OperationalInfoEvent, Trace::OperationalEventBit(Trace::LogLevel::Info));
    EXPECT_EQ(Trace::OperationalVerboseEvent, Trace::OperationalEventBit(Trace::LogLevel::Verbose));
    EXPECT_EQ(Trace::OperationalDebugEvent, Trace::OperationalEventBit(Trace::LogLevel::Debug));
    EXPECT_EQ(Trace::OperationalDebugEvent, Trace::OperationalEventBit(static_cast<Trace::LogLevel>(6)));
}
