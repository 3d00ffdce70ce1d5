#include "base/ProcessArguments.h"
#include "tests/base/ArgumentStoreTesting.h"
#include "tests/base/ConsoleTrace.h"
#include "tests/base/KestrovaEnvironment.h"
#include "tests/base/ThrownException.h"
#include "tests/support/NamedLock.h"
#include "tests/support/OutputCapture.h"

#include <gtest/gtest.h>

using Base::Argument;
using Base::ProcessArguments;
using Testing::PopulateFrom;

TEST(ProcessArgumentsLookup, NothingIsFoundBeforePopulate)
{
    EXPECT_FALSE(ProcessArguments::Has("trace-level"));
    EXPECT_FALSE(ProcessArguments::GetBool("debug"));
    EXPECT_EQ(3u, ProcessArguments::GetUInt("count", 3));
    EXPECT_EQ(0u, ProcessArguments::CommandLineCount());
}

TEST(ProcessArgumentsLookup, NormaliseNameLowersAndTurnsDashesIntoUnderscores)
{
    EXPECT_EQ("trace_level", ProcessArguments::NormaliseName("Trace-Level"));
    EXPECT_EQ("trace_level", ProcessArguments::NormaliseName("TRACE_LEVEL"));
    EXPECT_EQ("a__b_c1", ProcessArguments::NormaliseName("A-_B-C1"));
    EXPECT_EQ("", ProcessArguments::NormaliseName(""));
    // Byte by byte in the C locale: bytes above 127 are left alone.
    EXPECT_EQ("\xC9t\xC9", ProcessArguments::NormaliseName("\xC9T\xC9"));
}

TEST(ProcessArgumentsLookup, GetCopiesTheIndexedEntry)
{
    PopulateFrom({"registry_tests.exe", "/Count:5"});
    Argument found;

    ASSERT_TRUE(ProcessArguments::Get("COUNT", found));

    EXPECT_EQ((Argument{Testing::CommandLineNamed, "/Count:5", "Count", "5"}), found);
}

TEST(ProcessArgumentsLookup, GetLeavesTheOutputUntouchedWhenAbsent)
{
    PopulateFrom({"registry_tests.exe", "/count:5"});
    Argument output{99, "full", "name", "value"};

    EXPECT_FALSE(ProcessArguments::Get("missing", output));

    EXPECT_EQ((Argument{99, "full", "name", "value"}), output);
}

TEST(ProcessArgumentsLookup, GetBoolReadsFlagsAndFourWordsOnly)
{
    PopulateFrom({"registry_tests.exe", "/flag", "/zero:0", "/false:FaLsE", "/one:1", "/true:TRUE", "/lower:true",
                  "/yes:yes", "/on:on", "/empty:", "/two:2", "/padded: 1", "/zeros:00"});

    EXPECT_TRUE(ProcessArguments::GetBool("flag"));
    EXPECT_FALSE(ProcessArguments::GetBool("zero"));
    EXPECT_FALSE(ProcessArguments::GetBool("false"));
    EXPECT_TRUE(ProcessArguments::GetBool("one"));
    EXPECT_TRUE(ProcessArguments::GetBool("true"));
    EXPECT_TRUE(ProcessArguments::GetBool("lower"));
    EXPECT_FALSE(ProcessArguments::GetBool("yes"));
    EXPECT_FALSE(ProcessArguments::GetBool("on"));
    EXPECT_FALSE(ProcessArguments::GetBool("empty"));
    EXPECT_FALSE(ProcessArguments::GetBool("two"));
    EXPECT_FALSE(ProcessArguments::GetBool("padded"));
    EXPECT_FALSE(ProcessArguments::GetBool("zeros"));
    EXPECT_FALSE(ProcessArguments::GetBool("absent"));
}

TEST(ProcessArgumentsLookup, GetUIntParsesPrefixesAndFallsBackToTheDefault)
{
    PopulateFrom({"registry_tests.exe", "/hex:0x10", "/upperhex:0X1f", "/binary:0b101", "/octal:0o17",
                  "/trailing:12abc", "/letters:abc", "/overflow:4294967296", "/largest:4294967295", "/decimal:42",
                  "/flag"});

    EXPECT_EQ(16u, ProcessArguments::GetUInt("hex", 7));
    EXPECT_EQ(31u, ProcessArguments::GetUInt("upperhex", 7));
    EXPECT_EQ(5u, ProcessArguments::GetUInt("binary", 7));
    EXPECT_EQ(15u, ProcessArguments::GetUInt("octal", 7));
    EXPECT_EQ(12u, ProcessArguments::GetUInt("trailing", 7));
    EXPECT_EQ(7u, ProcessArguments::GetUInt("letters", 7));
    EXPECT_EQ(7u, ProcessArguments::GetUInt("overflow", 7));
    EXPECT_EQ(4294967295u, ProcessArguments::GetUInt("largest", 7));
    EXPECT_EQ(42u, ProcessArguments::GetUInt("decimal", 7));
    EXPECT_EQ(7u, ProcessArguments::GetUInt("flag", 7));
    EXPECT_EQ(7u, ProcessArguments::GetUInt("absent", 7));
}

TEST(ProcessArgumentsLookup, UnparsableNumberGivesTheDefaultSilently)
{
    Testing::EnableConsoleTrace();
    PopulateFrom({"registry_tests.exe", "/letters:abc", "/overflow:4294967296"});
    Testing::OutputCapture capture;

    EXPECT_EQ(9u, ProcessArguments::GetUInt("letters", 9));
    EXPECT_EQ(9u, ProcessArguments::GetUInt("overflow", 9));

    EXPECT_EQ("", capture.Out());
    EXPECT_EQ("", capture.Err());
}

TEST(ProcessArgumentsLookup, PopulateAgainStartsFromScratch)
{
    PopulateFrom({"first.exe", "/a:1", "/b", "field"});
    PopulateFrom({"second.exe", "/c:2"});

    EXPECT_FALSE(ProcessArguments::Has("a"));
    EXPECT_FALSE(ProcessArguments::Has("b"));
    EXPECT_EQ(2u, ProcessArguments::GetUInt("c", 0));
    EXPECT_EQ(2u, ProcessArguments::CommandLineCount());
    EXPECT_EQ("second.exe", ProcessArguments::CommandLineAt(0).full);
}

TEST(ProcessArgumentsLookup, CountOfAProgramPathAloneIsOne)
{
    PopulateFrom({"registry_tests.exe"});

    EXPECT_EQ(1u, ProcessArguments::CommandLineCount());
}

TEST(ProcessArgumentsLookup, CommandLineAtThrowsOnlyPastOneBeyondTheLast)
{
    PopulateFrom({"registry_tests.exe", "/a:1"});

    EXPECT_NO_THROW(ProcessArguments::CommandLineAt(2));
    const auto message = Testing::ThrownPlainMessage([] { ProcessArguments::CommandLineAt(3); });
    EXPECT_EQ("Out of range", message.value_or("<none>"));
}

// The admitted index one past the command line reads whatever follows it in the store;
// here the one environment entry, as no other KESTROVA_ variable is left.
TEST(ProcessArgumentsLookup, IndexEqualToTheCountReadsTheEntryAfterTheCommandLine)
{
    Testing::NamedLock lock(Testing::ArgumentsKeyLockName);
    Testing::ClearedKestrovaEnvironment cleared;
    Testing::ScopedEnvironment variable("KESTROVA_after", "1");
    PopulateFrom({"registry_tests.exe"});

    EXPECT_EQ((Argument{Testing::EnvironmentNamed, "KESTROVA_after=1", "after", "1"}),
              ProcessArguments::CommandLineAt(1));
}
