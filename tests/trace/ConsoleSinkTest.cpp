#include "base/ProcessArguments.h"
#include "base/RegistryKeyWin32.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/TraceLines.h"
#include "trace/DebugTrace.h"
#include "trace/Log.h"
#include "trace/TraceSettings.h"

#include <gtest/gtest.h>

TEST(ConsoleSink, ErrorLineGoesToStandardErrorWithFields)
{
    const char* argv[] = {"prog", "/trace-console", "/trace-level:5"};
    Base::ProcessArguments::Populate(3, argv);
    Trace::EnsureConfigured(Trace::SkipCrashHandlers | Trace::SkipProviderRegistration);
    Testing::OutputCapture capture;
    Trace::Category log("registry");
    const uint32_t code = 5;
    const std::wstring subkey = L"Software";
    log->Error("Failed", Trace::Field{"errorCode", code}, Trace::Field{"subkey", subkey});
    log->Debug("dbg");
    const auto lines = Testing::SplitLines(capture.Err());
    ASSERT_EQ(1u, lines.size());
    const auto parsed = Testing::ParseTraceLine(lines[0]);
    ASSERT_TRUE(parsed);
    EXPECT_EQ("ERROR   ", parsed->level);
    EXPECT_EQ("Failed { errorCode:5, subkey:\"Software\" }", parsed->text);
    EXPECT_EQ(std::vector<std::string>{"dbg"}, Testing::TraceTexts(capture.Out()));
    Trace::DebugConsoleLevel = 7;
    Trace::DebugConsoleEnabled = 1;
    capture.Clear();
    Trace::TraceError(L"Failed to start trace [%s] with error [%u]", L"x", 5u);
    EXPECT_EQ("  ERROR : Failed to start trace [x] with error [5]\n", capture.Out());
}
