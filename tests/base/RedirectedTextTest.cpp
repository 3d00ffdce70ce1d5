#include "base/RedirectedText.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string Encoded(std::wstring_view text)
{
    std::string encoded = "left over";
    Base::EncodeRedirectedText(text, encoded);
    return encoded;
}

TEST(RedirectedText, AsciiStaysAsItIs)
{
    EXPECT_EQ("Kestrova Diagnostics Utility", Encoded(L"Kestrova Diagnostics Utility"));
}

TEST(RedirectedText, EveryLineFeedBecomesCarriageReturnLineFeed)
{
    EXPECT_EQ("a\r\nb\r\n\r\nc\r\n", Encoded(L"a\nb\n\nc\n"));
    EXPECT_EQ("\r\n", Encoded(L"\n"));
}

TEST(RedirectedText, ACarriageReturnOfItsOwnIsKept)
{
    EXPECT_EQ("a\r\r\n", Encoded(L"a\r\n"));
}

TEST(RedirectedText, CharactersOutsideEveryCodePageAreUtf8)
{
    EXPECT_EQ("caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80", Encoded(L"caf\u00E9 \u65E5\u672C \U0001F600"));
}

TEST(RedirectedText, AnUnpairedSurrogateBecomesTheReplacementCharacter)
{
    EXPECT_EQ("x\xEF\xBF\xBDy", Encoded(L"x\xD83Dy"));
}

TEST(RedirectedText, EmptyGivesEmpty)
{
    EXPECT_EQ("", Encoded(L""));
}

TEST(RedirectedText, TheStringKeepsItsCapacity)
{
    std::string encoded;
    Base::EncodeRedirectedText(std::wstring(1000, L'x'), encoded);
    const size_t capacity = encoded.capacity();
    const char* storage = encoded.data();
    Base::EncodeRedirectedText(L"short\n", encoded);
    EXPECT_EQ("short\r\n", encoded);
    EXPECT_EQ(capacity, encoded.capacity());
    EXPECT_EQ(storage, encoded.data());
}

} // namespace
