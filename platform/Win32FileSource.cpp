#include "platform/Win32FileSource.h"

#include "etl/FormatError.h"
#include "etl/HexText.h"

#include <algorithm>
#include <string>

namespace Platform {

using Etl::Hex;

std::span<const uint8_t> Win32FileSource::Read(uint64_t offset, size_t length, std::vector<uint8_t>& scratch)
{
    if (offset > size || length > size - offset) {
        throw Etl::FormatError("Reading " + Hex(length) + " bytes at file offset " + Hex(offset) +
                               " passes the end of the " + Hex(size) + "-byte log");
    }
    scratch.resize(length);
    size_t done = 0;
    while (done < length) {
        // The offset rides in the OVERLAPPED structure, so no file pointer is moved and
        // offsets beyond 4 GB need no second call.
        const uint64_t at = offset + done;
        OVERLAPPED position{};
        position.Offset = static_cast<DWORD>(at & 0xFFFFFFFFu);
        position.OffsetHigh = static_cast<DWORD>(at >> 32);
        const DWORD chunk = static_cast<DWORD>(std::min<size_t>(length - done, 0x40000000));
        DWORD read = 0;
        if (!::ReadFile(file.Get(), scratch.data() + done, chunk, &read, &position)) {
            const DWORD error = ::GetLastError();
            throw Etl::FormatError("Reading " + Hex(length) + " bytes at file offset " + Hex(offset) +
                                   " of the log failed with error " + std::to_string(error));
        }
        if (read == 0) {
            throw Etl::FormatError("The log ends at file offset " + Hex(at) + ", before the " + Hex(length) +
                                   " bytes read at " + Hex(offset));
        }
        done += read;
    }
    return scratch;
}

std::unique_ptr<Etl::ByteSource> OpenWin32File(const wchar_t* path, DWORD& error)
{
    Base::UniqueKernelHandle file(::CreateFileW(path, GENERIC_READ,
                                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        error = ::GetLastError();
        return nullptr;
    }
    LARGE_INTEGER size{};
    if (!::GetFileSizeEx(file.Get(), &size)) {
        error = ::GetLastError();
        return nullptr;
    }
    error = ERROR_SUCCESS;
    return std::make_unique<Win32FileSource>(std::move(file), static_cast<uint64_t>(size.QuadPart));
}

} // namespace Platform
