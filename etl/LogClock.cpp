#include "etl/LogClock.h"

#include "etl/FormatError.h"

#include <limits>
#include <string>

namespace Etl {

namespace {

constexpr int64_t ticksPerSecondOfFileTime = 10'000'000;
constexpr int64_t int64Max = std::numeric_limits<int64_t>::max();
constexpr int64_t int64Min = std::numeric_limits<int64_t>::min();

int64_t SaturatingAdd(int64_t a, int64_t b)
{
    if (b > 0 && a > int64Max - b) {
        return int64Max;
    }
    if (b < 0 && a < int64Min - b) {
        return int64Min;
    }
    return a + b;
}

// The exact difference a - b clamped to int64_t.
int64_t SaturatingSubtract(int64_t a, int64_t b)
{
    if (b == int64Min) {
        return a >= 0 ? int64Max : a + int64Max + 1;
    }
    return SaturatingAdd(a, -b);
}

// floor(value * multiplier / divisor) for divisor > 0 and 0 < multiplier <= 10^7, without
// a 128-bit type (MSVC has none): split value into whole divisors and a remainder, whose
// product with the multiplier stays below 2^63 for any divisor up to about 9 * 10^11.
int64_t ScaleFloor(int64_t value, int64_t multiplier, int64_t divisor)
{
    int64_t quotient = value / divisor;
    int64_t remainder = value % divisor;
    if (remainder < 0) {
        quotient -= 1;
        remainder += divisor;
    }
    if (quotient > int64Max / multiplier) {
        return int64Max;
    }
    if (quotient < int64Min / multiplier) {
        return int64Min;
    }
    // Only divisors above about 9 * 10^11 Hz need this: no clock runs that fast, but a
    // corrupt header may say so. Halving both keeps the result to within a tick or two.
    while (remainder > int64Max / multiplier) {
        remainder /= 2;
        divisor /= 2;
    }
    const int64_t part = remainder * multiplier / divisor;
    return SaturatingAdd(quotient * multiplier, part);
}

} // namespace

LogClock::LogClock(uint32_t clockType, int64_t ticksPerSecond, int64_t startTime, int64_t referenceStamp)
    : type_(static_cast<ClockType>(clockType)), ticksPerSecond_(ticksPerSecond), startTime_(startTime),
      referenceStamp_(referenceStamp)
{
    if (clockType < 1 || clockType > 3) {
        throw FormatError("The log file header names clock type " + std::to_string(clockType) +
                          "; only 1 (performance counter), 2 (system time) and 3 (CPU cycles) exist");
    }
    if (type_ != ClockType::SystemTime && ticksPerSecond_ <= 0) {
        throw FormatError(std::string("The log file header gives ") +
                          (type_ == ClockType::PerformanceCounter ? "a PerfFreq" : "a CPU speed") + " of " +
                          std::to_string(ticksPerSecond_) + ", with which no time stamp can be converted");
    }
}

int64_t LogClock::ToFileTime(int64_t stamp) const
{
    if (type_ == ClockType::SystemTime) {
        return stamp;
    }
    const int64_t elapsed = SaturatingSubtract(stamp, referenceStamp_);
    const int64_t offset = ScaleFloor(elapsed, ticksPerSecondOfFileTime, ticksPerSecond_);
    if (offset == int64Max || offset == int64Min) {
        return offset; // clamped: the time lies beyond any file time
    }
    return SaturatingAdd(startTime_, offset);
}

} // namespace Etl
