#pragma once

// A log held in memory by the caller (tests, the fuzz target, a mapped file). Reads are
// views of that memory: nothing is copied.

#include "etl/ByteSource.h"

namespace Etl {

class MemorySource final : public ByteSource {
public:
    // bytes must outlive the source and every reader built on it.
    explicit MemorySource(std::span<const uint8_t> bytes) : bytes_(bytes) {}

    bool HoldsBytes() const override { return true; }
    uint64_t Size() const override { return bytes_.size(); }
    std::span<const uint8_t> Read(uint64_t offset, size_t length, std::vector<uint8_t>& scratch) override;

private:
    std::span<const uint8_t> bytes_;
};

} // namespace Etl
