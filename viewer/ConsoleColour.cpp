#include "viewer/ConsoleColour.h"

#include "platform/ConsoleApi.h"

#include <iostream>

namespace Viewer {

ConsoleColour::ConsoleColour() : output(Platform::Console().GetStdHandle(STD_OUTPUT_HANDLE))
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (Platform::Console().GetConsoleScreenBufferInfo(output, &info)) {
        saved = info.wAttributes;
        hasSaved = true;
    }
}

ConsoleColour::~ConsoleColour()
{
    if (hasSaved) {
        Set(saved);
    }
}

void ConsoleColour::Set(WORD attribute)
{
    // Without a console the colour changes nothing, and a flush here would only split
    // the line into more writes.
    if (hasSaved) {
        std::wcout.flush();
    }
    Platform::Console().SetConsoleTextAttribute(output, attribute);
}

} // namespace Viewer
