#include "tests/emulator/ProviderEmulator.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/TraceLines.h"
#include "tests/trace/TraceTestSupport.h"
#include "trace/Log.h"

#include <gtest/gtest.h>

namespace {

using Testing::ConfigureWith;
using Trace::LogLevel;

const Trace::Category testLog("enabled");

// The operational events' keyword (without its channel bit) and levels as a session
// asks for them.
constexpr ULONGLONG operationalKeyword = 0x1;
constexpr UCHAR informationLevel = 4;
constexpr UCHAR allLevels = 0;

// Registration is what these tests are about, so only the crash handlers are skipped.
void ConfigureRegistered(const std::vector<std::string>& switches)
{
    ConfigureWith(switches, Trace::SkipCrashHandlers);
}

// Id, Name, Message and Arguments of every event written, as text; a string without
// its terminator shows as "<unterminated>".
std::vector<std::vector<std::string>> WrittenMessages(const Testing::ProviderEmulator& provider)
{
    std::vector<std::vector<std::string>> messages;
    for (const Testing::EventWrite& write : provider.Writes()) {
        std::vector<std::string> message{std::to_string(write.descriptor.Id)};
        for (size_t index = 2; index <= 4 && index < write.data.size(); ++index) {
            const std::vector<uint8_t>& bytes = write.data[index].bytes;
            const bool terminated = !bytes.empty() && bytes.back() == 0;
            message.push_back(terminated ? std::string(bytes.begin(), bytes.end() - 1) : "<unterminated>");
        }
        messages.push_back(message);
    }
    return messages;
}

std::vector<bool> EnabledFatalToDebug()
{
    std::vector<bool> enabled;
    for (const LogLevel level :
         {LogLevel::Fatal, LogLevel::Error, LogLevel::Warning, LogLevel::Info, LogLevel::Verbose, LogLevel::Debug}) {
        enabled.push_back(testLog->IsEnabled(level));
    }
    return enabled;
}

} // namespace

TEST(IsEnabled, FollowsTheThresholdWhileNoSessionListens)
{
    Testing::ProviderEmulator provider;
    ConfigureRegistered({"/trace-level:2"});
    ASSERT_EQ(1u, provider.Registrations().size());
    EXPECT_EQ((std::vector<bool>{true, true, true, false, false, false}), EnabledFatalToDebug());
}

TEST(IsEnabled, AnswersFromTheSessionForLevelsTheThresholdFilters)
{
    Testing::ProviderEmulator provider;
    ConfigureRegistered({"/trace-level:0"});
    provider.Enable(informationLevel, operationalKeyword);
    EXPECT_EQ((std::vector<bool>{true, true, true, true, false, false}), EnabledFatalToDebug());
}

TEST(IsEnabled, DebugNeedsASessionForTheDebugEvent)
{
    Testing::ProviderEmulator provider;
    ConfigureRegistered({});
    EXPECT_FALSE(testLog->IsEnabled(LogLevel::Debug));
    provider.Enable(allLevels, operationalKeyword);
    EXPECT_TRUE(testLog->IsEnabled(LogLevel::Debug));
    provider.Disable();
    EXPECT_FALSE(testLog->IsEnabled(LogLevel::Debug));
    EXPECT_TRUE(testLog->IsEnabled(LogLevel::Verbose));
}

TEST(IsEnabled, SessionForOtherKeywordsEnablesNothing)
{
    Testing::ProviderEmulator provider;
    ConfigureRegistered({"/trace-level:0"});
    provider.Enable(allLevels, 0x2);
    EXPECT_EQ((std::vector<bool>{true, false, false, false, false, false}), EnabledFatalToDebug());
}

TEST(IsEnabled, ErrorStillReachesTheSessionAtTraceLevelZero)
{
    Testing::ProviderEmulator provider;
    ConfigureRegistered({"/trace-console", "/trace-level:0"});
    provider.Enable(informationLevel, operationalKeyword);
    Testing::OutputCapture capture;
    const int code = 5;
    testLog->Fatal("fatal message");
    testLog->Error("error message", Trace::Field{"errorCode", code});
    testLog->Verbose("verbose message");

    EXPECT_EQ(std::vector<std::string>{"fatal message"}, Testing::TraceTexts(capture.Err()));
    EXPECT_EQ(1u, Testing::SplitLines(capture.Err()).size());
    EXPECT_EQ("", capture.Out());
    const std::vector<std::vector<std::string>> expected{{"2014", "enabled", "fatal message", ""},
                                                         {"2014", "enabled", "error message", " { errorCode:5 }"}};
    EXPECT_EQ(expected, WrittenMessages(provider));
}

TEST(IsEnabled, DebugReachesTheSessionWhileTheConsoleHidesIt)
{
    Testing::ProviderEmulator provider;
    ConfigureRegistered({"/trace-console"});
    provider.Enable(allLevels, operationalKeyword);
    Testing::OutputCapture capture;
    const uint32_t count = 1;
    testLog->Debug("Queried DWORD", Trace::Field{"count", count});
    const std::string subkey = "Software";
    testLog->Warning("Failed to open subkey", Trace::Field{"subkey", subkey});

    EXPECT_EQ(std::vector<std::string>{"Failed to open subkey { subkey:\"Software\" }"},
              Testing::TraceTexts(capture.Out()));
    EXPECT_EQ("", capture.Err());
    const std::vector<std::vector<std::string>> expected{
        {"2010", "enabled", "Queried DWORD", " { count:1 }"},
        {"2013", "enabled", "Failed to open subkey", " { subkey:\"Software\" }"}};
    EXPECT_EQ(expected, WrittenMessages(provider));
}
