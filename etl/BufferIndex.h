#pragma once

// The first pass over a log: the header of every buffer, read one after another from the
// start of the file, each checked against the file and the limits before any buffer is
// read whole. What the pass keeps is a few dozen bytes a buffer.

#include "etl/BufferHeader.h"
#include "etl/BufferPlace.h"
#include "etl/ByteSource.h"

#include <cstdint>
#include <vector>

namespace Etl {

struct BufferEntry {
    BufferPlace place;
    BufferHeader header;
};

// The buffers of source in file order. Throws Etl::FormatError naming the buffer for an
// empty source, a header cut short by the end of the file, a size below 0x48, above
// maxBufferSize or past the end of the file, and filled bytes below 0x48 or above the
// buffer's size (for a compressed buffer, above maxBufferSize).
std::vector<BufferEntry> IndexBuffers(ByteSource& source, uint32_t maxBufferSize);

} // namespace Etl
