#pragma once

// The log file header: the TRACE_LOGFILE_HEADER the session wrote as the first record of
// the first buffer, with the logger and log file names that follow it.

#include "etl/BufferPlace.h"
#include "etl/ByteCursor.h"

#include <cstdint>
#include <string>

namespace Etl {

struct LogHeader {
    uint32_t bufferSize = 0;      // bytes of each buffer of the session
    uint32_t version = 0;         // Windows version: major, minor, sub and sub-minor bytes, low to high
    uint32_t providerVersion = 0; // Windows build number
    uint32_t processors = 0;
    int64_t endTime = 0;          // UTC file time the session ended (100 ns units since 1601)
    uint32_t timerResolution = 0; // 100 ns units
    uint32_t maximumFileSize = 0; // MB
    uint32_t logFileMode = 0;     // EVENT_TRACE_FILE_MODE_* and the other logfile mode bits
    uint32_t buffersWritten = 0;
    uint32_t startBuffers = 0;
    uint32_t pointerSize = 0; // bytes, 4 or 8: the layout of this header and the logger's pointers
    uint32_t eventsLost = 0;
    uint32_t cpuSpeedMHz = 0;
    int32_t timeZoneBias = 0; // minutes; UTC = local time + bias
    int64_t bootTime = 0;     // UTC file time
    int64_t perfFreq = 0;     // Hz of the performance counter
    int64_t startTime = 0;    // UTC file time the session started
    uint32_t clockType = 0;   // ReservedFlags: 1 performance counter, 2 system time, 3 CPU cycles
    uint32_t buffersLost = 0;
    // The stamp of the header record itself, in the log's clock: taken at startTime, the
    // reference from which the other stamps convert.
    int64_t referenceStamp = 0;
    std::u16string loggerName;
    std::u16string logFileName;
};

// LogFileMode bits the reader looks at.
enum LogFileModeBit : uint32_t {
    LogFileModeCircular = 0x00000002,   // EVENT_TRACE_FILE_MODE_CIRCULAR
    LogFileModeCompressed = 0x04000000, // buffers compressed with XPRESS
};

// Reads the header from the bytes after the header record's system header (payload, its
// origin their offset in the buffer). Throws Etl::FormatError naming place when they are
// too few for the fixed part or give a pointer size other than 4 and 8. A name without its
// terminating zero runs to the end of the record.
LogHeader ReadLogHeader(const ByteCursor& payload, int64_t referenceStamp, const BufferPlace& place);

} // namespace Etl
