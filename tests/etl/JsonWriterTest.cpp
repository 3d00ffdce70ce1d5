// The JSON writer: structure, separators, numbers at the edge of what a double holds, and
// strings that stay valid JSON whatever bytes or code units they are given.

#include "etl/JsonWriter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace {

std::string Narrow(const std::u16string& text)
{
    std::string narrow;
    for (const char16_t unit : text) {
        if (unit < 0x80) {
            narrow.push_back(static_cast<char>(unit));
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "<%04X>", static_cast<unsigned>(unit));
            narrow += code;
        }
    }
    return narrow;
}

std::string StringOf(std::u16string_view utf16)
{
    Etl::JsonWriter writer;
    writer.String(utf16);
    return Narrow(writer.Text());
}

std::string StringOf(std::string_view utf8)
{
    Etl::JsonWriter writer;
    writer.String(utf8);
    return Narrow(writer.Text());
}

} // namespace

TEST(JsonWriter, NestedObjectsAndArraysGetTheirSeparators)
{
    Etl::JsonWriter writer;
    writer.BeginObject();
    writer.Key("a");
    writer.Integer(int64_t{1});
    writer.Key(u"b");
    writer.BeginArray();
    writer.Boolean(true);
    writer.Null();
    writer.BeginObject();
    writer.EndObject();
    writer.BeginArray();
    writer.EndArray();
    writer.String(u"x");
    writer.EndArray();
    writer.Key("c");
    writer.BeginObject();
    writer.Key("d");
    writer.Boolean(false);
    writer.EndObject();
    writer.EndObject();
    EXPECT_EQ(R"({"a":1,"b":[true,null,{},[],"x"],"c":{"d":false}})", Narrow(writer.Text()));
}

TEST(JsonWriter, ClearStartsAnewValue)
{
    Etl::JsonWriter writer;
    writer.Integer(uint64_t{5});
    writer.Clear();
    writer.Integer(uint64_t{6});
    EXPECT_EQ("6", Narrow(writer.Text()));
}

TEST(JsonWriter, IntegersBeyondWhatADoubleHoldsExactlyAreStrings)
{
    Etl::JsonWriter writer;
    writer.BeginArray();
    writer.Integer(uint64_t{9007199254740992});
    writer.Integer(uint64_t{9007199254740993});
    writer.Integer(int64_t{-9007199254740992});
    writer.Integer(int64_t{-9007199254740993});
    writer.Integer(std::numeric_limits<int64_t>::min());
    writer.Integer(std::numeric_limits<uint64_t>::max());
    writer.Integer(int64_t{0});
    writer.EndArray();
    EXPECT_EQ(R"([9007199254740992,"9007199254740993",-9007199254740992,"-9007199254740993",)"
              R"("-9223372036854775808","18446744073709551615",0])",
              Narrow(writer.Text()));
}

TEST(JsonWriter, FloatingPointInShortestFormAndNonFiniteAsStrings)
{
    Etl::JsonWriter writer;
    writer.BeginArray();
    writer.Number(0.1f);
    writer.Number(0.1);
    writer.Number(-2.5e-300);
    writer.Number(1e21);
    writer.Number(std::nan(""));
    writer.Number(std::numeric_limits<double>::infinity());
    writer.Number(-std::numeric_limits<float>::infinity());
    writer.EndArray();
    EXPECT_EQ(R"([0.1,0.1,-2.5e-300,1e+21,"NaN","Infinity","-Infinity"])", Narrow(writer.Text()));
}

TEST(JsonWriter, QuoteBackslashAndEveryControlCharacterAreEscaped)
{
    EXPECT_EQ(R"("\"\\/")", StringOf(u"\"\\/"));
    EXPECT_EQ(R"("\b\f\n\r\t")", StringOf(u"\b\f\n\r\t"));
    std::u16string controls;
    for (char16_t unit = 0; unit < 0x20; ++unit) {
        if (unit != u'\b' && unit != u'\f' && unit != u'\n' && unit != u'\r' && unit != u'\t') {
            controls.push_back(unit);
        }
    }
    EXPECT_EQ(R"("\u0000\u0001\u0002\u0003\u0004\u0005\u0006\u0007\u000b\u000e\u000f\u0010\u0011\u0012\u0013)"
              R"(\u0014\u0015\u0016\u0017\u0018\u0019\u001a\u001b\u001c\u001d\u001e\u001f")",
              StringOf(controls));
}

TEST(JsonWriter, DeleteAndC1ControlsAreEscapedForTerminals)
{
    EXPECT_EQ(R"("\u007f\u0080\u009b\u009f<00A0>")", StringOf(u"\u007f\u0080\u009b\u009f\u00a0"));
    EXPECT_EQ(R"("\u001b[31m")", StringOf(std::string_view("\x1b[31m")));
    EXPECT_EQ(R"("\u009b")", StringOf(std::string_view("\xc2\x9b")));
}

TEST(JsonWriter, UnpairedSurrogatesBecomeReplacementCharacters)
{
    EXPECT_EQ(R"("<D83D><DE00>")", StringOf(u"\U0001F600"));
    const char16_t lone[] = {u'a', 0xD83D, u'b', 0xDE00, u'c', 0xDE00, 0xD83D, 0};
    EXPECT_EQ(R"("a<FFFD>b<FFFD>c<FFFD><FFFD>")", StringOf(std::u16string_view(lone)));
    const char16_t trailingHigh[] = {u'x', 0xDBFF, 0};
    EXPECT_EQ(R"("x<FFFD>")", StringOf(std::u16string_view(trailingHigh)));
}

TEST(JsonWriter, Utf8IsDecodedAndEveryInvalidByteReplaced)
{
    EXPECT_EQ(R"("<65E5><672C><D83D><DE00>")", StringOf(std::string_view("\xe6\x97\xa5\xe6\x9c\xac\xf0\x9f\x98\x80")));
    // A stray continuation byte, an overlong slash, an encoded surrogate, a truncated
    // sequence at the end, a byte that never starts one.
    EXPECT_EQ(R"("a<FFFD>b<FFFD><FFFD>c<FFFD><FFFD><FFFD>d<FFFD>e<FFFD><FFFD>")",
              StringOf(std::string_view("a\x80"
                                        "b\xc0\xaf"
                                        "c\xed\xa0\x80"
                                        "d\xff"
                                        "e\xe6\x97")));
}

TEST(JsonWriter, KeysAreEscapedAsStringsAre)
{
    Etl::JsonWriter writer;
    writer.BeginObject();
    writer.Key(u"a\"\n");
    writer.Integer(int64_t{1});
    writer.Key(std::string_view("\x01\xff"));
    writer.Integer(int64_t{2});
    writer.EndObject();
    EXPECT_EQ(R"({"a\"\n":1,"\u0001<FFFD>":2})", Narrow(writer.Text()));
}

TEST(JsonWriter, BytesAsPaddedBase64)
{
    Etl::JsonWriter writer;
    writer.BeginArray();
    const uint8_t bytes[] = {'f', 'o', 'o', 'b', 'a', 'r'};
    for (size_t length = 0; length <= 6; ++length) {
        writer.Base64(std::span(bytes, length));
    }
    const uint8_t high[] = {0xFB, 0xFF, 0xBF};
    writer.Base64(high);
    writer.EndArray();
    // RFC 4648's test vectors, then both characters beyond the letters and digits.
    EXPECT_EQ(R"(["","Zg==","Zm8=","Zm9v","Zm9vYg==","Zm9vYmE=","Zm9vYmFy","+/+/"])", Narrow(writer.Text()));
}
