#include "front/WideCommandLine.h"

#include <shellapi.h>

namespace Front {

WideCommandLine::WideCommandLine() : tokens(::CommandLineToArgvW(::GetCommandLineW(), &count))
{
    if (!tokens) {
        count = 0;
    }
}

} // namespace Front
