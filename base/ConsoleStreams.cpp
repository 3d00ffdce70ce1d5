#include "base/ConsoleStreams.h"

#include "base/ConsoleOutputBuffer.h"
#include "platform/ConsoleApi.h"
#include "platform/FileApi.h"

#include <iostream>

namespace Base {

namespace {

class InstalledStreams {
public:
    InstalledStreams() : narrow(std::cout.rdbuf(&buffer.Narrow())), wide(std::wcout.rdbuf(&buffer)) {}
    InstalledStreams(const InstalledStreams&) = delete;
    InstalledStreams& operator=(const InstalledStreams&) = delete;
    ~InstalledStreams()
    {
        std::cout.flush();
        std::wcout.flush();
        std::cout.rdbuf(narrow);
        std::wcout.rdbuf(wide);
    }

private:
    ConsoleOutputBuffer buffer;
    std::streambuf* narrow;
    std::wstreambuf* wide;
};

} // namespace

void InstallConsoleStreams()
{
    // The tables the buffer writes through are built first, so that they outlive it:
    // the last flush happens while statics are destroyed.
    Platform::Console();
    Platform::File();
    static InstalledStreams installed;
}

} // namespace Base
