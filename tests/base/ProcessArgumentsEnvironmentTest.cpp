#include "base/ProcessArguments.h"
#include "tests/base/ArgumentStoreTesting.h"
#include "tests/base/ConsoleTrace.h"
#include "tests/base/KestrovaEnvironment.h"
#include "tests/base/LoggedMessages.h"
#include "tests/support/NamedLock.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Base::Argument;
using Base::ProcessArguments;
using Testing::EnvironmentFlag;
using Testing::EnvironmentNamed;
using Testing::Found;
using Testing::PopulateFrom;
using Testing::ScopedEnvironment;

TEST(ProcessArgumentsEnvironment, PrefixedVariableBecomesANamedArgument)
{
    ScopedEnvironment variable("KESTROVA_Trace-Style", "plain");
    PopulateFrom({"registry_tests.exe"});

    EXPECT_EQ((Argument{EnvironmentNamed, "KESTROVA_Trace-Style=plain", "Trace-Style", "plain"}), Found("trace_style"));
    EXPECT_EQ(1u, ProcessArguments::CommandLineCount());
}

TEST(ProcessArgumentsEnvironment, ValueKeepsLaterEqualsSigns)
{
    ScopedEnvironment variable("KESTROVA_expr", "a=b");
    PopulateFrom({"registry_tests.exe"});

    EXPECT_EQ((Argument{EnvironmentNamed, "KESTROVA_expr=a=b", "expr", "a=b"}), Found("expr"));
}

TEST(ProcessArgumentsEnvironment, PrefixInLowerCaseIsAccepted)
{
    ScopedEnvironment variable("kestrova_lower", "1");
    PopulateFrom({"registry_tests.exe"});

    EXPECT_EQ((Argument{EnvironmentNamed, "kestrova_lower=1", "lower", "1"}), Found("lower"));
    EXPECT_TRUE(ProcessArguments::GetBool("lower"));
}

TEST(ProcessArgumentsEnvironment, EmptyValueMakesAFlag)
{
    ScopedEnvironment variable("KESTROVA_FLAG", "");
    PopulateFrom({"registry_tests.exe"});

    EXPECT_EQ((Argument{EnvironmentFlag, "KESTROVA_FLAG=", "FLAG", ""}), Found("flag"));
    EXPECT_TRUE(ProcessArguments::GetBool("flag"));
}

TEST(ProcessArgumentsEnvironment, PrefixAnywhereButAtTheStartIsIgnored)
{
    Testing::ClearedKestrovaEnvironment cleared;
    ScopedEnvironment variable("XKESTROVA_x", "1");
    Testing::EnableConsoleTrace();
    PopulateFrom({"registry_tests.exe"});
    Testing::OutputCapture capture;

    ProcessArguments::LogArguments();

    EXPECT_FALSE(ProcessArguments::Has("x"));
    EXPECT_FALSE(ProcessArguments::Has("XKESTROVA_x"));
    EXPECT_EQ(std::string::npos, capture.Out().find("KESTROVA_x")) << capture.Out();
}

TEST(ProcessArgumentsEnvironment, CommandLineWinsAndBothAreLogged)
{
    // The whole store is asserted: no other test may have values in the arguments keys.
    Testing::NamedLock lock(Testing::ArgumentsKeyLockName);
    Testing::ClearedKestrovaEnvironment cleared;
    ScopedEnvironment variable("KESTROVA_level", "fromEnvironment");
    Testing::EnableConsoleTrace();
    PopulateFrom({"registry_tests.exe", "/level:fromCommandLine"});
    Testing::OutputCapture capture;

    ProcessArguments::LogArguments();

    EXPECT_EQ("fromCommandLine", Found("level").value);
    const std::vector<std::string> expected{
        "VERBOSE arguments - Found field { commandLine:true, full:\"registry_tests.exe\" }",
        "VERBOSE arguments - Found named arg { commandLine:true, full:\"/level:fromCommandLine\", name:\"level\", "
        "value:\"fromCommandLine\" }",
        "VERBOSE arguments - Found named arg { commandLine:false, full:\"KESTROVA_level=fromEnvironment\", "
        "name:\"level\", value:\"fromEnvironment\" }",
    };
    Testing::ExpectOnlyOutput(capture, expected);
}

TEST(ProcessArgumentsEnvironment, VariablesFollowTheCommandLineInBlockOrder)
{
    Testing::ClearedKestrovaEnvironment cleared;
    ScopedEnvironment zeta("KESTROVA_zeta", "1");
    ScopedEnvironment alpha("KESTROVA_alpha", "");
    ScopedEnvironment mid("KESTROVA_mid", "3");
    const std::vector<std::string> blockOrder = Testing::KestrovaEnvironmentStrings();
    ASSERT_EQ(3u, blockOrder.size());
    Testing::EnableConsoleTrace();
    PopulateFrom({"registry_tests.exe", "/a:1"});
    Testing::OutputCapture capture;

    ProcessArguments::LogArguments();

    std::vector<std::string> logged;
    for (const std::string& message : Testing::LoggedMessages(capture.Out())) {
        const size_t full = message.find("full:\"");
        if (full != std::string::npos && message.compare(full + 6, 9, "KESTROVA_") == 0) {
            logged.push_back(message.substr(full + 6, message.find('"', full + 6) - full - 6));
        }
    }
    EXPECT_EQ(blockOrder, logged);
    // The first entry after the command line is the first variable of the block.
    EXPECT_EQ(blockOrder[0], ProcessArguments::CommandLineAt(2).full);
}
