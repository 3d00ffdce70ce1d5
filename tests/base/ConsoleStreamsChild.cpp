// A child program for the console stream tests: installs the wide console buffer the
// way ksdiag does and interleaves narrow and wide output, so that the test can check
// the exact bytes and their order on a redirected standard output. The first line
// names the console input code page, which decides how the wide text is encoded.

#include "base/ConsoleStreams.h"

#include <windows.h>

#include <iostream>

int main()
{
    Base::InstallConsoleStreams();
    std::cout << "cp " << ::GetConsoleCP() << '\n';
    std::cout << "narrow 1\n";
    std::wcout << L"wide caf\u00E9 2\n";
    std::cout << "narrow 3\n";
    std::wcout << L'x' << std::endl;
    std::cout << "narrow 4" << std::endl;
    return 0;
}
