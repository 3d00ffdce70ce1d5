#include "base/ParseUInt.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

// The text of the exception ParseUInt throws, checked for its exact type.
template <typename Expected> std::string FailureText(std::string_view text)
{
    try {
        Base::ParseUInt(text);
    } catch (const Expected& error) {
        return error.what();
    } catch (...) {
        return "<other exception>";
    }
    return "<no exception>";
}

} // namespace

TEST(ParseUInt, DecimalNumbers)
{
    EXPECT_EQ(0u, Base::ParseUInt("0"));
    EXPECT_EQ(42u, Base::ParseUInt("42"));
    EXPECT_EQ(512u, Base::ParseUInt("512"));
}

TEST(ParseUInt, LeadingZerosStayDecimal)
{
    EXPECT_EQ(10u, Base::ParseUInt("010"));
    EXPECT_EQ(4294967295u, Base::ParseUInt("0004294967295"));
}

TEST(ParseUInt, LargestValueFits)
{
    EXPECT_EQ(4294967295u, Base::ParseUInt("4294967295"));
}

TEST(ParseUInt, OneMoreIsOutOfRange)
{
    EXPECT_EQ("stoul argument out of range", FailureText<std::out_of_range>("4294967296"));
}

TEST(ParseUInt, HexadecimalPrefixInEitherCase)
{
    EXPECT_EQ(31u, Base::ParseUInt("0x1F"));
    EXPECT_EQ(31u, Base::ParseUInt("0X1f"));
    EXPECT_EQ(256u, Base::ParseUInt("0x100"));
    EXPECT_EQ(4294967295u, Base::ParseUInt("0xFFFFFFFF"));
}

TEST(ParseUInt, HexadecimalOverflowIsOutOfRange)
{
    EXPECT_EQ("stoul argument out of range", FailureText<std::out_of_range>("0x100000000"));
}

TEST(ParseUInt, OctalPrefixInEitherCase)
{
    EXPECT_EQ(15u, Base::ParseUInt("0o17"));
    EXPECT_EQ(15u, Base::ParseUInt("0O17"));
}

TEST(ParseUInt, BinaryPrefixInEitherCase)
{
    EXPECT_EQ(5u, Base::ParseUInt("0b101"));
    EXPECT_EQ(5u, Base::ParseUInt("0B101"));
    EXPECT_EQ(4294967295u, Base::ParseUInt("0b" + std::string(32, '1')));
    EXPECT_EQ("stoul argument out of range", FailureText<std::out_of_range>("0b1" + std::string(32, '0')));
}

TEST(ParseUInt, PrefixAloneIsReadAsDecimal)
{
    // Two characters are not longer than the prefix: decimal, which stops after the 0.
    EXPECT_EQ(0u, Base::ParseUInt("0x"));
    EXPECT_EQ(0u, Base::ParseUInt("0o"));
    EXPECT_EQ(0u, Base::ParseUInt("0B"));
}

TEST(ParseUInt, PrefixWithoutDigitsOfItsBaseIsInvalid)
{
    EXPECT_EQ("invalid stoul argument", FailureText<std::invalid_argument>("0xG"));
    EXPECT_EQ("invalid stoul argument", FailureText<std::invalid_argument>("0o8"));
    EXPECT_EQ("invalid stoul argument", FailureText<std::invalid_argument>("0b2"));
}

TEST(ParseUInt, PrefixCountsOnlyAtTheVeryStart)
{
    EXPECT_EQ(0u, Base::ParseUInt(" 0x10"));
    EXPECT_EQ(1u, Base::ParseUInt("1x10"));
}

TEST(ParseUInt, LeadingWhiteSpaceIsSkipped)
{
    EXPECT_EQ(12u, Base::ParseUInt("  \t12"));
}

TEST(ParseUInt, SignIsAccepted)
{
    EXPECT_EQ(7u, Base::ParseUInt("+7"));
    // strtoul negates in unsigned arithmetic.
    EXPECT_EQ(4294967295u, Base::ParseUInt("-1"));
    EXPECT_EQ(4294967295u, Base::ParseUInt("0x-1"));
}

TEST(ParseUInt, NegativeOverflowIsOutOfRange)
{
    EXPECT_EQ("stoul argument out of range", FailureText<std::out_of_range>("-4294967296"));
}

TEST(ParseUInt, TrailingCharactersAreIgnored)
{
    EXPECT_EQ(12u, Base::ParseUInt("12abc"));
    EXPECT_EQ(16u, Base::ParseUInt("0x10zz"));
    EXPECT_EQ(3u, Base::ParseUInt("0b1121"));
    EXPECT_EQ(1024u, Base::ParseUInt("1024 MB"));
}

TEST(ParseUInt, NoDigitIsInvalid)
{
    EXPECT_EQ("invalid stoul argument", FailureText<std::invalid_argument>(""));
    EXPECT_EQ("invalid stoul argument", FailureText<std::invalid_argument>("abc"));
    EXPECT_EQ("invalid stoul argument", FailureText<std::invalid_argument>("   "));
    EXPECT_EQ("invalid stoul argument", FailureText<std::invalid_argument>("-"));
    EXPECT_EQ("invalid stoul argument", FailureText<std::invalid_argument>("debug"));
}

TEST(ParseUInt, TextEndsAtItsViewNotAtTheNextCharacter)
{
    const std::string_view text = std::string_view("12345").substr(0, 2);

    EXPECT_EQ(12u, Base::ParseUInt(text));
}
