#include "tests/support/WesternEuropeanCodePages.h"

namespace Testing {

namespace {

UINT WINAPI WesternEuropeanAnsi()
{
    return 1252;
}

UINT WINAPI MultilingualConsole()
{
    return 850;
}

} // namespace

WesternEuropeanCodePages::WesternEuropeanCodePages() : codePages(Platform::CodePages())
{
    codePages->GetACP = WesternEuropeanAnsi;
    codePages->GetConsoleCP = MultilingualConsole;
}

} // namespace Testing
