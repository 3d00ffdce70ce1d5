#pragma once

// The first bytes of a record in a buffer: which header it was written with, how many
// bytes it takes and, where it has one, its time stamp. Enough to size every record and
// to merge the records of several processors by time before decoding any of them.

#include "etl/BufferPlace.h"
#include "etl/ByteCursor.h"
#include "etl/Event.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace Etl {

// MESSAGE_TRACE_HEADER option bits, TRACE_MESSAGE_*: the TraceMessage documentation gives
// the first five, each of which asks for an optional field after the 8-byte header, in
// this order; the last two say the size of the producer's pointers.
enum MessageOption : uint16_t {
    MessageSequence = 0x0001,    // 4 bytes
    MessageGuid = 0x0002,        // 16 bytes
    MessageComponentId = 0x0004, // 4 bytes, instead of the GUID
    MessageTimeStamp = 0x0008,   // 8 bytes
    MessageSystemInfo = 0x0020,  // thread id and process id, 4 bytes each
    MessagePointer32 = 0x0040,   // the arguments were written by a 32-bit producer
    MessagePointer64 = 0x0080,
};

enum class RecordLayout : uint8_t {
    System,    // SYSTEM_TRACE_HEADER
    Compact,   // the same without the processor times
    PerfInfo,  // PERFINFO_TRACE_HEADER
    Event,     // EVENT_HEADER
    Full,      // EVENT_TRACE_HEADER
    Instance,  // EVENT_INSTANCE_GUID_HEADER
    Message,   // MESSAGE_TRACE_HEADER and the optional fields its flags ask for
    Undecoded, // a trace header type the reader does not decode: sized, never interpreted
};

struct RecordHead {
    RecordLayout layout = RecordLayout::Undecoded;
    HeaderKind kind = HeaderKind::Event64; // meaningful unless layout is Undecoded
    uint8_t headerType = 0;                // the type byte of a trace header; 0 for messages
    uint32_t size = 0;                     // bytes of the record, header included, before alignment
    uint32_t headerSize = 0;               // bytes before the extended items or the user data
    bool stamped = true;                   // false for a message written without a time stamp
    int64_t stamp = 0;                     // as written, in the log's clock
};

// Reads the head of the record at position of buffer, whose span ends at the buffer's
// filled bytes. Returns nothing at the end-of-data marker 0xFFFFFFFF. Throws
// Etl::FormatError naming place and position for bytes that begin no record header, a
// size smaller than the header's own, and a record that runs past the filled bytes.
// logPointerSize (4 or 8) sizes messages that do not say which they are.
std::optional<RecordHead> ReadRecordHead(const ByteCursor& buffer, size_t position, const BufferPlace& place,
                                         unsigned logPointerSize);

} // namespace Etl
