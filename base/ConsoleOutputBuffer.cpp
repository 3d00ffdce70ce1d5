#include "base/ConsoleOutputBuffer.h"

#include "base/RedirectedText.h"
#include "platform/ConsoleApi.h"
#include "platform/FileApi.h"

#include <climits>
#include <string>

namespace Base {

namespace {

bool IsUsable(HANDLE handle)
{
    return handle != nullptr && handle != INVALID_HANDLE_VALUE;
}

// Hands the text to write(piece, length, &written) until all of it is taken: a pipe may
// take less than it was given, and the rest follows. False when a call fails or takes
// nothing.
template <typename Unit, typename Write> bool WriteAll(const Unit* text, size_t count, Write write)
{
    // The calls take DWORD counts.
    constexpr size_t largestPiece = 0x10000000;
    while (count > 0) {
        DWORD written = 0;
        const auto length = static_cast<DWORD>(count < largestPiece ? count : largestPiece);
        if (!write(text, length, &written) || written == 0) {
            return false;
        }
        text += written;
        count -= written;
    }
    return true;
}

} // namespace

ConsoleOutputBuffer::ConsoleOutputBuffer()
{
    setp(text, text + Capacity);
    Decide(Platform::Console().GetStdHandle(STD_OUTPUT_HANDLE));
}

ConsoleOutputBuffer::~ConsoleOutputBuffer()
{
    Drain(false);
}

ConsoleOutputBuffer::int_type ConsoleOutputBuffer::overflow(int_type c)
{
    // Full, or asked to write one more unit: make room first. At most a held-back high
    // surrogate stays behind, so there is room for c afterwards.
    if (!Drain(true)) {
        return traits_type::eof();
    }
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
    }
    return traits_type::not_eof(c);
}

int ConsoleOutputBuffer::sync()
{
    return Drain(true) ? 0 : -1;
}

void ConsoleOutputBuffer::Decide(HANDLE current)
{
    handle = current;
    DWORD mode = 0;
    console = IsUsable(current) && Platform::Console().GetConsoleMode(current, &mode) != FALSE;
    narrowCodePage = ::GetConsoleCP();
}

bool ConsoleOutputBuffer::AppendNarrow(const char* narrowText, size_t count)
{
    if (count == 0) {
        return true;
    }
    // A byte never makes more than one UTF-16 unit, so count units of room always do.
    if (static_cast<size_t>(epptr() - pptr()) < count && !Drain(true)) {
        return false;
    }
    const size_t room = static_cast<size_t>(epptr() - pptr());
    if (count <= room) {
        const int produced = ::MultiByteToWideChar(narrowCodePage, 0, narrowText, static_cast<int>(count), pptr(),
                                                   static_cast<int>(room));
        pbump(produced > 0 ? produced : 0);
        return true;
    }
    // Longer than the whole buffer (never a line of the program's own): converted aside
    // and passed on as wide text.
    const int length = static_cast<int>(count > INT_MAX ? INT_MAX : count);
    const int needed = ::MultiByteToWideChar(narrowCodePage, 0, narrowText, length, nullptr, 0);
    if (needed <= 0) {
        return true;
    }
    std::wstring wide(static_cast<size_t>(needed), L'\0');
    ::MultiByteToWideChar(narrowCodePage, 0, narrowText, length, wide.data(), needed);
    return sputn(wide.data(), static_cast<std::streamsize>(wide.size())) == static_cast<std::streamsize>(wide.size());
}

bool ConsoleOutputBuffer::Drain(bool keepLoneSurrogate)
{
    size_t count = static_cast<size_t>(pptr() - pbase());
    const bool hold = keepLoneSurrogate && count > 0 && IS_HIGH_SURROGATE(pbase()[count - 1]);
    if (hold) {
        --count;
    }
    const bool written = count == 0 || WriteToHandle(pbase(), count);
    // Whatever happened, the text is gone: a failed write is not tried again.
    const wchar_t held = hold ? pbase()[count] : L'\0';
    setp(text, text + Capacity);
    if (hold) {
        text[0] = held;
        pbump(1);
    }
    return written;
}

bool ConsoleOutputBuffer::WriteToHandle(const wchar_t* units, size_t count)
{
    const HANDLE current = Platform::Console().GetStdHandle(STD_OUTPUT_HANDLE);
    if (current != handle) {
        Decide(current);
    }
    if (!IsUsable(handle)) {
        return false;
    }
    if (console) {
        return WriteAll(units, count, [this](const wchar_t* piece, DWORD length, DWORD* written) {
            return Platform::Console().WriteConsoleW(handle, piece, length, written, nullptr);
        });
    }
    EncodeRedirectedText(std::wstring_view(units, count), encoded);
    return WriteAll(encoded.data(), encoded.size(), [this](const char* piece, DWORD length, DWORD* written) {
        return Platform::File().WriteFile(handle, piece, length, written, nullptr);
    });
}

ConsoleOutputBuffer::NarrowSide::int_type ConsoleOutputBuffer::NarrowSide::overflow(int_type c)
{
    if (traits_type::eq_int_type(c, traits_type::eof())) {
        return traits_type::not_eof(c);
    }
    const char byte = traits_type::to_char_type(c);
    return owner.AppendNarrow(&byte, 1) ? c : traits_type::eof();
}

std::streamsize ConsoleOutputBuffer::NarrowSide::xsputn(const char* narrowText, std::streamsize count)
{
    return owner.AppendNarrow(narrowText, static_cast<size_t>(count)) ? count : 0;
}

int ConsoleOutputBuffer::NarrowSide::sync()
{
    return owner.sync();
}

} // namespace Base
