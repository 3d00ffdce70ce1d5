#include "base/DelayLoad.h"

#include "base/Exception.h"
#include "platform/ModuleApi.h"
#include "tests/base/ConsoleTrace.h"
#include "tests/base/LoggedMessages.h"
#include "tests/base/ThrownException.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScopedApi.h"

#include <windows.h>

#include <dbghelp.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// What the counting loader saw: every LoadLibraryExW call, forwarded to the system.
struct LoadCall {
    std::wstring path;
    HANDLE file;
    DWORD flags;
};
std::vector<LoadCall> loads;

HMODULE WINAPI CountingLoadLibrary(LPCWSTR path, HANDLE file, DWORD flags)
{
    loads.push_back({path, file, flags});
    return Platform::SystemModule().LoadLibraryExW(path, file, flags);
}

BOOL WINAPI FailingFreeLibrary(HMODULE)
{
    ::SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}

// Hides one export, as an older library would.
FARPROC WINAPI HidingGetProcAddress(HMODULE module, LPCSTR name)
{
    if (std::string(name) == "SymGetOptions") {
        ::SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    return Platform::SystemModule().GetProcAddress(module, name);
}

class DelayLoadTest : public ::testing::Test {
protected:
    void SetUp() override { loads.clear(); }

    Testing::ScopedApi<Platform::ModuleApi> moduleApi{Platform::Module()};
};

} // namespace

TEST_F(DelayLoadTest, BindsAndCallsRealDbgHelpFunctions)
{
    Base::DelayLoaded<decltype(&::SymSetOptions)> setOptions;
    Base::DelayLoaded<decltype(&::SymGetOptions)> getOptions;

    ASSERT_TRUE(setOptions.Bind(L"dbghelp.dll", "SymSetOptions", Base::SearchSystem32));
    ASSERT_TRUE(getOptions.Bind(L"dbghelp.dll", "SymGetOptions", Base::SearchSystem32));

    const DWORD previous = getOptions();
    setOptions(SYMOPT_UNDNAME | SYMOPT_DEFERRED_LOADS);
    EXPECT_EQ(static_cast<DWORD>(SYMOPT_UNDNAME | SYMOPT_DEFERRED_LOADS), getOptions());
    setOptions(previous);

    const HMODULE dbghelp = ::GetModuleHandleW(L"dbghelp.dll");
    ASSERT_NE(nullptr, dbghelp);
    EXPECT_EQ(dbghelp, getOptions.Binding().Module());
    EXPECT_EQ(::GetProcAddress(dbghelp, "SymGetOptions"), getOptions.Binding().Method());
    EXPECT_FALSE(getOptions.Binding().Failed());
}

TEST_F(DelayLoadTest, EveryFunctionTheCrashHandlerNeedsIsExported)
{
    for (const char* name : {"SymSetOptions", "SymInitialize", "StackWalk64", "SymFromAddr", "SymGetLineFromAddr64",
                             "SymFunctionTableAccess64", "SymGetModuleBase64"}) {
        Base::DelayLoadedMethod binding;
        EXPECT_TRUE(Base::Bind(binding, L"dbghelp.dll", name, Base::SearchSystem32)) << name;
    }
}

TEST_F(DelayLoadTest, BoundMethodIsNeverLoadedAgain)
{
    moduleApi->LoadLibraryExW = CountingLoadLibrary;
    Base::DelayLoadedMethod binding;

    ASSERT_TRUE(Base::Bind(binding, L"dbghelp.dll", "SymGetOptions", Base::SearchSystem32));
    const FARPROC method = binding.Method();
    ASSERT_TRUE(Base::Bind(binding, L"dbghelp.dll", "SymGetOptions", Base::SearchSystem32));

    EXPECT_EQ(1u, loads.size());
    EXPECT_EQ(method, binding.Method());
}

TEST_F(DelayLoadTest, SearchSystem32BecomesTheLoaderFlag)
{
    moduleApi->LoadLibraryExW = CountingLoadLibrary;
    Base::DelayLoadedMethod restricted;
    Base::DelayLoadedMethod unrestricted;

    ASSERT_TRUE(Base::Bind(restricted, L"dbghelp.dll", "SymGetOptions", Base::SearchSystem32));
    ASSERT_TRUE(Base::Bind(unrestricted, L"dbghelp.dll", "SymSetOptions", 0));

    ASSERT_EQ(2u, loads.size());
    EXPECT_EQ(L"dbghelp.dll", loads[0].path);
    EXPECT_EQ(nullptr, loads[0].file);
    EXPECT_EQ(static_cast<DWORD>(LOAD_LIBRARY_SEARCH_SYSTEM32), loads[0].flags);
    EXPECT_EQ(0x800u, loads[0].flags);
    EXPECT_EQ(0u, loads[1].flags);
}

TEST_F(DelayLoadTest, UnknownFlagBitsAreNotPassedOn)
{
    moduleApi->LoadLibraryExW = CountingLoadLibrary;
    Base::DelayLoadedMethod binding;

    ASSERT_TRUE(Base::Bind(binding, L"dbghelp.dll", "SymGetOptions", 0xFFFFFFFE));

    ASSERT_EQ(1u, loads.size());
    EXPECT_EQ(0u, loads[0].flags);
}

TEST_F(DelayLoadTest, MissingLibraryFailsOnceAndIsNeverLoadedAgain)
{
    moduleApi->LoadLibraryExW = CountingLoadLibrary;
    Base::DelayLoadedMethod binding;

    EXPECT_FALSE(Base::Bind(binding, L"nosuch.dll", "SymGetOptions", Base::SearchSystem32));
    EXPECT_TRUE(binding.Failed());
    EXPECT_EQ(Base::Win32ErrorText(ERROR_MOD_NOT_FOUND), binding.Error().what());
    EXPECT_EQ(nullptr, binding.Module());
    EXPECT_EQ(nullptr, binding.Method());

    EXPECT_FALSE(Base::Bind(binding, L"nosuch.dll", "SymGetOptions", Base::SearchSystem32));
    EXPECT_FALSE(Base::Bind(binding, L"dbghelp.dll", "SymGetOptions", Base::SearchSystem32));

    EXPECT_EQ(1u, loads.size());
    EXPECT_EQ(Base::Win32ErrorText(ERROR_MOD_NOT_FOUND), binding.Error().what());
}

TEST_F(DelayLoadTest, MissingLibraryIsLoggedWithCodeFlagsAndPath)
{
    Testing::EnableConsoleTrace();
    Testing::OutputCapture capture;
    Base::DelayLoadedMethod binding;

    EXPECT_FALSE(Base::Bind(binding, L"nosuch.dll", "SymGetOptions", Base::SearchSystem32));

    Testing::ExpectOnlyErrors(capture, {"ERROR delay_load - Failed to load module"
                                        " { errorCode:126, flags:1, path:\"nosuch.dll\" }"});
}

TEST_F(DelayLoadTest, MissingExportStoresTheTextOfProcNotFound)
{
    Base::DelayLoadedMethod binding;

    EXPECT_FALSE(Base::Bind(binding, L"dbghelp.dll", "NoSuchExport", Base::SearchSystem32));

    EXPECT_TRUE(binding.Failed());
    EXPECT_EQ(Base::Win32ErrorText(ERROR_PROC_NOT_FOUND), binding.Error().what());
    EXPECT_EQ(::GetModuleHandleW(L"dbghelp.dll"), binding.Module());
    EXPECT_EQ(nullptr, binding.Method());
}

TEST_F(DelayLoadTest, LoadAndMissingExportAreLogged)
{
    Testing::EnableConsoleTrace();
    Testing::OutputCapture capture;
    Base::DelayLoadedMethod binding;

    EXPECT_FALSE(Base::Bind(binding, L"dbghelp.dll", "NoSuchExport", Base::SearchSystem32));

    const std::string handle = Testing::HexField(binding.Module());
    EXPECT_EQ(std::vector<std::string>{"DEBUG delay_load - Loaded module { path:\"dbghelp.dll\", module:" + handle +
                                       ", flags:1 }"},
              Testing::LoggedMessages(capture.Out()));
    EXPECT_EQ(std::vector<std::string>{"ERROR delay_load - Failed to get module method"
                                       " { errorCode:127, name:\"NoSuchExport\", module:" +
                                       handle + " }"},
              Testing::LoggedMessages(capture.Err()));
}

TEST_F(DelayLoadTest, HiddenExportFailsThroughTheModuleTable)
{
    moduleApi->GetProcAddress = HidingGetProcAddress;
    Base::DelayLoadedMethod hidden;
    Base::DelayLoadedMethod visible;

    EXPECT_FALSE(Base::Bind(hidden, L"dbghelp.dll", "SymGetOptions", Base::SearchSystem32));
    EXPECT_TRUE(Base::Bind(visible, L"dbghelp.dll", "SymSetOptions", Base::SearchSystem32));

    EXPECT_EQ(Base::Win32ErrorText(ERROR_PROC_NOT_FOUND), hidden.Error().what());
}

TEST_F(DelayLoadTest, CallingAnUnboundMethodThrowsMethodNotLoaded)
{
    const Base::DelayLoaded<decltype(&::SymGetOptions)> getOptions;

    EXPECT_EQ("Method not loaded", Testing::ThrownPlainMessage([&] { getOptions(); }));
}

TEST_F(DelayLoadTest, CallingAFailedMethodThrowsItsStoredText)
{
    Base::DelayLoaded<decltype(&::SymGetOptions)> getOptions;
    ASSERT_FALSE(getOptions.Bind(L"nosuch.dll", "SymGetOptions", Base::SearchSystem32));

    // A plain Base::Exception with the stored text: the code went with the first failure.
    EXPECT_EQ(Base::Win32ErrorText(ERROR_MOD_NOT_FOUND), Testing::ThrownPlainMessage([&] { getOptions(); }));
}

TEST_F(DelayLoadTest, ErrorWithoutAFailureThrowsValueNotSet)
{
    Base::DelayLoadedMethod unbound;
    Base::DelayLoadedMethod bound;
    ASSERT_TRUE(Base::Bind(bound, L"dbghelp.dll", "SymGetOptions", Base::SearchSystem32));

    EXPECT_EQ("Value Not Set", Testing::ThrownPlainMessage([&] { unbound.Error(); }));
    EXPECT_EQ("Value Not Set", Testing::ThrownPlainMessage([&] { bound.Error(); }));
}

TEST_F(DelayLoadTest, LoadModuleFailureThrowsTheCodeAlone)
{
    const auto error = Testing::ThrownWin32([] { Base::LoadModule(L"nosuch.dll", 0); });

    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(126u, error->ErrorCode());
    EXPECT_EQ(Base::Win32ErrorText(126), error->what());
}

TEST_F(DelayLoadTest, LoadModuleFailureWithoutSearchSystem32LogsFlagsZero)
{
    Testing::EnableConsoleTrace();
    Testing::OutputCapture capture;

    EXPECT_THROW(Base::LoadModule(L"nosuch.dll", 0), Base::ExceptionWin32);

    Testing::ExpectOnlyErrors(capture, {"ERROR delay_load - Failed to load module"
                                        " { errorCode:126, flags:0, path:\"nosuch.dll\" }"});
}

TEST_F(DelayLoadTest, GetModuleMethodFailureThrowsTheCodeAlone)
{
    const HMODULE dbghelp = Base::LoadModule(L"dbghelp.dll", Base::SearchSystem32);

    const auto error = Testing::ThrownWin32([&] { Base::GetModuleMethod(dbghelp, "NoSuchExport"); });
    Base::CloseModule(dbghelp);

    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(127u, error->ErrorCode());
    EXPECT_EQ(Base::Win32ErrorText(127), error->what());
}

TEST_F(DelayLoadTest, CloseModuleLogsAFailureAndDoesNotThrow)
{
    Testing::EnableConsoleTrace();
    moduleApi->FreeLibrary = FailingFreeLibrary;
    Testing::OutputCapture capture;
    const HMODULE fake = reinterpret_cast<HMODULE>(0x7ff012340000);

    Base::CloseModule(fake);

    Testing::ExpectOnlyErrors(capture, {"ERROR delay_load - Failed to close module"
                                        " { module:0x7ff012340000, errorCode:6 }"});
}

TEST_F(DelayLoadTest, CloseModuleReleasesTheLoadSilently)
{
    Testing::EnableConsoleTrace();
    Testing::OutputCapture capture;
    // A library nothing else in the process holds, so that its reference count shows.
    ASSERT_EQ(nullptr, ::GetModuleHandleW(L"version.dll"));
    const HMODULE loaded = Base::LoadModule(L"version.dll", Base::SearchSystem32);
    ASSERT_EQ(loaded, ::GetModuleHandleW(L"version.dll"));

    Base::CloseModule(loaded);

    EXPECT_EQ(nullptr, ::GetModuleHandleW(L"version.dll"));
    EXPECT_EQ("", capture.Err());
}
