#include "trace/TraceFile.h"
#include "base/UniqueHandle.h"
#include "tests/emulator/ProviderEmulator.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TraceLines.h"
#include "tests/trace/TraceTestSupport.h"
#include "trace/Log.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <ctime>
#include <filesystem>
#include <map>
#include <regex>
#include <thread>

namespace {

using Testing::ConfigureWith;
using Testing::PathSwitch;
using Testing::ReadSharedFile;
namespace fs = std::filesystem;

const Trace::Category testLog("file");

const fs::path moduleLog = "trace_tests.log";

// The keyword of the operational events, without its channel bit.
constexpr ULONGLONG operationalKeyword = 0x1;

std::vector<fs::path> Names(std::initializer_list<const char*> names)
{
    return std::vector<fs::path>(names.begin(), names.end());
}

std::string UtcStampNow()
{
    const __time64_t now = _time64(nullptr);
    std::tm utc{};
    _gmtime64_s(&utc, &now);
    char stamp[32] = {};
    std::strftime(stamp, sizeof(stamp), "%Y%m%d_%H%M%S", &utc);
    return stamp;
}

} // namespace

TEST(TraceFile, TraceFolderAloneWritesTheModuleLogThere)
{
    Testing::TempDirectory directory;
    Testing::TraceFileCloser closer;
    ConfigureWith({PathSwitch("trace-folder", directory.Path()), "/trace-level:3"});
    const int count = 2;
    testLog->Info("Into the file", Trace::Field{"count", count});
    testLog->Verbose("Above the threshold");

    EXPECT_EQ(std::vector<fs::path>{moduleLog}, directory.Files());
    const std::string content = ReadSharedFile(directory.Path() / moduleLog);
    const auto lines = Testing::SplitLines(content);
    ASSERT_EQ(1u, lines.size());
    EXPECT_EQ(lines[0] + "\n", content);
    const auto parsed = Testing::ParseTraceLine(lines[0]);
    ASSERT_TRUE(parsed);
    EXPECT_EQ("INFO    ", parsed->level);
    EXPECT_EQ("file", parsed->category);
    EXPECT_EQ(::GetCurrentProcessId(), parsed->processId);
    EXPECT_EQ("Into the file { count:2 }", parsed->text);
}

TEST(TraceFile, TraceLevelZeroWritesOnlyFatalToTheFile)
{
    Testing::TempDirectory directory;
    Testing::TraceFileCloser closer;
    ConfigureWith({PathSwitch("trace-folder", directory.Path()), "/trace-level:0"});
    for (const auto& [level, name] : Trace::LevelNames()) {
        testLog->Emit(static_cast<Trace::LogLevel>(level), name);
    }

    const std::string content = ReadSharedFile(directory.Path() / moduleLog);
    EXPECT_EQ(std::vector<std::string>{"FATAL"}, Testing::TraceTexts(content));
    EXPECT_EQ(1u, Testing::SplitLines(content).size());
}

TEST(TraceFile, FileAndConsoleReceiveTheSameLine)
{
    Testing::TempDirectory directory;
    Testing::TraceFileCloser closer;
    ConfigureWith({PathSwitch("trace-folder", directory.Path()), "/trace-console"});
    Testing::OutputCapture capture;
    testLog->Error("Both sinks");
    ASSERT_EQ(1u, Testing::TraceTexts(capture.Err()).size());
    EXPECT_EQ(capture.Err(), ReadSharedFile(directory.Path() / moduleLog));
}

TEST(TraceFile, TrueTraceFilePrefixAddsTimeAndProcessId)
{
    Testing::TempDirectory directory;
    Testing::TraceFileCloser closer;
    ConfigureWith({PathSwitch("trace-folder", directory.Path()), "/trace-file-prefix:true"});
    const std::string before = UtcStampNow();
    testLog->Error("Prefixed");
    const std::string after = UtcStampNow();

    const auto files = directory.Files();
    ASSERT_EQ(1u, files.size());
    const std::string name = files[0].string();
    const std::regex pattern("^(\\d{8}_\\d{6})_" + std::to_string(::GetCurrentProcessId()) + "_trace_tests\\.log$");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(name, match, pattern)) << name;
    EXPECT_LE(before, match[1].str());
    EXPECT_GE(after, match[1].str());
    EXPECT_EQ(std::vector<std::string>{"Prefixed"}, Testing::TraceTexts(ReadSharedFile(directory.Path() / name)));
}

TEST(TraceFile, FalseTraceFilePrefixAddsNothing)
{
    Testing::TempDirectory directory;
    Testing::TraceFileCloser closer;
    ConfigureWith({PathSwitch("trace-folder", directory.Path()), "/trace-file-prefix:0"});
    testLog->Error("Unprefixed");
    EXPECT_EQ(std::vector<fs::path>{moduleLog}, directory.Files());
}

TEST(TraceFile, TraceFileWinsOverEverythingForThePath)
{
    Testing::TempDirectory directory;
    Testing::TraceFileCloser closer;
    const fs::path chosen = directory.Path() / "chosen.log";
    ConfigureWith({PathSwitch("trace-folder", directory.Path()), PathSwitch("trace-file", chosen),
                   PathSwitch("logging-file", directory.Path() / "other.log"), "/trace-file-prefix:true"});
    EXPECT_EQ(chosen, Trace::ResolveTraceFilePath());
    testLog->Error("Chosen");
    EXPECT_EQ(Names({"chosen.log"}), directory.Files());
    EXPECT_EQ(std::vector<std::string>{"Chosen"}, Testing::TraceTexts(ReadSharedFile(chosen)));
}

TEST(TraceFile, LoggingFileNamesTheFileWithoutTraceFile)
{
    Testing::TempDirectory directory;
    Testing::TraceFileCloser closer;
    const fs::path other = directory.Path() / "other.log";
    ConfigureWith({PathSwitch("trace-folder", directory.Path()), PathSwitch("logging-file", other)});
    EXPECT_EQ(other, Trace::ResolveTraceFilePath());
    testLog->Error("Other");
    EXPECT_EQ(Names({"other.log"}), directory.Files());
}

TEST(TraceFile, EmptyTraceFileIsPassedOver)
{
    Testing::TempDirectory directory;
    const fs::path other = directory.Path() / "other.log";
    ConfigureWith({"/trace-file:", PathSwitch("logging-file", other)});
    EXPECT_EQ(other, Trace::ResolveTraceFilePath());
}

TEST(TraceFile, TraceFileAloneNamesThePathButWritesNothing)
{
    Testing::TempDirectory directory;
    // Releases the file should the sink open one after all, so the directory goes.
    Testing::TraceFileCloser closer;
    const fs::path alone = directory.Path() / "alone.log";
    ConfigureWith({PathSwitch("trace-file", alone), "/trace-console"});
    EXPECT_EQ(alone, Trace::ResolveTraceFilePath());
    Testing::OutputCapture capture;
    testLog->Error("Console only");
    EXPECT_EQ(std::vector<std::string>{"Console only"}, Testing::TraceTexts(capture.Err()));
    EXPECT_TRUE(directory.Files().empty());
    EXPECT_FALSE(Trace::IsTraceFileOpen());
}

TEST(TraceFile, PresetNameReplacesTheModuleName)
{
    Testing::TempDirectory directory;
    Testing::TraceFileCloser closer;
    Trace::DefaultTraceFileName() = "preset.txt";
    ConfigureWith({PathSwitch("trace-folder", directory.Path())});
    EXPECT_EQ(directory.Path() / "preset.txt", Trace::ResolveTraceFilePath());
    testLog->Error("Preset");
    EXPECT_EQ(Names({"preset.txt"}), directory.Files());
}

TEST(TraceFile, FolderDefaultsToTheTemporaryDirectory)
{
    Testing::TempDirectory directory;
    Testing::ScopedEnvironment tmp("TMP", directory.Path().string());
    Testing::ScopedEnvironment temp("TEMP", directory.Path().string());
    ConfigureWith({});
    EXPECT_EQ((directory.Path() / moduleLog).lexically_normal(), Trace::ResolveTraceFilePath().lexically_normal());
}

TEST(TraceFile, UnknownTemporaryDirectoryEscapesTheLoggingCall)
{
    Testing::TempDirectory directory;
    const std::string missing = (directory.Path() / "missing").string();
    Testing::ScopedEnvironment tmp("TMP", missing);
    Testing::ScopedEnvironment temp("TEMP", missing);
    Trace::DefaultTraceFileName() = "preset.log";
    ConfigureWith({"/trace-console"});
    EXPECT_THROW(Trace::ResolveTraceFilePath(), fs::filesystem_error);

    Testing::OutputCapture capture;
    const int first = 1;
    EXPECT_THROW(testLog->Warning("Console first", Trace::Field{"n", first}), fs::filesystem_error);
    const int second = 2;
    EXPECT_THROW(testLog->Warning("Console again", Trace::Field{"n", second}), fs::filesystem_error);
    EXPECT_EQ((std::vector<std::string>{"Console first { n:1 }", "Console again { n:2 }"}),
              Testing::TraceTexts(capture.Out()));
}

TEST(TraceFile, ReopeningTruncates)
{
    Testing::TempDirectory directory;
    Testing::TraceFileCloser closer;
    ConfigureWith({PathSwitch("trace-folder", directory.Path())});
    testLog->Error("first");
    EXPECT_EQ(std::vector<std::string>{"first"}, Testing::TraceTexts(ReadSharedFile(directory.Path() / moduleLog)));
    Trace::OpenTraceFile();
    EXPECT_EQ("", ReadSharedFile(directory.Path() / moduleLog));
    testLog->Error("second");
    EXPECT_EQ(std::vector<std::string>{"second"}, Testing::TraceTexts(ReadSharedFile(directory.Path() / moduleLog)));
}

TEST(TraceFile, DirectoryAsPathLeavesTheStreamFailed)
{
    Testing::TempDirectory directory;
    ConfigureWith(
        {PathSwitch("trace-folder", directory.Path()), PathSwitch("trace-file", directory.Path()), "/trace-console"});
    Testing::OutputCapture capture;
    EXPECT_NO_THROW(testLog->Error("Console still"));
    EXPECT_FALSE(Trace::IsTraceFileOpen());
    EXPECT_TRUE(Trace::TraceFileStream().fail());
    EXPECT_EQ(std::vector<std::string>{"Console still"}, Testing::TraceTexts(capture.Err()));
    EXPECT_TRUE(directory.Files().empty());
}

TEST(TraceFile, MissingFolderLeavesTheStreamFailed)
{
    Testing::TempDirectory directory;
    const fs::path missing = directory.Path() / "missing";
    ConfigureWith({PathSwitch("trace-folder", missing), "/trace-console"});
    Testing::OutputCapture capture;
    EXPECT_NO_THROW(testLog->Error("Lost for the file"));
    EXPECT_FALSE(Trace::IsTraceFileOpen());
    EXPECT_TRUE(Trace::TraceFileStream().fail());
    EXPECT_FALSE(fs::exists(missing));
    EXPECT_EQ(std::vector<std::string>{"Lost for the file"}, Testing::TraceTexts(capture.Err()));
}

TEST(TraceFile, MessageLostForTheFileStillReachesConsoleAndSession)
{
    Testing::ProviderEmulator provider;
    Testing::TempDirectory directory;
    const fs::path missing = directory.Path() / "missing";
    ConfigureWith({PathSwitch("trace-folder", missing), "/trace-console"}, Trace::SkipCrashHandlers);
    provider.Enable(0, operationalKeyword);
    Testing::OutputCapture capture;
    testLog->Error("Not for the file");

    EXPECT_FALSE(Trace::IsTraceFileOpen());
    EXPECT_EQ(std::vector<std::string>{"Not for the file"}, Testing::TraceTexts(capture.Err()));
    EXPECT_EQ(std::vector<USHORT>{2014}, provider.WrittenIds());
    EXPECT_FALSE(fs::exists(missing));
}

TEST(TraceFile, FailedOpenIsRetriedOnTheNextMessage)
{
    Testing::TempDirectory directory;
    Testing::TraceFileCloser closer;
    const fs::path later = directory.Path() / "later";
    ConfigureWith({PathSwitch("trace-folder", later)});
    testLog->Error("lost");
    EXPECT_FALSE(Trace::IsTraceFileOpen());
    fs::create_directory(later);
    testLog->Error("kept");
    EXPECT_TRUE(Trace::IsTraceFileOpen());
    EXPECT_EQ(std::vector<std::string>{"kept"}, Testing::TraceTexts(ReadSharedFile(later / moduleLog)));
}

TEST(TraceFile, BadStreamIsReopenedOnTheNextMessage)
{
    Testing::TempDirectory directory;
    Testing::TraceFileCloser closer;
    ConfigureWith({PathSwitch("trace-folder", directory.Path())});
    testLog->Error("one");
    Trace::TraceFileStream().setstate(std::ios_base::badbit);
    testLog->Error("two");
    EXPECT_TRUE(Trace::TraceFileStream().good());
    EXPECT_EQ(std::vector<std::string>{"two"}, Testing::TraceTexts(ReadSharedFile(directory.Path() / moduleLog)));
}

TEST(TraceFile, ExceptionMaskRaisesTheFailbitText)
{
    Testing::TempDirectory directory;
    ConfigureWith({PathSwitch("trace-folder", directory.Path() / "missing")});
    Trace::TraceFileStream().exceptions(std::ios_base::failbit);
    try {
        Trace::OpenTraceFile();
        FAIL() << "no exception";
    } catch (const std::ios_base::failure& failure) {
        EXPECT_STREQ("ios_base::failbit set", failure.what());
    }
    EXPECT_FALSE(Trace::IsTraceFileOpen());
    EXPECT_TRUE(Trace::TraceFileStream().fail());
    Trace::TraceFileStream().exceptions(std::ios_base::goodbit);
}

TEST(TraceFile, OpenFileCanBeReadAndWrittenByOthers)
{
    Testing::TempDirectory directory;
    Testing::TraceFileCloser closer;
    ConfigureWith({PathSwitch("trace-folder", directory.Path())});
    testLog->Error("shared");
    const fs::path path = directory.Path() / moduleLog;
    Base::UniqueKernelHandle other(::CreateFileW(path.wstring().c_str(), GENERIC_READ | GENERIC_WRITE,
                                                 FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                                 FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(other.IsValid()) << ::GetLastError();
    char buffer[256] = {};
    DWORD count = 0;
    ASSERT_TRUE(::ReadFile(other.Get(), buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(std::vector<std::string>{"shared"}, Testing::TraceTexts(std::string(buffer, count)));
}

// Lines of several threads may come in any order, but each one arrives whole: no byte of
// another line inside it, no bytes lost, no zeros where a line was overwritten.
TEST(TraceFile, LinesOfConcurrentThreadsArriveWhole)
{
    Testing::TempDirectory directory;
    Testing::TraceFileCloser closer;
    ConfigureWith({PathSwitch("trace-folder", directory.Path())});
    constexpr int threadCount = 3;
    constexpr int linesPerThread = 5000;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([thread] {
            for (int line = 0; line < linesPerThread; ++line) {
                testLog->Error("Concurrent line", Trace::Field{"thread", thread}, Trace::Field{"line", line});
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    const std::string content = ReadSharedFile(directory.Path() / moduleLog);
    EXPECT_EQ(std::string::npos, content.find('\0'));
    const std::regex text(R"(Concurrent line \{ thread:(\d), line:(\d+) \})");
    std::map<int, int> nextLine; // per thread: each thread's own lines stay in order
    int whole = 0;
    int outOfOrder = 0;
    std::vector<std::string> broken;
    for (const std::string& line : Testing::SplitLines(content)) {
        const auto parsed = Testing::ParseTraceLine(line);
        std::smatch match;
        if (!parsed || !std::regex_match(parsed->text, match, text)) {
            broken.push_back(line);
            continue;
        }
        const int thread = std::stoi(match[1]);
        outOfOrder += nextLine[thread]++ != std::stoi(match[2]) ? 1 : 0;
        ++whole;
    }
    EXPECT_EQ(0u, broken.size()) << "the first: " << (broken.empty() ? std::string() : broken.front());
    EXPECT_EQ(0, outOfOrder);
    EXPECT_EQ(threadCount * linesPerThread, whole);
    EXPECT_EQ(std::vector<fs::path>{moduleLog}, directory.Files());
}
