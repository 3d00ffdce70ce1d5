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

void Store(HKEY key, const wchar_t* name, DWORD type, const void* data, DWORD size)
{
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), size));
}

void StoreString(HKEY key, const wchar_t* name, const std::wstring& text, DWORD type = REG_SZ)
{
    Store(key, name, type, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

void StoreDword(HKEY key, const wchar_t* name, DWORD number)
{
    Store(key, name, REG_DWORD, &number, sizeof(number));
}

LSTATUS WINAPI QueryAnswersNotFound(HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD)
{
    return ERROR_NOT_FOUND;
}

// The size query goes through; the read of the data itself is refused.
LSTATUS WINAPI DataReadDenied(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
{
    if (data != nullptr) {
        return ERROR_ACCESS_DENIED;
    }
    return Platform::SystemRegistry().RegQueryValueExW(key, name, reserved, type, data, size);
}

class RegistryKeyWin32Query : public testing::Test {
protected:
    void SetUp() override { Testing::EnableConsoleTrace(); }

    // The scratch key through the wrapper, opened with full access.
    Base::RegistryKey Key() { return Testing::OpenScratchKey(scratch, KEY_ALL_ACCESS); }
    // The same key opened for writing only, so that the registry refuses every read.
    Base::RegistryKey WriteOnlyKey() { return Testing::OpenScratchKey(scratch, KEY_WRITE); }

    std::string Handle(const Base::RegistryKey& key) { return HexField(key->Handle()); }

    Testing::ScratchRegistryKey scratch{HKEY_CURRENT_USER, Testing::ScratchParentPath};
};

} // namespace

TEST_F(RegistryKeyWin32Query, ValueInfoReportsTypeAndByteSizeWithoutLogging)
{
    StoreString(scratch.Handle(), L"text", L"abc");
    Base::RegistryKey key = Key();
    Testing::OutputCapture capture;
    uint32_t type = 77;
    uint32_t size = 77;

    EXPECT_TRUE(key->QueryValueInfo(L"text", type, size));

    EXPECT_EQ(static_cast<uint32_t>(REG_SZ), type);
    EXPECT_EQ(8u, size);
    EXPECT_EQ("", capture.Out());
    EXPECT_EQ("", capture.Err());
}

TEST_F(RegistryKeyWin32Query, ValueInfoOfAMissingValueIsFalseWithZeroedOutputs)
{
    Base::RegistryKey key = Key();
    Testing::OutputCapture capture;
    uint32_t type = 77;
    uint32_t size = 77;

    EXPECT_FALSE(key->QueryValueInfo(L"missing", type, size));

    EXPECT_EQ(0u, type);
    EXPECT_EQ(0u, size);
    const std::vector<std::string> expected{
        "DEBUG registry - Did not find VALUE info { name:\"missing\", _handle:" + Handle(key) + " }"};
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST_F(RegistryKeyWin32Query, ValueInfoFailureIsLoggedAndThrown)
{
    StoreString(scratch.Handle(), L"text", L"abc");
    Base::RegistryKey key = WriteOnlyKey();
    Testing::OutputCapture capture;
    uint32_t type = 77;
    uint32_t size = 77;

    const auto thrown = Testing::ThrownWin32([&] { key->QueryValueInfo(L"text", type, size); });

    Testing::ExpectWin32(thrown, "Unable to query registry value info", ERROR_ACCESS_DENIED);
    EXPECT_EQ(0u, type);
    EXPECT_EQ(0u, size);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to query VALUE info { errorCode:5, name:\"text\", _handle:" + Handle(key) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}

TEST_F(RegistryKeyWin32Query, DwordIsReadAndLogged)
{
    StoreDword(scratch.Handle(), L"number", 42);
    Base::RegistryKey key = Key();
    Testing::OutputCapture capture;
    uint32_t value = 0;

    EXPECT_TRUE(key->QueryDword(L"number", value));

    EXPECT_EQ(42u, value);
    const std::vector<std::string> expected{
        "DEBUG registry - Queried DWORD { value:42, name:\"number\", _handle:" + Handle(key) + " }"};
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST_F(RegistryKeyWin32Query, MissingDwordIsFalseAndLeavesTheOutput)
{
    Base::RegistryKey key = Key();
    Testing::OutputCapture capture;
    uint32_t value = 99;

    EXPECT_FALSE(key->QueryDword(L"missing", value));

    EXPECT_EQ(99u, value);
    const std::vector<std::string> expected{
        "DEBUG registry - Did not find DWORD name { name:\"missing\", _handle:" + Handle(key) + " }"};
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST_F(RegistryKeyWin32Query, NotFoundCodeElevenSixtyEightIsFalseForEveryQuery)
{
    Base::RegistryKey key = Key();
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegQueryValueExW = QueryAnswersNotFound;
    Testing::OutputCapture capture;
    uint32_t type = 77;
    uint32_t size = 77;
    uint32_t number = 99;
    std::wstring text = L"unchanged";

    EXPECT_FALSE(key->QueryValueInfo(L"a", type, size));
    EXPECT_FALSE(key->QueryDword(L"b", number));
    EXPECT_FALSE(key->QueryString(L"c", text));

    const std::string handle = Handle(key);
    const std::vector<std::string> expected{
        "DEBUG registry - Did not find VALUE info { name:\"a\", _handle:" + handle + " }",
        "DEBUG registry - Did not find DWORD name { name:\"b\", _handle:" + handle + " }",
        "DEBUG registry - Did not find STRING name { name:\"c\", _handle:" + handle + " }",
    };
    Testing::ExpectOnlyOutput(capture, expected);
}

// A string that fits the four-byte buffer (one character and its terminator), so that
// the read succeeds and only the type is wrong.
TEST_F(RegistryKeyWin32Query, DwordOfAStringValueThrowsAPlainConversionFailure)
{
    StoreString(scratch.Handle(), L"text", L"7");
    Base::RegistryKey key = Key();
    Testing::OutputCapture capture;
    uint32_t value = 99;

    const auto message = Testing::ThrownPlainMessage([&] { key->QueryDword(L"text", value); });

    EXPECT_EQ("Unable to convert DWORD registry value", message.value_or("<none>"));
    EXPECT_EQ(99u, value);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to query DWORD { size:4, type:1, name:\"text\", _handle:" + Handle(key) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}

TEST_F(RegistryKeyWin32Query, DwordOfAQwordValueThrowsWithMoreData)
{
    const ULONGLONG big = 5;
    Store(scratch.Handle(), L"big", REG_QWORD, &big, sizeof(big));
    Base::RegistryKey key = Key();
    Testing::OutputCapture capture;
    uint32_t value = 99;

    const auto thrown = Testing::ThrownWin32([&] { key->QueryDword(L"big", value); });

    Testing::ExpectWin32(thrown, "Unable to query DWORD registry value", ERROR_MORE_DATA);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to query DWORD { errorCode:234, name:\"big\", _handle:" + Handle(key) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}

TEST_F(RegistryKeyWin32Query, DwordReadFailureIsLoggedAndThrown)
{
    StoreDword(scratch.Handle(), L"number", 42);
    Base::RegistryKey key = WriteOnlyKey();
    Testing::OutputCapture capture;
    uint32_t value = 99;

    const auto thrown = Testing::ThrownWin32([&] { key->QueryDword(L"number", value); });

    Testing::ExpectWin32(thrown, "Unable to query DWORD registry value", ERROR_ACCESS_DENIED);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to query DWORD { errorCode:5, name:\"number\", _handle:" + Handle(key) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}

TEST_F(RegistryKeyWin32Query, StringIsReadWithoutItsTerminator)
{
    StoreString(scratch.Handle(), L"text", L"abc");
    Base::RegistryKey key = Key();
    Testing::OutputCapture capture;
    std::wstring value;

    EXPECT_TRUE(key->QueryString(L"text", value));

    EXPECT_EQ(L"abc", value);
    const std::vector<std::string> expected{
        "DEBUG registry - Queried STRING { value:\"abc\", name:\"text\", _handle:" + Handle(key) + " }"};
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST_F(RegistryKeyWin32Query, StringStoredWithTwoTerminatorsLosesBoth)
{
    const wchar_t data[] = L"abc\0"; // "abc", the literal's NUL and the array's own
    Store(scratch.Handle(), L"text", REG_SZ, data, sizeof(data));
    ASSERT_EQ(10u, sizeof(data));
    std::wstring value;

    EXPECT_TRUE(Key()->QueryString(L"text", value));

    EXPECT_EQ(L"abc", value);
    EXPECT_EQ(3u, value.size());
}

TEST_F(RegistryKeyWin32Query, StringStoredWithoutTerminatorIsReadWhole)
{
    Store(scratch.Handle(), L"text", REG_SZ, L"abc", 6);
    std::wstring value;

    EXPECT_TRUE(Key()->QueryString(L"text", value));

    EXPECT_EQ(L"abc", value);
}

TEST_F(RegistryKeyWin32Query, ExpandableStringIsReturnedUnexpanded)
{
    StoreString(scratch.Handle(), L"path", L"%SystemRoot%\\x", REG_EXPAND_SZ);
    std::wstring value;

    EXPECT_TRUE(Key()->QueryString(L"path", value));

    EXPECT_EQ(L"%SystemRoot%\\x", value);
}

TEST_F(RegistryKeyWin32Query, MissingStringIsFalseAndLeavesTheOutput)
{
    Base::RegistryKey key = Key();
    Testing::OutputCapture capture;
    std::wstring value = L"unchanged";

    EXPECT_FALSE(key->QueryString(L"missing", value));

    EXPECT_EQ(L"unchanged", value);
    const std::vector<std::string> expected{
        "DEBUG registry - Did not find STRING name { name:\"missing\", _handle:" + Handle(key) + " }"};
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST_F(RegistryKeyWin32Query, StringOfADwordValueThrowsAPlainConversionFailure)
{
    StoreDword(scratch.Handle(), L"number", 42);
    Base::RegistryKey key = Key();
    Testing::OutputCapture capture;
    std::wstring value;

    const auto message = Testing::ThrownPlainMessage([&] { key->QueryString(L"number", value); });

    EXPECT_EQ("Unable to convert STRING registry value", message.value_or("<none>"));
    const std::vector<std::string> expected{
        "ERROR registry - Failed to query STRING { size:4, type:4, name:\"number\", _handle:" + Handle(key) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}

TEST_F(RegistryKeyWin32Query, StringSizeQueryFailureIsLoggedWithTheCode)
{
    StoreString(scratch.Handle(), L"text", L"abc");
    Base::RegistryKey key = WriteOnlyKey();
    Testing::OutputCapture capture;
    std::wstring value;

    const auto thrown = Testing::ThrownWin32([&] { key->QueryString(L"text", value); });

    Testing::ExpectWin32(thrown, "Unable to query STRING registry value", ERROR_ACCESS_DENIED);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to query STRING { errorCode:5, name:\"text\", _handle:" + Handle(key) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}

TEST_F(RegistryKeyWin32Query, StringDataReadFailureIsLoggedWithSizeAndType)
{
    StoreString(scratch.Handle(), L"text", L"abc");
    Base::RegistryKey key = Key();
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegQueryValueExW = DataReadDenied;
    Testing::OutputCapture capture;
    std::wstring value = L"unchanged";

    const auto thrown = Testing::ThrownWin32([&] { key->QueryString(L"text", value); });

    Testing::ExpectWin32(thrown, "Unable to query STRING registry value", ERROR_ACCESS_DENIED);
    EXPECT_EQ(L"unchanged", value);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to query STRING { size:8, type:1, name:\"text\", _handle:" + Handle(key) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}
