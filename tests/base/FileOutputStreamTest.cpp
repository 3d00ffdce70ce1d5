#include "base/FileOutputStream.h"

#include "platform/FileApi.h"
#include "tests/support/ScopedApi.h"
#include "tests/support/TempDirectory.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>

namespace {

// The whole file as another process would read it while the stream holds it open;
// nullopt when it cannot be opened that way.
std::optional<std::string> ReadShared(const std::filesystem::path& path)
{
    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return std::nullopt;
    }
    std::string content;
    char buffer[4096];
    DWORD count = 0;
    while (::ReadFile(file, buffer, sizeof(buffer), &count, nullptr) && count > 0) {
        content.append(buffer, count);
    }
    ::CloseHandle(file);
    return content;
}

// What the replaced file functions saw and how they answer.
struct CreateCall {
    DWORD access;
    DWORD share;
    DWORD disposition;
};
std::optional<CreateCall> created;
int writeCalls = 0;
DWORD writeLimit = 0;

HANDLE WINAPI RecordingCreateFile(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                                  DWORD disposition, DWORD attributes, HANDLE templateFile)
{
    created = CreateCall{access, share, disposition};
    return Platform::SystemFile().CreateFileW(path, access, share, security, disposition, attributes, templateFile);
}

HANDLE WINAPI DeniedCreateFile(LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE)
{
    ::SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}

// Takes at most writeLimit bytes per call, as a nearly full disk or a pipe may.
BOOL WINAPI ShortWriteFile(HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
{
    ++writeCalls;
    return Platform::SystemFile().WriteFile(file, data, std::min(size, writeLimit), written, overlapped);
}

BOOL WINAPI FailingWriteFile(HANDLE, LPCVOID, DWORD, LPDWORD written, LPOVERLAPPED)
{
    ++writeCalls;
    *written = 0;
    ::SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

BOOL WINAPI StalledWriteFile(HANDLE, LPCVOID, DWORD, LPDWORD written, LPOVERLAPPED)
{
    ++writeCalls;
    *written = 0;
    return TRUE;
}

class FileOutputStreamTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        created.reset();
        writeCalls = 0;
    }

    Testing::TempDirectory directory;
    const std::filesystem::path path = directory.Path() / L"ksdiag.log";
    Testing::ScopedApi<Platform::FileApi> fileApi{Platform::File()};
};

} // namespace

TEST_F(FileOutputStreamTest, WritesWhatIsStreamedAndClosesTheFile)
{
    Base::FileOutputStream stream;
    EXPECT_FALSE(stream.IsOpen());

    stream.Open(path.wstring());
    EXPECT_TRUE(stream.IsOpen());
    stream << "line " << 1 << '\n' << "tail";
    stream.Close();

    EXPECT_FALSE(stream.IsOpen());
    EXPECT_TRUE(stream.good());
    EXPECT_EQ("line 1\ntail", ReadShared(path));
}

TEST_F(FileOutputStreamTest, CreatesForWritingSharedWithOthersAndTruncating)
{
    fileApi->CreateFileW = RecordingCreateFile;
    Base::FileOutputStream stream;

    stream.Open(path.wstring());

    ASSERT_TRUE(created.has_value());
    EXPECT_EQ(static_cast<DWORD>(GENERIC_WRITE), created->access);
    EXPECT_EQ(static_cast<DWORD>(FILE_SHARE_READ | FILE_SHARE_WRITE), created->share);
    EXPECT_EQ(static_cast<DWORD>(CREATE_ALWAYS), created->disposition);
}

TEST_F(FileOutputStreamTest, OpeningAgainTruncatesTheFile)
{
    {
        Base::FileOutputStream first;
        first.Open(path.wstring());
        first << "an older and longer content";
    }
    Base::FileOutputStream second;

    second.Open(path.wstring());
    second << "new";
    second.Close();

    EXPECT_EQ("new", ReadShared(path));
}

TEST_F(FileOutputStreamTest, OtherReadersSeeOutputAfterEachFlush)
{
    Base::FileOutputStream stream;
    stream.Open(path.wstring());

    stream << "first line\n";
    EXPECT_EQ("", ReadShared(path));
    stream.flush();
    EXPECT_EQ("first line\n", ReadShared(path));
    stream << "second line\n" << std::flush;

    EXPECT_EQ("first line\nsecond line\n", ReadShared(path));
}

TEST_F(FileOutputStreamTest, PendingOutputIsWrittenAt4096Bytes)
{
    Base::FileOutputStream stream;
    stream.Open(path.wstring());

    stream << std::string(4095, 'a');
    EXPECT_EQ("", ReadShared(path));
    stream << 'b';

    EXPECT_EQ(std::string(4095, 'a') + "b", ReadShared(path));
}

TEST_F(FileOutputStreamTest, DestructorWritesWhatIsPending)
{
    {
        Base::FileOutputStream stream;
        stream.Open(path.wstring());
        stream << "kept";
    }

    EXPECT_EQ("kept", ReadShared(path));
}

TEST_F(FileOutputStreamTest, OpenFailureLeavesTheStreamClosedAndFailed)
{
    Base::FileOutputStream stream;

    stream.Open((directory.Path() / L"missing" / L"ksdiag.log").wstring());

    EXPECT_FALSE(stream.IsOpen());
    EXPECT_EQ(std::ios_base::failbit, stream.rdstate());
}

TEST_F(FileOutputStreamTest, OpenFailureThrowsWhenTheMaskAsksForIt)
{
    fileApi->CreateFileW = DeniedCreateFile;
    Base::FileOutputStream stream;
    stream.exceptions(std::ios_base::failbit | std::ios_base::badbit);

    EXPECT_THROW(stream.Open(path.wstring()), std::ios_base::failure);
    EXPECT_FALSE(stream.IsOpen());
}

TEST_F(FileOutputStreamTest, SuccessfulOpenClearsAnEarlierFailure)
{
    Base::FileOutputStream stream;
    stream.Open((directory.Path() / L"missing" / L"ksdiag.log").wstring());
    ASSERT_TRUE(stream.fail());

    stream.Open(path.wstring());

    EXPECT_TRUE(stream.good());
    EXPECT_TRUE(stream.IsOpen());
}

TEST_F(FileOutputStreamTest, WritingWithoutAFileSetsBadBit)
{
    Base::FileOutputStream stream;

    stream << "lost";

    EXPECT_TRUE(stream.bad());
}

TEST_F(FileOutputStreamTest, ShortWritesAreCompleted)
{
    fileApi->WriteFile = ShortWriteFile;
    writeLimit = 3;
    Base::FileOutputStream stream;
    stream.Open(path.wstring());

    stream << "0123456789" << std::flush;

    EXPECT_TRUE(stream.good());
    EXPECT_EQ(4, writeCalls);
    EXPECT_EQ("0123456789", ReadShared(path));
}

TEST_F(FileOutputStreamTest, RefusedWriteSetsBadBitAndDropsThePendingOutput)
{
    fileApi->WriteFile = FailingWriteFile;
    Base::FileOutputStream stream;
    stream.Open(path.wstring());

    stream << "refused" << std::flush;
    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(1, writeCalls);

    stream.clear();
    stream.Close();
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(1, writeCalls);
    EXPECT_EQ("", ReadShared(path));
}

TEST_F(FileOutputStreamTest, WriteWithoutProgressIsAFailureNotALoop)
{
    fileApi->WriteFile = StalledWriteFile;
    Base::FileOutputStream stream;
    stream.Open(path.wstring());

    stream << "stalled" << std::flush;

    EXPECT_TRUE(stream.bad());
    EXPECT_EQ(1, writeCalls);
}

TEST_F(FileOutputStreamTest, CloseReportsAFailedFinalWrite)
{
    fileApi->WriteFile = FailingWriteFile;
    Base::FileOutputStream stream;
    stream.Open(path.wstring());
    stream << "pending";

    stream.Close();

    EXPECT_TRUE(stream.fail());
    EXPECT_FALSE(stream.IsOpen());
}
