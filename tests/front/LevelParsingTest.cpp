#include "front/LevelParsing.h"
#include "tests/front/ArgumentVector.h"
#include "tests/front/ArgumentsKeyValue.h"
#include "tests/support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using Testing::PopulateArguments;

namespace {

// A preset no parser ever produces, to see that a failure leaves the byte alone.
constexpr uint8_t untouchedStartLevel = 99;
constexpr uint32_t untouchedViewLevel = 99;

} // namespace

TEST(StartLevel, WithoutAnyLevelOptionRecordsAtDebug18)
{
    PopulateArguments({"ksdiag", "START"});
    uint8_t level = untouchedStartLevel;
    EXPECT_TRUE(Front::ParseStartLevel(level));
    EXPECT_EQ(18, level);
}

TEST(StartLevel, LowerCaseWordsGiveTheirEtwLevels)
{
    const std::vector<std::pair<std::string, uint8_t>> words = {
        {"debug", 18}, {"verbose", 5}, {"info", 4}, {"warning", 3}, {"error", 2}};
    for (const auto& [word, expected] : words) {
        PopulateArguments({"ksdiag", "START", "/level:" + word});
        uint8_t level = untouchedStartLevel;
        EXPECT_TRUE(Front::ParseStartLevel(level)) << word;
        EXPECT_EQ(expected, level) << word;
    }
}

TEST(StartLevel, WordsInCapitalsAreRejectedAndLeaveTheByte)
{
    for (const char* word : {"INFO", "Verbose", "DEBUG", "Error"}) {
        PopulateArguments({"ksdiag", "START", std::string("/level:") + word});
        uint8_t level = untouchedStartLevel;
        EXPECT_FALSE(Front::ParseStartLevel(level)) << word;
        EXPECT_EQ(untouchedStartLevel, level) << word;
    }
}

TEST(StartLevel, EmptyOrUnknownWordIsRejected)
{
    for (const char* option : {"/level:", "/level", "/level:trace", "/level:4"}) {
        PopulateArguments({"ksdiag", "START", option});
        uint8_t level = untouchedStartLevel;
        EXPECT_FALSE(Front::ParseStartLevel(level)) << option;
        EXPECT_EQ(untouchedStartLevel, level) << option;
    }
}

TEST(StartLevel, DebugFlagWinsOverTheLevelWord)
{
    PopulateArguments({"ksdiag", "START", "/level:error", "/debug"});
    uint8_t level = untouchedStartLevel;
    EXPECT_TRUE(Front::ParseStartLevel(level));
    EXPECT_EQ(18, level);
}

TEST(StartLevel, VerboseFlagWinsOverTheLevelWordEvenARejectedOne)
{
    PopulateArguments({"ksdiag", "START", "/level:INFO", "/verbose"});
    uint8_t level = untouchedStartLevel;
    EXPECT_TRUE(Front::ParseStartLevel(level));
    EXPECT_EQ(5, level);
}

TEST(StartLevel, DebugFlagWinsOverVerboseFlag)
{
    PopulateArguments({"ksdiag", "START", "/verbose", "/DEBUG"});
    uint8_t level = untouchedStartLevel;
    EXPECT_TRUE(Front::ParseStartLevel(level));
    EXPECT_EQ(18, level);
}

TEST(StartLevel, OptionNameAnswersInAnyCase)
{
    PopulateArguments({"ksdiag", "START", "/LEVEL=warning"});
    uint8_t level = untouchedStartLevel;
    EXPECT_TRUE(Front::ParseStartLevel(level));
    EXPECT_EQ(3, level);
}

TEST(StartLevel, WordFromEnvironmentVariable)
{
    Testing::ScopedEnvironment variable("KESTROVA_LEVEL", "warning");
    PopulateArguments({"ksdiag", "START"});
    uint8_t level = untouchedStartLevel;
    EXPECT_TRUE(Front::ParseStartLevel(level));
    EXPECT_EQ(3, level);
}

TEST(StartLevel, CommandLineWordWinsOverEnvironmentVariable)
{
    Testing::ScopedEnvironment variable("KESTROVA_LEVEL", "warning");
    PopulateArguments({"ksdiag", "START", "/level:error"});
    uint8_t level = untouchedStartLevel;
    EXPECT_TRUE(Front::ParseStartLevel(level));
    EXPECT_EQ(2, level);
}

TEST(StartLevel, WordFromTheExecutablesRegistryArgumentsKey)
{
    Testing::ArgumentsKeyValue value(L"front_tests", L"level", L"info");
    PopulateArguments({"ksdiag", "START"});
    uint8_t level = untouchedStartLevel;
    EXPECT_TRUE(Front::ParseStartLevel(level));
    EXPECT_EQ(4, level);
}

TEST(ViewLevel, WithoutAnyLevelOptionFailsAndLeavesTheLevel)
{
    PopulateArguments({"ksdiag", "VIEW"});
    uint32_t level = untouchedViewLevel;
    EXPECT_FALSE(Front::ParseViewLevel(level));
    EXPECT_EQ(untouchedViewLevel, level);
}

TEST(ViewLevel, LowerCaseWordsGiveTheirEtwLevels)
{
    const std::vector<std::pair<std::string, uint32_t>> words = {
        {"debug", 18}, {"verbose", 5}, {"info", 4}, {"warning", 3}, {"error", 2}};
    for (const auto& [word, expected] : words) {
        PopulateArguments({"ksdiag", "VIEW", "/level=" + word});
        uint32_t level = untouchedViewLevel;
        EXPECT_TRUE(Front::ParseViewLevel(level)) << word;
        EXPECT_EQ(expected, level) << word;
    }
}

TEST(ViewLevel, WordsInCapitalsAreRejected)
{
    PopulateArguments({"ksdiag", "VIEW", "/level:INFO"});
    uint32_t level = untouchedViewLevel;
    EXPECT_FALSE(Front::ParseViewLevel(level));
    EXPECT_EQ(untouchedViewLevel, level);
}

TEST(ViewLevel, VerboseFlagGives5)
{
    PopulateArguments({"ksdiag", "VIEW", "/verbose"});
    uint32_t level = untouchedViewLevel;
    EXPECT_TRUE(Front::ParseViewLevel(level));
    EXPECT_EQ(5u, level);
}

TEST(ViewLevel, DebugFlagWinsOverTheLevelWord)
{
    PopulateArguments({"ksdiag", "VIEW", "/debug", "/level:error"});
    uint32_t level = untouchedViewLevel;
    EXPECT_TRUE(Front::ParseViewLevel(level));
    EXPECT_EQ(18u, level);
}

TEST(ViewLevel, VerboseFlagFromEnvironmentVariable)
{
    Testing::ScopedEnvironment variable("KESTROVA_VERBOSE", "1");
    PopulateArguments({"ksdiag", "LIVE"});
    uint32_t level = untouchedViewLevel;
    EXPECT_TRUE(Front::ParseViewLevel(level));
    EXPECT_EQ(5u, level);
}

TEST(ViewLevel, WordFromTheExecutablesRegistryArgumentsKey)
{
    Testing::ArgumentsKeyValue value(L"front_tests", L"level", L"error");
    PopulateArguments({"ksdiag", "VIEW"});
    uint32_t level = untouchedViewLevel;
    EXPECT_TRUE(Front::ParseViewLevel(level));
    EXPECT_EQ(2u, level);
}
