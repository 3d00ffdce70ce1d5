#include "tests/etlwriter/LogfileHeader.h"

#include "tests/etlwriter/LittleEndian.h"

#include <stdexcept>

namespace EtlWriter {

namespace {

// The part both layouts share (learn.microsoft.com TRACE_LOGFILE_HEADER).
constexpr size_t bufferSizeOffset = 0x00;
constexpr size_t versionOffset = 0x04;
constexpr size_t providerVersionOffset = 0x08;
constexpr size_t numberOfProcessorsOffset = 0x0C;
constexpr size_t endTimeOffset = 0x10;
constexpr size_t timerResolutionOffset = 0x18;
constexpr size_t maximumFileSizeOffset = 0x1C;
constexpr size_t logFileModeOffset = 0x20;
constexpr size_t buffersWrittenOffset = 0x24;
constexpr size_t startBuffersOffset = 0x28;
constexpr size_t pointerSizeOffset = 0x2C;
constexpr size_t eventsLostOffset = 0x30;
constexpr size_t cpuSpeedOffset = 0x34;
constexpr size_t loggerNamePointerOffset = 0x38;

// The part behind the two name pointers, relative to where the time zone starts.
constexpr size_t timeZoneSize = 0xAC;
constexpr size_t bootTimeAfterTimeZone = 0xB0; // the time zone, then 4 bytes up to 8-alignment
constexpr size_t perfFreqAfterTimeZone = 0xB8;
constexpr size_t startTimeAfterTimeZone = 0xC0;
constexpr size_t reservedFlagsAfterTimeZone = 0xC8;
constexpr size_t buffersLostAfterTimeZone = 0xCC;
constexpr size_t fixedAfterTimeZone = 0xD0;

// TIME_ZONE_INFORMATION (learn.microsoft.com; powershell.etl at 0xB0: bias 300, then
// "@tzres.dll,-112").
constexpr size_t biasOffset = 0x00;
constexpr size_t standardNameOffset = 0x04;
constexpr size_t standardDateOffset = 0x44;
constexpr size_t standardBiasOffset = 0x54;
constexpr size_t daylightNameOffset = 0x58;
constexpr size_t daylightDateOffset = 0x98;
constexpr size_t daylightBiasOffset = 0xA8;
constexpr size_t timeZoneNameCharacters = 32;

size_t TimeZoneOffset(uint32_t pointerSize)
{
    if (pointerSize != 4 && pointerSize != 8) {
        throw std::invalid_argument("LogfileHeader: pointer size must be 4 or 8");
    }
    return loggerNamePointerOffset + 2 * pointerSize;
}

void StoreName(std::span<uint8_t> bytes, size_t offset, const std::u16string& name)
{
    if (name.size() >= timeZoneNameCharacters) {
        throw std::invalid_argument("LogfileHeader: time-zone name longer than 31 characters");
    }
    for (size_t index = 0; index < name.size(); ++index) {
        StoreU16(bytes, offset + 2 * index, static_cast<uint16_t>(name[index]));
    }
}

void StoreSystemTime(std::span<uint8_t> bytes, size_t offset, const SystemTime& time)
{
    for (size_t index = 0; index < time.size(); ++index) {
        StoreU16(bytes, offset + 2 * index, time[index]);
    }
}

void StoreTimeZone(std::span<uint8_t> bytes, const TimeZone& zone)
{
    StoreU32(bytes, biasOffset, static_cast<uint32_t>(zone.bias));
    StoreName(bytes, standardNameOffset, zone.standardName);
    StoreSystemTime(bytes, standardDateOffset, zone.standardDate);
    StoreU32(bytes, standardBiasOffset, static_cast<uint32_t>(zone.standardBias));
    StoreName(bytes, daylightNameOffset, zone.daylightName);
    StoreSystemTime(bytes, daylightDateOffset, zone.daylightDate);
    StoreU32(bytes, daylightBiasOffset, static_cast<uint32_t>(zone.daylightBias));
}

void AppendName(std::vector<uint8_t>& bytes, const std::u16string& name)
{
    for (const char16_t unit : name) {
        bytes.push_back(static_cast<uint8_t>(unit));
        bytes.push_back(static_cast<uint8_t>(unit >> 8));
    }
    bytes.push_back(0);
    bytes.push_back(0);
}

} // namespace

size_t LogfileHeaderFixedSize(uint32_t pointerSize)
{
    return TimeZoneOffset(pointerSize) + fixedAfterTimeZone;
}

std::vector<uint8_t> EncodeLogfileHeader(const LogfileHeader& header)
{
    const size_t zone = TimeZoneOffset(header.pointerSize);
    std::vector<uint8_t> bytes(LogfileHeaderFixedSize(header.pointerSize));
    StoreU32(bytes, bufferSizeOffset, header.bufferSize);
    StoreU32(bytes, versionOffset, header.version);
    StoreU32(bytes, providerVersionOffset, header.providerVersion);
    StoreU32(bytes, numberOfProcessorsOffset, header.numberOfProcessors);
    StoreI64(bytes, endTimeOffset, header.endTime);
    StoreU32(bytes, timerResolutionOffset, header.timerResolution);
    StoreU32(bytes, maximumFileSizeOffset, header.maximumFileSize);
    StoreU32(bytes, logFileModeOffset, header.logFileMode);
    StoreU32(bytes, buffersWrittenOffset, header.buffersWritten);
    StoreU32(bytes, startBuffersOffset, header.startBuffers);
    StoreU32(bytes, pointerSizeOffset, header.pointerSize);
    StoreU32(bytes, eventsLostOffset, header.eventsLost);
    StoreU32(bytes, cpuSpeedOffset, header.cpuSpeedMHz);
    if (header.pointerSize == 8) {
        StoreU64(bytes, loggerNamePointerOffset, header.loggerNamePointer);
        StoreU64(bytes, loggerNamePointerOffset + 8, header.logFileNamePointer);
    } else {
        StoreU32(bytes, loggerNamePointerOffset, static_cast<uint32_t>(header.loggerNamePointer));
        StoreU32(bytes, loggerNamePointerOffset + 4, static_cast<uint32_t>(header.logFileNamePointer));
    }
    StoreTimeZone(std::span<uint8_t>(bytes).subspan(zone, timeZoneSize), header.timeZone);
    StoreI64(bytes, zone + bootTimeAfterTimeZone, header.bootTime);
    StoreI64(bytes, zone + perfFreqAfterTimeZone, header.perfFreq);
    StoreI64(bytes, zone + startTimeAfterTimeZone, header.startTime);
    StoreU32(bytes, zone + reservedFlagsAfterTimeZone, static_cast<uint32_t>(header.clockType));
    StoreU32(bytes, zone + buffersLostAfterTimeZone, header.buffersLost);
    AppendName(bytes, header.loggerName);
    AppendName(bytes, header.logFileName);
    return bytes;
}

} // namespace EtlWriter
