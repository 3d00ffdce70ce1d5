#include "etl/PropertyValue.h"
#include "etl/FormatError.h"
#include "etl/GuidText.h"
#include "etl/PropertyTypes.h"
#include "tests/etl/PayloadBuilder.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

using Testing::PayloadBuilder;

Etl::PropertyValue Decode(uint16_t inType, const std::vector<uint8_t>& bytes, unsigned pointerSize = 8)
{
    return Etl::DecodeValue(inType, bytes, pointerSize);
}

std::u16string Text(uint16_t inType, const std::vector<uint8_t>& bytes, uint16_t outType = 0, unsigned pointerSize = 8)
{
    return Etl::FormatValue(Decode(inType, bytes, pointerSize), outType);
}

std::string ErrorOf(uint16_t inType, const std::vector<uint8_t>& bytes)
{
    try {
        Decode(inType, bytes);
    } catch (const Etl::FormatError& error) {
        return error.what();
    }
    return "no error";
}

TEST(PropertyValue, DecodesSignedIntegersOfEveryWidth)
{
    EXPECT_EQ(Decode(Etl::InInt8, {0x80}), Etl::PropertyValue(int64_t{-128}));
    EXPECT_EQ(Decode(Etl::InInt16, {0xFE, 0xFF}), Etl::PropertyValue(int64_t{-2}));
    EXPECT_EQ(Decode(Etl::InInt32, {0x00, 0x00, 0x00, 0x80}), Etl::PropertyValue(int64_t{-2147483647 - 1}));
    EXPECT_EQ(Decode(Etl::InInt64, PayloadBuilder().U64(0x8000000000000000).Data()),
              Etl::PropertyValue(std::numeric_limits<int64_t>::min()));
    EXPECT_EQ(Decode(Etl::InInt32, {0x2A, 0, 0, 0}), Etl::PropertyValue(int64_t{42}));
    EXPECT_EQ(Text(Etl::InInt16, {0xFE, 0xFF}), u"-2");
    EXPECT_EQ(Text(Etl::InInt64, PayloadBuilder().U64(0x8000000000000000).Data()), u"-9223372036854775808");
}

TEST(PropertyValue, DecodesUnsignedIntegersOfEveryWidth)
{
    EXPECT_EQ(Decode(Etl::InUInt8, {0xFF}), Etl::PropertyValue(uint64_t{255}));
    EXPECT_EQ(Decode(Etl::InUInt16, {0x34, 0x12}), Etl::PropertyValue(uint64_t{0x1234}));
    EXPECT_EQ(Decode(Etl::InUInt32, {0x78, 0x56, 0x34, 0x12}), Etl::PropertyValue(uint64_t{0x12345678}));
    EXPECT_EQ(Decode(Etl::InUInt64, PayloadBuilder().U64(0xFFFFFFFFFFFFFFFF).Data()),
              Etl::PropertyValue(std::numeric_limits<uint64_t>::max()));
    EXPECT_EQ(Text(Etl::InUInt64, PayloadBuilder().U64(0xFFFFFFFFFFFFFFFF).Data()), u"18446744073709551615");
    EXPECT_EQ(Text(Etl::InUInt32, {0x78, 0x56, 0x34, 0x12}, Etl::OutHexInt32), u"0x12345678");
    EXPECT_EQ(Text(Etl::InInt8, {0xFF}, Etl::OutHexInt8), u"0xFF");
    EXPECT_EQ(Text(Etl::InInt16, {0xFE, 0xFF}, Etl::OutHexInt16), u"0xFFFE");
    EXPECT_EQ(Text(Etl::InInt64, PayloadBuilder().U64(0xFFFFFFFFFFFFFFFF).Data(), Etl::OutHexInt64),
              u"0xFFFFFFFFFFFFFFFF");
}

TEST(PropertyValue, DecodesBooleansFloatsAndHexNumbers)
{
    EXPECT_EQ(Decode(Etl::InBoolean, {1, 0, 0, 0}), Etl::PropertyValue(true));
    EXPECT_EQ(Decode(Etl::InBoolean, {0, 0, 0, 0}), Etl::PropertyValue(false));
    EXPECT_EQ(Text(Etl::InBoolean, {0, 0, 2, 0}), u"true");
    EXPECT_EQ(Text(Etl::InBoolean, {0, 0, 0, 0}), u"false");
    EXPECT_EQ(Decode(Etl::InFloat, {0x00, 0x00, 0xC0, 0x3F}), Etl::PropertyValue(1.5f));
    EXPECT_EQ(Text(Etl::InFloat, {0xCD, 0xCC, 0xCC, 0x3D}), u"0.1");
    EXPECT_EQ(Decode(Etl::InDouble, PayloadBuilder().U64(0xC004000000000000).Data()), Etl::PropertyValue(-2.5));
    EXPECT_EQ(Text(Etl::InDouble, PayloadBuilder().U64(0x3FB999999999999A).Data()), u"0.1");
    EXPECT_EQ(Decode(Etl::InHexInt32, {0xEF, 0xBE, 0, 0}), Etl::PropertyValue(Etl::HexValue{0xBEEF, 4}));
    EXPECT_EQ(Decode(Etl::InHexInt64, PayloadBuilder().U64(0x1122334455667788).Data()),
              Etl::PropertyValue(Etl::HexValue{0x1122334455667788, 8}));
    EXPECT_EQ(Text(Etl::InHexInt32, {0xEF, 0xBE, 0, 0}), u"0xBEEF");
    EXPECT_EQ(Text(Etl::InHexInt64, PayloadBuilder().U64(0).Data()), u"0x0");
}

TEST(PropertyValue, DecodesPointersByTheProducersSize)
{
    EXPECT_EQ(Decode(Etl::InPointer, {0x00, 0x10, 0x40, 0x00}, 4), Etl::PropertyValue(Etl::PointerValue{0x401000, 4}));
    EXPECT_EQ(Decode(Etl::InPointer, PayloadBuilder().U64(0x7FF612340000).Data(), 8),
              Etl::PropertyValue(Etl::PointerValue{0x7FF612340000, 8}));
    EXPECT_EQ(Decode(Etl::InSizeT, {1, 0, 0, 0}, 4), Etl::PropertyValue(Etl::PointerValue{1, 4}));
    EXPECT_EQ(Text(Etl::InPointer, PayloadBuilder().U64(0x7FF612340000).Data(), Etl::OutHexInt64), u"0x7FF612340000");
    EXPECT_EQ(ErrorOf(Etl::InPointer, {0, 0, 0, 0}), "a value of in-type 16 cannot be 4 bytes long");
}

TEST(PropertyValue, DecodesTimes)
{
    // 2010-10-29 19:08:00.7357072 UTC.
    const std::vector<uint8_t> fileTime = PayloadBuilder().U64(0x01CB779C9AE2EA90).Data();
    EXPECT_EQ(Decode(Etl::InFileTime, fileTime), Etl::PropertyValue(Etl::FileTimeValue{0x01CB779C9AE2EA90}));
    EXPECT_EQ(Text(Etl::InFileTime, fileTime), u"2010-10-29T19:08:00.7357072Z");
    EXPECT_EQ(Text(Etl::InFileTime, PayloadBuilder().U64(0).Data()), u"1601-01-01T00:00:00.0000000Z");
    // 2024-02-29, a leap day.
    EXPECT_EQ(Text(Etl::InFileTime, PayloadBuilder().U64(133536384000000001).Data()), u"2024-02-29T00:00:00.0000001Z");
    const std::vector<uint8_t> systemTime =
        PayloadBuilder().U16(2024).U16(3).U16(4).U16(7).U16(9).U16(5).U16(1).U16(42).Data();
    EXPECT_EQ(Decode(Etl::InSystemTime, systemTime),
              Etl::PropertyValue(Etl::SystemTimeValue{2024, 3, 4, 7, 9, 5, 1, 42}));
    EXPECT_EQ(Text(Etl::InSystemTime, systemTime), u"2024-03-07T09:05:01.042");
    EXPECT_EQ(ErrorOf(Etl::InSystemTime, std::vector<uint8_t>(15)), "a value of in-type 18 cannot be 15 bytes long");
}

TEST(PropertyValue, DecodesGuidsAndSids)
{
    const std::vector<uint8_t> guid{0x41, 0x9C, 0x2B, 0x6E, 0x3D, 0x7A, 0x15, 0x4F,
                                    0x8C, 0x62, 0x3D, 0x9A, 0x1B, 0x7E, 0x5F, 0x04};
    EXPECT_EQ(Decode(Etl::InGuid, guid), Etl::PropertyValue(*Etl::ParseGuid("6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04")));
    EXPECT_EQ(Text(Etl::InGuid, guid), u"{6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04}");
    const std::vector<uint8_t> sid = PayloadBuilder().Sid(5, {21, 1004336348, 1177238915, 682003330, 512}).Data();
    EXPECT_EQ(Decode(Etl::InSid, sid),
              Etl::PropertyValue(Etl::SidValue{1, 5, {21, 1004336348, 1177238915, 682003330, 512}}));
    EXPECT_EQ(Text(Etl::InSid, sid), u"S-1-5-21-1004336348-1177238915-682003330-512");
    EXPECT_EQ(Text(Etl::InSid, PayloadBuilder().Sid(0x123456789ABC, {1}).Data()), u"S-1-0x123456789ABC-1");
    EXPECT_EQ(ErrorOf(Etl::InSid, {1, 2, 0, 0, 0, 0, 0, 5, 1, 0, 0, 0}),
              "a value of in-type 19 cannot be 12 bytes long");
    // TOKEN_USER's two pointers, then the SID.
    const std::vector<uint8_t> wbem = PayloadBuilder().U64(0).U64(0).Sid(5, {18}).Data();
    EXPECT_EQ(Text(Etl::InWbemSid, wbem), u"S-1-5-18");
}

TEST(PropertyValue, DecodesStringsUpToTheirTerminator)
{
    EXPECT_EQ(Decode(Etl::InUnicodeString, PayloadBuilder().Wide(u"h\u00e9").Data()),
              Etl::PropertyValue(std::u16string(u"h\u00e9")));
    EXPECT_EQ(Decode(Etl::InUnicodeString, PayloadBuilder().Wide(u"no end", false).U8(0x41).Data()),
              Etl::PropertyValue(std::u16string(u"no end")));
    EXPECT_EQ(Decode(Etl::InAnsiString, PayloadBuilder().Narrow("abc").Narrow("def").Data()),
              Etl::PropertyValue(Etl::AnsiText{"abc"}));
    EXPECT_EQ(Text(Etl::InAnsiString, PayloadBuilder().Narrow("\xE6\x97\xA5\xFF").Data(), Etl::OutUtf8),
              u"\u65E5\uFFFD");
    EXPECT_EQ(Decode(Etl::InNonNullTerminatedString, PayloadBuilder().Wide(u"ab", false).Data()),
              Etl::PropertyValue(std::u16string(u"ab")));
    EXPECT_EQ(Decode(Etl::InNonNullTerminatedAnsiString, PayloadBuilder().Narrow("ab", false).Data()),
              Etl::PropertyValue(Etl::AnsiText{"ab"}));
    EXPECT_EQ(Decode(Etl::InUnicodeChar, {0xAC, 0x20}), Etl::PropertyValue(std::u16string(u"\u20AC")));
    EXPECT_EQ(Decode(Etl::InAnsiChar, {'x'}), Etl::PropertyValue(Etl::AnsiText{"x"}));
}

TEST(PropertyValue, DecodesCountedStringsWithoutTheirCount)
{
    EXPECT_EQ(Decode(Etl::InManifestCountedString, PayloadBuilder().U16(4).Wide(u"ok", false).Data()),
              Etl::PropertyValue(std::u16string(u"ok")));
    EXPECT_EQ(Decode(Etl::InCountedString, PayloadBuilder().U16(2).Wide(u"x", false).Data()),
              Etl::PropertyValue(std::u16string(u"x")));
    EXPECT_EQ(Decode(Etl::InReversedCountedString, PayloadBuilder().U8(0).U8(2).Wide(u"y", false).Data()),
              Etl::PropertyValue(std::u16string(u"y")));
    EXPECT_EQ(Decode(Etl::InManifestCountedAnsiString, PayloadBuilder().U16(3).Narrow("abc", false).Data()),
              Etl::PropertyValue(Etl::AnsiText{"abc"}));
    EXPECT_EQ(Decode(Etl::InCountedAnsiString, PayloadBuilder().U16(0).Data()), Etl::PropertyValue(Etl::AnsiText{""}));
    EXPECT_EQ(Decode(Etl::InReversedCountedAnsiString, PayloadBuilder().U8(0).U8(1).Narrow("z", false).Data()),
              Etl::PropertyValue(Etl::AnsiText{"z"}));
    EXPECT_EQ(ErrorOf(Etl::InManifestCountedString, PayloadBuilder().U16(6).Wide(u"ok", false).Data()),
              "a value of in-type 22 cannot be 6 bytes long");
    EXPECT_EQ(ErrorOf(Etl::InCountedString, {1}), "a value of in-type 300 cannot be 1 bytes long");
}

TEST(PropertyValue, DecodesBinaryData)
{
    EXPECT_EQ(Decode(Etl::InBinary, {1, 2, 0xFF}), Etl::PropertyValue(std::vector<uint8_t>{1, 2, 0xFF}));
    EXPECT_EQ(Text(Etl::InBinary, {1, 2, 0xFF}), u"0x0102FF");
    EXPECT_EQ(Text(Etl::InBinary, {}), u"0x");
    EXPECT_EQ(Decode(Etl::InManifestCountedBinary, {2, 0, 0xAB, 0xCD}),
              Etl::PropertyValue(std::vector<uint8_t>{0xAB, 0xCD}));
    EXPECT_EQ(Decode(Etl::InHexDump, {1, 0, 0, 0, 0x7F}), Etl::PropertyValue(std::vector<uint8_t>{0x7F}));
}

TEST(PropertyValue, RefusesBytesThatCannotBeTheType)
{
    EXPECT_EQ(ErrorOf(Etl::InUInt32, {1, 2, 3}), "a value of in-type 8 cannot be 3 bytes long");
    EXPECT_EQ(ErrorOf(Etl::InInt8, {}), "a value of in-type 3 cannot be 0 bytes long");
    EXPECT_EQ(ErrorOf(Etl::InGuid, std::vector<uint8_t>(17)), "a value of in-type 15 cannot be 17 bytes long");
    EXPECT_EQ(ErrorOf(Etl::InDouble, std::vector<uint8_t>(4)), "a value of in-type 12 cannot be 4 bytes long");
    EXPECT_EQ(ErrorOf(999, {1}), "in-type 999 is not known");
}

TEST(PropertyValue, FormatsNothingAsEmptyText)
{
    EXPECT_EQ(Etl::FormatValue(Etl::PropertyValue{}), u"");
}

} // namespace
