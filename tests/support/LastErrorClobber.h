#pragma once

// Puts a buffer in front of std::wcout's current one that sets the thread's last error
// to ERROR_INVALID_ACCESS (12) on every call, and passes everything through unchanged.
// A console, a pipe or a file under the stream may change the last error on any write;
// this makes it happen on every one, so that a test sees whether an error code was taken
// before the message that reports it was written. The previous buffer comes back when
// the object goes.

#include <iostream>
#include <streambuf>

namespace Testing {

// The code the buffer leaves behind.
constexpr unsigned long ClobberedLastError = 12;

class LastErrorClobber {
public:
    LastErrorClobber();
    LastErrorClobber(const LastErrorClobber&) = delete;
    LastErrorClobber& operator=(const LastErrorClobber&) = delete;
    ~LastErrorClobber();

private:
    class Buffer : public std::wstreambuf {
    public:
        explicit Buffer(std::wstreambuf* next) : next(next) {}

    protected:
        int_type overflow(int_type c) override;
        std::streamsize xsputn(const wchar_t* text, std::streamsize count) override;
        int sync() override;
        // Positions are the next buffer's, so that tellp still finds where output stands.
        pos_type seekoff(off_type offset, std::ios_base::seekdir direction, std::ios_base::openmode which) override;

    private:
        std::wstreambuf* next;
    };

    std::wstreambuf* saved;
    Buffer buffer;
};

} // namespace Testing
