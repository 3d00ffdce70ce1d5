#include "base/Base64.h"

#include "base/Exception.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using namespace std::string_literals;

namespace {

using Bytes = std::vector<uint8_t>;

Bytes BytesOf(std::string_view text)
{
    return Bytes(text.begin(), text.end());
}

// The text of the exception DecodeBase64 throws; it must be the standard runtime
// error and not one of the library's own exceptions.
std::string FailureText(std::string_view text, bool ignoreLineFeeds = false)
{
    try {
        Base::DecodeBase64(text, ignoreLineFeeds);
    } catch (const Base::Exception&) {
        return "<Base::Exception>";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "<no exception>";
}

constexpr char invalidInput[] = "Input is not valid base64-encoded data.";

} // namespace

TEST(DecodeBase64, FullGroupGivesThreeBytes)
{
    EXPECT_EQ((Bytes{0x4D, 0x61, 0x6E}), Base::DecodeBase64("TWFu"));
}

TEST(DecodeBase64, EqualsSignPadding)
{
    EXPECT_EQ((Bytes{0x4D, 0x61}), Base::DecodeBase64("TWE="));
    EXPECT_EQ((Bytes{0x4D}), Base::DecodeBase64("TQ=="));
}

TEST(DecodeBase64, FullStopPadding)
{
    EXPECT_EQ((Bytes{0x4D, 0x61}), Base::DecodeBase64("TWE."));
    EXPECT_EQ((Bytes{0x4D}), Base::DecodeBase64("TQ.."));
}

TEST(DecodeBase64, LongerText)
{
    EXPECT_EQ(BytesOf("Hello, World!"), Base::DecodeBase64("SGVsbG8sIFdvcmxkIQ=="));
    EXPECT_EQ((Bytes{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}),
              Base::DecodeBase64("AAECAwQFBgcICQoLDA0ODw=="));
}

TEST(DecodeBase64, StandardAlphabet)
{
    EXPECT_EQ((Bytes{0xFB, 0xFF, 0xBF}), Base::DecodeBase64("+/+/"));
    EXPECT_EQ((Bytes{0xFB, 0xFF}), Base::DecodeBase64("+/8="));
}

TEST(DecodeBase64, UrlSafeAlphabet)
{
    EXPECT_EQ((Bytes{0xFB, 0xFF, 0xBF}), Base::DecodeBase64("-_-_"));
    EXPECT_EQ((Bytes{0xFB, 0xFF}), Base::DecodeBase64("-_8="));
}

TEST(DecodeBase64, BothAlphabetsMixedInOneInput)
{
    EXPECT_EQ((Bytes{0xFB, 0xFF, 0xBF}), Base::DecodeBase64("+_-/"));
}

TEST(DecodeBase64, EveryCharacterOfTheAlphabetDecodes)
{
    const Bytes expected{
        0x00, 0x10, 0x83, 0x10, 0x51, 0x87, 0x20, 0x92, 0x8B, 0x30, 0xD3, 0x8F, 0x41, 0x14, 0x93, 0x51,
        0x55, 0x97, 0x61, 0x96, 0x9B, 0x71, 0xD7, 0x9F, 0x82, 0x18, 0xA3, 0x92, 0x59, 0xA7, 0xA2, 0x9A,
        0xAB, 0xB2, 0xDB, 0xAF, 0xC3, 0x1C, 0xB3, 0xD3, 0x5D, 0xB7, 0xE3, 0x9E, 0xBB, 0xF3, 0xDF, 0xBF,
    };

    EXPECT_EQ(expected, Base::DecodeBase64("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"));
    EXPECT_EQ(expected, Base::DecodeBase64("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"));
}

TEST(DecodeBase64, EmptyInputGivesNothing)
{
    EXPECT_TRUE(Base::DecodeBase64("").empty());
    EXPECT_TRUE(Base::DecodeBase64("", true).empty());
}

TEST(DecodeBase64, CharacterOutsideTheAlphabetsThrowsTheStandardRuntimeError)
{
    EXPECT_EQ(invalidInput, FailureText("TW*u"));
    EXPECT_EQ(invalidInput, FailureText("*"));
}

TEST(DecodeBase64, WhiteSpaceNulAndHighBytesAreInvalid)
{
    EXPECT_EQ(invalidInput, FailureText("TW Fu"));
    EXPECT_EQ(invalidInput, FailureText("TWFu\0"s));
    EXPECT_EQ(invalidInput, FailureText("TWF\xC3"));
}

TEST(DecodeBase64, LineFeedIsInvalidWithoutTheSwitch)
{
    EXPECT_EQ(invalidInput, FailureText("TWFu\nTWFu"));
}

TEST(DecodeBase64, LineFeedsAreSkippedWithTheSwitch)
{
    EXPECT_EQ((Bytes{0x4D, 0x61, 0x6E, 0x4D, 0x61, 0x6E}), Base::DecodeBase64("TW\nFu\nTWFu\n", true));
}

TEST(DecodeBase64, SwitchSkipsOnlyLineFeeds)
{
    EXPECT_EQ(invalidInput, FailureText("TWFu\r\nTWFu", true));
}

TEST(DecodeBase64, UnpaddedTrailingGroupKeepsTheBytesItCompletes)
{
    EXPECT_EQ((Bytes{0x4D, 0x61}), Base::DecodeBase64("TWE"));
    EXPECT_EQ((Bytes{0x4D}), Base::DecodeBase64("TQ"));
    EXPECT_EQ((Bytes{0x4D, 0x61, 0x6E, 0x4D}), Base::DecodeBase64("TWFuTQ"));
}

TEST(DecodeBase64, LoneTrailingCharacterGivesNoByte)
{
    EXPECT_EQ((Bytes{0x4D, 0x61, 0x6E}), Base::DecodeBase64("TWFuT"));
    EXPECT_TRUE(Base::DecodeBase64("T").empty());
}

TEST(DecodeBase64, PaddingClosesItsGroupAndDecodingGoesOn)
{
    // Concatenated padded texts decode one after the other.
    EXPECT_EQ((Bytes{0x4D, 0x4D, 0x61, 0x6E}), Base::DecodeBase64("TQ==TWFu"));
}
