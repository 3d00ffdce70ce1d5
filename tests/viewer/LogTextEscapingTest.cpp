// Text a log brings (process, subscriber and image names, module file names and
// versions, symbol and source file names, the symbol handler's diagnostics, the level
// name) reaches the console escaped (the symbol handler's own texts in SymbolsTest.cpp), so that a crafted log cannot
// send an escape sequence or a control character to the administrator's terminal. ESC [ 2 J clears a terminal, ESC ] 0
// ; ... BEL sets its title.

#include "platform/ModuleApi.h"
#include "tests/support/ScopedApi.h"
#include "tests/viewer/ViewerEvents.h"
#include "tests/viewer/ViewerFixture.h"
#include "trace/EtwWriter.h"

#include <dbghelp.h>
#include <gtest/gtest.h>

#include <cstring>

namespace {

class LogTextEscaping : public Testing::ViewerTest {
protected:
    void SetUp() override { LoadManifest(); }

    std::wstring Line(const wchar_t* colour, const std::wstring& source, const std::wstring& body) const
    {
        return std::wstring(colour) + DefaultTimestamp() + L" " + source + L" Information {08}" + body + L"\n{07}";
    }
};

TEST_F(LogTextEscaping, ProcessNameIsEscaped)
{
    Testing::OperationalFields fields;
    fields.processName = L"app\x1B[2J\nx";
    Render(Testing::OperationalEvent(1, 2012, fields).Build().record);
    EXPECT_EQ(Line(L"{0F}", L"app\\u001B[2J\\u000Ax(1000:2000)", L"Name : Message Args"), Coloured());
}

TEST_F(LogTextEscaping, PrintableProcessNameIsUnchanged)
{
    Testing::OperationalFields fields;
    fields.processName = L"Kestrova Service (x64) #1";
    Render(Testing::OperationalEvent(1, 2012, fields).Build().record);
    EXPECT_EQ(Line(L"{0F}", L"Kestrova Service (x64) #1(1000:2000)", L"Name : Message Args"), Coloured());
}

TEST_F(LogTextEscaping, WinlogonSubscriberIsEscaped)
{
    options.winlogon = 1;
    Render(Testing::WinlogonEvent(811, L"Sens\x1B]0;pwned\x07", 2).Build().record);
    EXPECT_EQ(Line(L"{0A}", L"Winlogon(1000:2000)",
                   L"Winlogon started subscriber Sens\\u001B]0;pwned\\u0007 processing Logon"),
              Coloured());
}

TEST_F(LogTextEscaping, KernelImageNamesAreEscaped)
{
    options.process = 0xFFFFFFFF;
    options.images = 1;
    Testing::KernelFields fields;
    fields.imageName = L"C:\\x\x1B[31m.exe\r";
    Render(Testing::KernelProcessEvent(1, fields).Build().record);
    Render(Testing::KernelProcessEvent(2, fields).Build().record);
    Render(Testing::KernelProcessEvent(5, fields).Build().record);
    Render(Testing::KernelProcessEvent(6, fields).Build().record);
    const std::wstring kernel = L"Kernel(1000:2000)";
    // The carriage return at the end is white space, which the text reader trims.
    const std::wstring name = L"C:\\x\\u001B[31m.exe";
    EXPECT_EQ(Line(L"{0D}", kernel, L"Process started " + name + L" with pid 1234 by parent 4 in session 1") +
                  Line(L"{0D}", kernel, L"Process stopped " + name + L" with pid 1234 exit code 0") +
                  Line(L"{0D}", kernel, L"Image loaded " + name + L" in pid 1234") +
                  Line(L"{0D}", kernel, L"Image unloaded " + name + L" in pid 1234"),
              Coloured());
}

TEST_F(LogTextEscaping, ImageLineEscapesFileNameVersionAndProcessName)
{
    options.callstack = 1;
    Testing::ImageFields image;
    image.fileName = "C:\\m\x1B[2J.dll";
    image.version = "1.0\x07";
    image.processName = L"a\x1B"
                        L"b";
    Render(Testing::ImageEvent(image).Build().record);
    EXPECT_EQ(L"{0F}" + DefaultTimestamp() +
                  L" a\\u001Bb(1000:2000) Image {08}C:\\m\\u001B[2J.dll 1.0\\u0007 (AMD64)\n{07}",
              Coloured());
}

// A symbol handler whose answers come from a crafted log's debug information.
Platform::ModuleApi realModules;

BOOL WINAPI CraftedSymFromAddr(HANDLE, DWORD64, PDWORD64 displacement, PSYMBOL_INFO symbol)
{
    static const char name[] = "Evil\x1B[2JName";
    *displacement = 0;
    std::memcpy(symbol->Name, name, sizeof(name));
    symbol->NameLen = sizeof(name) - 1;
    return TRUE;
}

BOOL WINAPI CraftedSymGetLine(HANDLE, DWORD64, PDWORD displacement, PIMAGEHLP_LINE64 line)
{
    static char fileName[] = "C:\\src\\file\x1B]0;t\x07.cpp";
    *displacement = 0;
    line->FileName = fileName;
    line->LineNumber = 7;
    return TRUE;
}

FARPROC WINAPI CraftedGetProcAddress(HMODULE module, LPCSTR name)
{
    if (std::strcmp(name, "SymFromAddr") == 0) {
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(CraftedSymFromAddr));
    }
    if (std::strcmp(name, "SymGetLineFromAddr64") == 0) {
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(CraftedSymGetLine));
    }
    return realModules.GetProcAddress(module, name);
}

TEST_F(LogTextEscaping, SymbolAndSourceFileNamesAreEscaped)
{
    Testing::ScopedApi<Platform::ModuleApi> modules(Platform::Module());
    realModules = *modules;
    modules->GetProcAddress = CraftedGetProcAddress;
    options.callstack = 1;
    Render(Testing::OperationalEvent(1, 2012).StackTrace64(1, {0x1000}).Build().record);
    EXPECT_EQ(L"{0F}" + DefaultTimestamp() +
                  L" app(1000:2000) Information {08}Name : Message Args\n"
                  L"   Evil\\u001B[2JName in file\\u001B]0;t\\u0007.cpp line 7\n{07}",
              Coloured());
}

} // namespace
