#pragma once

// The records of one processor's buffers, in the order the processor wrote them: its
// buffers by sequence number (so a circular log that wrapped, or buffers flushed out of
// order, read right), each buffer's records from its header to its filled bytes or the
// end-of-data marker. One buffer is in memory at a time.

#include "etl/BufferIndex.h"
#include "etl/BufferLoader.h"
#include "etl/ByteCursor.h"
#include "etl/ReadCounts.h"
#include "etl/RecordHead.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Etl {

class ProcessorStream {
public:
    // buffers: this processor's, in sequence order. headerRecordEnd: where the records of
    // buffer 0 continue after the log file header record, which is delivered apart.
    ProcessorStream(std::vector<const BufferEntry*> buffers, size_t headerRecordEnd)
        : buffers_(std::move(buffers)), headerRecordEnd_(headerRecordEnd)
    {
    }

    // Moves to the next record to deliver, loading the next buffer when one is used up
    // (which ends the life of the bytes the previous record's event points into). Records
    // of undecoded kinds and messages without a time stamp are counted in counts and passed
    // over. Returns false when the processor has no more records. Throws Etl::FormatError
    // for a buffer that cannot be loaded and a record that cannot be sized.
    bool Advance(BufferLoader& loader, ReadCounts& counts, unsigned logPointerSize);

    // The record Advance moved to.
    const RecordHead& Head() const { return head_; }
    ByteCursor Record() const { return bytes_.At(headOffset_, head_.size); }
    size_t RecordOffset() const { return headOffset_; }
    const BufferEntry& Buffer() const { return *buffers_[next_ - 1]; }

private:
    std::vector<const BufferEntry*> buffers_;
    size_t headerRecordEnd_;
    size_t next_ = 0; // the buffer to load when this one is used up
    std::vector<uint8_t> storage_;
    ByteCursor bytes_;    // the loaded buffer's filled bytes
    size_t position_ = 0; // of the record after the head
    RecordHead head_;
    size_t headOffset_ = 0;
};

} // namespace Etl
