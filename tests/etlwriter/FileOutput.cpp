#include "tests/etlwriter/FileOutput.h"

#include <stdexcept>
#include <string>

namespace EtlWriter {

FileOutput::FileOutput(const std::filesystem::path& path)
    : path(path), stream(path, std::ios::binary | std::ios::out | std::ios::trunc)
{
    if (!stream) {
        throw std::runtime_error("FileOutput: cannot create " + path.string());
    }
}

void FileOutput::WriteAt(uint64_t offset, std::span<const uint8_t> bytes)
{
    if (offset != position) {
        stream.seekp(static_cast<std::streamoff>(offset));
    }
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!stream) {
        throw std::runtime_error("FileOutput: cannot write " + std::to_string(bytes.size()) + " bytes at offset " +
                                 std::to_string(offset) + " of " + path.string());
    }
    position = offset + bytes.size();
}

void FileOutput::Flush()
{
    stream.flush();
    if (!stream) {
        throw std::runtime_error("FileOutput: cannot write out " + path.string());
    }
}

} // namespace EtlWriter
