#pragma once

// An emulator of the console calls whose effect a test cannot see through redirected
// streams: the text attribute, the title and the control handler.
//
// While it lives, Platform::Console() is its own. GetStdHandle(STD_OUTPUT_HANDLE)
// answers a handle of the emulator's (other handles are the system's);
// GetConsoleScreenBufferInfo on it answers the current attribute (the initial one until
// the first change), and SetConsoleTextAttribute on it records the attribute together
// with the position in std::wcout's text at which it took effect: std::wcout.tellp()
// when std::wcout writes into something seekable (Testing::OutputCapture's buffer), and
// otherwise the length of the text written to the emulated console so far, which is
// where the change shows on a real console. GetConsoleMode on the handle succeeds (it is
// a console), and WriteConsoleW on it appends to ConsoleText(). Any other handle fails
// with ERROR_INVALID_HANDLE, except that GetConsoleMode and WriteConsoleW pass other
// handles on to the system. Titles and control-handler registrations are recorded and
// succeed.
//
// One emulator at a time per process; destruction restores the table.

#include "platform/ConsoleApi.h"
#include "tests/support/ScopedApi.h"
#include "tests/support/SoleInstance.h"

#include <windows.h>

#include <string>
#include <vector>

namespace Testing {

class ConsoleEmulator {
public:
    // Throws std::logic_error if another one is installed.
    explicit ConsoleEmulator(WORD initialAttribute = 0x07);
    ConsoleEmulator(const ConsoleEmulator&) = delete;
    ConsoleEmulator& operator=(const ConsoleEmulator&) = delete;
    ~ConsoleEmulator();

    struct AttributeChange {
        WORD attribute = 0;
        long long position = 0; // characters of std::wcout's text before the change
    };
    const std::vector<AttributeChange>& Changes() const noexcept { return changes; }
    WORD CurrentAttribute() const noexcept { return current; }
    // Sets the attribute in force without recording a change, as another program would.
    void SetCurrentAttribute(WORD attribute) noexcept { current = attribute; }

    // The text with "{XX}" (the attribute in two upper-case hex digits) inserted where
    // each change took effect, so that a test can assert text and colours at once.
    std::wstring Annotate(const std::wstring& text) const;

    // Everything WriteConsoleW wrote to the emulated output, and the number of calls.
    const std::wstring& ConsoleText() const noexcept { return consoleText; }
    size_t ConsoleWrites() const noexcept { return consoleWrites; }

    // Makes GetConsoleScreenBufferInfo fail, as it does when output is not a console.
    void FailScreenBufferInfo(bool fail) noexcept { failScreenBufferInfo = fail; }
    size_t ScreenBufferQueries() const noexcept { return screenBufferQueries; }

    struct HandlerRegistration {
        PHANDLER_ROUTINE handler = nullptr;
        BOOL add = FALSE;
    };
    const std::vector<HandlerRegistration>& Handlers() const noexcept { return handlers; }
    const std::vector<std::wstring>& Titles() const noexcept { return titles; }

    void ClearChanges() noexcept { changes.clear(); }

private:
    static HANDLE WINAPI GetStdHandleThunk(DWORD which);
    static BOOL WINAPI GetScreenBufferInfoThunk(HANDLE output, PCONSOLE_SCREEN_BUFFER_INFO info);
    static BOOL WINAPI SetTextAttributeThunk(HANDLE output, WORD attribute);
    static BOOL WINAPI SetTitleThunk(LPCWSTR title);
    static BOOL WINAPI SetCtrlHandlerThunk(PHANDLER_ROUTINE handler, BOOL add);
    static BOOL WINAPI GetConsoleModeThunk(HANDLE console, LPDWORD mode);
    static BOOL WINAPI WriteConsoleThunk(HANDLE output, const VOID* text, DWORD count, LPDWORD written,
                                         LPVOID reserved);

    WORD current;
    std::vector<AttributeChange> changes;
    std::vector<HandlerRegistration> handlers;
    std::vector<std::wstring> titles;
    std::wstring consoleText;
    size_t consoleWrites = 0;
    bool failScreenBufferInfo = false;
    size_t screenBufferQueries = 0;

    // Last, so that the calls are taken only once the state above exists and are
    // given back before it goes.
    SoleInstance<ConsoleEmulator> sole;
    ScopedApi<Platform::ConsoleApi> console;
};

} // namespace Testing
