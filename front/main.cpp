// The process entry of ksdiag.exe.

#include "front/Main.h"
#include "base/ConsoleStreams.h"

int main(int argc, char** argv)
{
    // Before anything can write wide text: the session reports and the viewer print
    // through std::wcout.
    Base::InstallConsoleStreams();
    return Front::ProcessMain(argc, argv);
}
