#include "etl/BufferHeader.h"

#include "etl/ByteCursor.h"

namespace Etl {

BufferHeader ReadBufferHeader(std::span<const uint8_t> bytes)
{
    // Offsets from the public write-ups of WMI_BUFFER_HEADER and of ETW_BUFFER_CONTEXT
    // (Microsoft Learn), checked against every sample: sequence numbers 0..N at 0x18, the
    // filled bytes at 0x30 (for the compressed buffers of SelfDescribingSingleEvent.etl, the
    // decompressed length plus 0x48). KernelProcess-Win7.etl, whose buffers lack flag 0x20,
    // holds 0x08 in the byte after the processor number: there only the low byte counts.
    ByteCursor cursor(bytes);
    BufferHeader header;
    header.size = cursor.U32();                  // 0x00 BufferSize
    cursor.Skip(12);                             // 0x04 SavedOffset, CurrentOffset, ReferenceCount
    header.timeStamp = cursor.I64();             // 0x10
    header.sequence = cursor.I64();              // 0x18 SequenceNumber
    cursor.Skip(8);                              // 0x20 clock type and frequency bits, pointers in memory
    const uint8_t processorNumber = cursor.U8(); // 0x28 ClientContext.ProcessorNumber
    const uint8_t processorHigh = cursor.U8();   // 0x29 Alignment, or the high byte of the index
    header.loggerId = cursor.U16();              // 0x2A ClientContext.LoggerId
    cursor.Skip(4);                              // 0x2C State
    header.filled = cursor.U32();                // 0x30 Offset
    header.flags = cursor.U16();                 // 0x34 BufferFlag
    header.type = cursor.U16();                  // 0x36 BufferType
    header.processor =
        header.ProcessorIndex() ? static_cast<uint16_t>(processorNumber | processorHigh << 8) : processorNumber;
    return header;
}

} // namespace Etl
