#include "viewer/LogText.h"

#include "base/TextConversion.h"
#include "base/TextUtilities.h"

#include <iostream>

namespace Viewer {

void WriteLogField(std::wstring_view text)
{
    Base::WriteEscapedNonPrintable(std::wcout, text, false);
}

void WriteLogField(std::string_view ansiText)
{
    WriteLogField(Base::AnsiToWide(ansiText));
}

} // namespace Viewer
