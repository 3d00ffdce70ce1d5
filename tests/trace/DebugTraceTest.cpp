#include "trace/DebugTrace.h"
#include "tests/emulator/ProviderEmulator.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TraceLines.h"
#include "tests/trace/EventExpectations.h"
#include "tests/trace/TraceTestSupport.h"
#include "trace/Log.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Console switches as the front end sets them for /debug.
void EchoToConsole(int32_t level)
{
    Trace::DebugConsoleLevel = level;
    Trace::DebugConsoleEnabled = 1;
}

void CallEveryMember()
{
    Trace::TraceEnter(L"enter [%u]", 1u);
    Trace::TraceExit(L"exit [%u]", 2u);
    Trace::TraceVerbose(L"verbose [%u]", 3u);
    Trace::TraceInfo(L"info [%u]", 4u);
    Trace::TraceWarning(L"warning [%u]", 5u);
    Trace::TraceError(L"error [%u]", 6u);
}

const char enterLine[] = "  ENTER : enter [1]\n";
const char exitLine[] = "   EXIT : exit [2]\n";
const char verboseLine[] = "VERBOSE : verbose [3]\n";
const char infoLine[] = "   INFO : info [4]\n";
const char warningLine[] = "WARNING : warning [5]\n";
const char errorLine[] = "  ERROR : error [6]\n";

// The debug channel's keywords (without the channel bit) of the six members' events.
constexpr ULONGLONG debugTraceKeywords = 0x4 | 0x2;

} // namespace

TEST(DebugTrace, ConsoleIsOffByDefault)
{
    EXPECT_EQ(0, Trace::DebugConsoleLevel);
    EXPECT_EQ(0u, Trace::DebugConsoleEnabled);
    Testing::OutputCapture capture;
    CallEveryMember();
    EXPECT_EQ("", capture.Out());
    EXPECT_EQ("", capture.Err());
}

TEST(DebugTrace, LevelSevenShowsAllSixMembers)
{
    EchoToConsole(7);
    Testing::OutputCapture capture;
    CallEveryMember();
    EXPECT_EQ(std::string(enterLine) + exitLine + verboseLine + infoLine + warningLine + errorLine, capture.Out());
    EXPECT_EQ("", capture.Err());
}

TEST(DebugTrace, LevelZeroShowsNone)
{
    EchoToConsole(0);
    Testing::OutputCapture capture;
    CallEveryMember();
    EXPECT_EQ("", capture.Out());
}

TEST(DebugTrace, EachMemberAppearsFromItsThreshold)
{
    const std::string expected[] = {
        "",
        errorLine,
        std::string(warningLine) + errorLine,
        std::string(infoLine) + warningLine + errorLine,
        std::string(verboseLine) + infoLine + warningLine + errorLine,
        std::string(enterLine) + verboseLine + infoLine + warningLine + errorLine,
        std::string(enterLine) + exitLine + verboseLine + infoLine + warningLine + errorLine,
    };
    for (int32_t level = 0; level < 7; ++level) {
        SCOPED_TRACE(level);
        EchoToConsole(level);
        Testing::OutputCapture capture;
        CallEveryMember();
        EXPECT_EQ(expected[level], capture.Out());
    }
}

TEST(DebugTrace, DisabledConsoleShowsNone)
{
    Trace::DebugConsoleLevel = 7;
    Trace::DebugConsoleEnabled = 0;
    Testing::OutputCapture capture;
    CallEveryMember();
    EXPECT_EQ("", capture.Out());
}

TEST(DebugTrace, NullFormatLeavesTheTextEmpty)
{
    EchoToConsole(7);
    Testing::OutputCapture capture;
    Trace::TraceWarning(nullptr);
    EXPECT_EQ("WARNING : \n", capture.Out());
}

TEST(DebugTrace, LowerCaseSIsWideAndUpperCaseSNarrow)
{
    EchoToConsole(7);
    Testing::OutputCapture capture;
    Trace::TraceError(L"Failed to start trace [%s] with error [%u] from [%S] at [%d]", L"Kestrova", 5u, "narrow", -3);
    EXPECT_EQ("  ERROR : Failed to start trace [Kestrova] with error [5] from [narrow] at [-3]\n", capture.Out());
}

TEST(DebugTrace, ConsoleLineIsCutTo511Characters)
{
    EchoToConsole(7);
    Testing::OutputCapture capture;
    const std::wstring message(600, L'x');
    Trace::TraceInfo(L"%s", message.c_str());
    // The tag leaves room for 501 characters of the text and none for the line break.
    EXPECT_EQ("   INFO : " + std::string(501, 'x'), capture.Out());
}

TEST(DebugTrace, MessageIsCutTo511Characters)
{
    Testing::ProviderEmulator provider;
    Testing::ConfigureWith({}, Trace::SkipCrashHandlers);
    provider.Enable(0, debugTraceKeywords);
    Testing::OutputCapture capture;
    const std::wstring message(600, L'y');
    Trace::TraceInfo(L"%s", message.c_str());

    const auto& events = provider.Writes();
    ASSERT_EQ(std::vector<USHORT>{2004}, provider.WrittenIds());
    EXPECT_EQ(Testing::Terminated(std::wstring(511, L'y')), events[0].data[2].bytes);
    EXPECT_EQ(Testing::Terminated(std::wstring_view(L"trace_tests")), events[0].data[1].bytes);
    EXPECT_EQ("", capture.Out());
}

TEST(DebugTrace, ShortMessageIsKeptWhole)
{
    Testing::ProviderEmulator provider;
    Testing::ConfigureWith({}, Trace::SkipCrashHandlers);
    provider.Enable(0, debugTraceKeywords);
    EchoToConsole(1);
    Testing::OutputCapture capture;
    Trace::TraceEnter(L"Starting [%s]", L"session");
    Trace::TraceError(L"Failed [%u]", 87u);

    const auto& events = provider.Writes();
    ASSERT_EQ((std::vector<USHORT>{2002, 2006}), provider.WrittenIds());
    EXPECT_EQ(Testing::Terminated(std::wstring_view(L"Starting [session]")), events[0].data[2].bytes);
    EXPECT_EQ(Testing::Terminated(std::wstring_view(L"Failed [87]")), events[1].data[2].bytes);
    EXPECT_EQ("  ERROR : Failed [87]\n", capture.Out());
}

TEST(DebugTrace, IgnoresTheTraceSettingsAndNeverReachesTheTraceFile)
{
    Testing::TempDirectory directory;
    Testing::TraceFileCloser closer;
    Testing::ConfigureWith({Testing::PathSwitch("trace-folder", directory.Path()), "/trace-level:0"});
    const Trace::Category log("debug_trace");
    log->Fatal("Only line of the file");
    EchoToConsole(7);
    Testing::OutputCapture capture;
    Trace::TraceError(L"Echoed [%u]", 1u);
    Trace::TraceEnter(L"Echoed [%u]", 2u);

    EXPECT_EQ("  ERROR : Echoed [1]\n  ENTER : Echoed [2]\n", capture.Out());
    EXPECT_EQ(std::vector<std::string>{"Only line of the file"},
              Testing::TraceTexts(Testing::ReadSharedFile(directory.Path() / "trace_tests.log")));
    EXPECT_EQ(1u, Testing::SplitLines(Testing::ReadSharedFile(directory.Path() / "trace_tests.log")).size());
}
