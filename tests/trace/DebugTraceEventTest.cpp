#include "tests/emulator/ProviderEmulator.h"
#include "tests/support/OutputCapture.h"
#include "tests/trace/WriterTestSupport.h"
#include "trace/DebugTrace.h"
#include "trace/EtwWriter.h"

#include <gtest/gtest.h>

namespace {

using Testing::Terminated;

class DebugTraceEvents : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(0u, Trace::RegisterProvider()); }

    Testing::ProviderEmulator provider;
};

} // namespace

TEST_F(DebugTraceEvents, NoSessionListeningWritesNothing)
{
    Testing::TraceEveryDebugMember();
    EXPECT_TRUE(provider.Writes().empty());
}

TEST_F(DebugTraceEvents, EveryMemberUsesItsDescriptor)
{
    provider.Enable(0, Testing::AllKeywords);
    Testing::TraceEveryDebugMember();

    Testing::ExpectDescriptors(
        {
            {2002, 1, 16, 16, 10, 2, 0x8000000000000004ull}, // TraceEnter
            {2001, 1, 16, 17, 11, 2, 0x8000000000000004ull}, // TraceExit
            {2003, 1, 16, 5, 12, 1, 0x8000000000000004ull},  // TraceVerbose
            {2004, 1, 16, 4, 13, 1, 0x8000000000000002ull},  // TraceInfo
            {2005, 1, 16, 3, 14, 1, 0x8000000000000002ull},  // TraceWarning
            {2006, 1, 16, 2, 15, 1, 0x8000000000000002ull},  // TraceError
        },
        provider.Writes());
}

TEST_F(DebugTraceEvents, PayloadIsTheProcessNameAndTheFormattedTextInUtf16)
{
    provider.Enable(0, Testing::AllKeywords);
    Trace::TraceError(L"Failed to start trace [%s] with error [%u]", L"Kestrova", 5u);

    ASSERT_EQ(1u, provider.Writes().size());
    const Testing::EventWrite& write = provider.Writes()[0];
    EXPECT_EQ(3u, write.count);
    ASSERT_EQ(3u, write.data.size());
    Testing::ExpectEmptyTraitsSlot(write);
    EXPECT_EQ(Terminated(L"writer_tests"), write.data[1].bytes);
    EXPECT_EQ((12u + 1) * 2, write.data[1].size);
    EXPECT_EQ(Terminated(L"Failed to start trace [Kestrova] with error [5]"), write.data[2].bytes);
    EXPECT_EQ(write.data[2].bytes.size(), write.data[2].size);
    EXPECT_EQ(0u, write.data[1].reserved);
    EXPECT_EQ(0u, write.data[2].reserved);
}

TEST_F(DebugTraceEvents, DebugInfoKeywordReceivesInfoWarningAndErrorOnly)
{
    provider.Enable(0, 0x2);
    Testing::TraceEveryDebugMember();
    EXPECT_EQ((std::vector<USHORT>{2004, 2005, 2006}), provider.WrittenIds());
}

TEST_F(DebugTraceEvents, DebugVerboseKeywordAtVerboseLevelReceivesVerboseOnly)
{
    // Enter (16) and Exit (17) lie above level 5.
    provider.Enable(5, 0x4);
    Testing::TraceEveryDebugMember();
    EXPECT_EQ(std::vector<USHORT>{2003}, provider.WrittenIds());
}

TEST_F(DebugTraceEvents, EventIsWrittenWithoutTheConsoleEcho)
{
    provider.Enable(0, 0x2);
    Testing::OutputCapture capture;
    Trace::TraceInfo(L"quiet");
    EXPECT_EQ("", capture.Out());
    EXPECT_EQ(std::vector<USHORT>{2004}, provider.WrittenIds());
}

TEST_F(DebugTraceEvents, UnsetProcessNameIsSentAsNull)
{
    provider.Enable(0, Testing::AllKeywords);
    Trace::WriteDebugTraceEvent(Trace::DebugInfoEvent, L"", L"text");

    ASSERT_EQ(1u, provider.Writes().size());
    EXPECT_EQ(10u, provider.Writes()[0].data.at(1).size);
    EXPECT_EQ(Terminated(L"NULL"), provider.Writes()[0].data.at(1).bytes);
    EXPECT_EQ(Terminated(L"text"), provider.Writes()[0].data.at(2).bytes);
}

TEST_F(DebugTraceEvents, DebugDebugEventHasItsDescriptorThoughNothingWritesIt)
{
    provider.Enable(0, Testing::AllKeywords);
    Trace::WriteDebugTraceEvent(Trace::DebugDebugEvent, L"p", L"t");

    ASSERT_EQ(1u, provider.Writes().size());
    EXPECT_EQ((Testing::DescriptorFields{2000, 1, 16, 18, 17, 1, 0x8000000000000004ull}),
              Testing::Fields(provider.Writes()[0].descriptor));
}

TEST_F(DebugTraceEvents, LongMessageIsSentCutTo511Characters)
{
    provider.Enable(0, 0x2);
    const std::wstring longText(600, L'x');
    Trace::TraceInfo(L"%s", longText.c_str());

    ASSERT_EQ(1u, provider.Writes().size());
    EXPECT_EQ(Terminated(std::wstring(511, L'x')), provider.Writes()[0].data.at(2).bytes);
}
