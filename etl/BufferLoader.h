#pragma once

// Brings one buffer into memory, whole: a view of a memory source, a read from a file, or
// the decompression of a compressed buffer behind a copy of its header, so that record
// offsets count from the buffer's first byte in every case. Every byte it keeps in the
// callers' storage counts against one budget for the whole log.

#include "etl/BufferIndex.h"
#include "etl/ByteSource.h"

#include <cstdint>
#include <span>
#include <vector>

namespace Etl {

class BufferLoader {
public:
    // maxBytesHeld: bytes the storage vectors passed to Load may hold together.
    BufferLoader(ByteSource& source, uint64_t maxBytesHeld) : source_(source), maxBytesHeld_(maxBytesHeld) {}

    // The buffer's filled bytes, header included. The span points into storage or into
    // the source and stays valid until storage is next used or the source destroyed.
    // Throws Etl::FormatError naming the buffer when the budget would be passed, the
    // source fails, or a compressed buffer does not decompress to its filled bytes.
    std::span<const uint8_t> Load(const BufferEntry& entry, std::vector<uint8_t>& storage);

    // Gives back what storage holds, to the budget and to the heap.
    void Release(std::vector<uint8_t>& storage);

private:
    void Reserve(const BufferEntry& entry, std::vector<uint8_t>& storage, size_t bytes);
    std::span<const uint8_t> Decompress(const BufferEntry& entry, std::vector<uint8_t>& storage);

    ByteSource& source_;
    uint64_t maxBytesHeld_;
    uint64_t held_ = 0;
    std::vector<uint8_t> compressed_; // a compressed buffer read from a file
};

} // namespace Etl
