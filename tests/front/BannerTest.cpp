#include "front/Banner.h"
#include "Version.h"
#include "tests/support/OutputCapture.h"

#include <gtest/gtest.h>

#include <windows.h>

// This test executable carries no VERSIONINFO: the banner must not depend on one.
TEST(Banner, ThisExecutableHasNoVersionInformation)
{
    wchar_t path[MAX_PATH] = {};
    ASSERT_NE(0u, ::GetModuleFileNameW(nullptr, path, MAX_PATH));
    DWORD ignored = 0;
    EXPECT_EQ(0u, ::GetFileVersionInfoSizeW(path, &ignored));
}

TEST(Banner, VersionIsTheProjectVersion)
{
    EXPECT_STREQ(KSDIAG_VERSION_TEXT, Front::FileVersionText);
}

TEST(Banner, ProductLineThenEmptyLine)
{
    Testing::OutputCapture capture;
    Front::PrintBanner(std::cout);
    EXPECT_EQ("Kestrova Diagnostics Utility, Version " KSDIAG_VERSION_TEXT "\n\n", capture.Out());
    EXPECT_EQ("", capture.Err());
}
