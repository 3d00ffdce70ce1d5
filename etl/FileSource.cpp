#include "etl/FileSource.h"

#include "etl/FormatError.h"
#include "etl/HexText.h"

namespace Etl {

std::span<const uint8_t> FileSource::Read(uint64_t offset, size_t length, std::vector<uint8_t>& scratch)
{
    if (offset > size_ || length > size_ - offset) {
        throw FormatError("Reading " + Hex(length) + " bytes at file offset " + Hex(offset) +
                          " passes the end of the " + Hex(size_) + "-byte log");
    }
    scratch.resize(length);
    stream_.clear();
    stream_.seekg(static_cast<std::streamoff>(offset));
    stream_.read(reinterpret_cast<char*>(scratch.data()), static_cast<std::streamsize>(length));
    if (!stream_ || static_cast<size_t>(stream_.gcount()) != length) {
        throw FormatError("Reading " + Hex(length) + " bytes at file offset " + Hex(offset) + " of the log failed");
    }
    return scratch;
}

std::unique_ptr<ByteSource> OpenFile(const std::filesystem::path& path, std::error_code& error)
{
    error.clear();
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        std::error_code statusError;
        const auto status = std::filesystem::status(path, statusError);
        if (status.type() == std::filesystem::file_type::not_found) {
            error = std::make_error_code(std::errc::no_such_file_or_directory);
        } else if (statusError) {
            error = statusError;
        } else {
            error = std::make_error_code(std::errc::io_error);
        }
        return nullptr;
    }
    stream.seekg(0, std::ios::end);
    const std::streamoff end = stream.tellg();
    if (!stream || end < 0) {
        error = std::make_error_code(std::errc::io_error);
        return nullptr;
    }
    stream.seekg(0, std::ios::beg);
    return std::make_unique<FileSource>(std::move(stream), static_cast<uint64_t>(end));
}

} // namespace Etl
