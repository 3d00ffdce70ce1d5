#include "tests/support/OutputCapture.h"
#include "tests/support/TraceLines.h"
#include "tests/trace/TraceTestSupport.h"
#include "trace/Log.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <ios>

namespace {

using Testing::ConfigureWith;

const Trace::Category sinkLog("registry");

// Milliseconds since midnight UTC of "HH:MM:SS.mmmZ".
int64_t MillisecondsOfDay(const std::string& time)
{
    const int hours = std::stoi(time.substr(0, 2));
    const int minutes = std::stoi(time.substr(3, 2));
    const int seconds = std::stoi(time.substr(6, 2));
    const int milliseconds = std::stoi(time.substr(9, 3));
    return ((hours * 60 + minutes) * 60 + seconds) * 1000LL + milliseconds;
}

int64_t MillisecondsOfDayNow()
{
    SYSTEMTIME now{};
    ::GetSystemTime(&now);
    return ((now.wHour * 60 + now.wMinute) * 60 + now.wSecond) * 1000LL + now.wMilliseconds;
}

} // namespace

TEST(ConsoleSink, ErrorLineGoesToStandardErrorWithFields)
{
    ConfigureWith({"/trace-console", "/trace-level:5"});
    Testing::OutputCapture capture;
    const uint32_t code = 5;
    const std::wstring subkey = L"Software";
    sinkLog->Error("Failed", Trace::Field{"errorCode", code}, Trace::Field{"subkey", subkey});
    const auto lines = Testing::SplitLines(capture.Err());
    ASSERT_EQ(1u, lines.size());
    const auto parsed = Testing::ParseTraceLine(lines[0]);
    ASSERT_TRUE(parsed);
    EXPECT_EQ("ERROR   ", parsed->level);
    EXPECT_EQ("registry", parsed->category);
    EXPECT_EQ("Failed { errorCode:5, subkey:\"Software\" }", parsed->text);
    EXPECT_EQ("", capture.Out());
}

TEST(ConsoleSink, FatalAndErrorGoToStandardErrorTheRestToStandardOutput)
{
    ConfigureWith({"/trace-console", "/trace-level:5"});
    Testing::OutputCapture capture;
    sinkLog->Fatal("fatal");
    sinkLog->Warning("warning");
    sinkLog->Error("error");
    sinkLog->Info("info");
    sinkLog->Verbose("verbose");
    sinkLog->Debug("debug");
    EXPECT_EQ((std::vector<std::string>{"fatal", "error"}), Testing::TraceTexts(capture.Err()));
    EXPECT_EQ((std::vector<std::string>{"warning", "info", "verbose", "debug"}), Testing::TraceTexts(capture.Out()));
    EXPECT_EQ(2u, Testing::SplitLines(capture.Err()).size());
    EXPECT_EQ(4u, Testing::SplitLines(capture.Out()).size());
}

TEST(ConsoleSink, LevelNamesAreLeftAlignedInEightCharacters)
{
    ConfigureWith({"/trace-console", "/trace-level:5"});
    Testing::OutputCapture capture;
    sinkLog->Fatal("m");
    sinkLog->Error("m");
    sinkLog->Warning("m");
    sinkLog->Info("m");
    sinkLog->Verbose("m");
    sinkLog->Debug("m");
    std::vector<std::string> levels;
    for (const std::string& line : Testing::SplitLines(capture.Err() + capture.Out())) {
        const auto parsed = Testing::ParseTraceLine(line);
        ASSERT_TRUE(parsed) << line;
        levels.push_back(parsed->level);
    }
    EXPECT_EQ((std::vector<std::string>{"FATAL   ", "ERROR   ", "WARNING ", "INFO    ", "VERBOSE ", "DEBUG   "}),
              levels);
}

TEST(ConsoleSink, LineIsTimeLevelCategoryIdsMessageAndFields)
{
    ConfigureWith({"/trace-console"});
    Testing::OutputCapture capture;
    const int count = 3;
    sinkLog->Warning("Queried DWORD", Trace::Field{"count", count});
    const auto lines = Testing::SplitLines(capture.Out());
    ASSERT_EQ(1u, lines.size());
    const auto parsed = Testing::ParseTraceLine(lines[0]);
    ASSERT_TRUE(parsed);
    const std::string expected = parsed->time + " WARNING  registry(" + std::to_string(::GetCurrentProcessId()) + ":" +
                                 std::to_string(::GetCurrentThreadId()) + ") - Queried DWORD { count:3 }";
    EXPECT_EQ(expected, lines[0]);
    EXPECT_EQ(lines[0] + "\n", capture.Out());
}

TEST(ConsoleSink, TimeIsUtcWithMillisecondsAndCloseToTheClock)
{
    ConfigureWith({"/trace-console"});
    Testing::OutputCapture capture;
    const int64_t before = MillisecondsOfDayNow();
    sinkLog->Info("now");
    const int64_t after = MillisecondsOfDayNow();
    const auto parsed = Testing::ParseTraceLine(Testing::SplitLines(capture.Out()).at(0));
    ASSERT_TRUE(parsed);
    EXPECT_EQ('Z', parsed->time.back());
    const int64_t stamped = MillisecondsOfDay(parsed->time);
    constexpr int64_t day = 24 * 60 * 60 * 1000LL;
    // Differences are taken modulo a day so that a test run across midnight still holds.
    const int64_t sinceBefore = (stamped - before + day) % day;
    const int64_t untilAfter = (after - stamped + day) % day;
    EXPECT_LE(sinceBefore, after - before + 20) << parsed->time;
    EXPECT_LE(untilAfter, after - before + 20) << parsed->time;
}

TEST(ConsoleSink, LineCarriesTheProcessAndThreadOfTheCaller)
{
    ConfigureWith({"/trace-console"});
    Testing::OutputCapture capture;
    sinkLog->Info("here");
    const auto parsed = Testing::ParseTraceLine(Testing::SplitLines(capture.Out()).at(0));
    ASSERT_TRUE(parsed);
    EXPECT_EQ(::GetCurrentProcessId(), parsed->processId);
    EXPECT_EQ(::GetCurrentThreadId(), parsed->threadId);
}

TEST(ConsoleSink, MessageWithoutFieldsHasNoBraces)
{
    ConfigureWith({"/trace-console"});
    Testing::OutputCapture capture;
    sinkLog->Info("Plain message");
    EXPECT_EQ(std::vector<std::string>{"Plain message"}, Testing::TraceTexts(capture.Out()));
}

TEST(ConsoleSink, LevelWithoutNameLeavesItsColumnBlank)
{
    ConfigureWith({"/trace-console", "/trace-level:6"});
    Testing::OutputCapture capture;
    sinkLog->Emit(static_cast<Trace::LogLevel>(6), "beyond");
    const auto parsed = Testing::ParseTraceLine(Testing::SplitLines(capture.Out()).at(0));
    ASSERT_TRUE(parsed);
    EXPECT_EQ("        ", parsed->level);
    EXPECT_EQ("beyond", parsed->text);
}

TEST(ConsoleSink, FilteredLevelWritesNothing)
{
    ConfigureWith({"/trace-console", "/trace-level:3"});
    Testing::OutputCapture capture;
    sinkLog->Verbose("hidden", Trace::Field{"count", 1});
    sinkLog->Info("shown");
    EXPECT_EQ("", capture.Err());
    EXPECT_EQ(std::vector<std::string>{"shown"}, Testing::TraceTexts(capture.Out()));
}

TEST(ConsoleSink, FailedThreadStreamRaisesBadbitAndWritesNothing)
{
    ConfigureWith({"/trace-console"});
    Testing::OutputCapture capture;
    Trace::FieldStream().setstate(std::ios_base::badbit);
    try {
        sinkLog->Info("lost", Trace::Field{"count", 1});
        FAIL() << "no exception";
    } catch (const std::ios_base::failure& failure) {
        EXPECT_STREQ("ios_base::badbit set", failure.what());
    }
    EXPECT_EQ("", capture.Out());

    sinkLog->Info("next", Trace::Field{"count", 2});
    EXPECT_EQ(std::vector<std::string>{"next { count:2 }"}, Testing::TraceTexts(capture.Out()));
}

TEST(ConsoleSink, EmitCarriesZeroToEightFields)
{
    ConfigureWith({"/trace-console"});
    Testing::OutputCapture capture;
    const int a = 1, b = 2, c = 3, d = 4, e = 5, f = 6, g = 7, h = 8;
    using Trace::Field;
    sinkLog->Info("m0");
    sinkLog->Info("m1", Field{"a", a});
    sinkLog->Info("m2", Field{"a", a}, Field{"b", b});
    sinkLog->Info("m3", Field{"a", a}, Field{"b", b}, Field{"c", c});
    sinkLog->Info("m4", Field{"a", a}, Field{"b", b}, Field{"c", c}, Field{"d", d});
    sinkLog->Info("m5", Field{"a", a}, Field{"b", b}, Field{"c", c}, Field{"d", d}, Field{"e", e});
    sinkLog->Info("m6", Field{"a", a}, Field{"b", b}, Field{"c", c}, Field{"d", d}, Field{"e", e}, Field{"f", f});
    sinkLog->Info("m7", Field{"a", a}, Field{"b", b}, Field{"c", c}, Field{"d", d}, Field{"e", e}, Field{"f", f},
                  Field{"g", g});
    sinkLog->Info("m8", Field{"a", a}, Field{"b", b}, Field{"c", c}, Field{"d", d}, Field{"e", e}, Field{"f", f},
                  Field{"g", g}, Field{"h", h});
    const std::vector<std::string> expected{
        "m0",
        "m1 { a:1 }",
        "m2 { a:1, b:2 }",
        "m3 { a:1, b:2, c:3 }",
        "m4 { a:1, b:2, c:3, d:4 }",
        "m5 { a:1, b:2, c:3, d:4, e:5 }",
        "m6 { a:1, b:2, c:3, d:4, e:5, f:6 }",
        "m7 { a:1, b:2, c:3, d:4, e:5, f:6, g:7 }",
        "m8 { a:1, b:2, c:3, d:4, e:5, f:6, g:7, h:8 }",
    };
    EXPECT_EQ(expected, Testing::TraceTexts(capture.Out()));
}
