#pragma once

// The one buffer behind standard output, shared by the narrow stream (std::cout: the
// front end's lines, the program's own trace lines) and the wide stream (std::wcout:
// the session reports and the event viewer), so that the two keep their order.
//
// Text waits in the buffer, as UTF-16, until the stream is flushed (std::endl, flush,
// std::cerr's tie to std::cout) or the buffer is full; then it goes out in one call:
// WriteConsoleW when standard output is a console, or one WriteFile of its
// EncodeRedirectedText form (UTF-8, CR LF) when it is a file or a pipe. Whether the
// handle is a console is decided once per handle: when the buffer is made, and again
// (GetConsoleMode) when the GetStdHandle that every flush asks answers another handle.
// Writing text costs no system call at all. Console calls go through
// Platform::Console(), the file write through Platform::File().
//
// Narrow text is in the console code page (Base::ConsoleToWide), taken once per handle
// together with the console decision; each narrow write is converted as a whole, so a
// multi-byte character must not be split across two writes (the program writes whole
// strings). A high surrogate that ends a flush waits for its other half.
//
// When standard output cannot be written (no handle, a closed pipe), the flush fails
// and the stream that flushed sets badbit; the text is dropped.

#include <windows.h>

#include <cstddef>
#include <streambuf>
#include <string>

namespace Base {

class ConsoleOutputBuffer : public std::wstreambuf {
public:
    // UTF-16 units held before a full buffer is written without being asked: room for
    // the longest event line and then some.
    static constexpr size_t Capacity = 4096;

    ConsoleOutputBuffer();
    ConsoleOutputBuffer(const ConsoleOutputBuffer&) = delete;
    ConsoleOutputBuffer& operator=(const ConsoleOutputBuffer&) = delete;
    // Writes what is left, a lone high surrogate included.
    ~ConsoleOutputBuffer() override;

    // The narrow side, for std::cout.
    std::streambuf& Narrow() noexcept { return narrow; }

protected:
    int_type overflow(int_type c) override;
    int sync() override;

private:
    // Converts every narrow write into the shared buffer at once; it has no buffer of its
    // own, so narrow and wide text are in the buffer in the order they were written.
    class NarrowSide : public std::streambuf {
    public:
        explicit NarrowSide(ConsoleOutputBuffer& owner) noexcept : owner(owner) {}

    protected:
        int_type overflow(int_type c) override;
        std::streamsize xsputn(const char* text, std::streamsize count) override;
        int sync() override;

    private:
        ConsoleOutputBuffer& owner;
    };

    // Takes the handle, whether it is a console, and the narrow code page.
    void Decide(HANDLE current);
    bool AppendNarrow(const char* text, size_t count);
    // Writes the buffered text; keepLoneSurrogate holds back a high surrogate at its end.
    bool Drain(bool keepLoneSurrogate);
    bool WriteToHandle(const wchar_t* text, size_t count);

    wchar_t text[Capacity];
    std::string encoded; // reused for every redirected write
    HANDLE handle = nullptr;
    bool console = false;
    UINT narrowCodePage = 0;
    NarrowSide narrow{*this};
};

} // namespace Base
