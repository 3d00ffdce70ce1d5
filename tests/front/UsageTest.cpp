#include "front/Usage.h"
#include "tests/front/ExpectedHelp.h"
#include "tests/support/OutputCapture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::string HelpText()
{
    Testing::OutputCapture capture;
    Front::PrintUsage();
    EXPECT_EQ("", capture.Err());
    return capture.Out();
}

// Every line with its content, so that a difference points at its line.
std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    EXPECT_EQ(text.size(), start) << "text after the last line break";
    return lines;
}

} // namespace

TEST(Usage, HelpTextLineByLine)
{
    const std::vector<std::string> expected = Testing::ExpectedHelpLines("front_tests.exe");
    const std::vector<std::string> actual = LinesOf(HelpText());
    ASSERT_EQ(expected.size(), actual.size());
    for (size_t line = 0; line < expected.size(); ++line) {
        EXPECT_EQ(expected[line], actual[line]) << "line " << line + 1;
    }
}

TEST(Usage, HelpTextIsExactlyTheLinesWithLineFeeds)
{
    EXPECT_EQ(Testing::JoinLines(Testing::ExpectedHelpLines("front_tests.exe"), "\n"), HelpText());
}

TEST(Usage, DefaultFileIsNamedTwiceWithSingleBackslashes)
{
    const std::string text = HelpText();
    const std::string path = "  \t%PROGRAMDATA%\\Kestrova\\Diagnostics\\Logs\\Kestrova-Log.etl is used.\n";
    const size_t first = text.find(path);
    ASSERT_NE(std::string::npos, first);
    const size_t second = text.find(path, first + 1);
    ASSERT_NE(std::string::npos, second);
    EXPECT_EQ(std::string::npos, text.find(path, second + 1));
    EXPECT_EQ(std::string::npos, text.find("\\\\"));
}
