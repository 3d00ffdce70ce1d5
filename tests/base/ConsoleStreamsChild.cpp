// A child program for the console stream tests: installs the console streams the way
// ksdiag does and interleaves narrow and wide output, so that the test can check the
// exact bytes and their order on a redirected standard output. The first line names
// the console input code page, in which the narrow text is written.

#include "base/ConsoleStreams.h"
#include "base/TextConversion.h"

#include <windows.h>

#include <iostream>

int main()
{
    Base::InstallConsoleStreams();
    std::cout << "cp " << ::GetConsoleCP() << '\n';
    std::cout << "narrow 1\n";
    std::wcout << L"wide caf\u00E9 2\n";
    // Narrow text is in the console code page, as Base::WideToConsole makes it.
    std::cout << Base::WideToConsole(L"narrow caf\u00E9") << " 3\n";
    std::wcout << L"CJK \u65E5\u672C\u8A9E, emoji \U0001F600" << std::endl;
    std::cout << "narrow 4" << std::endl;
    std::wcout << L'x';
    // Whatever is still buffered goes out when the program ends.
    return 0;
}
