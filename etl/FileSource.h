#pragma once

// A log read from a file, one piece at a time: the file stays open (and shared for
// reading) as long as the source lives, and only the pieces the reader asks for are in
// memory.

#include "etl/ByteSource.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <system_error>

namespace Etl {

class FileSource final : public ByteSource {
public:
    // stream: open in binary mode on a file of size bytes (OpenFile below makes one).
    FileSource(std::ifstream stream, uint64_t size) : stream_(std::move(stream)), size_(size) {}

    bool HoldsBytes() const override { return false; }
    uint64_t Size() const override { return size_; }
    std::span<const uint8_t> Read(uint64_t offset, size_t length, std::vector<uint8_t>& scratch) override;

private:
    std::ifstream stream_;
    uint64_t size_ = 0;
};

// Opens the file at path for reading. On failure returns nothing and sets error:
// std::errc::no_such_file_or_directory when nothing exists at path, the error of the
// file system query when there is one, else std::errc::io_error. On success clears error.
std::unique_ptr<ByteSource> OpenFile(const std::filesystem::path& path, std::error_code& error);

} // namespace Etl
