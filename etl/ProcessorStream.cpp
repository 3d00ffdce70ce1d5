#include "etl/ProcessorStream.h"

namespace Etl {

namespace {

// Records begin on 8-byte boundaries of their buffer.
size_t AlignRecord(size_t offset)
{
    return (offset + 7) / 8 * 8;
}

} // namespace

bool ProcessorStream::Advance(BufferLoader& loader, ReadCounts& counts, unsigned logPointerSize)
{
    for (;;) {
        if (next_ == 0 || position_ >= bytes_.Size()) {
            if (next_ == buffers_.size()) {
                loader.Release(storage_);
                bytes_ = ByteCursor();
                return false;
            }
            const BufferEntry& entry = *buffers_[next_++];
            bytes_ = ByteCursor(loader.Load(entry, storage_));
            position_ = entry.place.index == 0 ? headerRecordEnd_ : bufferHeaderSize;
            continue;
        }
        const auto head = ReadRecordHead(bytes_, position_, Buffer().place, logPointerSize);
        if (!head) {
            position_ = bytes_.Size(); // the end-of-data marker
            continue;
        }
        headOffset_ = position_;
        // Every header is at least 4 bytes, so this always moves on.
        position_ = AlignRecord(position_ + head->size);
        if (head->layout == RecordLayout::Undecoded) {
            ++counts.undecoded[head->headerType];
            continue;
        }
        if (!head->stamped) {
            ++counts.skipped[static_cast<size_t>(head->kind)];
            continue;
        }
        head_ = *head;
        return true;
    }
}

} // namespace Etl
