#include "tests/etlwriter/XpressCompressor.h"
#include "tests/etlwriter/XpressReference.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

namespace {

using EtlWriter::XpressCompress;
using EtlWriterTesting::XpressDecoded;
using EtlWriterTesting::XpressReferenceDecode;
using testing::ElementsAreArray;

std::vector<uint8_t> Bytes(std::string_view text)
{
    return {text.begin(), text.end()};
}

std::vector<uint8_t> Repeated(char byte, size_t count)
{
    return std::vector<uint8_t>(count, static_cast<uint8_t>(byte));
}

std::vector<uint8_t> Concatenated(std::vector<uint8_t> first, const std::vector<uint8_t>& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// Compresses input, checks that the reference decoder gives it back, and returns what the
// decoder saw.
XpressDecoded RoundTrip(const std::vector<uint8_t>& input)
{
    const std::vector<uint8_t> compressed = XpressCompress(input);
    XpressDecoded decoded = XpressReferenceDecode(compressed);
    EXPECT_EQ(decoded.bytes, input);
    return decoded;
}

TEST(XpressCompressor, EmptyInputIsOneFlagWordOfOnes)
{
    EXPECT_THAT(XpressCompress({}), ElementsAreArray({0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_TRUE(RoundTrip({}).bytes.empty());
}

// The first worked example of [MS-XCA] 3.1: 26 literals, then six flag bits of padding.
TEST(XpressCompressor, AlphabetIsTheWorkedExampleOfLiterals)
{
    const std::vector<uint8_t> expected = Concatenated({0x3F, 0x00, 0x00, 0x00}, Bytes("abcdefghijklmnopqrstuvwxyz"));
    EXPECT_EQ(XpressCompress(Bytes("abcdefghijklmnopqrstuvwxyz")), expected);
}

// The second worked example of [MS-XCA] 3.1: "abc" 100 times is three literals and one
// match of distance 3 and length 297, which needs the 16-bit length.
TEST(XpressCompressor, AbcHundredTimesIsTheWorkedExampleOfAMatch)
{
    std::string text;
    for (int count = 0; count < 100; ++count) {
        text += "abc";
    }
    EXPECT_THAT(XpressCompress(Bytes(text)),
                ElementsAreArray({0xFF, 0xFF, 0xFF, 0x1F, 0x61, 0x62, 0x63, 0x17, 0x00, 0x0F, 0xFF, 0x26, 0x01}));
    const XpressDecoded decoded = RoundTrip(Bytes(text));
    EXPECT_EQ(decoded.matches, 1u);
    EXPECT_EQ(decoded.longestMatch, 297u);
    EXPECT_EQ(decoded.farthestOffset, 3u);
}

TEST(XpressCompressor, LengthsUpToNineFitTheMatchWord)
{
    // 'a', then a match of distance 1 and length 9: length bits 6.
    EXPECT_THAT(XpressCompress(Repeated('a', 10)), ElementsAreArray({0xFF, 0xFF, 0xFF, 0x7F, 0x61, 0x06, 0x00}));
}

TEST(XpressCompressor, LengthTwelveTakesAHalfByte)
{
    EXPECT_THAT(XpressCompress(Repeated('a', 13)), ElementsAreArray({0xFF, 0xFF, 0xFF, 0x7F, 0x61, 0x07, 0x00, 0x02}));
    const XpressDecoded decoded = RoundTrip(Repeated('a', 13));
    EXPECT_EQ(decoded.halfByteLengths, 1u);
    EXPECT_EQ(decoded.overlappingMatches, 1u);
}

// The second long match puts its half byte into the high half of the first one's byte.
TEST(XpressCompressor, TwoLongMatchesShareOneHalfByteByte)
{
    const std::vector<uint8_t> input = Concatenated(Repeated('a', 13), Repeated('b', 14));
    EXPECT_THAT(XpressCompress(input),
                ElementsAreArray({0xFF, 0xFF, 0xFF, 0x5F, 0x61, 0x07, 0x00, 0x32, 0x62, 0x07, 0x00}));
    EXPECT_EQ(RoundTrip(input).halfByteLengths, 2u);
}

TEST(XpressCompressor, LengthThirtyTakesAByteAfterTheHalfByte)
{
    // 30 - 3 - 7 = 20: half byte 15, then 5.
    EXPECT_THAT(XpressCompress(Repeated('a', 31)),
                ElementsAreArray({0xFF, 0xFF, 0xFF, 0x7F, 0x61, 0x07, 0x00, 0x0F, 0x05}));
    EXPECT_EQ(RoundTrip(Repeated('a', 31)).byteLengths, 1u);
}

TEST(XpressCompressor, LengthThreeHundredTakesSixteenBits)
{
    // Byte 255, then the length less 3 in 16 bits: 297.
    EXPECT_THAT(XpressCompress(Repeated('a', 301)),
                ElementsAreArray({0xFF, 0xFF, 0xFF, 0x7F, 0x61, 0x07, 0x00, 0x0F, 0xFF, 0x29, 0x01}));
    EXPECT_EQ(RoundTrip(Repeated('a', 301)).wordLengths, 1u);
}

TEST(XpressCompressor, LengthSeventyThousandTakesThirtyTwoBits)
{
    // 16-bit zero, then 69997 = 0x1116D in 32 bits.
    EXPECT_THAT(XpressCompress(Repeated('a', 70001)), ElementsAreArray({0xFF, 0xFF, 0xFF, 0x7F, 0x61, 0x07, 0x00, 0x0F,
                                                                        0xFF, 0x00, 0x00, 0x6D, 0x11, 0x01, 0x00}));
    const XpressDecoded decoded = RoundTrip(Repeated('a', 70001));
    EXPECT_EQ(decoded.doubleWordLengths, 1u);
    EXPECT_EQ(decoded.longestMatch, 70000u);
}

// Exactly 32 symbols fill the first flag word; the stream still needs a second word of
// ones, or a decoder would read past the end for its next flags.
TEST(XpressCompressor, ThirtyTwoSymbolsEndWithAWholeFlagWordOfOnes)
{
    std::vector<uint8_t> input;
    for (uint8_t byte = 0; byte < 32; ++byte) {
        input.push_back(byte);
    }
    std::vector<uint8_t> expected = {0x00, 0x00, 0x00, 0x00};
    expected.insert(expected.end(), input.begin(), input.end());
    expected.insert(expected.end(), {0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(XpressCompress(input), expected);
}

TEST(XpressCompressor, FlagWordsRecurEveryThirtyTwoSymbols)
{
    std::vector<uint8_t> input;
    for (int byte = 0; byte < 40; ++byte) {
        input.push_back(static_cast<uint8_t>(byte * 7));
    }
    const std::vector<uint8_t> compressed = XpressCompress(input);
    ASSERT_EQ(compressed.size(), 4u + 32u + 4u + 8u);
    // The second word: 8 literal bits, then 24 bits of padding.
    EXPECT_THAT(std::vector<uint8_t>(compressed.begin() + 36, compressed.begin() + 40),
                ElementsAreArray({0xFF, 0xFF, 0xFF, 0x00}));
    RoundTrip(input);
}

std::vector<uint8_t> RandomBytes(size_t count, uint32_t seed)
{
    std::mt19937 generator(seed);
    std::uniform_int_distribution<int> byte(0, 255);
    std::vector<uint8_t> bytes(count);
    for (uint8_t& value : bytes) {
        value = static_cast<uint8_t>(byte(generator));
    }
    return bytes;
}

// A match 8192 bytes back is the farthest the 13 offset bits reach; one byte farther is
// out of reach and stays literal.
TEST(XpressCompressor, MatchesReachBackExactlyTheMaximumOffset)
{
    const std::vector<uint8_t> marker = Bytes("0123456789abcdef");
    std::vector<uint8_t> reachable = Concatenated(marker, RandomBytes(8192 - 16, 7));
    reachable = Concatenated(reachable, marker);
    EXPECT_EQ(RoundTrip(reachable).farthestOffset, 8192u);

    std::vector<uint8_t> beyond = Concatenated(marker, RandomBytes(8193 - 16, 7));
    beyond = Concatenated(beyond, marker);
    EXPECT_LT(RoundTrip(beyond).farthestOffset, 8192u);
}

TEST(XpressCompressor, RandomBytesRoundTrip)
{
    const XpressDecoded decoded = RoundTrip(RandomBytes(65536, 20240307));
    EXPECT_GT(decoded.literals, 65000u);
}

// What ETW compresses: records that repeat their headers and strings with small changes.
TEST(XpressCompressor, LogLikeDataCompressesWithOverlappingAndLongMatches)
{
    std::mt19937 generator(42);
    std::vector<uint8_t> input;
    while (input.size() < 60000) {
        const auto number = std::to_string(generator() % 1000);
        const std::string record = "ProcessName=service.exe Name=worker Message=request " + number +
                                   " done Arguments=" + std::string(generator() % 40, ' ') + ";";
        input.insert(input.end(), record.begin(), record.end());
        input.insert(input.end(), generator() % 24, 0);
    }
    const std::vector<uint8_t> compressed = XpressCompress(input);
    EXPECT_LT(compressed.size(), input.size() / 3);
    const XpressDecoded decoded = RoundTrip(input);
    EXPECT_GT(decoded.matches, 1000u);
    EXPECT_GT(decoded.overlappingMatches, 20u);
    EXPECT_GT(decoded.halfByteLengths, 100u);
    EXPECT_GT(decoded.byteLengths, 10u);
}

TEST(XpressCompressor, ReusedOutputHoldsOnlyTheNewStream)
{
    std::vector<uint8_t> output = XpressCompress(Repeated('x', 5000));
    EtlWriter::XpressCompress(Bytes("abc"), output);
    EXPECT_THAT(output, ElementsAreArray({0xFF, 0xFF, 0xFF, 0x1F, 0x61, 0x62, 0x63}));
}

} // namespace
