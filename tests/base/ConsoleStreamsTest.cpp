#include "base/ConsoleStreams.h"
#include "base/UniqueHandle.h"
#include "platform/ConsoleApi.h"
#include "platform/FileApi.h"
#include "tests/base/CodePageSamples.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ScopedApi.h"
#include "tests/support/TempDirectory.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <string>

namespace {

TEST(ConsoleStreams, RedirectedOutputIsUtf8InTheOrderWritten)
{
    const Testing::ChildResult result = Testing::RunChild(Testing::SiblingExecutable(L"console_streams_child.exe"), {});
    ASSERT_EQ(0u, result.exitCode);
    ASSERT_EQ("cp ", result.out.substr(0, 3));
    const UINT reported = static_cast<UINT>(std::stoul(result.out.substr(3)));
    if (!Testing::SmallEAcute(Testing::EffectiveCodePage(reported))) {
        GTEST_SKIP() << "no expectation for console input code page " << reported;
    }

    // UTF-8 whatever the code page, so that the CJK characters and the emoji (a
    // surrogate pair) read back as written; every line feed is CR LF.
    const std::string expected = "cp " + std::to_string(reported) +
                                 "\r\nnarrow 1\r\nwide caf\xC3\xA9 2\r\nnarrow caf\xC3\xA9 3\r\n"
                                 "CJK \xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E, emoji \xF0\x9F\x98\x80\r\nnarrow 4\r\nx";
    EXPECT_EQ(expected, result.out);
    EXPECT_EQ("", result.err);
}

// Counts the calls that the audit found on every insertion.
Platform::ConsoleApi systemConsole;
size_t handleQueries = 0;
size_t modeQueries = 0;
Platform::FileApi systemFiles;
size_t fileWrites = 0;

HANDLE WINAPI CountingGetStdHandle(DWORD which)
{
    ++handleQueries;
    return systemConsole.GetStdHandle(which);
}

BOOL WINAPI CountingGetConsoleMode(HANDLE console, LPDWORD mode)
{
    ++modeQueries;
    return systemConsole.GetConsoleMode(console, mode);
}

BOOL WINAPI CountingWriteFile(HANDLE file, LPCVOID data, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
{
    ++fileWrites;
    return systemFiles.WriteFile(file, data, size, written, overlapped);
}

std::string ReadFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// Standard output moved to files of the test's own, and put back afterwards.
class RedirectedOutput : public testing::Test {
protected:
    // The write counter is the test's own, whatever ran before it in this process.
    RedirectedOutput() : saved(::GetStdHandle(STD_OUTPUT_HANDLE)) { fileWrites = 0; }
    ~RedirectedOutput() override { ::SetStdHandle(STD_OUTPUT_HANDLE, saved); }

    Base::UniqueKernelHandle Redirect(const std::filesystem::path& path)
    {
        Base::UniqueKernelHandle file(::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                                    CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        ::SetStdHandle(STD_OUTPUT_HANDLE, file.Get());
        return file;
    }

    // One event-like line: formatted numbers, narrow and wide text, then the end of line.
    static void WriteLine(int number)
    {
        std::wcout << std::setfill(L'0') << std::setw(4) << 2024 << L'-' << std::setw(2) << number << L" app(" << 1000
                   << L':' << 2000 << L") ";
        std::cout << "narrow ";
        std::wcout << L"caf\u00E9 \u65E5\u672C" << std::endl;
    }

    static std::string Line(int number)
    {
        return "2024-0" + std::to_string(number) + " app(1000:2000) narrow caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC\r\n";
    }

    Testing::TempDirectory temp;
    HANDLE saved;
};

TEST_F(RedirectedOutput, EachFlushAsksForTheHandleOnceAndWritesOnce)
{
    Base::UniqueKernelHandle file = Redirect(temp.Path() / L"out.txt");
    Base::InstallConsoleStreams();
    {
        Testing::ScopedApi<Platform::ConsoleApi> console(Platform::Console());
        Testing::ScopedApi<Platform::FileApi> files(Platform::File());
        systemConsole = *console;
        systemFiles = *files;
        console->GetStdHandle = CountingGetStdHandle;
        console->GetConsoleMode = CountingGetConsoleMode;
        files->WriteFile = CountingWriteFile;
        for (int number = 1; number <= 3; ++number) {
            WriteLine(number);
        }
        EXPECT_EQ(3u, handleQueries);
        EXPECT_EQ(0u, modeQueries);
        EXPECT_EQ(3u, fileWrites);
    }
    file.Reset();
    EXPECT_EQ(Line(1) + Line(2) + Line(3), ReadFile(temp.Path() / L"out.txt"));
}

TEST_F(RedirectedOutput, ANewHandleIsLookedAtOnceAndTheTextFollowsIt)
{
    Base::UniqueKernelHandle first = Redirect(temp.Path() / L"first.txt");
    Base::InstallConsoleStreams();
    WriteLine(1);
    Base::UniqueKernelHandle second = Redirect(temp.Path() / L"second.txt");
    {
        Testing::ScopedApi<Platform::ConsoleApi> console(Platform::Console());
        systemConsole = *console;
        console->GetConsoleMode = CountingGetConsoleMode;
        WriteLine(2);
        WriteLine(3);
        EXPECT_EQ(1u, modeQueries);
    }
    first.Reset();
    second.Reset();
    EXPECT_EQ(Line(1), ReadFile(temp.Path() / L"first.txt"));
    EXPECT_EQ(Line(2) + Line(3), ReadFile(temp.Path() / L"second.txt"));
}

TEST_F(RedirectedOutput, TextWaitsForTheFlushAndAFullBufferGoesOutByItself)
{
    Base::UniqueKernelHandle file = Redirect(temp.Path() / L"out.txt");
    Base::InstallConsoleStreams();
    Testing::ScopedApi<Platform::FileApi> files(Platform::File());
    systemFiles = *files;
    files->WriteFile = CountingWriteFile;
    std::wcout << L"waiting\n";
    std::cout << "still waiting\n";
    EXPECT_EQ(0u, fileWrites);
    // Far more than the buffer holds, without a flush.
    const std::wstring longText(10000, L'a');
    std::wcout << longText;
    EXPECT_EQ(2u, fileWrites);
    std::wcout.flush();
    EXPECT_EQ(3u, fileWrites);
    file.Reset();
    EXPECT_EQ("waiting\r\nstill waiting\r\n" + std::string(10000, 'a'), ReadFile(temp.Path() / L"out.txt"));
}

TEST_F(RedirectedOutput, ASurrogatePairSplitByAFlushArrivesWhole)
{
    Base::UniqueKernelHandle file = Redirect(temp.Path() / L"out.txt");
    Base::InstallConsoleStreams();
    std::wcout << L'\xD83D' << std::flush << L'\xDE00' << std::flush;
    file.Reset();
    EXPECT_EQ("\xF0\x9F\x98\x80", ReadFile(temp.Path() / L"out.txt"));
}

TEST_F(RedirectedOutput, ClosedOutputFailsTheStream)
{
    ::SetStdHandle(STD_OUTPUT_HANDLE, nullptr);
    Base::InstallConsoleStreams();
    std::wcout << L"nowhere" << std::flush;
    EXPECT_TRUE(std::wcout.bad());
}

} // namespace
