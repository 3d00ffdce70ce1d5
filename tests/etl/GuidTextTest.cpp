#include "etl/GuidText.h"

#include <gtest/gtest.h>

namespace {

constexpr uint8_t productProviderBytes[16] = {0x41, 0x9C, 0x2B, 0x6E, 0x3D, 0x7A, 0x15, 0x4F,
                                              0x8C, 0x62, 0x3D, 0x9A, 0x1B, 0x7E, 0x5F, 0x04};

TEST(GuidText, BytesReadAsTheyLieInMemory)
{
    const Etl::Guid guid = Etl::GuidFromBytes(productProviderBytes);
    EXPECT_EQ(guid.data1, 0x6E2B9C41u);
    EXPECT_EQ(guid.data2, 0x7A3Du);
    EXPECT_EQ(guid.data3, 0x4F15u);
    EXPECT_EQ(guid.data4[0], 0x8Cu);
    EXPECT_EQ(guid.data4[7], 0x04u);
}

TEST(GuidText, FormatsUpperCaseWithoutBraces)
{
    EXPECT_EQ(Etl::FormatGuid(Etl::GuidFromBytes(productProviderBytes)), "6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04");
    EXPECT_EQ(Etl::FormatGuid(Etl::Guid{}), "00000000-0000-0000-0000-000000000000");
}

TEST(GuidText, ParsesWithAndWithoutBracesInEitherCase)
{
    const Etl::Guid expected = Etl::GuidFromBytes(productProviderBytes);
    EXPECT_EQ(Etl::ParseGuid("{6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04}"), expected);
    EXPECT_EQ(Etl::ParseGuid("6e2b9c41-7a3d-4f15-8c62-3d9a1b7e5f04"), expected);
}

TEST(GuidText, RefusesAnythingElse)
{
    EXPECT_FALSE(Etl::ParseGuid(""));
    EXPECT_FALSE(Etl::ParseGuid("{6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04"));
    EXPECT_FALSE(Etl::ParseGuid("6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F0G"));
    EXPECT_FALSE(Etl::ParseGuid("6E2B9C417A3D-4F15-8C62-3D9A1B7E5F04-"));
    EXPECT_FALSE(Etl::ParseGuid(" 6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04"));
}

} // namespace
