#pragma once

// A log kept in memory, for tests that inspect every byte of what the writer produced.

#include "tests/etlwriter/Output.h"

#include <vector>

namespace EtlWriter {

class MemoryOutput final : public Output {
public:
    void WriteAt(uint64_t offset, std::span<const uint8_t> bytes) override;

    const std::vector<uint8_t>& Bytes() const { return bytes; }

private:
    std::vector<uint8_t> bytes;
};

} // namespace EtlWriter
