#include "etl/Xpress.h"

#include "SampleFiles.h"
#include "etl/FormatError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Hex(const std::string& text)
{
    Bytes bytes;
    for (size_t index = 0; index + 1 < text.size(); index += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoi(text.substr(index, 2), nullptr, 16)));
    }
    return bytes;
}

Bytes Concat(Bytes first, const std::string& text)
{
    first.insert(first.end(), text.begin(), text.end());
    return first;
}

std::string Decompress(const Bytes& input, size_t outputSize)
{
    std::string output(outputSize, '\0');
    const size_t produced =
        Etl::XpressDecompress(input, std::span(reinterpret_cast<uint8_t*>(output.data()), output.size()));
    output.resize(produced);
    return output;
}

std::string ErrorOf(const Bytes& input, size_t outputSize)
{
    try {
        Decompress(input, outputSize);
    } catch (const Etl::FormatError& error) {
        return error.what();
    }
    return "no error";
}

// The two strings of [MS-XCA]'s examples (section 3) as the plain LZ77 encoding writes
// them: 26 literals, then a set flag bit with the input used up; and "abc" repeated 100
// times, three literals and one match of 297 bytes at offset 3, its length in the half
// byte (15), the byte (255) and the 16-bit form (294).
TEST(Xpress, DecodesTheStringsOfTheFormatDocumentsExamples)
{
    EXPECT_EQ(Decompress(Concat(Hex("3f000000"), "abcdefghijklmnopqrstuvwxyz"), 26), "abcdefghijklmnopqrstuvwxyz");

    std::string abc;
    for (int index = 0; index < 100; ++index) {
        abc += "abc";
    }
    EXPECT_EQ(Decompress(Hex("ffffff1f61626317000fff2601"), 300), abc);
}

TEST(Xpress, LiteralsAcrossTwoFlagWords)
{
    // 32 literals under a zero flag word, then a word whose first bit ends the stream.
    const std::string text = "0123456789ABCDEFGHIJKLMNOPQRSTUVWX";
    Bytes input = Concat(Hex("00000000"), text.substr(0, 32));
    const Bytes second = Concat(Hex("ffffff3f"), text.substr(32)); // two literals, then the end
    input.insert(input.end(), second.begin(), second.end());
    EXPECT_EQ(Decompress(input, 64), text);
}

TEST(Xpress, OverlappingMatchRepeatsItsOwnOutput)
{
    // A literal, then offset 1 length 5: "aaaaaa".
    EXPECT_EQ(Decompress(Hex("ffffff7f610200"), 6), "aaaaaa");
    // Offset 2 length 7 over "ab": "ababababa".
    EXPECT_EQ(Decompress(Hex("ffffff3f61620c00"), 9), "ababababa");
}

TEST(Xpress, LongLengthsUseTheHalfByteTheByteAndTheWideForms)
{
    // Length code 7 and half byte 5: 5 + 7 + 3 = 15.
    EXPECT_EQ(Decompress(Hex("ffffff7f78070005"), 16), std::string(16, 'x'));
    // Half byte 15, then the byte 100: 100 + 15 + 7 + 3 = 125.
    EXPECT_EQ(Decompress(Hex("ffffff7f7807000f64"), 126), std::string(126, 'x'));
    // Half byte 15, byte 255, then 16 bits 1000: 1000 + 3 = 1003.
    EXPECT_EQ(Decompress(Hex("ffffff7f7807000fffe803"), 1004), std::string(1004, 'x'));
    // 16 bits 0, then 32 bits 70000: 70000 + 3 = 70003.
    EXPECT_EQ(Decompress(Hex("ffffff7f7807000fff000070110100"), 70004), std::string(70004, 'x'));
}

TEST(Xpress, TwoLongMatchesShareOneHalfByteByte)
{
    // The first long match takes the low half of 0x32 (2: length 12), the second the high
    // half (3: length 13), without a byte of its own.
    EXPECT_EQ(Decompress(Hex("ffffff7f790700320700"), 26), std::string(26, 'y'));
}

TEST(Xpress, DecompressesTheCompressedBuffersOfTheSamples)
{
    const Bytes log = EtlTest::ReadSample("SelfDescribingSingleEvent.etl");
    // Buffer 1 at 0x400 takes 0x1809 bytes and holds 0x1C00 once decompressed.
    const std::span<const uint8_t> stream = std::span(log).subspan(0x400 + 0x48, 0x1809 - 0x48);
    Bytes output(0x1C00 - 0x48);
    EXPECT_EQ(Etl::XpressDecompress(stream, output), output.size());
    // Its first record: a system header of the EventTrace group, type 80, 0x50 bytes.
    EXPECT_EQ(Bytes(output.begin(), output.begin() + 8), Hex("020002c050005000"));

    const Bytes small = EtlTest::ReadSample("smallEtlFile.etl");
    Bytes smallOutput(0x2E0 - 0x48);
    EXPECT_EQ(Etl::XpressDecompress(std::span(small).subspan(0x200 + 0x48), smallOutput), smallOutput.size());
    // An EVENT_HEADER of a 32-bit producer, 0x298 bytes.
    EXPECT_EQ(Bytes(smallOutput.begin(), smallOutput.begin() + 4), Hex("980212c0"));
}

TEST(Xpress, MatchBeforeTheStartOfTheOutputIsAnError)
{
    EXPECT_EQ(ErrorOf(Hex("ffffffff0000"), 16),
              "XPRESS stream: the match at input offset 0x4 reaches 0x1 bytes back, before the start of the output "
              "(0x0 bytes written)");
    EXPECT_EQ(ErrorOf(Hex("ffffff7f611000"), 16),
              "XPRESS stream: the match at input offset 0x5 reaches 0x3 bytes back, before the start of the output "
              "(0x1 bytes written)");
}

TEST(Xpress, OutputOverflowIsAnError)
{
    EXPECT_EQ(ErrorOf(Concat(Hex("ffffff1f"), "abc"), 2),
              "XPRESS stream: a literal at input offset 0x6 overflows the 0x2 bytes of output");
    EXPECT_EQ(ErrorOf(Hex("ffffff7f610200"), 5),
              "XPRESS stream: the match at input offset 0x5 copies 0x5 bytes, past the 0x5 bytes of output");
}

TEST(Xpress, TruncatedInputIsAnError)
{
    EXPECT_EQ(ErrorOf(Hex("ffff"), 16), "XPRESS stream: the input ends inside a flag word at input offset 0x0");
    EXPECT_EQ(ErrorOf(Hex("00000000"), 16), "XPRESS stream: the input ends inside a literal at input offset 0x4");
    EXPECT_EQ(ErrorOf(Hex("ffffff7f6102"), 16), "XPRESS stream: the input ends inside a match at input offset 0x5");
    EXPECT_EQ(ErrorOf(Hex("ffffff7f610700"), 16),
              "XPRESS stream: the input ends inside a match length at input offset 0x7");
    EXPECT_EQ(ErrorOf(Hex("ffffff7f6107000fff10"), 5000),
              "XPRESS stream: the input ends inside a match length at input offset 0x9");
}

TEST(Xpress, WideLengthBelowItsBaseIsAnError)
{
    EXPECT_EQ(ErrorOf(Hex("ffffff7f6107000fff1500"), 5000),
              "XPRESS stream: the match length at input offset 0x9 is 0x15, less than the 0x16 it must add to");
}

} // namespace
