#include "viewer/ConsoleColour.h"

#include "platform/ConsoleApi.h"
#include "viewer/ViewerReset.h"

#include <iostream>

namespace Viewer {

namespace {

// The standard-output handle last found not to be a console. Output redirected to a file
// stays so for the whole run, and asking again for every event would cost a round trip
// to the system each time.
HANDLE knownNotConsole = nullptr;

} // namespace

ConsoleColour::ConsoleColour() : output(Platform::Console().GetStdHandle(STD_OUTPUT_HANDLE))
{
    if (output == knownNotConsole) {
        return;
    }
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (Platform::Console().GetConsoleScreenBufferInfo(output, &info)) {
        saved = info.wAttributes;
        hasSaved = true;
    } else {
        knownNotConsole = output;
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
    // Without a console (output redirected to a file or a pipe) there is no colour to set:
    // the call could only fail, at the cost of a round trip to the system per change, and
    // a flush here would only split the line into more writes.
    if (!hasSaved) {
        return;
    }
    std::wcout.flush();
    Platform::Console().SetConsoleTextAttribute(output, attribute);
}

void Reset::ForgetConsoleAnswer()
{
    knownNotConsole = nullptr;
}

} // namespace Viewer
