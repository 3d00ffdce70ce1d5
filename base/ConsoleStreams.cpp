#include "base/ConsoleStreams.h"

#include "base/TextConversion.h"
#include "platform/ConsoleApi.h"

#include <windows.h>

#include <cstdio>
#include <iostream>
#include <streambuf>
#include <string>

namespace Base {

namespace {

class WideConsoleBuffer : public std::wstreambuf {
protected:
    int_type overflow(int_type c) override
    {
        if (traits_type::eq_int_type(c, traits_type::eof())) {
            return traits_type::not_eof(c);
        }
        const wchar_t unit = traits_type::to_char_type(c);
        return Write(&unit, 1) ? c : traits_type::eof();
    }

    std::streamsize xsputn(const wchar_t* text, std::streamsize count) override
    {
        return Write(text, static_cast<size_t>(count)) ? count : 0;
    }

    int sync() override { return std::fflush(stdout) == 0 ? 0 : -1; }

private:
    static bool Write(const wchar_t* text, size_t count)
    {
        const HANDLE output = Platform::Console().GetStdHandle(STD_OUTPUT_HANDLE);
        DWORD mode = 0;
        if (output != nullptr && output != INVALID_HANDLE_VALUE && ::GetConsoleMode(output, &mode)) {
            // Narrow text may still sit in the runtime's buffer; it was written first.
            std::fflush(stdout);
            DWORD written = 0;
            return ::WriteConsoleW(output, text, static_cast<DWORD>(count), &written, nullptr) != FALSE;
        }
        const std::string narrow = WideToConsole(std::wstring_view(text, count));
        return std::fwrite(narrow.data(), 1, narrow.size(), stdout) == narrow.size();
    }
};

} // namespace

void InstallConsoleStreams()
{
    static WideConsoleBuffer buffer;
    std::wcout.rdbuf(&buffer);
}

} // namespace Base
