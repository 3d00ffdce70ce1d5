#include "tests/etlwriter/BufferHeader.h"

#include "tests/etlwriter/LittleEndian.h"

#include <algorithm>

namespace EtlWriter {

namespace {

// Offsets: ETW_BUFFER_HEADER documents TimeStamp 0x10, ClientContext 0x28 and FilledBytes
// 0x30; BufferSize 0x00, SavedOffset 0x04, CurrentOffset 0x08, SequenceNumber 0x18, State
// 0x2C, BufferFlag 0x34 and BufferType 0x36 are WMI_BUFFER_HEADER's, and match what every
// sample holds there (powershell.etl buffer 1: 0x2000, 0x1B30, 0x2138, stamp, sequence 2,
// context 0x00210006, state 3, filled 0x1B30, flag 0x20, type 0).
constexpr size_t bufferSizeOffset = 0x00;
constexpr size_t savedOffsetOffset = 0x04;
constexpr size_t currentOffsetOffset = 0x08;
constexpr size_t timestampOffset = 0x10;
constexpr size_t sequenceNumberOffset = 0x18;
constexpr size_t processorOffset = 0x28; // ETW_BUFFER_CONTEXT: processor, then LoggerId
constexpr size_t alignmentOffset = 0x29;
constexpr size_t loggerIdOffset = 0x2A;
constexpr size_t stateOffset = 0x2C;
constexpr size_t filledBytesOffset = 0x30;
constexpr size_t flagsOffset = 0x34;
constexpr size_t typeOffset = 0x36;

} // namespace

void EncodeBufferHeader(const BufferHeader& header, std::span<uint8_t> out)
{
    const std::span<uint8_t> bytes = out.first(bufferHeaderSize);
    std::fill(bytes.begin(), bytes.end(), uint8_t{0});
    StoreU32(bytes, bufferSizeOffset, header.bufferSize);
    StoreU32(bytes, savedOffsetOffset, header.savedOffset);
    StoreU32(bytes, currentOffsetOffset, header.currentOffset);
    StoreI64(bytes, timestampOffset, header.timestamp);
    StoreI64(bytes, sequenceNumberOffset, header.sequenceNumber);
    if ((header.flags & bufferFlagProcessorIndex) != 0) {
        StoreU16(bytes, processorOffset, header.processor);
    } else {
        StoreU8(bytes, processorOffset, static_cast<uint8_t>(header.processor));
        StoreU8(bytes, alignmentOffset, header.alignment);
    }
    StoreU16(bytes, loggerIdOffset, header.loggerId);
    StoreU32(bytes, stateOffset, header.state);
    StoreU32(bytes, filledBytesOffset, header.filledBytes);
    StoreU16(bytes, flagsOffset, header.flags);
    StoreU16(bytes, typeOffset, header.type);
}

} // namespace EtlWriter
