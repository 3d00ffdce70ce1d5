#pragma once

// An output stream on a file that other processes may read and write while it is open
// (deny-none sharing), so that a trace file can be tailed while the program runs.

#include "base/UniqueHandle.h"

#include <ostream>
#include <streambuf>
#include <string>

namespace Base {

class FileOutputStream : public std::ostream {
public:
    FileOutputStream();
    FileOutputStream(const FileOutputStream&) = delete;
    FileOutputStream& operator=(const FileOutputStream&) = delete;
    ~FileOutputStream() override;

    // Creates or truncates the file. On failure the stream is left closed with its
    // fail state set (which throws if the exception mask asks for it).
    void Open(const std::wstring& path);
    void Close();
    bool IsOpen() const noexcept { return buffer.IsOpen(); }

private:
    class Buffer : public std::streambuf {
    public:
        bool Open(const std::wstring& path);
        bool Close();
        bool IsOpen() const noexcept { return file.IsValid(); }

    protected:
        int_type overflow(int_type c) override;
        std::streamsize xsputn(const char* data, std::streamsize count) override;
        int sync() override;

    private:
        bool Flush();

        UniqueKernelHandle file;
        std::string pending;
    };

    Buffer buffer;
};

} // namespace Base
