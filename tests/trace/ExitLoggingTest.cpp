// A category logged through while the runtime destroys static objects at exit:
// exit_logger.exe, run as a child.

#include "tests/support/ChildProcess.h"
#include "tests/support/TraceLines.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(ExitLogging, CategoryStillLogsAfterStaticDestructionBegan)
{
    const Testing::ChildResult result = Testing::RunChild(Testing::SiblingExecutable(L"exit_logger.exe"), {});

    EXPECT_EQ(0u, result.exitCode);
    EXPECT_EQ("", result.out);
    const std::vector<std::string> lines = Testing::SplitLines(result.err);
    ASSERT_EQ(2u, lines.size()) << result.err;
    const std::vector<std::string> texts{"Logged in main", "Logged after the category's destructor would have run"};
    for (size_t index = 0; index < lines.size(); ++index) {
        const auto parsed = Testing::ParseTraceLine(lines[index]);
        ASSERT_TRUE(parsed) << lines[index];
        EXPECT_EQ("ERROR   ", parsed->level);
        EXPECT_EQ("exit", parsed->category);
        EXPECT_EQ(texts[index], parsed->text);
    }
}
