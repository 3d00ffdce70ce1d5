#include "front/Banner.h"

#include "Version.h"

#include <iostream>

namespace Front {

const char FileVersionText[] = KSDIAG_VERSION_TEXT;

void PrintBanner(std::ostream& stream)
{
    stream << ProductName << " Diagnostics Utility, Version " << FileVersionText << "\n\n";
}

} // namespace Front
