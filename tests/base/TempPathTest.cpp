#include "base/TempPath.h"

#include "base/Exception.h"
#include "platform/FileApi.h"
#include "tests/base/ConsoleTrace.h"
#include "tests/base/LoggedMessages.h"
#include "tests/base/ThrownException.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScopedApi.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <string>
#include <vector>

namespace {

int calls = 0;
std::wstring answer;

DWORD WINAPI DeniedTempPath(DWORD, LPWSTR)
{
    ++calls;
    ::SetLastError(ERROR_ACCESS_DENIED);
    return 0;
}

// Behaves like GetTempPathW for a TMP of any length: the size it needs (terminator
// included) when the buffer is too small, otherwise the copied length.
DWORD WINAPI LongTempPath(DWORD size, LPWSTR buffer)
{
    ++calls;
    if (size <= answer.size()) {
        return static_cast<DWORD>(answer.size() + 1);
    }
    std::copy(answer.begin(), answer.end(), buffer);
    buffer[answer.size()] = L'\0';
    return static_cast<DWORD>(answer.size());
}

// Always too small, as if the variable grew between two calls.
DWORD WINAPI EverGrowingTempPath(DWORD size, LPWSTR)
{
    ++calls;
    return size + 10;
}

// GetTempPathW replaced for one test, with the console trace on and captured.
class TempPathTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Testing::EnableConsoleTrace();
        calls = 0;
        // Filling the argument store may itself log (its registry reads); only what the
        // test does afterwards counts.
        capture.Clear();
    }

    Testing::ScopedApi<Platform::FileApi> file{Platform::File()};
    Testing::OutputCapture capture;
};

} // namespace

TEST(TempPath, IsTheSystemTemporaryDirectoryWithItsBackslash)
{
    wchar_t expected[MAX_PATH + 1] = {};
    ASSERT_NE(0u, ::GetTempPathW(MAX_PATH + 1, expected));

    const std::wstring path = Base::TempPath();

    EXPECT_EQ(expected, path);
    ASSERT_FALSE(path.empty());
    EXPECT_EQ(L'\\', path.back());
    EXPECT_NE(INVALID_FILE_ATTRIBUTES, ::GetFileAttributesW(path.c_str()));
}

TEST_F(TempPathTest, FailureIsLoggedAndThrownWithTheSystemCode)
{
    file->GetTempPathW = DeniedTempPath;

    const auto error = Testing::ThrownWin32([] { Base::TempPath(); });

    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(5u, error->ErrorCode());
    EXPECT_EQ(Base::Win32ErrorText(5), error->what());
    EXPECT_EQ(1, calls);
    Testing::ExpectOnlyErrors(capture, {"ERROR path - Failed to determine temp path { errorCode:5 }"});
}

TEST_F(TempPathTest, PathLongerThanMaxPathIsAskedForAgainWithTheNeededSize)
{
    file->GetTempPathW = LongTempPath;
    answer = L"C:\\" + std::wstring(400, L'a') + L"\\";

    EXPECT_EQ(answer, Base::TempPath());
    EXPECT_EQ(2, calls);
    EXPECT_EQ("", capture.Err());
}

TEST_F(TempPathTest, PathOfExactlyMaxPathFitsTheFirstBuffer)
{
    file->GetTempPathW = LongTempPath;
    answer = L"C:\\" + std::wstring(MAX_PATH - 4, L'b') + L"\\";
    ASSERT_EQ(static_cast<size_t>(MAX_PATH), answer.size());

    EXPECT_EQ(answer, Base::TempPath());
    EXPECT_EQ(1, calls);
}

TEST_F(TempPathTest, BufferStillTooSmallOnTheSecondCallIsAFailure)
{
    file->GetTempPathW = EverGrowingTempPath;

    const auto error = Testing::ThrownWin32([] { Base::TempPath(); });

    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(122u, error->ErrorCode());
    EXPECT_EQ(2, calls);
    Testing::ExpectOnlyErrors(capture, {"ERROR path - Failed to determine temp path { errorCode:122 }"});
}
