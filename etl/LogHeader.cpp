#include "etl/LogHeader.h"

#include "etl/HexText.h"

namespace Etl {

namespace {

constexpr size_t timeZoneInformationSize = 0xAC; // TIME_ZONE_INFORMATION

std::u16string ReadName(ByteCursor& cursor)
{
    std::u16string name;
    while (cursor.Remaining() >= 2) {
        const char16_t character = static_cast<char16_t>(cursor.U16());
        if (character == 0) {
            break;
        }
        name.push_back(character);
    }
    return name;
}

} // namespace

// The layout of TRACE_LOGFILE_HEADER (Microsoft Learn) with the logger's pointer size: the
// two name pointers take 4 or 8 bytes, which moves the time zone and, after 8-byte
// alignment, BootTime to 0xF0 or 0xF8. Read so from the 32-bit headers of
// test_data_32_v0.etl and smallEtlFile.etl and the 64-bit ones of the other samples, whose
// StartTime, PerfFreq and clock type FIGURES.md confirms.
LogHeader ReadLogHeader(const ByteCursor& payload, int64_t referenceStamp, const BufferPlace& place)
{
    ByteCursor cursor = payload;
    LogHeader header;
    header.referenceStamp = referenceStamp;
    header.bufferSize = cursor.U32();      // 0x00
    header.version = cursor.U32();         // 0x04
    header.providerVersion = cursor.U32(); // 0x08
    header.processors = cursor.U32();      // 0x0C
    header.endTime = cursor.I64();         // 0x10
    header.timerResolution = cursor.U32(); // 0x18
    header.maximumFileSize = cursor.U32(); // 0x1C
    header.logFileMode = cursor.U32();     // 0x20
    header.buffersWritten = cursor.U32();  // 0x24
    header.startBuffers = cursor.U32();    // 0x28
    header.pointerSize = cursor.U32();     // 0x2C
    header.eventsLost = cursor.U32();      // 0x30
    header.cpuSpeedMHz = cursor.U32();     // 0x34
    if (cursor.Ok() && header.pointerSize != 4 && header.pointerSize != 8) {
        ThrowAt(place, payload.Origin() + 0x2C, "Log file header field PointerSize",
                "is " + std::to_string(header.pointerSize) + "; only 4 and 8 give the header a layout");
    }
    cursor.Skip(2 * size_t{header.pointerSize}); // 0x38 LoggerName and LogFileName, pointers in memory
    const size_t timeZone = cursor.Position();
    header.timeZoneBias = static_cast<int32_t>(cursor.U32());
    cursor.Seek((timeZone + timeZoneInformationSize + 7) / 8 * 8);
    header.bootTime = cursor.I64();
    header.perfFreq = cursor.I64();
    header.startTime = cursor.I64();
    header.clockType = cursor.U32(); // ReservedFlags
    header.buffersLost = cursor.U32();
    if (!cursor.Ok()) {
        ThrowAt(place, payload.Origin(), "Log file header",
                "is " + Hex(payload.Size()) + " bytes long, too short for its fixed part");
    }
    header.loggerName = ReadName(cursor);
    header.logFileName = ReadName(cursor);
    return header;
}

} // namespace Etl
