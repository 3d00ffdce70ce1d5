#pragma once

// An .etl file read through the Win32 file API for the built-in reader: the path is wide
// (any character a Windows path may hold), the file is shared for reading, writing and
// deletion (a session may still be writing it), and a failure to open keeps the system's
// error code, which VIEW reports ("Unable to find file" for 2).

#include "base/UniqueHandle.h"
#include "etl/ByteSource.h"

#include <windows.h>

#include <memory>

namespace Platform {

class Win32FileSource final : public Etl::ByteSource {
public:
    Win32FileSource(Base::UniqueKernelHandle file, uint64_t size) : file(std::move(file)), size(size) {}

    bool HoldsBytes() const override { return false; }
    uint64_t Size() const override { return size; }
    // Throws Etl::FormatError when the range passes the end of the file or the read fails
    // (the text names the offset and the system's error code).
    std::span<const uint8_t> Read(uint64_t offset, size_t length, std::vector<uint8_t>& scratch) override;

private:
    Base::UniqueKernelHandle file;
    uint64_t size;
};

// Opens the file for reading. On failure returns null and error holds the system's code
// (ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED...); on success 0.
std::unique_ptr<Etl::ByteSource> OpenWin32File(const wchar_t* path, DWORD& error);

} // namespace Platform
