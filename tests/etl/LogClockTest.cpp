#include "etl/LogClock.h"

#include "etl/FormatError.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr int64_t start = 132'264'173'104'203'138; // AMSITrace.etl's StartTime

TEST(LogClock, PerformanceCounterCountsFromTheReferenceStamp)
{
    // KernelProcess-Win7.etl: 2109960 Hz.
    const Etl::LogClock clock(1, 2'109'960, start, 178'048'845'225);
    EXPECT_EQ(clock.ToFileTime(178'048'845'225), start);
    // 2109960 ticks are one second.
    EXPECT_EQ(clock.ToFileTime(178'048'845'225 + 2'109'960), start + 10'000'000);
    // One tick is 4.739... units of 100 ns: rounded down.
    EXPECT_EQ(clock.ToFileTime(178'048'845'226), start + 4);
}

TEST(LogClock, StampsBeforeTheReferenceRoundDown)
{
    const Etl::LogClock clock(1, 3, start, 1000);
    EXPECT_EQ(clock.ToFileTime(999), start - 3'333'334);
    EXPECT_EQ(clock.ToFileTime(997), start - 10'000'000);
}

TEST(LogClock, SystemTimeStampsAreFileTimes)
{
    const Etl::LogClock clock(2, 0, start, 5);
    EXPECT_EQ(clock.ToFileTime(start + 12345), start + 12345);
}

TEST(LogClock, CpuCyclesConvertThroughTheSpeed)
{
    // 2000 MHz: 2000 cycles are one microsecond, 10 units of 100 ns.
    const Etl::LogClock clock(3, 2'000'000'000, start, 50'000);
    EXPECT_EQ(clock.ToFileTime(52'000), start + 10);
    EXPECT_EQ(clock.ToFileTime(50'199), start);
    EXPECT_EQ(clock.ToFileTime(50'200), start + 1);
}

TEST(LogClock, LongSpansConvertWithoutOverflow)
{
    // A year at 10 GHz is 3.15 * 10^17 ticks: multiplied by 10^7 it would overflow 64 bits.
    constexpr int64_t year = 365LL * 24 * 3600;
    const Etl::LogClock clock(1, 10'000'000'000, start, 0);
    EXPECT_EQ(clock.ToFileTime(year * 10'000'000'000 + 1), start + year * 10'000'000);
}

TEST(LogClock, ExtremeStampsClampInsteadOfOverflowing)
{
    constexpr int64_t max = std::numeric_limits<int64_t>::max();
    constexpr int64_t min = std::numeric_limits<int64_t>::min();
    const Etl::LogClock slow(1, 1, start, -5);
    EXPECT_EQ(slow.ToFileTime(max), max);
    EXPECT_EQ(slow.ToFileTime(min), min);
    const Etl::LogClock fast(1, max, start, 0);
    EXPECT_EQ(fast.ToFileTime(max), start + 10'000'000);
    // Beyond 9 * 10^11 Hz the remainder is scaled in halves, still rounding down.
    const Etl::LogClock absurd(1, 10'000'000'000'000, start, 0);
    EXPECT_EQ(absurd.ToFileTime(9'999'999'999'999), start + 9'999'999);
    const Etl::LogClock backwards(1, 10'000'000, start, max);
    EXPECT_EQ(backwards.ToFileTime(min), min);
}

TEST(LogClock, RefusesUnknownClocksAndFrequencies)
{
    auto errorOf = [](uint32_t type, int64_t frequency) -> std::string {
        try {
            Etl::LogClock(type, frequency, start, 0);
        } catch (const Etl::FormatError& error) {
            return error.what();
        }
        return "no error";
    };
    EXPECT_EQ(errorOf(0, 10),
              "The log file header names clock type 0; only 1 (performance counter), 2 (system time) and 3 (CPU "
              "cycles) exist");
    EXPECT_EQ(errorOf(4, 10),
              "The log file header names clock type 4; only 1 (performance counter), 2 (system time) and 3 (CPU "
              "cycles) exist");
    EXPECT_EQ(errorOf(1, 0), "The log file header gives a PerfFreq of 0, with which no time stamp can be converted");
    EXPECT_EQ(errorOf(3, -1), "The log file header gives a CPU speed of -1, with which no time stamp can be converted");
    EXPECT_EQ(errorOf(2, 0), "no error");
}

} // namespace
