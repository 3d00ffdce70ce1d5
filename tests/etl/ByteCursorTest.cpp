#include "etl/ByteCursor.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

const std::vector<uint8_t> bytes = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C,
                                    0x0D, 0x0E, 0x0F, 0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18};

TEST(ByteCursor, ReadsEveryWidthLittleEndian)
{
    Etl::ByteCursor cursor(bytes);
    EXPECT_EQ(cursor.U8(), 0x01u);
    EXPECT_EQ(cursor.U16(), 0x0302u);
    EXPECT_EQ(cursor.U32(), 0x07060504u);
    EXPECT_EQ(cursor.U64(), 0x0F0E0D0C0B0A0908ull);
    EXPECT_EQ(cursor.Position(), 15u);
    EXPECT_EQ(cursor.Remaining(), 9u);
    EXPECT_TRUE(cursor.Ok());
}

TEST(ByteCursor, ReadsSignedAndGuid)
{
    const std::vector<uint8_t> negative = {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    Etl::ByteCursor signedCursor(negative);
    EXPECT_EQ(signedCursor.I64(), -2);

    Etl::ByteCursor cursor(bytes);
    const Etl::Guid guid = cursor.ReadGuid();
    EXPECT_EQ(guid.data1, 0x04030201u);
    EXPECT_EQ(guid.data2, 0x0605u);
    EXPECT_EQ(guid.data3, 0x0807u);
    EXPECT_EQ(guid.data4, (std::array<uint8_t, 8>{0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10}));
}

TEST(ByteCursor, ShortReadReturnsZeroAndKeepsTheFirstFailure)
{
    Etl::ByteCursor cursor(std::span(bytes).first(6));
    EXPECT_EQ(cursor.U32(), 0x04030201u);
    EXPECT_EQ(cursor.U32(), 0u); // two bytes left: nothing is read
    EXPECT_FALSE(cursor.Ok());
    EXPECT_EQ(cursor.FailurePosition(), 4u);
    EXPECT_EQ(cursor.Position(), 4u);
    EXPECT_EQ(cursor.U8(), 0u); // a byte is there, but the cursor has failed
    EXPECT_EQ(cursor.U16(), 0u);
    EXPECT_EQ(cursor.FailurePosition(), 4u);
}

TEST(ByteCursor, EveryWidthFailsOneByteShort)
{
    for (size_t width : {1u, 2u, 4u, 8u, 16u}) {
        Etl::ByteCursor cursor(std::span(bytes).first(width - 1));
        uint64_t value = 1;
        switch (width) {
        case 1:
            value = cursor.U8();
            break;
        case 2:
            value = cursor.U16();
            break;
        case 4:
            value = cursor.U32();
            break;
        case 8:
            value = cursor.U64();
            break;
        default:
            value = cursor.ReadGuid() == Etl::Guid{} ? 0 : 1;
            break;
        }
        EXPECT_EQ(value, 0u) << width;
        EXPECT_FALSE(cursor.Ok()) << width;
        EXPECT_EQ(cursor.FailurePosition(), 0u) << width;
    }
}

TEST(ByteCursor, BytesSkipAndSeekAreChecked)
{
    Etl::ByteCursor cursor(bytes);
    const auto three = cursor.Bytes(3);
    ASSERT_EQ(three.size(), 3u);
    EXPECT_EQ(three[2], 0x03u);
    cursor.Skip(20);
    EXPECT_EQ(cursor.Position(), 23u);
    cursor.Seek(24);
    EXPECT_TRUE(cursor.Ok());
    EXPECT_TRUE(cursor.Bytes(1).empty());
    EXPECT_FALSE(cursor.Ok());

    Etl::ByteCursor seeking(bytes);
    seeking.Seek(25);
    EXPECT_FALSE(seeking.Ok());
}

TEST(ByteCursor, SubCursorCannotReadItsNeighbour)
{
    Etl::ByteCursor cursor(bytes, 0x100);
    cursor.Skip(2);
    Etl::ByteCursor sub = cursor.Sub(4);
    EXPECT_EQ(cursor.Position(), 6u);
    EXPECT_EQ(sub.Origin(), 0x102u);
    EXPECT_EQ(sub.Size(), 4u);
    EXPECT_EQ(sub.U32(), 0x06050403u);
    EXPECT_EQ(sub.U8(), 0u);
    EXPECT_FALSE(sub.Ok());
    EXPECT_TRUE(cursor.Ok());
    EXPECT_EQ(cursor.U8(), 0x07u);
}

TEST(ByteCursor, SubCursorPastTheEndFailsBoth)
{
    Etl::ByteCursor cursor(bytes);
    cursor.Skip(20);
    Etl::ByteCursor sub = cursor.Sub(8);
    EXPECT_FALSE(sub.Ok());
    EXPECT_EQ(sub.Size(), 0u);
    EXPECT_FALSE(cursor.Ok());
    EXPECT_EQ(cursor.FailurePosition(), 20u);
}

TEST(ByteCursor, AtReadsARangeWithoutMoving)
{
    const Etl::ByteCursor cursor(bytes, 0x48);
    Etl::ByteCursor range = cursor.At(8, 2);
    EXPECT_EQ(range.Origin(), 0x50u);
    EXPECT_EQ(range.U16(), 0x0A09u);
    EXPECT_EQ(range.U8(), 0u);
    EXPECT_FALSE(range.Ok());
    EXPECT_EQ(cursor.Position(), 0u);

    EXPECT_FALSE(cursor.At(20, 5).Ok());
    EXPECT_FALSE(cursor.At(25, 0).Ok());
    EXPECT_FALSE(cursor.At(SIZE_MAX, 2).Ok());
    EXPECT_TRUE(cursor.At(24, 0).Ok());
}

} // namespace
