#pragma once

// The 0x48-byte header at the start of every buffer of an .etl file (WMI_BUFFER_HEADER in
// Windows' own headers; its documented parts are ETW_BUFFER_HEADER and ETW_BUFFER_CONTEXT
// on learn.microsoft.com; the rest from Geoff Chappell's page on WMI_BUFFER_HEADER and the
// samples). Fields this struct leaves out are written as zeros: Windows leaves kernel
// pointers at 0x20 and 0x38 (list links of the buffer pool), which no reader uses.

#include <cstddef>
#include <cstdint>
#include <span>

namespace EtlWriter {

inline constexpr size_t bufferHeaderSize = 0x48;

// BufferFlag bits.
inline constexpr uint16_t bufferFlagFlushMarker = 0x0001;    // the last buffer of a log
inline constexpr uint16_t bufferFlagProcessorIndex = 0x0020; // ClientContext holds a 16-bit index
inline constexpr uint16_t bufferFlagCompressed = 0x0040;     // XPRESS data behind the header

// BufferType values.
inline constexpr uint16_t bufferTypeGeneric = 0;
inline constexpr uint16_t bufferTypeHeader = 4;

// EtwBufferStateFlush: every buffer of every sample is written in this state.
inline constexpr uint32_t bufferStateFlush = 3;

struct BufferHeader {
    uint32_t bufferSize = 0; // bytes the buffer takes in the file (compressed: 0x48 + the data)
    uint32_t savedOffset = 0;
    uint32_t currentOffset = 0;
    int64_t timestamp = 0; // flush time, in the log's clock
    int64_t sequenceNumber = 0;
    // With bufferFlagProcessorIndex a 16-bit processor index; without it the processor
    // number in the low byte and the alignment byte above it.
    uint16_t processor = 0;
    // ETW_BUFFER_CONTEXT.Alignment, "always eight" (learn.microsoft.com) and 8 in every
    // buffer of KernelProcess-Win7.etl, but 0 in the header buffers of the two compressed
    // samples. Written only without bufferFlagProcessorIndex.
    uint8_t alignment = 8;
    uint16_t loggerId = 0;
    uint32_t state = bufferStateFlush;
    uint32_t filledBytes = 0; // header and records, before compression
    uint16_t flags = 0;
    uint16_t type = bufferTypeGeneric;
};

// Writes the header into the first 0x48 bytes of out (which must hold at least that many).
void EncodeBufferHeader(const BufferHeader& header, std::span<uint8_t> out);

} // namespace EtlWriter
