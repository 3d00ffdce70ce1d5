#pragma once

// A log written to a file, created (or truncated) when the object is made and closed when
// it is destroyed. Consecutive writes go straight on through the stream's buffer; only a
// write elsewhere seeks, so streaming a large log costs no more than writing it in order.

#include "tests/etlwriter/Output.h"

#include <filesystem>
#include <fstream>

namespace EtlWriter {

class FileOutput final : public Output {
public:
    // Throws std::runtime_error when the file cannot be created.
    explicit FileOutput(const std::filesystem::path& path);

    void WriteAt(uint64_t offset, std::span<const uint8_t> bytes) override;

    // Writes out what the stream still buffers. Throws std::runtime_error on failure.
    void Flush() override;

private:
    std::filesystem::path path;
    std::ofstream stream;
    uint64_t position = 0;
};

} // namespace EtlWriter
