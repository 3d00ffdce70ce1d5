#include "trace/LogLevel.h"

#include <gtest/gtest.h>

TEST(LevelNames, NameTheSixLevels)
{
    const auto& names = Trace::LevelNames();
    EXPECT_EQ(6u, names.size());
    EXPECT_EQ("FATAL", names.at(0));
    EXPECT_EQ("ERROR", names.at(1));
    EXPECT_EQ("WARNING", names.at(2));
    EXPECT_EQ("INFO", names.at(3));
    EXPECT_EQ("VERBOSE", names.at(4));
    EXPECT_EQ("DEBUG", names.at(5));
}

TEST(LevelNames, HaveNoNameBeyondTheSix)
{
    const auto& names = Trace::LevelNames();
    EXPECT_EQ(0u, names.count(6));
    EXPECT_EQ(0u, names.count(-1));
}

TEST(LevelNames, KeepEightBucketsAndALoadFactorOfOne)
{
    std::unordered_map<int32_t, std::string> reference(8);
    reference.max_load_factor(1.0f);
    for (int32_t level = 0; level < 6; ++level) {
        reference.emplace(level, "x");
    }
    const auto& names = Trace::LevelNames();
    EXPECT_EQ(1.0f, names.max_load_factor());
    EXPECT_LE(8u, names.bucket_count());
    EXPECT_EQ(reference.bucket_count(), names.bucket_count());
}

TEST(LevelNames, NumberTheLevelsFromFatalToDebug)
{
    EXPECT_EQ(0, static_cast<int32_t>(Trace::LogLevel::Fatal));
    EXPECT_EQ(1, static_cast<int32_t>(Trace::LogLevel::Error));
    EXPECT_EQ(2, static_cast<int32_t>(Trace::LogLevel::Warning));
    EXPECT_EQ(3, static_cast<int32_t>(Trace::LogLevel::Info));
    EXPECT_EQ(4, static_cast<int32_t>(Trace::LogLevel::Verbose));
    EXPECT_EQ(5, static_cast<int32_t>(Trace::LogLevel::Debug));
}
