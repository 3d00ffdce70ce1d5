#include "tests/base/CodePageSamples.h"
#include "tests/support/ChildProcess.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <string>

TEST(ConsoleStreams, RedirectedOutputKeepsOrderAndUsesTheConsoleInputCodePage)
{
    const Testing::ChildResult result = Testing::RunChild(Testing::SiblingExecutable(L"console_streams_child.exe"), {});
    ASSERT_EQ(0u, result.exitCode);
    ASSERT_EQ("cp ", result.out.substr(0, 3));
    const UINT reported = static_cast<UINT>(std::stoul(result.out.substr(3)));
    const UINT codePage = Testing::EffectiveCodePage(reported);
    const auto encoded = Testing::SmallEAcute(codePage);
    if (!encoded) {
        GTEST_SKIP() << "no expectation for console input code page " << codePage;
    }

    // The C runtime writes standard output in text mode: every line ends in CR LF.
    const std::string expected = "cp " + std::to_string(reported) + "\r\nnarrow 1\r\nwide caf" + *encoded +
                                 " 2\r\nnarrow 3\r\nx\r\nnarrow 4\r\n";
    EXPECT_EQ(expected, result.out);
    EXPECT_EQ("", result.err);
}
