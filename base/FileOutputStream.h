#pragma once

// An output stream on a file that other processes may read and write while it is open
// (deny-none sharing), so that a trace file can be tailed while the program runs.
// Output is held in memory until 4096 bytes are pending, flush() is called, or the
// stream is closed; a write the file refuses drops the pending bytes and sets badbit
// (from a write) or failbit (from Close).
//
// Like any std::ostream, one thread writes at a time: the stream and its pending bytes
// take no lock, and a caller shared by several threads (the trace file sink) serialises
// its writes itself.

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
    // Writes what is pending and closes the file; harmless when nothing is open.
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
