#include "front/Banner.h"
#include "Version.h"
#include "tests/support/OutputCapture.h"

#include <gtest/gtest.h>

TEST(Banner, VersionIsTheFileVersionOfTheRunningExecutable)
{
    EXPECT_EQ(KSDIAG_VERSION_TEXT, Front::FileVersionText());
}

TEST(Banner, ProductLineThenEmptyLine)
{
    Testing::OutputCapture capture;
    Front::PrintBanner();
    EXPECT_EQ("Kestrova Diagnostics Utility, Version " KSDIAG_VERSION_TEXT "\n\n", capture.Out());
    EXPECT_EQ("", capture.Err());
}
