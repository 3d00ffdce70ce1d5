#include "base/ProcessArguments.h"
#include "tests/base/ArgumentStoreTesting.h"

#include <gtest/gtest.h>

using Base::Argument;
using Base::ProcessArguments;
using Testing::PopulateFrom;

using Testing::Found;

namespace {

constexpr uint32_t named = Testing::CommandLineNamed;
constexpr uint32_t flag = Testing::CommandLineFlag;
constexpr uint32_t field = Testing::CommandLineField;

} // namespace

TEST(ProcessArgumentsCommandLine, BitsHaveTheirFixedValues)
{
    EXPECT_EQ(1u, Base::SourceCommandLine);
    EXPECT_EQ(2u, Base::SourceEnvironment);
    EXPECT_EQ(4u, Base::SourceRegistry);
    EXPECT_EQ(16u, Base::KindNamed);
    EXPECT_EQ(32u, Base::KindFlag);
    EXPECT_EQ(64u, Base::KindField);
}

TEST(ProcessArgumentsCommandLine, ProgramPathIsTheFirstField)
{
    PopulateFrom({"C:\\tools\\registry_tests.exe"});

    EXPECT_EQ(1u, ProcessArguments::CommandLineCount());
    EXPECT_EQ((Argument{field, "C:\\tools\\registry_tests.exe", "", ""}), ProcessArguments::CommandLineAt(0));
}

TEST(ProcessArgumentsCommandLine, ColonAndEqualsBothSeparateNameAndValue)
{
    PopulateFrom({"registry_tests.exe", "/level:debug", "/other=debug"});

    EXPECT_EQ((Argument{named, "/level:debug", "level", "debug"}), ProcessArguments::CommandLineAt(1));
    EXPECT_EQ((Argument{named, "/other=debug", "other", "debug"}), ProcessArguments::CommandLineAt(2));
    EXPECT_EQ("debug", Found("level").value);
}

TEST(ProcessArgumentsCommandLine, SameSettingWithEqualsGivesTheSameEntry)
{
    PopulateFrom({"registry_tests.exe", "/level=debug"});

    EXPECT_EQ((Argument{named, "/level=debug", "level", "debug"}), ProcessArguments::CommandLineAt(1));
}

TEST(ProcessArgumentsCommandLine, FirstSeparatorSplitsAndTheRestIsValue)
{
    PopulateFrom({"registry_tests.exe", "/a=b:c", "/d:e=f"});

    EXPECT_EQ((Argument{named, "/a=b:c", "a", "b:c"}), ProcessArguments::CommandLineAt(1));
    EXPECT_EQ((Argument{named, "/d:e=f", "d", "e=f"}), ProcessArguments::CommandLineAt(2));
}

TEST(ProcessArgumentsCommandLine, SlashWordIsAFlag)
{
    PopulateFrom({"registry_tests.exe", "/debug"});

    EXPECT_EQ((Argument{flag, "/debug", "debug", ""}), ProcessArguments::CommandLineAt(1));
    EXPECT_TRUE(ProcessArguments::GetBool("debug"));
    EXPECT_TRUE(ProcessArguments::Has("DEBUG"));
}

TEST(ProcessArgumentsCommandLine, DashAndBareWordsAreFieldsAndNotIndexed)
{
    PopulateFrom({"registry_tests.exe", "-debug", "debug"});

    EXPECT_EQ((Argument{field, "-debug", "", ""}), ProcessArguments::CommandLineAt(1));
    EXPECT_EQ((Argument{field, "debug", "", ""}), ProcessArguments::CommandLineAt(2));
    EXPECT_FALSE(ProcessArguments::Has("debug"));
    EXPECT_FALSE(ProcessArguments::Has("-debug"));
    // A field's empty name is not indexed either.
    EXPECT_FALSE(ProcessArguments::Has(""));
    EXPECT_FALSE(ProcessArguments::GetBool("debug"));
}

TEST(ProcessArgumentsCommandLine, NameWithColonAndNothingAfterHasAnEmptyValue)
{
    PopulateFrom({"registry_tests.exe", "/x:"});

    EXPECT_EQ((Argument{named, "/x:", "x", ""}), ProcessArguments::CommandLineAt(1));
    EXPECT_TRUE(ProcessArguments::Has("x"));
    EXPECT_FALSE(ProcessArguments::GetBool("x"));
    EXPECT_EQ(7u, ProcessArguments::GetUInt("x", 7));
}

TEST(ProcessArgumentsCommandLine, SeparatorRightAfterTheSlashGivesAnEmptyName)
{
    PopulateFrom({"registry_tests.exe", "/:x"});

    EXPECT_EQ((Argument{named, "/:x", "", "x"}), ProcessArguments::CommandLineAt(1));
    EXPECT_EQ("x", Found("").value);
}

TEST(ProcessArgumentsCommandLine, LoneSlashIsAFlagWithAnEmptyName)
{
    PopulateFrom({"registry_tests.exe", "/"});

    EXPECT_EQ((Argument{flag, "/", "", ""}), ProcessArguments::CommandLineAt(1));
    EXPECT_TRUE(ProcessArguments::Has(""));
    EXPECT_TRUE(ProcessArguments::GetBool(""));
}

TEST(ProcessArgumentsCommandLine, NameKeepsItsCaseAndDashesButIsFoundNormalised)
{
    PopulateFrom({"registry_tests.exe", "/Trace-Level:Debug"});

    EXPECT_EQ((Argument{named, "/Trace-Level:Debug", "Trace-Level", "Debug"}), ProcessArguments::CommandLineAt(1));
    EXPECT_TRUE(ProcessArguments::Has("trace_level"));
    EXPECT_TRUE(ProcessArguments::Has("TRACE-LEVEL"));
}

TEST(ProcessArgumentsCommandLine, OnlyTheOuterQuotesAndBlanksAreStripped)
{
    PopulateFrom({"\"C:\\my tools\\registry_tests.exe\"", "/file:\"C:\\a b\\x.etl\"", "\"/debug\"", "  \" /x:1 \"  ",
                  "\"a \"b\" c\"", "\"\""});

    EXPECT_EQ((Argument{field, "C:\\my tools\\registry_tests.exe", "", ""}), ProcessArguments::CommandLineAt(0));
    // The quote after the colon is inside the token and stays; only the final one goes.
    EXPECT_EQ((Argument{named, "/file:\"C:\\a b\\x.etl", "file", "\"C:\\a b\\x.etl"}),
              ProcessArguments::CommandLineAt(1));
    EXPECT_EQ((Argument{flag, "/debug", "debug", ""}), ProcessArguments::CommandLineAt(2));
    EXPECT_EQ((Argument{named, "/x:1", "x", "1"}), ProcessArguments::CommandLineAt(3));
    EXPECT_EQ((Argument{field, "a \"b\" c", "", ""}), ProcessArguments::CommandLineAt(4));
    EXPECT_EQ((Argument{field, "", "", ""}), ProcessArguments::CommandLineAt(5));
    EXPECT_EQ(6u, ProcessArguments::CommandLineCount());
}

TEST(ProcessArgumentsCommandLine, FirstOfTwoSameNamesWinsAndBothStay)
{
    PopulateFrom({"registry_tests.exe", "/n:1", "/N:2"});

    EXPECT_EQ((Argument{named, "/n:1", "n", "1"}), Found("n"));
    EXPECT_EQ((Argument{named, "/N:2", "N", "2"}), ProcessArguments::CommandLineAt(2));
    EXPECT_EQ(3u, ProcessArguments::CommandLineCount());
}
