#pragma once

// What a LogReader has read so far: the records it delivered and skipped, by kind, and
// the buffers of the log.

#include "etl/Event.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace Etl {

constexpr size_t headerKindCount = static_cast<size_t>(HeaderKind::Wpp64) + 1;

struct ReadCounts {
    // Records delivered by Next(), by HeaderKind; the log file header is one System32 or
    // System64 record.
    std::array<uint64_t, headerKindCount> delivered{};
    // Records of a kind the reader decodes that it skipped all the same: messages written
    // without a time stamp, which have no place in a stream ordered by time.
    std::array<uint64_t, headerKindCount> skipped{};
    // Records of trace header types the reader does not decode, skipped by their size, by
    // the type byte of their header.
    std::array<uint64_t, 256> undecoded{};
    uint64_t buffers = 0; // buffers in the log, the one with the log file header included
    uint64_t compressedBuffers = 0;

    uint64_t Delivered(HeaderKind kind) const { return delivered[static_cast<size_t>(kind)]; }
    uint64_t Skipped(HeaderKind kind) const { return skipped[static_cast<size_t>(kind)]; }
};

} // namespace Etl
