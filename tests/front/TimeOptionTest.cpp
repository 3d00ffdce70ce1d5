// The times of /from and /to: the ISO 8601 forms accepted, their UTC file times, local time
// as the text view prints it, and what is refused.

#include "front/TimeOption.h"
#include "front/CommandOptions.h"
#include "tests/front/ArgumentVector.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int64_t printedStamp = 133542759010420000LL; // 2024-03-07T09:05:01.042Z
constexpr int64_t oneHour = 36000000000LL;

std::optional<Front::IsoTime> Parse(const std::string& text)
{
    Front::IsoTime time;
    time.ticks = -1;
    if (!Front::ParseIsoTime(text, time)) {
        EXPECT_EQ(-1, time.ticks) << "unchanged after a failure";
        return std::nullopt;
    }
    return time;
}

int64_t Utc(const std::string& text)
{
    const std::optional<Front::IsoTime> time = Parse(text);
    EXPECT_TRUE(time.has_value()) << text;
    EXPECT_FALSE(time && time->local) << text;
    return time ? time->ticks : -1;
}

} // namespace

TEST(IsoTime, UtcFormsGiveTheFileTime)
{
    EXPECT_EQ(printedStamp, Utc("2024-03-07T09:05:01.042Z"));
    EXPECT_EQ(printedStamp, Utc("2024-03-07t09:05:01.0420000z"));
    EXPECT_EQ(printedStamp + 1234, Utc("2024-03-07T09:05:01.0421234Z"));
    EXPECT_EQ(printedStamp + 1234, Utc("2024-03-07T09:05:01.042123456Z")) << "digits past 100 ns are cut off";
    EXPECT_EQ(printedStamp - 420000, Utc("2024-03-07T09:05:01Z"));
    EXPECT_EQ(printedStamp - 10420000, Utc("2024-03-07T09:05Z"));
    EXPECT_EQ(printedStamp, Utc("2024-03-07 09:05:01,042Z"));
    EXPECT_EQ(0, Utc("1601-01-01T00:00:00Z"));
    EXPECT_EQ(116444736000000000LL, Utc("1970-01-01Z"));
    EXPECT_EQ(126227808000000000LL + 59 * 24 * oneHour, Utc("2001-03-01T00:00Z")) << "2001 is no leap year";
}

TEST(IsoTime, OffsetsAreEastOfUtc)
{
    EXPECT_EQ(printedStamp, Utc("2024-03-07T10:05:01.042+01:00"));
    EXPECT_EQ(printedStamp, Utc("2024-03-07T10:05:01.042+0100"));
    EXPECT_EQ(printedStamp, Utc("2024-03-07T10:05:01.042+01"));
    EXPECT_EQ(printedStamp, Utc("2024-03-07T03:35:01.042-05:30"));
    EXPECT_EQ(printedStamp, Utc("2024-03-06T19:05:01.042-14:00"));
}

TEST(IsoTime, WithoutZoneIsLocal)
{
    const std::optional<Front::IsoTime> time = Parse("2024-03-07 09:05:01.042");
    ASSERT_TRUE(time.has_value());
    EXPECT_TRUE(time->local);
    EXPECT_EQ(printedStamp, time->ticks);
    const std::optional<Front::IsoTime> day = Parse("2024-02-29");
    ASSERT_TRUE(day.has_value());
    EXPECT_TRUE(day->local);
    EXPECT_EQ(Utc("2024-02-29T00:00Z"), day->ticks);
}

TEST(IsoTime, AnythingElseIsRefused)
{
    for (const char* text : {"",
                             "2024",
                             "2024-03",
                             "2024-3-07",
                             "24-03-07",
                             "2024-03-07T",
                             "2024-03-07T9:05",
                             "2024-03-07T09",
                             "2024-03-07T09:05:01.",
                             "2024-03-07T24:00:00Z",
                             "2024-03-07T09:60Z",
                             "2024-03-07T09:05:60Z",
                             "2024-13-01",
                             "2024-00-01",
                             "2023-02-29",
                             "2024-04-31",
                             "1600-12-31",
                             "2024-03-07T09:05:01+1",
                             "2024-03-07T09:05:01+24:00",
                             "2024-03-07T09:05:01Z ",
                             "2024-03-07T09:05:01 Z",
                             "2024-03-07x",
                             "1601-01-01T00:00:00+00:01",
                             "２０２４-03-07"}) {
        EXPECT_FALSE(Parse(text).has_value()) << text;
    }
}

TEST(TimeOption, LocalTimeIsTheInverseOfWhatTheTextViewPrints)
{
    // The text view prints FileTimeToLocalFileTime's answer; that text names the same event.
    FILETIME utc{};
    utc.dwLowDateTime = static_cast<DWORD>(printedStamp & 0xFFFFFFFF);
    utc.dwHighDateTime = static_cast<DWORD>(printedStamp >> 32);
    FILETIME local{};
    ASSERT_TRUE(::FileTimeToLocalFileTime(&utc, &local));
    SYSTEMTIME shown{};
    ASSERT_TRUE(::FileTimeToSystemTime(&local, &shown));
    char text[64];
    std::snprintf(text, sizeof text, "/from:%04u-%02u-%02uT%02u:%02u:%02u.042", shown.wYear, shown.wMonth, shown.wDay,
                  shown.wHour, shown.wMinute, shown.wSecond);
    Testing::PopulateArguments({"ksdiag", "view", text});
    int64_t from = -1;
    ASSERT_TRUE(Front::ReadTimeOption("from", from));
    EXPECT_EQ(printedStamp, from);
}

TEST(TimeOption, AbsentLeavesTheValueAndBadIsFalse)
{
    Testing::PopulateArguments({"ksdiag", "view", "/to:yesterday"});
    int64_t from = 5;
    EXPECT_TRUE(Front::ReadTimeOption("from", from));
    EXPECT_EQ(5, from);
    int64_t to = 6;
    EXPECT_FALSE(Front::ReadTimeOption("to", to));
    EXPECT_EQ(6, to);
}

TEST(OutputOptions, FormatAllAndWindow)
{
    Testing::PopulateArguments(
        {"ksdiag", "view", "/format:JSON", "/all", "/from:2024-03-07T09:05:01.042Z", "/TO:2024-03-07T10:05Z"});
    Viewer::ViewOptions options;
    ASSERT_EQ(Front::OutputOptionsResult::Read, Front::ReadOutputOptions(options));
    EXPECT_EQ(Viewer::FormatJson, options.format);
    EXPECT_EQ(1u, options.all);
    EXPECT_EQ(printedStamp, options.from);
    EXPECT_EQ(printedStamp + oneHour - 10420000, options.to);
}

TEST(OutputOptions, DefaultsAreTextAndEveryTime)
{
    Testing::PopulateArguments({"ksdiag", "view"});
    Viewer::ViewOptions options;
    ASSERT_EQ(Front::OutputOptionsResult::Read, Front::ReadOutputOptions(options));
    EXPECT_EQ(Viewer::FormatText, options.format);
    EXPECT_EQ(0u, options.all);
    EXPECT_EQ(Viewer::EarliestTime, options.from);
    EXPECT_EQ(Viewer::LatestTime, options.to);
}

TEST(OutputOptions, Failures)
{
    const std::pair<std::vector<std::string>, Front::OutputOptionsResult> cases[] = {
        {{"ksdiag", "view", "/format:xml"}, Front::OutputOptionsResult::UnknownFormat},
        {{"ksdiag", "view", "/format"}, Front::OutputOptionsResult::UnknownFormat},
        {{"ksdiag", "view", "/all"}, Front::OutputOptionsResult::AllNeedsJson},
        {{"ksdiag", "view", "/format:text", "/all"}, Front::OutputOptionsResult::AllNeedsJson},
        {{"ksdiag", "view", "/from:now"}, Front::OutputOptionsResult::BadTime},
        {{"ksdiag", "view", "/format:json", "/to:2024-02-30"}, Front::OutputOptionsResult::BadTime},
    };
    for (const auto& [arguments, expected] : cases) {
        Testing::PopulateArguments(arguments);
        Viewer::ViewOptions options;
        EXPECT_EQ(expected, Front::ReadOutputOptions(options)) << arguments.back();
    }
}
