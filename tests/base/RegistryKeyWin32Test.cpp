#include "base/RegistryKeyWin32.h"
#include "base/TextConversion.h"
#include "platform/RegistryApi.h"
#include "tests/base/ConsoleTrace.h"
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

std::vector<HKEY> closedKeys;

LSTATUS WINAPI RecordingCloseKey(HKEY key)
{
    closedKeys.push_back(key);
    return Platform::SystemRegistry().RegCloseKey(key);
}

struct CreateCall {
    HKEY parent;
    std::wstring subkey;
    DWORD reserved;
    bool hasClass;
    DWORD options;
    REGSAM desiredAccess;
    bool hasSecurity;
};
std::vector<CreateCall> createCalls;
LSTATUS createAnswer = ERROR_SUCCESS;

LSTATUS WINAPI RecordingCreateKey(HKEY parent, LPCWSTR subkey, DWORD reserved, LPWSTR keyClass, DWORD options,
                                  REGSAM desiredAccess, LPSECURITY_ATTRIBUTES security, PHKEY result,
                                  LPDWORD disposition)
{
    createCalls.push_back({parent, subkey, reserved, keyClass != nullptr, options, desiredAccess, security != nullptr});
    if (createAnswer != ERROR_SUCCESS) {
        return createAnswer;
    }
    return Platform::SystemRegistry().RegCreateKeyExW(parent, subkey, reserved, keyClass, options, desiredAccess,
                                                      security, result, disposition);
}

struct OpenCall {
    HKEY parent;
    std::wstring subkey;
    DWORD options;
    REGSAM desiredAccess;
};
std::vector<OpenCall> openCalls;
LSTATUS openAnswer = ERROR_SUCCESS;

LSTATUS WINAPI RecordingOpenKey(HKEY parent, LPCWSTR subkey, DWORD options, REGSAM desiredAccess, PHKEY result)
{
    openCalls.push_back({parent, subkey, options, desiredAccess});
    if (openAnswer != ERROR_SUCCESS) {
        return openAnswer;
    }
    return Platform::SystemRegistry().RegOpenKeyExW(parent, subkey, options, desiredAccess, result);
}

} // namespace

TEST(RegistryKeyWin32Lifetime, RootKeyWrappersNeverCloseTheRoot)
{
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegCloseKey = RecordingCloseKey;
    {
        Base::RegistryKeyWin32 machine(HKEY_LOCAL_MACHINE);
        Base::RegistryKeyWin32 user(HKEY_CURRENT_USER);
        Base::RegistryKeyWin32 none(nullptr);
    }
    Base::RegistryKey shared = Base::MakeShared<Base::RegistryKeyWin32>(HKEY_LOCAL_MACHINE);
    EXPECT_EQ(1u, shared->References());
    shared.Reset();
    EXPECT_TRUE(closedKeys.empty());
}

TEST(RegistryKeyWin32Lifetime, OpenedSubkeyIsClosedOnceWhenItsLastReferenceGoes)
{
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegCloseKey = RecordingCloseKey;
    Base::RegistryKey opened = Testing::OpenScratchKey(scratch, KEY_READ);
    const HKEY handle = opened->Handle();
    EXPECT_EQ(1u, opened->References());

    Base::RegistryKey copy = opened;
    EXPECT_EQ(2u, copy->References());
    opened.Reset();
    EXPECT_TRUE(closedKeys.empty());
    copy.Reset();
    EXPECT_EQ(std::vector<HKEY>{handle}, closedKeys);
}

TEST(RegistryKeyWin32Create, CreatesForWritingAndLogsTheDisposition)
{
    Testing::EnableConsoleTrace();
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    Base::RegistryKey parent = Testing::OpenScratchKey(scratch, KEY_ALL_ACCESS);
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegCreateKeyExW = RecordingCreateKey;
    Testing::OutputCapture capture;

    Base::RegistryKey created = parent->CreateSubkey(L"child");
    Base::RegistryKey again = parent->CreateSubkey(L"child");

    ASSERT_EQ(2u, createCalls.size());
    EXPECT_EQ(parent->Handle(), createCalls[0].parent);
    EXPECT_EQ(L"child", createCalls[0].subkey);
    EXPECT_EQ(0u, createCalls[0].reserved);
    EXPECT_FALSE(createCalls[0].hasClass);
    EXPECT_EQ(0u, createCalls[0].options);
    EXPECT_EQ(0x20006u, createCalls[0].desiredAccess);
    EXPECT_FALSE(createCalls[0].hasSecurity);
    EXPECT_EQ(1u, created->References());
    EXPECT_NE(created->Handle(), again->Handle());

    const std::string fields = "desiredAccess:131078, options:0, subkey:\"child\", key:";
    const std::string parentField = ", _handle:" + HexField(parent->Handle()) + " }";
    const std::vector<std::string> expected{
        "DEBUG registry - Registry Key successfully created key { dispositionAlways:1, " + fields +
            HexField(created->Handle()) + parentField,
        "DEBUG registry - Registry Key successfully created key { dispositionAlways:2, " + fields +
            HexField(again->Handle()) + parentField,
    };
    Testing::ExpectOnlyOutput(capture, expected);

    HKEY check = nullptr;
    ASSERT_EQ(ERROR_SUCCESS,
              ::RegOpenKeyExW(HKEY_CURRENT_USER, (scratch.Path() + L"\\child").c_str(), 0, KEY_READ, &check));
    ::RegCloseKey(check);
}

TEST(RegistryKeyWin32Create, FailureIsLoggedAndThrownWithTheCallsCode)
{
    Testing::EnableConsoleTrace();
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    Base::RegistryKey parent = Testing::OpenScratchKey(scratch, KEY_ALL_ACCESS);
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegCreateKeyExW = RecordingCreateKey;
    createAnswer = ERROR_KEY_DELETED;
    Testing::OutputCapture capture;

    const auto thrown = Testing::ThrownWin32([&] { parent->CreateSubkey(L"child"); });

    Testing::ExpectWin32(thrown, "Failed to create registry key", ERROR_KEY_DELETED);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to create subkey { errorCode:1018, desiredAccess:131078, options:0, "
        "subkey:\"child\", _handle:" +
        HexField(parent->Handle()) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}

TEST(RegistryKeyWin32Open, OpensWithTheGivenAccessAndLogsBothHandles)
{
    Testing::EnableConsoleTrace();
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    Base::RegistryKeyWin32 root(HKEY_CURRENT_USER);
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegOpenKeyExW = RecordingOpenKey;
    Testing::OutputCapture capture;

    Base::RegistryKey opened = root.OpenSubkey(scratch.Path(), KEY_READ);

    ASSERT_EQ(1u, openCalls.size());
    EXPECT_EQ(HKEY_CURRENT_USER, openCalls[0].parent);
    EXPECT_EQ(scratch.Path(), openCalls[0].subkey);
    EXPECT_EQ(0u, openCalls[0].options);
    EXPECT_EQ(static_cast<REGSAM>(KEY_READ), openCalls[0].desiredAccess);
    EXPECT_EQ(1u, opened->References());
    // The scratch path is plain ASCII, so its narrow form is the same text.
    const std::vector<std::string> expected{"DEBUG registry - Successfully opened key { desiredAccess:131097, "
                                            "subkey:\"" +
                                            Base::WideToConsole(scratch.Path()) +
                                            "\", key:" + HexField(opened->Handle()) + ", _handle:0xffffffff80000001 }"};
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST(RegistryKeyWin32Open, MissingSubkeyIsAFailure)
{
    Testing::EnableConsoleTrace();
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    Base::RegistryKey parent = Testing::OpenScratchKey(scratch, KEY_READ);
    Testing::OutputCapture capture;

    const auto thrown = Testing::ThrownWin32([&] { parent->OpenSubkey(L"missing", KEY_READ); });

    Testing::ExpectWin32(thrown, "Failed to open registry key", ERROR_FILE_NOT_FOUND);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to open subkey { errorCode:2, desiredAccess:131097, subkey:\"missing\", _handle:" +
        HexField(parent->Handle()) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}

TEST(RegistryKeyWin32Open, NotFoundCodeElevenSixtyEightIsAFailureToo)
{
    Testing::EnableConsoleTrace();
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, Testing::ScratchParentPath);
    Base::RegistryKey parent = Testing::OpenScratchKey(scratch, KEY_READ);
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegOpenKeyExW = RecordingOpenKey;
    openAnswer = ERROR_NOT_FOUND;
    Testing::OutputCapture capture;

    const auto thrown = Testing::ThrownWin32([&] { parent->OpenSubkey(L"child", KEY_WRITE); });

    Testing::ExpectWin32(thrown, "Failed to open registry key", ERROR_NOT_FOUND);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to open subkey { errorCode:1168, desiredAccess:131078, subkey:\"child\", _handle:" +
        HexField(parent->Handle()) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}
