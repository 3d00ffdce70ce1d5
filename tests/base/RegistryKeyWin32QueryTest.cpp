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

// Between the size query and the read of the data, the value named `changedName` is
// rewritten with `changedType` and `changedData`, as another process might do.
std::wstring changedName;
DWORD changedType = REG_NONE;
std::vector<BYTE> changedData;

LSTATUS WINAPI RewrittenAfterSizeQuery(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                                       LPDWORD size)
{
    const LSTATUS status = Platform::SystemRegistry().RegQueryValueExW(key, name, reserved, type, data, size);
    if (data == nullptr && changedName == name) {
        Platform::SystemRegistry().RegSetValueExW(key, name, 0, changedType, changedData.data(),
                                                  static_cast<DWORD>(changedData.size()));
    }
    return status;
}

void RewriteAfterSizeQuery(const wchar_t* name, DWORD type, const void* data, size_t size)
{
    changedName = name;
    changedType = type;
    const auto* bytes = static_cast<const BYTE*>(data);
    changedData.assign(bytes, bytes + size);
}

class RegistryKeyWin32Query : public testing::Test {
protected:
    void SetUp() override { Testing::EnableConsoleTrace(); }

    // The scratch key through the wrapper, opened with full access.
    Base::RegistryKey Key() { return Testing::OpenScratchKey(scratch, KEY_ALL_ACCESS); }
    // The same key opened for writing only, so that the registry refuses every read.
    Base::RegistryKey WriteOnlyKey() { return Testing::OpenScratchKey(scratch, KEY_WRITE); }

    std::string Handle(const Base::RegistryKey& key) { return HexField(key->Handle()); }

    // The registry holds exactly that many bytes of the value, as the test stored them.
    void ExpectStoredBytes(const wchar_t* name, DWORD bytes)
    {
        DWORD stored = 0;
        ASSERT_EQ(ERROR_SUCCESS, ::RegQueryValueExW(scratch.Handle(), name, nullptr, nullptr, nullptr, &stored));
        ASSERT_EQ(bytes, stored);
    }

    // Reads the string value through the wrapper: true, the text, and one DEBUG line
    // that carries it (ASCII text only, as it is logged).
    void ExpectQueriedString(const wchar_t* name, const std::wstring& text)
    {
        Base::RegistryKey key = Key();
        Testing::OutputCapture capture;
        std::wstring value;

        EXPECT_TRUE(key->QueryString(name, value));

        EXPECT_EQ(text, value);
        const std::wstring wideName = name;
        const std::vector<std::string> expected{
            "DEBUG registry - Queried STRING { value:\"" + std::string(text.begin(), text.end()) + "\", name:\"" +
            std::string(wideName.begin(), wideName.end()) + "\", _handle:" + Handle(key) + " }"};
        Testing::ExpectOnlyOutput(capture, expected);
    }

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
    ExpectQueriedString(L"text", L"abc");
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

// Five bytes: "ab" and the low byte of 'c', as a writer that counted one byte short
// leaves it. The half character reads as the whole one.
TEST_F(RegistryKeyWin32Query, StringOfAnOddByteSizeIsReadWhole)
{
    Store(scratch.Handle(), L"odd", REG_SZ, L"abc", 5);
    ExpectStoredBytes(L"odd", 5);

    ExpectQueriedString(L"odd", L"abc");
}

// Seven bytes: "abc" and a zero byte, half a terminator. The unit after the stored bytes
// is not zero: where it is, the system counts a forgotten terminator in by itself and
// stores nine bytes instead.
TEST_F(RegistryKeyWin32Query, StringWithHalfATerminatorLosesIt)
{
    const wchar_t data[] = {L'a', L'b', L'c', 0x0100};
    Store(scratch.Handle(), L"odd", REG_SZ, data, 7);
    ExpectStoredBytes(L"odd", 7);

    ExpectQueriedString(L"odd", L"abc");
}

TEST_F(RegistryKeyWin32Query, StringThatGrowsBetweenTheReadsIsReadAtItsNewSize)
{
    StoreString(scratch.Handle(), L"text", L"abc");
    const std::wstring longer = L"a much longer text than the first";
    RewriteAfterSizeQuery(L"text", REG_SZ, longer.c_str(), (longer.size() + 1) * sizeof(wchar_t));
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegQueryValueExW = RewrittenAfterSizeQuery;
    ExpectQueriedString(L"text", longer);
}

TEST_F(RegistryKeyWin32Query, StringThatBecomesADwordBetweenTheReadsThrowsAPlainConversionFailure)
{
    StoreString(scratch.Handle(), L"text", L"abc");
    const DWORD number = 42;
    RewriteAfterSizeQuery(L"text", REG_DWORD, &number, sizeof(number));
    Base::RegistryKey key = Key();
    Testing::ScopedApi<Platform::RegistryApi> registry(Platform::Registry());
    registry->RegQueryValueExW = RewrittenAfterSizeQuery;
    Testing::OutputCapture capture;
    std::wstring value = L"unchanged";

    const auto message = Testing::ThrownPlainMessage([&] { key->QueryString(L"text", value); });

    EXPECT_EQ("Unable to convert STRING registry value", message.value_or("<none>"));
    EXPECT_EQ(L"unchanged", value);
    const std::vector<std::string> expected{
        "ERROR registry - Failed to query STRING { size:4, type:4, name:\"text\", _handle:" + Handle(key) + " }"};
    Testing::ExpectOnlyErrors(capture, expected);
}
