#include "base/RegistryKeyWin32.h"
#include "platform/RegistryApi.h"
#include "tests/base/ConsoleTrace.h"
#include "tests/base/DeniedRegistryKey.h"
#include "tests/base/LoggedMessages.h"
#include "tests/base/ScratchKeyWrapper.h"
#include "tests/base/ThrownException.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScopedApi.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Testing::HexField;

namespace {

std::vector<HKEY> openedKeys;
std::vector<HKEY> closedKeys;
std::vector<REGSAM> openAccess;

LSTATUS WINAPI RecordingOpenKey(HKEY parent, LPCWSTR subkey, DWORD options, REGSAM desiredAccess, PHKEY result)
{
    openAccess.push_back(desiredAccess);
    const LSTATUS status = Platform::SystemRegistry().RegOpenKeyExW(parent, subkey, options, desiredAccess, result);
    if (status == ERROR_SUCCESS) {
        openedKeys.push_back(*result);
    }
    return status;
}

LSTATUS WINAPI RecordingCloseKey(HKEY key)
{
    closedKeys.push_back(key);
    return Platform::SystemRegistry().RegCloseKey(key);
}

LSTATUS WINAPI OpenAnswersNotFound(HKEY, LPCWSTR, DWORD, REGSAM, PHKEY)
{
    return ERROR_NOT_FOUND;
}

} // namespace

TEST(RegistryKeyWin32HasSubkey, ExistingSubkeyIsFoundAndItsProbeHandleClosedAtOnce)
{
    Testing::EnableConsoleTrace();
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    HKEY child = nullptr;
    ASSERT_EQ(ERROR_SUCCESS,
              ::RegCreateKeyExW(scratch.Handle(), L"child", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &child, nullptr));
    ::RegCloseKey(child);
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_READ);
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegOpenKeyExW = RecordingOpenKey;
    registry->RegCloseKey = RecordingCloseKey;
    Testing::OutputCapture capture;

    EXPECT_TRUE(key->HasSubkey(L"child"));

    EXPECT_EQ(std::vector<REGSAM>{0x20019}, openAccess);
    ASSERT_EQ(1u, openedKeys.size());
    EXPECT_EQ(openedKeys, closedKeys);
    const std::vector<std::string> expected{
        "DEBUG registry - Found subkey { desiredAccess:131097, subkey:\"child\", _handle:" + HexField(key->Handle()) +
        " }"};
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST(RegistryKeyWin32HasSubkey, MissingSubkeyIsFalseWithoutThrowing)
{
    Testing::EnableConsoleTrace();
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_READ);
    Testing::OutputCapture capture;

    EXPECT_FALSE(key->HasSubkey(L"missing"));

    const std::vector<std::string> expected{
        "DEBUG registry - Did not find subkey { desiredAccess:131097, subkey:\"missing\", _handle:" +
        HexField(key->Handle()) + " }"};
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST(RegistryKeyWin32HasSubkey, NotFoundCodeElevenSixtyEightIsFalse)
{
    Testing::EnableConsoleTrace();
    Base::RegistryKeyWin32 root(HKEY_LOCAL_MACHINE);
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegOpenKeyExW = OpenAnswersNotFound;
    Testing::OutputCapture capture;

    EXPECT_FALSE(root.HasSubkey(L"Software"));

    // The predefined root handle prints as the sign-extended 64-bit value it is.
    const std::vector<std::string> expected{"DEBUG registry - Did not find subkey { desiredAccess:131097, "
                                            "subkey:\"Software\", _handle:0xffffffff80000002 }"};
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST(RegistryKeyWin32HasSubkey, UnreadableSubkeyThrowsAndIsLoggedAtDebug)
{
    Testing::EnableConsoleTrace();
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    Testing::DeniedRegistryKey denied(scratch.Handle(), L"denied");
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_READ);
    Testing::OutputCapture capture;

    const auto thrown = Testing::ThrownWin32([&] { key->HasSubkey(L"denied"); });

    Testing::ExpectWin32(thrown, "Failed to detect registry key", ERROR_ACCESS_DENIED);
    // DEBUG, not ERROR, and so on standard output: this one failure is kept quiet.
    const std::vector<std::string> expected{
        "DEBUG registry - Failed to detect subkey { errorCode:5, desiredAccess:131097, subkey:\"denied\", _handle:" +
        HexField(key->Handle()) + " }"};
    Testing::ExpectOnlyOutput(capture, expected);
}
