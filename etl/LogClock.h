#pragma once

// Converts the time stamps of a log's records to UTC file times (100 ns units since
// 1601-01-01), for the three clocks a session can stamp with (the ReservedFlags field of
// the log file header):
//   1, the performance counter:  StartTime + (stamp - reference) * 10^7 / PerfFreq
//   2, the system time:          the stamp is already a file time
//   3, the CPU cycle counter:    StartTime + (stamp - reference) * 10 / CpuSpeedInMHz
// where reference is the stamp of the log file header record, taken at StartTime. The
// divisions round towards minus infinity, and the arithmetic is done in parts so that
// nothing overflows: a stamp so far from the reference that the time leaves the range of
// int64_t (only a corrupt one is) converts to the nearest end of that range.

#include <cstdint>

namespace Etl {

enum class ClockType : uint32_t {
    PerformanceCounter = 1,
    SystemTime = 2,
    CpuCycles = 3,
};

class LogClock {
public:
    // ticksPerSecond: PerfFreq in Hz for the performance counter, the CPU speed in Hz for
    // the cycle counter, unused for the system time. Throws Etl::FormatError for a clock
    // type it does not know and for a frequency that is not positive.
    LogClock(uint32_t clockType, int64_t ticksPerSecond, int64_t startTime, int64_t referenceStamp);

    int64_t ToFileTime(int64_t stamp) const;
    ClockType Type() const { return type_; }

private:
    ClockType type_;
    int64_t ticksPerSecond_;
    int64_t startTime_;
    int64_t referenceStamp_;
};

} // namespace Etl
