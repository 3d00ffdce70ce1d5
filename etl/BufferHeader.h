#pragma once

// The header every buffer of a log begins with (WMI_BUFFER_HEADER, 0x48 bytes).

#include <cstddef>
#include <cstdint>
#include <span>

namespace Etl {

constexpr size_t bufferHeaderSize = 0x48;

// Bits of BufferHeader::flags.
enum BufferFlag : uint16_t {
    BufferFlagProcessorIndex = 0x20, // the processor is the 16-bit index, not a byte
    BufferFlagCompressed = 0x40,     // the bytes after the header are an XPRESS stream
};

struct BufferHeader {
    // Bytes the buffer takes in the file, header included: the session's buffer size, or
    // for a compressed buffer the header and its compressed stream (not padded).
    uint32_t size = 0;
    int64_t timeStamp = 0;
    // Increases across the buffers the session wrote; orders one processor's buffers,
    // which a circular log or several flushing threads write out of order.
    int64_t sequence = 0;
    uint16_t processor = 0; // the processor whose records the buffer holds
    uint16_t loggerId = 0;
    // Bytes in use, header included; for a compressed buffer, once decompressed.
    uint32_t filled = 0;
    uint16_t flags = 0; // BufferFlag bits and others the reader does not need
    uint16_t type = 0;  // 4 for the buffer with the log file header

    bool Compressed() const { return (flags & BufferFlagCompressed) != 0; }
    bool ProcessorIndex() const { return (flags & BufferFlagProcessorIndex) != 0; }
};

// Reads the header from the first bufferHeaderSize bytes; the caller checks that there
// are that many.
BufferHeader ReadBufferHeader(std::span<const uint8_t> bytes);

} // namespace Etl
