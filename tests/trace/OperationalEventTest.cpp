#include "base/ProcessArguments.h"
#include "tests/emulator/ProviderEmulator.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/TraceLines.h"
#include "tests/trace/WriterTestSupport.h"
#include "trace/EtwWriter.h"
#include "trace/Log.h"
#include "trace/TraceSettings.h"

#include <gtest/gtest.h>

namespace {

using Testing::Terminated;

// The test executable's module name, as every event of this process carries it.
constexpr std::string_view processName = "writer_tests";

class OperationalEvents : public ::testing::Test {
protected:
    void SetUp() override
    {
        Trace::EnsureConfigured(Trace::SkipCrashHandlers);
        ASSERT_EQ(1u, provider.Registrations().size());
    }

    Testing::ProviderEmulator provider;
    Trace::Category log{"writer"};
};

} // namespace

TEST_F(OperationalEvents, NoSessionListeningNeverCallsEventWriteTransfer)
{
    Testing::EmitEveryLevel(*log);
    EXPECT_TRUE(provider.Writes().empty());
}

TEST_F(OperationalEvents, DisabledSessionNoLongerReceivesEvents)
{
    provider.Enable(0, Testing::AllKeywords);
    provider.Disable();
    Testing::EmitEveryLevel(*log);
    EXPECT_TRUE(provider.Writes().empty());
}

TEST_F(OperationalEvents, OperationalKeywordAtInformationalLevelReceivesErrorWarningAndInfo)
{
    provider.Enable(4, 0x1);
    Testing::EmitEveryLevel(*log);
    EXPECT_EQ((std::vector<USHORT>{2014, 2014, 2013, 2012}), provider.WrittenIds());
}

TEST_F(OperationalEvents, EveryLevelUsesItsDescriptor)
{
    provider.Enable(0, Testing::AllKeywords);
    Testing::EmitEveryLevel(*log);

    Testing::ExpectDescriptors(
        {
            {2014, 2, 17, 2, 15, 3, 0x4000000000000001ull}, // FATAL, like ERROR
            {2014, 2, 17, 2, 15, 3, 0x4000000000000001ull},
            {2013, 2, 17, 3, 14, 3, 0x4000000000000001ull},
            {2012, 2, 17, 4, 13, 3, 0x4000000000000001ull},
            {2011, 2, 17, 5, 12, 3, 0x4000000000000001ull},
            {2010, 2, 17, 18, 17, 3, 0x4000000000000001ull},
        },
        provider.Writes());
}

TEST_F(OperationalEvents, FatalIsWrittenExactlyLikeError)
{
    provider.Enable(0, Testing::AllKeywords);
    log->Fatal("same");
    log->Error("same");

    ASSERT_EQ(2u, provider.Writes().size());
    const Testing::EventWrite& fatal = provider.Writes()[0];
    const Testing::EventWrite& error = provider.Writes()[1];
    EXPECT_EQ(Testing::Fields(error.descriptor), Testing::Fields(fatal.descriptor));
    ASSERT_EQ(error.data.size(), fatal.data.size());
    for (size_t index = 0; index < fatal.data.size(); ++index) {
        EXPECT_EQ(error.data[index].bytes, fatal.data[index].bytes) << "descriptor " << index;
    }
}

TEST_F(OperationalEvents, PayloadIsFiveTerminatedStringsAfterAnEmptyDescriptorZero)
{
    provider.Enable(0, Testing::AllKeywords);
    const uint32_t code = 5;
    log->Error("Failed to open", Trace::Field{"errorCode", code}, Trace::Field{"subkey", std::string("Software")});

    ASSERT_EQ(1u, provider.Writes().size());
    const Testing::EventWrite& write = provider.Writes()[0];
    EXPECT_EQ(6u, write.count);
    ASSERT_EQ(6u, write.data.size());
    Testing::ExpectEmptyTraitsSlot(write);
    EXPECT_EQ(Terminated(processName), write.data[1].bytes);
    EXPECT_EQ(Terminated("writer"), write.data[2].bytes);
    EXPECT_EQ(Terminated("Failed to open"), write.data[3].bytes);
    EXPECT_EQ(Terminated(" { errorCode:5, subkey:\"Software\" }"), write.data[4].bytes);
    EXPECT_EQ(Terminated(""), write.data[5].bytes);
    for (size_t index = 1; index < write.data.size(); ++index) {
        EXPECT_EQ(write.data[index].bytes.size(), write.data[index].size) << "descriptor " << index;
        EXPECT_EQ(0u, write.data[index].reserved) << "descriptor " << index;
    }
}

TEST_F(OperationalEvents, MessageWithoutFieldsSendsAOneByteArguments)
{
    provider.Enable(0, Testing::AllKeywords);
    log->Warning("plain");

    ASSERT_EQ(1u, provider.Writes().size());
    const Testing::WrittenData& arguments = provider.Writes()[0].data.at(4);
    EXPECT_EQ(1u, arguments.size);
    EXPECT_EQ(std::vector<uint8_t>{0}, arguments.bytes);
    EXPECT_EQ(Terminated("plain"), provider.Writes()[0].data.at(3).bytes);
}

TEST_F(OperationalEvents, NullMessageIsSentAsNull)
{
    provider.Enable(0, Testing::AllKeywords);
    Trace::WriteOperationalEvent(Trace::LogLevel::Info, "writer", std::string_view(), "");

    ASSERT_EQ(1u, provider.Writes().size());
    EXPECT_EQ(5u, provider.Writes()[0].data.at(3).size);
    EXPECT_EQ(Terminated("NULL"), provider.Writes()[0].data.at(3).bytes);
}

TEST_F(OperationalEvents, LevelsBeyondDebugBecomeTheDebugEvent)
{
    provider.Enable(0, Testing::AllKeywords);
    Trace::WriteOperationalEvent(static_cast<Trace::LogLevel>(9), "writer", "beyond", "");
    EXPECT_EQ(std::vector<USHORT>{2010}, provider.WrittenIds());
}

TEST_F(OperationalEvents, DebugReachesASessionEvenAboveTheThreshold)
{
    // Threshold 4 (the default) keeps DEBUG off console and file, not off ETW.
    provider.Enable(18, 0x1);
    EXPECT_TRUE(log->IsEnabled(Trace::LogLevel::Debug));
    log->Debug("deep");
    EXPECT_EQ(std::vector<USHORT>{2010}, provider.WrittenIds());
}

TEST_F(OperationalEvents, FailingWriteIsIgnored)
{
    provider.Enable(0, Testing::AllKeywords);
    provider.FailEventWriteTransfer(ERROR_MORE_DATA);
    EXPECT_NO_THROW(log->Error("lost"));
    EXPECT_NO_THROW(log->Error("lost again"));
    EXPECT_EQ(2u, provider.Writes().size());
}

TEST(OperationalEventThreshold, IsEnabledAnswersFromTheSessionWhenTheThresholdFiltersOut)
{
    // Populate logs once it holds the command line, and that first message configures
    // the framework (registering the provider): the emulator must be in place before.
    Testing::ProviderEmulator provider;
    const char* argv[] = {"prog", "/trace-level:0"};
    Base::ProcessArguments::Populate(2, argv);
    Trace::EnsureConfigured(Trace::SkipCrashHandlers);
    Trace::Category log("writer");

    EXPECT_TRUE(log->IsEnabled(Trace::LogLevel::Fatal));
    EXPECT_FALSE(log->IsEnabled(Trace::LogLevel::Error));
    provider.Enable(2, 0x1);
    EXPECT_TRUE(log->IsEnabled(Trace::LogLevel::Error));
    EXPECT_FALSE(log->IsEnabled(Trace::LogLevel::Warning));
    EXPECT_FALSE(log->IsEnabled(Trace::LogLevel::Debug));
    provider.Disable();
    EXPECT_FALSE(log->IsEnabled(Trace::LogLevel::Error));
}

TEST(OperationalEventThreshold, ErrorGoesToTheSessionThoughNotToTheConsole)
{
    Testing::ProviderEmulator provider;
    const char* argv[] = {"prog", "/trace-console", "/trace-level:0"};
    Base::ProcessArguments::Populate(3, argv);
    Trace::EnsureConfigured(Trace::SkipCrashHandlers);
    Trace::Category log("writer");
    provider.Enable(0, 0x1);

    Testing::OutputCapture capture;
    log->Error("only in the log", Trace::Field{"count", 3});
    log->Fatal("everywhere");

    EXPECT_EQ(std::vector<std::string>{"everywhere"}, Testing::TraceTexts(capture.Err()));
    EXPECT_EQ("", capture.Out());
    ASSERT_EQ((std::vector<USHORT>{2014, 2014}), provider.WrittenIds());
    EXPECT_EQ(Terminated("only in the log"), provider.Writes()[0].data.at(3).bytes);
    EXPECT_EQ(Terminated(" { count:3 }"), provider.Writes()[0].data.at(4).bytes);
}
