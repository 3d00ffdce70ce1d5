#include "tests/base/LoggedMessages.h"

#include "tests/support/TraceLines.h"

#include <gtest/gtest.h>

namespace Testing {

std::vector<std::string> LoggedMessages(const std::string& output)
{
    std::vector<std::string> messages;
    for (const std::string& line : SplitLines(output)) {
        const auto parsed = ParseTraceLine(line);
        if (!parsed) {
            ADD_FAILURE() << "not a trace line: " << line;
            continue;
        }
        const size_t levelEnd = parsed->level.find_last_not_of(' ');
        messages.push_back(parsed->level.substr(0, levelEnd + 1) + " " + parsed->category + " - " + parsed->text);
    }
    return messages;
}

void ExpectOnlyOutput(const OutputCapture& capture, const std::vector<std::string>& expected)
{
    EXPECT_EQ(expected, LoggedMessages(capture.Out()));
    EXPECT_EQ("", capture.Err());
}

void ExpectOnlyErrors(const OutputCapture& capture, const std::vector<std::string>& expected)
{
    EXPECT_EQ(expected, LoggedMessages(capture.Err()));
    EXPECT_EQ("", capture.Out());
}

} // namespace Testing
