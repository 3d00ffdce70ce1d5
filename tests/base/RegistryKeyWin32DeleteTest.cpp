#include "base/RegistryKeyWin32.h"
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

struct DeleteCall {
    HKEY key;
    std::wstring subkey;
};
std::vector<DeleteCall> deleteCalls;
LSTATUS deleteAnswer = ERROR_SUCCESS;

LSTATUS WINAPI AnswerDelete(HKEY key, LPCWSTR subkey)
{
    deleteCalls.push_back({key, subkey});
    return deleteAnswer;
}

bool KeyExists(const std::wstring& path)
{
    HKEY key = nullptr;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return false;
    }
    ::RegCloseKey(key);
    return true;
}

class RegistryKeyWin32Delete : public testing::Test {
protected:
    void SetUp() override { Testing::EnableConsoleTrace(); }

    Testing::ScratchRegistryKey scratch{HKEY_CURRENT_USER, Testing::ScratchParentPath};
};

} // namespace

TEST_F(RegistryKeyWin32Delete, WholeTreeIsDeleted)
{
    HKEY grandchild = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(scratch.Handle(), L"tree\\branch", 0, nullptr, 0, KEY_ALL_ACCESS,
                                               nullptr, &grandchild, nullptr));
    const DWORD number = 1;
    ::RegSetValueExW(grandchild, L"leaf", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof(number));
    ::RegCloseKey(grandchild);
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_ALL_ACCESS);
    Testing::OutputCapture capture;

    key->DeleteSubtree(L"tree");

    EXPECT_FALSE(KeyExists(scratch.Path() + L"\\tree"));
    EXPECT_TRUE(KeyExists(scratch.Path()));
    const std::vector<std::string> expected{
        "DEBUG registry - Deleted recursive subkey { subkey:\"tree\", _handle:" + HexField(key->Handle()) + " }"};
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST_F(RegistryKeyWin32Delete, MissingSubkeyCountsAsDeleted)
{
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_ALL_ACCESS);
    Testing::OutputCapture capture;

    EXPECT_NO_THROW(key->DeleteSubtree(L"missing"));

    const std::vector<std::string> expected{
        "DEBUG registry - Deleted recursive subkey { subkey:\"missing\", _handle:" + HexField(key->Handle()) + " }"};
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST_F(RegistryKeyWin32Delete, BothNotFoundCodesCountAsDeleted)
{
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_ALL_ACCESS);
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegDeleteTreeW = AnswerDelete;
    Testing::OutputCapture capture;

    deleteAnswer = ERROR_FILE_NOT_FOUND;
    EXPECT_NO_THROW(key->DeleteSubtree(L"two"));
    deleteAnswer = ERROR_NOT_FOUND;
    EXPECT_NO_THROW(key->DeleteSubtree(L"eleven-sixty-eight"));

    ASSERT_EQ(2u, deleteCalls.size());
    EXPECT_EQ(key->Handle(), deleteCalls[0].key);
    EXPECT_EQ(L"two", deleteCalls[0].subkey);
    const std::string handle = HexField(key->Handle());
    const std::vector<std::string> expected{
        "DEBUG registry - Deleted recursive subkey { subkey:\"two\", _handle:" + handle + " }",
        "DEBUG registry - Deleted recursive subkey { subkey:\"eleven-sixty-eight\", _handle:" + handle + " }",
    };
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST_F(RegistryKeyWin32Delete, FailureIsLoggedAndThrown)
{
    Base::RegistryKey key = Testing::OpenScratchKey(scratch, KEY_ALL_ACCESS);
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegDeleteTreeW = AnswerDelete;
    deleteAnswer = ERROR_ACCESS_DENIED;
    Testing::OutputCapture capture;

    const auto thrown = Testing::ThrownWin32([&] { key->DeleteSubtree(L"tree"); });

    Testing::ExpectWin32(thrown, "Failed to delete registry key", ERROR_ACCESS_DENIED);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to delete recursive subkey { errorCode:5, subkey:\"tree\", _handle:" +
        HexField(key->Handle()) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}
