#include "base/TextConversion.h"

#include "tests/base/CodePageSamples.h"
#include "tests/support/WesternEuropeanCodePages.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>

using namespace std::string_literals;

namespace {

// The code page both console conversions use: the console's input code page.
UINT ConsoleInputCodePage()
{
    return Testing::EffectiveCodePage(::GetConsoleCP());
}

} // namespace

TEST(ConsoleToWide, AsciiConvertsUnchanged)
{
    EXPECT_EQ(L"Kestrova Diagnostics Log 1.0", Base::ConsoleToWide("Kestrova Diagnostics Log 1.0"));
}

TEST(ConsoleToWide, EmptyGivesEmpty)
{
    EXPECT_EQ(L"", Base::ConsoleToWide(""));
}

TEST(ConsoleToWide, StopsAtAnEmbeddedNul)
{
    EXPECT_EQ(L"ab", Base::ConsoleToWide("ab\0cd"s));
}

TEST(ConsoleToWide, ReadsTheConsoleInputCodePage)
{
    const UINT codePage = ConsoleInputCodePage();
    const auto encoded = Testing::SmallEAcute(codePage);
    if (!encoded) {
        GTEST_SKIP() << "no expectation for console input code page " << codePage;
    }

    EXPECT_EQ(L"caf\u00E9", Base::ConsoleToWide("caf" + *encoded));
}

TEST(WideToConsole, AsciiConvertsUnchanged)
{
    EXPECT_EQ("STATUS /level:info", Base::WideToConsole(L"STATUS /level:info"));
}

TEST(WideToConsole, EmptyGivesEmpty)
{
    EXPECT_EQ("", Base::WideToConsole(L""));
}

TEST(WideToConsole, KeepsAnEmbeddedNul)
{
    EXPECT_EQ("a\0b"s, Base::WideToConsole(L"a\0b"s));
}

TEST(WideToConsole, WritesTheConsoleInputCodePage)
{
    const UINT codePage = ConsoleInputCodePage();
    const auto encoded = Testing::SmallEAcute(codePage);
    if (!encoded) {
        GTEST_SKIP() << "no expectation for console input code page " << codePage;
    }

    EXPECT_EQ("caf" + *encoded, Base::WideToConsole(L"caf\u00E9"));
}

TEST(WideToConsole, RoundTripsThroughConsoleToWide)
{
    const UINT codePage = ConsoleInputCodePage();
    const auto encoded = Testing::SmallEAcute(codePage);
    if (!encoded) {
        GTEST_SKIP() << "no expectation for console input code page " << codePage;
    }
    const std::wstring text = L"Kestrova \u00E9 log";

    EXPECT_EQ(text, Base::ConsoleToWide(Base::WideToConsole(text)));
}

TEST(WideToConsole, UsesNoBestFitCharacter)
{
    // Windows-1252 has no A with macron; a best-fit conversion would print a plain A,
    // which reads as a different name. The default character shows the loss instead.
    const UINT codePage = ConsoleInputCodePage();
    if (codePage != 1252) {
        GTEST_SKIP() << "expectation written for code page 1252, console input code page is " << codePage;
    }

    EXPECT_EQ("x?y", Base::WideToConsole(L"x\u0100y"));
}

TEST(AnsiToWide, ConvertsTheProcessCodePage)
{
    const auto encoded = Testing::SmallEAcute(::GetACP());
    if (!encoded) {
        GTEST_SKIP() << "no expectation for ANSI code page " << ::GetACP();
    }

    EXPECT_EQ(L"C:\\caf\u00E9", Base::AnsiToWide("C:\\caf" + *encoded));
}

TEST(Utf8ToWide, ConvertsMultiByteSequences)
{
    EXPECT_EQ(L"caf\u00E9 \U0001F600", Base::Utf8ToWide("caf\xC3\xA9 \xF0\x9F\x98\x80"));
}

TEST(Utf8ToWide, MalformedSequenceBecomesTheReplacementCharacter)
{
    EXPECT_EQ(L"a\uFFFDb", Base::Utf8ToWide("a\xFF"
                                            "b"));
}

// Both code pages come through the platform seam: a Western-European system reads the
// byte 0xE9 as e with acute in its ANSI code page and as U with acute in its console's.
TEST(CodePages, ConsoleAndAnsiConversionsEachUseTheirOwnCodePage)
{
    Testing::WesternEuropeanCodePages codePages;

    EXPECT_EQ(L"Donn\u00E9es", Base::AnsiToWide("Donn\xE9"
                                                "es"));
    EXPECT_EQ(L"Donn\u00DAes", Base::ConsoleToWide("Donn\xE9"
                                                   "es"));
    EXPECT_EQ("Donn\x82"
              "es",
              Base::WideToConsole(L"Donn\u00E9es"));
    EXPECT_EQ("Donn\xE9"
              "es",
              Base::WideToAnsi(L"Donn\u00E9es"));
}

TEST(WideToAnsi, EmptyGivesEmpty)
{
    EXPECT_EQ("", Base::WideToAnsi(L""));
}

// A character the ANSI code page lacks is lost in the narrow form, which is why paths
// travel in UTF-16.
TEST(WideToAnsi, CharacterOutsideTheCodePageDoesNotComeBack)
{
    Testing::WesternEuropeanCodePages codePages;

    const std::string narrow = Base::WideToAnsi(L"\u03A9");
    EXPECT_EQ(1u, narrow.size());
    EXPECT_NE(L"\u03A9", Base::AnsiToWide(narrow));
}
