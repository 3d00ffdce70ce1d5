#include "base/Exception.h"
#include "tests/trace/TraceTestSupport.h"
#include "trace/Field.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <climits>
#include <sstream>
#include <stdexcept>

namespace {

using Trace::Field;

template <typename... T> std::string Render(const Field<T>&... fields)
{
    std::ostringstream out;
    Trace::RenderFields(out, fields...);
    return out.str();
}

enum class Colour : uint8_t { Blue = 3 };

} // namespace

TEST(FieldRendering, NoFieldsRenderNothing)
{
    EXPECT_EQ("", Render());
}

TEST(FieldRendering, FieldsAreBracedAndSeparatedByCommas)
{
    const int one = 1;
    const std::string two = "Software";
    EXPECT_EQ(" { errorCode:1 }", Render(Field{"errorCode", one}));
    EXPECT_EQ(" { errorCode:1, subkey:\"Software\" }", Render(Field{"errorCode", one}, Field{"subkey", two}));
}

TEST(FieldRendering, IntegersAreDecimal)
{
    const int32_t negative = -5;
    const uint32_t large = 4000000000u;
    const int64_t smallest = LLONG_MIN;
    const uint64_t largest = ULLONG_MAX;
    const short shortNumber = -300;
    EXPECT_EQ(" { a:-5, b:4000000000, c:-9223372036854775808, d:18446744073709551615, e:-300 }",
              Render(Field{"a", negative}, Field{"b", large}, Field{"c", smallest}, Field{"d", largest},
                     Field{"e", shortNumber}));
}

TEST(FieldRendering, ByteSizedNumbersPrintAsNumbers)
{
    const int8_t signedByte = -3;
    const uint8_t unsignedByte = 200;
    const uint8_t letterCode = 'A';
    EXPECT_EQ(" { s:-3, u:200, l:65 }",
              Render(Field{"s", signedByte}, Field{"u", unsignedByte}, Field{"l", letterCode}));
}

TEST(FieldRendering, EnumerationsPrintTheirNumber)
{
    const Colour colour = Colour::Blue;
    EXPECT_EQ(" { colour:3 }", Render(Field{"colour", colour}));
}

TEST(FieldRendering, BooleansPrintAsWords)
{
    const bool yes = true;
    const bool no = false;
    EXPECT_EQ(" { commandLine:true, other:false }", Render(Field{"commandLine", yes}, Field{"other", no}));
}

TEST(FieldRendering, HandlesAndPointersAreHexadecimalWithPrefix)
{
    const HANDLE handle = reinterpret_cast<HANDLE>(static_cast<uintptr_t>(0x1a2b));
    const HKEY key = HKEY_LOCAL_MACHINE;
    const HANDLE invalid = INVALID_HANDLE_VALUE;
    const void* address = reinterpret_cast<const void*>(static_cast<uintptr_t>(0xdeadbeef0ull));
    EXPECT_EQ(
        " { _handle:0x1a2b, root:0xffffffff80000002, invalid:0xffffffffffffffff, address:0xdeadbeef0 }",
        Render(Field{"_handle", handle}, Field{"root", key}, Field{"invalid", invalid}, Field{"address", address}));
}

TEST(FieldRendering, ZeroPointerPrintsAsPlainZero)
{
    const HANDLE none = nullptr;
    const auto zero = Trace::Hex{0u};
    EXPECT_EQ(" { _handle:0, base:0 }", Render(Field{"_handle", none}, Field{"base", zero}));
}

TEST(FieldRendering, HexMarksAnIntegerForHexadecimal)
{
    const auto code = Trace::Hex{0xC0000005u};
    const auto negative = Trace::Hex{-1};
    EXPECT_EQ(" { ExceptionCode:0xc0000005, all:0xffffffffffffffff }",
              Render(Field{"ExceptionCode", code}, Field{"all", negative}));
}

TEST(FieldRendering, NumbersAfterAHexadecimalFieldAreDecimalAgain)
{
    const HANDLE handle = reinterpret_cast<HANDLE>(static_cast<uintptr_t>(0x10));
    const int count = 26;
    EXPECT_EQ(" { _handle:0x10, count:26, again:0x10 }",
              Render(Field{"_handle", handle}, Field{"count", count}, Field{"again", handle}));
}

TEST(FieldRendering, NarrowStringsAreQuotedWhole)
{
    const std::string owned(100, 'o');
    const std::string_view viewed = "viewed text";
    const std::string empty;
    EXPECT_EQ(" { owned:\"" + owned + "\", viewed:\"viewed text\", empty:\"\" }",
              Render(Field{"owned", owned}, Field{"viewed", viewed}, Field{"empty", empty}));
}

TEST(FieldRendering, WideStringsAreEscapedAndQuoted)
{
    const std::wstring owned = L"Soft\tware\x263A";
    const std::wstring_view viewed = L"caf\xE9 \xFF\n";
    EXPECT_EQ(" { owned:\"Soft\\u0009ware\\u263A\", viewed:\"caf\\u00E9 \\u00FF\\u000A\" }",
              Render(Field{"owned", owned}, Field{"viewed", viewed}));
}

TEST(FieldRendering, BackslashesOfWideStringsStayAsTheyAre)
{
    const std::wstring path = L"C:\\Program Files\\Kestrova";
    EXPECT_EQ(" { path:\"C:\\Program Files\\Kestrova\" }", Render(Field{"path", path}));
}

TEST(FieldRendering, RawStringIsQuotedUpToItsEnd)
{
    const char* text = "short text";
    EXPECT_EQ(" { text:\"short text\" }", Render(Field{"text", text}));
}

TEST(FieldRendering, RawStringIsCutAtSixtyFourCharacters)
{
    const std::string longText = std::string(64, 'a') + std::string(36, 'b');
    const char* text = longText.c_str();
    EXPECT_EQ(" { text:\"" + std::string(64, 'a') + "\" }", Render(Field{"text", text}));
}

TEST(FieldRendering, RawStringOfExactlySixtyFourCharactersIsWhole)
{
    const std::string exact(64, 'x');
    char* text = const_cast<char*>(exact.c_str());
    EXPECT_EQ(" { text:\"" + exact + "\" }", Render(Field{"text", text}));
}

TEST(FieldRendering, NullRawStringsPrintNullWithoutQuotes)
{
    const char* narrow = nullptr;
    const wchar_t* wide = nullptr;
    EXPECT_EQ(" { narrow:null, wide:null }", Render(Field{"narrow", narrow}, Field{"wide", wide}));
}

TEST(FieldRendering, RawWideStringIsEscapedQuotedAndCut)
{
    const std::wstring longText = L"\t" + std::wstring(70, L'w');
    const wchar_t* text = longText.c_str();
    EXPECT_EQ(" { text:\"\\u0009" + std::string(63, 'w') + "\" }", Render(Field{"text", text}));
    const wchar_t* shortText = L"wide";
    EXPECT_EQ(" { text:\"wide\" }", Render(Field{"text", shortText}));
}

TEST(FieldRendering, CharacterArraysAreRenderedAsRawStrings)
{
    const char literal[] = "0123456789012345678901234567890123456789012345678901234567890123456789";
    wchar_t buffer[8] = L"buffer";
    EXPECT_EQ(" { literal:\"0123456789012345678901234567890123456789012345678901234567890123\", buffer:\"buffer\" }",
              Render(Field{"literal", literal}, Field{"buffer", buffer}));
}

TEST(FieldRendering, ExceptionsPrintTheirQuotedText)
{
    const Base::Exception exception("Out of range");
    const std::runtime_error standard("Input is not valid base64-encoded data.");
    EXPECT_EQ(" { err:\"Out of range\", error:\"Input is not valid base64-encoded data.\" }",
              Render(Field{"err", exception}, Field{"error", standard}));
}

TEST(FieldRendering, ConfiguredLimitCutsRawStrings)
{
    Testing::ConfigureWith({"/trace-stringptr-maxlen:10"});
    const char* narrow = "abcdefghijklmnopqrstuvwxyz";
    const wchar_t* wide = L"ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    EXPECT_EQ(" { narrow:\"abcdefghij\", wide:\"ABCDEFGHIJ\" }", Render(Field{"narrow", narrow}, Field{"wide", wide}));
}

TEST(FieldRendering, LimitIsReadOnce)
{
    Testing::ConfigureWith({"/trace-stringptr-maxlen:3"});
    const char* narrow = "abcdef";
    const wchar_t* wide = L"ABCDEF";
    EXPECT_EQ(" { narrow:\"abc\", wide:\"ABC\" }", Render(Field{"narrow", narrow}, Field{"wide", wide}));
    Testing::ConfigureWith({"/trace-stringptr-maxlen:5"});
    EXPECT_EQ(" { narrow:\"abc\", wide:\"ABC\" }", Render(Field{"narrow", narrow}, Field{"wide", wide}));
}

TEST(FieldRendering, UnparsableLimitKeepsSixtyFour)
{
    Testing::ConfigureWith({"/trace-stringptr-maxlen:long"});
    const std::string longText(80, 'z');
    const char* text = longText.c_str();
    EXPECT_EQ(" { text:\"" + std::string(64, 'z') + "\" }", Render(Field{"text", text}));
}
