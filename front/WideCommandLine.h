#pragma once

// The process's own command line split into UTF-16 tokens by CommandLineToArgvW: the
// tokens of the runtime's argv with every character as typed, where argv holds them in
// the ANSI code page ('?' for a character the page lacks). Owns the system's array and
// frees it with the object.

#include <windows.h>

#include <memory>

namespace Front {

class WideCommandLine {
public:
    WideCommandLine();
    WideCommandLine(const WideCommandLine&) = delete;
    WideCommandLine& operator=(const WideCommandLine&) = delete;
    ~WideCommandLine() = default;

    // 0 and null when the system could not split the command line.
    int Count() const noexcept { return count; }
    const wchar_t* const* Tokens() const noexcept { return tokens.get(); }

private:
    struct Release {
        void operator()(LPWSTR* array) const noexcept { ::LocalFree(array); }
    };

    int count = 0;
    std::unique_ptr<LPWSTR, Release> tokens;
};

} // namespace Front
