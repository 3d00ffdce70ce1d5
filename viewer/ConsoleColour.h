#pragma once

// Colouring the viewer's console output. The attribute in force when a ConsoleColour is
// created (GetConsoleScreenBufferInfo on standard output) comes back when it is
// destroyed; Set() changes it in between. All calls go through Platform::Console().

#include <windows.h>

namespace Viewer {

// SetConsoleTextAttribute values the viewer uses.
enum ConsoleAttribute : WORD {
    DarkGreyText = 0x08,      // every event's text after its header
    GreyText = 0x07,          // product verbose header
    BrightGreenText = 0x0A,   // Winlogon header
    BrightRedText = 0x0C,     // product critical and error header
    BrightMagentaText = 0x0D, // Kernel-Process header
    YellowText = 0x0E,        // product warning header
    BrightWhiteText = 0x0F,   // every other product header, image lines
};

class ConsoleColour {
public:
    // Saves the current attribute. When standard output is not a console there is
    // nothing to save, and nothing is restored later; a handle once found not to be a
    // console is not asked again.
    ConsoleColour();
    ConsoleColour(const ConsoleColour&) = delete;
    ConsoleColour& operator=(const ConsoleColour&) = delete;
    ~ConsoleColour();

    // On a console, flushes std::wcout first, so that text already written keeps the
    // colour it was written in; then sets the attribute for whatever follows. Without a
    // console it does nothing.
    void Set(WORD attribute);

private:
    HANDLE output = nullptr;
    WORD saved = 0;
    bool hasSaved = false;
};

} // namespace Viewer
