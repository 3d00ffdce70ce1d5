#include "base/FileOutputStream.h"

#include "platform/FileApi.h"

#include <windows.h>

namespace Base {

namespace {

constexpr size_t flushThreshold = 4096;

} // namespace

bool FileOutputStream::Buffer::Open(const std::wstring& path)
{
    Close();
    file.Reset(Platform::File().CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                            CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file.IsValid();
}

bool FileOutputStream::Buffer::Close()
{
    const bool flushed = Flush();
    file.Reset();
    return flushed;
}

FileOutputStream::Buffer::int_type FileOutputStream::Buffer::overflow(int_type c)
{
    if (!IsOpen()) {
        return traits_type::eof();
    }
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
        pending.push_back(traits_type::to_char_type(c));
        if (pending.size() >= flushThreshold && !Flush()) {
            return traits_type::eof();
        }
    }
    return traits_type::not_eof(c);
}

std::streamsize FileOutputStream::Buffer::xsputn(const char* data, std::streamsize count)
{
    if (!IsOpen()) {
        return 0;
    }
    pending.append(data, static_cast<size_t>(count));
    if (pending.size() >= flushThreshold && !Flush()) {
        return 0;
    }
    return count;
}

int FileOutputStream::Buffer::sync()
{
    return Flush() ? 0 : -1;
}

bool FileOutputStream::Buffer::Flush()
{
    if (pending.empty()) {
        return true;
    }
    if (!IsOpen()) {
        return false;
    }
    // WriteFile may take less than it was given (a full disk, a pipe); the rest is
    // offered again until nothing is left or a call makes no progress. What cannot be
    // written is dropped, so one bad write does not grow the buffer without bound.
    const char* next = pending.data();
    size_t left = pending.size();
    bool ok = true;
    while (left > 0) {
        const DWORD chunk = left > MAXDWORD ? MAXDWORD : static_cast<DWORD>(left);
        DWORD written = 0;
        if (!Platform::File().WriteFile(file.Get(), next, chunk, &written, nullptr) || written == 0) {
            ok = false;
            break;
        }
        next += written;
        left -= written;
    }
    pending.clear();
    return ok;
}

FileOutputStream::FileOutputStream() : std::ostream(&buffer)
{
}

FileOutputStream::~FileOutputStream()
{
    buffer.Close();
}

void FileOutputStream::Open(const std::wstring& path)
{
    if (buffer.Open(path)) {
        clear();
    } else {
        setstate(std::ios_base::failbit);
    }
}

void FileOutputStream::Close()
{
    if (!buffer.Close()) {
        setstate(std::ios_base::failbit);
    }
}

} // namespace Base
