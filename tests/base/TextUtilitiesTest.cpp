#include "base/TextUtilities.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

TEST(TrimWhitespace, DropsWhiteSpaceAtBothEnds)
{
    EXPECT_EQ("a b", Base::TrimWhitespace(" \t a b \t\r\n\v\f"));
}

TEST(TrimWhitespace, DropsTrailingNulsMixedWithWhiteSpace)
{
    EXPECT_EQ("value", Base::TrimWhitespace("value \0\r\n\0\0"s));
}

TEST(TrimWhitespace, KeepsALeadingNul)
{
    // Only white space goes at the front; a NUL there is content.
    EXPECT_EQ("\0 a"s, Base::TrimWhitespace("\0 a "s));
}

TEST(TrimWhitespace, KeepsInnerWhiteSpaceAndNuls)
{
    EXPECT_EQ("a \0 b"s, Base::TrimWhitespace("  a \0 b  "s));
}

TEST(TrimWhitespace, NothingButWhiteSpaceAndNulsGivesEmpty)
{
    EXPECT_EQ("", Base::TrimWhitespace(" \0 \r\n\0"s));
    EXPECT_EQ("", Base::TrimWhitespace(""));
}

TEST(StripQuotes, DropsOnlyTheOuterQuotesAndWhiteSpace)
{
    EXPECT_EQ("C:\\x y", Base::StripQuotes(" \"C:\\x y\" "));
}

TEST(StripQuotes, FileOptionLosesOnlyItsFinalQuote)
{
    EXPECT_EQ("/file:\"C:\\x y", Base::StripQuotes("/file:\"C:\\x y\""));
}

TEST(StripQuotes, DropsEveryQuoteRunAtTheEnds)
{
    EXPECT_EQ("a\"b", Base::StripQuotes("\"\" \"a\"b\" \"\""));
}

TEST(StripQuotes, OnlyQuotesGivesEmpty)
{
    EXPECT_EQ("", Base::StripQuotes("\" \"\""));
}

TEST(StripQuotes, UnquotedTextIsUnchanged)
{
    EXPECT_EQ("plain text", Base::StripQuotes("plain text"));
}

TEST(EscapeNonPrintable, TabBecomesItsCode)
{
    EXPECT_EQ(L"\\u0009", Base::EscapeNonPrintable(L"\t", false));
}

TEST(EscapeNonPrintable, CharacterFFBecomesUpperCaseHex)
{
    EXPECT_EQ(L"\\u00FF", Base::EscapeNonPrintable(L"\u00FF", false));
}

TEST(EscapeNonPrintable, AccentedLetterIsNotPrintableInTheCLocale)
{
    EXPECT_EQ(L"\\u00E9", Base::EscapeNonPrintable(L"\u00E9", false));
}

TEST(EscapeNonPrintable, LineFeedIsKeptOnlyWithTheSwitch)
{
    EXPECT_EQ(L"a\nb", Base::EscapeNonPrintable(L"a\nb", true));
    EXPECT_EQ(L"a\\u000Ab", Base::EscapeNonPrintable(L"a\nb", false));
}

TEST(EscapeNonPrintable, CarriageReturnIsEscapedEitherWay)
{
    EXPECT_EQ(L"\\u000D\n", Base::EscapeNonPrintable(L"\r\n", true));
    EXPECT_EQ(L"\\u000D\\u000A", Base::EscapeNonPrintable(L"\r\n", false));
}

TEST(EscapeNonPrintable, BackslashIsKeptSoTheResultIsNotReversible)
{
    EXPECT_EQ(L"C:\\dir\\u0041", Base::EscapeNonPrintable(L"C:\\dir\\u0041", false));
    EXPECT_EQ(Base::EscapeNonPrintable(L"\t", false), Base::EscapeNonPrintable(L"\\u0009", false));
}

TEST(EscapeNonPrintable, NulIsEscaped)
{
    EXPECT_EQ(L"a\\u0000b", Base::EscapeNonPrintable(L"a\0b"s, false));
}

TEST(EscapeNonPrintable, SurrogatePairIsEscapedUnitByUnit)
{
    EXPECT_EQ(L"x\\uD83D\\uDE00y", Base::EscapeNonPrintable(L"x\U0001F600y", false));
}

TEST(EscapeNonPrintable, HigherCharactersUseUpperCaseHexDigits)
{
    EXPECT_EQ(L"\\u0100\\uABCD\\uFFFF", Base::EscapeNonPrintable(L"\u0100\uABCD\uFFFF", false));
}

TEST(EscapeNonPrintable, DeleteIsEscaped)
{
    EXPECT_EQ(L"\\u007F", Base::EscapeNonPrintable(L"\x7F", false));
}

TEST(EscapeNonPrintable, EveryPrintableAsciiCharacterIsKept)
{
    std::wstring printable;
    for (wchar_t c = L' '; c <= L'~'; ++c) {
        printable.push_back(c);
    }

    EXPECT_EQ(printable, Base::EscapeNonPrintable(printable, false));
}

TEST(EscapeNonPrintable, WalkContinuesAfterEachEscape)
{
    EXPECT_EQ(L"\\u0009\\u0009x\\u0001", Base::EscapeNonPrintable(L"\t\tx\x01", false));
}

TEST(EscapeNonPrintable, EmptyStaysEmpty)
{
    EXPECT_EQ(L"", Base::EscapeNonPrintable(L"", true));
}

TEST(CharsEqualIgnoreCase, LettersMatchAcrossCase)
{
    EXPECT_TRUE(Base::CharsEqualIgnoreCase('a', 'A'));
    EXPECT_TRUE(Base::CharsEqualIgnoreCase('Z', 'z'));
    EXPECT_TRUE(Base::CharsEqualIgnoreCase('-', '-'));
    EXPECT_FALSE(Base::CharsEqualIgnoreCase('a', 'b'));
    EXPECT_FALSE(Base::CharsEqualIgnoreCase('-', '_'));
    EXPECT_FALSE(Base::CharsEqualIgnoreCase('[', '{'));
}

TEST(EqualsIgnoreCase, ComparesWholeTexts)
{
    EXPECT_TRUE(Base::EqualsIgnoreCase("Trace-Level", "TRACE-LEVEL"));
    EXPECT_TRUE(Base::EqualsIgnoreCase("", ""));
    EXPECT_FALSE(Base::EqualsIgnoreCase("trace", "trace-level"));
    EXPECT_FALSE(Base::EqualsIgnoreCase("level", "levek"));
}

TEST(FindIgnoreCase, FindsTheFirstOccurrence)
{
    EXPECT_EQ(6u, Base::FindIgnoreCase("Hello World world", "WORLD"));
    EXPECT_EQ(0u, Base::FindIgnoreCase("KESTROVA_level", "kestrova_"));
}

TEST(FindIgnoreCase, MissingNeedleIsNpos)
{
    EXPECT_EQ(std::string_view::npos, Base::FindIgnoreCase("Hello", "xyz"));
    EXPECT_EQ(std::string_view::npos, Base::FindIgnoreCase("Hi", "High"));
}

TEST(FindIgnoreCase, EmptyNeedleIsFoundAtTheStart)
{
    EXPECT_EQ(0u, Base::FindIgnoreCase("Hello", ""));
    EXPECT_EQ(0u, Base::FindIgnoreCase("", ""));
}

TEST(ToLower, LowersLettersOnly)
{
    EXPECT_EQ("trace-level_2", Base::ToLower("TRACE-Level_2"));
}
