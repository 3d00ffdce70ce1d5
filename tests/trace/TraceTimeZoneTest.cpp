// A trace line's time is UTC in every zone. On a machine in UTC local time would pass
// for it, so this test matters in the runs under other zones (ksdiag_add_time_zone_runs),
// where it also checks that the zone is in force.

#include "tests/support/OutputCapture.h"
#include "tests/support/TimeZoneRun.h"
#include "tests/support/TraceLines.h"
#include "tests/trace/TraceTestSupport.h"
#include "trace/Log.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdlib>
#include <string>

namespace {

const Trace::Category zoneLog("zone");

constexpr long long millisecondsPerDay = 24LL * 60 * 60 * 1000;

long long MillisecondsOfDay(const std::string& time)
{
    return ((std::stoll(time.substr(0, 2)) * 60 + std::stoll(time.substr(3, 2))) * 60 + std::stoll(time.substr(6, 2))) *
               1000 +
           std::stoll(time.substr(9, 3));
}

long long MillisecondsOfDay(const SYSTEMTIME& time)
{
    return ((time.wHour * 60LL + time.wMinute) * 60 + time.wSecond) * 1000 + time.wMilliseconds;
}

// The distance between two times of day, across midnight if that is shorter.
long long DayDistance(long long left, long long right)
{
    const long long distance = std::llabs(left - right) % millisecondsPerDay;
    return distance < millisecondsPerDay - distance ? distance : millisecondsPerDay - distance;
}

} // namespace

TEST(TraceTimeZone, LineTimeIsUtcWhateverTheMachinesZone)
{
    Testing::ConfigureWith({"/trace-console", "/trace-level:5"});
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    const int offsetMinutes = Testing::LocalOffsetMinutes(now);
    Testing::OutputCapture capture;
    SYSTEMTIME utc{};
    ::GetSystemTime(&utc);
    zoneLog->Info("What time is it");
    SYSTEMTIME local{};
    ::GetLocalTime(&local);

    const auto lines = Testing::SplitLines(capture.Out());
    ASSERT_EQ(1u, lines.size());
    const auto parsed = Testing::ParseTraceLine(lines[0]);
    ASSERT_TRUE(parsed);
    ASSERT_EQ('Z', parsed->time.back());
    const long long logged = MillisecondsOfDay(parsed->time);
    EXPECT_GE(2000, DayDistance(logged, MillisecondsOfDay(utc))) << parsed->time;
    // Away from UTC, the line is as far from the local clock as the zone is from UTC.
    const long long offset = static_cast<long long>(offsetMinutes) * 60 * 1000;
    if (offset % millisecondsPerDay != 0) {
        EXPECT_LE(DayDistance(offset % millisecondsPerDay, 0) - 2000, DayDistance(logged, MillisecondsOfDay(local)))
            << parsed->time;
    }
}
