#pragma once

// TRACE_LOGFILE_HEADER, the data of the first record of every log, with the logger and
// log-file names behind it, in the layout of a 32-bit or a 64-bit producer (its
// PointerSize). The two layouts differ from the LoggerName pointer on:
//
//   field                 64-bit  32-bit
//   LoggerName            0x38    0x38   (pointers Windows leaves as they were in memory)
//   LogFileName           0x40    0x3C
//   TimeZone (172 bytes)  0x48    0x40
//   BootTime              0xF8    0xF0   (8-aligned after the time zone)
//   PerfFreq              0x100   0xF8
//   StartTime             0x108   0x100
//   ReservedFlags         0x110   0x108  (the clock type)
//   BuffersLost           0x114   0x10C
//   names                 0x118   0x110  (NUL-terminated UTF-16, logger name first)
//
// Verified in powershell.etl and test_data_32_v0.etl (data at 0x68 of each).

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace EtlWriter {

// The ReservedFlags values: the clock of every time stamp in the log.
enum class ClockType : uint32_t {
    QueryPerformanceCounter = 1,
    SystemTime = 2, // stamps are UTC file times
    CpuCycleCounter = 3,
};

// SYSTEMTIME: wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds.
using SystemTime = std::array<uint16_t, 8>;

// TIME_ZONE_INFORMATION. Names longer than 31 characters are refused when encoding.
struct TimeZone {
    int32_t bias = 0; // minutes, UTC = local time + bias
    std::u16string standardName;
    SystemTime standardDate{};
    int32_t standardBias = 0;
    std::u16string daylightName;
    SystemTime daylightDate{};
    int32_t daylightBias = 0;
};

struct LogfileHeader {
    uint32_t bufferSize = 64 * 1024; // bytes
    // Version: MajorVersion, MinorVersion, SubVersion, SubMinorVersion from the low byte up
    // (0x0501000A in the Windows 10 and 11 samples).
    uint32_t version = 0x0501000A;
    uint32_t providerVersion = 19045; // the build number
    uint32_t numberOfProcessors = 1;
    int64_t endTime = 0;               // UTC file time
    uint32_t timerResolution = 156250; // 100 ns units
    uint32_t maximumFileSize = 0;      // MB, or KB with EVENT_TRACE_USE_KBYTES_FOR_SIZE
    uint32_t logFileMode = 0x1;        // EVENT_TRACE_FILE_MODE_SEQUENTIAL and the rest
    uint32_t buffersWritten = 0;
    uint32_t startBuffers = 1;
    uint32_t pointerSize = 8; // 4 or 8: also selects the layout
    uint32_t eventsLost = 0;
    uint32_t cpuSpeedMHz = 3000;
    uint64_t loggerNamePointer = 0; // whatever Windows left there; readers ignore both
    uint64_t logFileNamePointer = 0;
    TimeZone timeZone;
    int64_t bootTime = 0;          // UTC file time
    int64_t perfFreq = 10'000'000; // counts per second of the QPC clock
    int64_t startTime = 0;         // UTC file time of the session start
    ClockType clockType = ClockType::QueryPerformanceCounter;
    uint32_t buffersLost = 0;
    std::u16string loggerName;
    std::u16string logFileName;
};

// Size in bytes of the fixed part for a pointer size: 0x118 or 0x110.
size_t LogfileHeaderFixedSize(uint32_t pointerSize);

// The record data: the fixed part, then both names NUL-terminated, unpadded. Throws
// std::invalid_argument for a pointer size other than 4 or 8 or a time-zone name of more
// than 31 characters.
std::vector<uint8_t> EncodeLogfileHeader(const LogfileHeader& header);

} // namespace EtlWriter
