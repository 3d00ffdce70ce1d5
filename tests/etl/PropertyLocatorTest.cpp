#include "etl/PropertyLocator.h"
#include "etl/GuidText.h"
#include "etl/ManifestReader.h"
#include "etl/PropertyTree.h"
#include "tests/etl/LocationExpectations.h"
#include "tests/etl/PayloadBuilder.h"
#include "tests/etl/TestManifests.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Testing::ExpectAt;
using Testing::ExpectStatus;
using Testing::MakeEvent;
using Testing::PayloadBuilder;

const Etl::Guid product = *Etl::ParseGuid("6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04");

const Etl::EventDescription& ProductEvent(uint16_t id, uint8_t version)
{
    static const std::vector<Etl::EventDescription> descriptions = Etl::ReadManifest(Testing::ProductManifest());
    for (const Etl::EventDescription& description : descriptions) {
        if (description.descriptor.id == id && description.descriptor.version == version) {
            return description;
        }
    }
    throw std::runtime_error("no such product event");
}

TEST(PropertyLocator, WalksUtf16StringsByTheirTerminators)
{
    const std::vector<uint8_t> data =
        PayloadBuilder().Wide(u"app.exe").Wide(u"Name").Wide(u"Message!").Wide(u"").Wide(u"stack").Data();
    const Etl::Event event = MakeEvent(product, 2012, 1, data);
    const Etl::EventDescription& description = ProductEvent(2012, 1);
    ExpectAt(Etl::LocateProperty(event, description, u"ProcessName"), 0, 16);
    ExpectAt(Etl::LocateProperty(event, description, u"Name"), 16, 10);
    ExpectAt(Etl::LocateProperty(event, description, u"Message"), 26, 18);
    ExpectAt(Etl::LocateProperty(event, description, u"Arguments"), 44, 2);
    ExpectAt(Etl::LocateProperty(event, description, u"Stack"), 46, 12);
    ExpectAt(Etl::LocatePropertyAt(event, description, 4), 46, 12);
}

TEST(PropertyLocator, WalksUtf8StringsByTheirTerminators)
{
    const std::vector<uint8_t> data =
        PayloadBuilder().Narrow("app.exe").Narrow("Name").Narrow("M\xC3\xA9ssage").Narrow("").Narrow("stack").Data();
    const Etl::Event event = MakeEvent(product, 2012, 2, data);
    const Etl::EventDescription& description = ProductEvent(2012, 2);
    ExpectAt(Etl::LocateProperty(event, description, u"ProcessName"), 0, 8);
    ExpectAt(Etl::LocateProperty(event, description, u"Name"), 8, 5);
    ExpectAt(Etl::LocateProperty(event, description, u"Message"), 13, 9);
    ExpectAt(Etl::LocateProperty(event, description, u"Arguments"), 22, 1);
    ExpectAt(Etl::LocateProperty(event, description, u"Stack"), 23, 6);
}

TEST(PropertyLocator, GivesAnUnterminatedStringTheRestOfTheData)
{
    const Etl::EventDescription& description = ProductEvent(2004, 1);
    const std::vector<uint8_t> data = PayloadBuilder().Wide(u"app").Wide(u"no end", false).U8(0x41).Data();
    const Etl::Event event = MakeEvent(product, 2004, 1, data);
    ExpectAt(Etl::LocateProperty(event, description, u"Message"), 8, 13);
    // A terminator must start at an even offset within the string.
    const std::vector<uint8_t> odd = PayloadBuilder().Wide(u"app").U8(0x41).U16(0).U8(0).Data();
    ExpectAt(Etl::LocateProperty(MakeEvent(product, 2004, 1, odd), description, u"Message"), 8, 4);
}

TEST(PropertyLocator, AnswersInvalidEventDataWhenTheDataEndsFirst)
{
    const Etl::EventDescription& description = ProductEvent(2004, 1);
    const std::vector<uint8_t> data = PayloadBuilder().Wide(u"app").Data();
    const Etl::Event event = MakeEvent(product, 2004, 1, data);
    ExpectAt(Etl::LocateProperty(event, description, u"ProcessName"), 0, 8);
    ExpectStatus(Etl::LocateProperty(event, description, u"Message"), Etl::StatusInvalidEventData);
    const Etl::Event empty = MakeEvent(product, 2004, 1, {});
    ExpectStatus(Etl::LocateProperty(empty, description, u"ProcessName"), Etl::StatusInvalidEventData);
}

TEST(PropertyLocator, AnswersNotFoundForANameTheEventDoesNotHave)
{
    const Etl::EventDescription& description = ProductEvent(2004, 1);
    const std::vector<uint8_t> data = PayloadBuilder().Wide(u"app").Wide(u"text").Data();
    const Etl::Event event = MakeEvent(product, 2004, 1, data);
    ExpectStatus(Etl::LocateProperty(event, description, u"Stack"), Etl::StatusNotFound);
    ExpectStatus(Etl::LocateProperty(event, description, u"message"), Etl::StatusNotFound);
    ExpectStatus(Etl::LocateProperty(event, description, u""), Etl::StatusNotFound);
    ExpectStatus(Etl::LocatePropertyAt(event, description, 2), Etl::StatusNotFound);
    // The name is looked up before any data is walked.
    ExpectStatus(Etl::LocateProperty(MakeEvent(product, 2004, 1, {}), description, u"Stack"), Etl::StatusNotFound);
}

TEST(PropertyLocator, SizesPointersByTheRecordsPointerSize)
{
    const Etl::EventDescription& description = ProductEvent(2020, 1);
    for (const unsigned pointerSize : {4u, 8u}) {
        SCOPED_TRACE("pointer size " + std::to_string(pointerSize));
        const std::vector<uint8_t> data = PayloadBuilder()
                                              .Narrow("C:\\a.dll")
                                              .Narrow("dbg")
                                              .Pointer(0x10000000, pointerSize)
                                              .U32(0x2000)
                                              .Wide(u"app")
                                              .Narrow("1.0")
                                              .U16(0x8664)
                                              .Data();
        const Etl::Event event = MakeEvent(product, 2020, 1, data, pointerSize);
        ExpectAt(Etl::LocateProperty(event, description, u"base"), 13, pointerSize);
        ExpectAt(Etl::LocateProperty(event, description, u"size"), 13 + pointerSize, 4);
        ExpectAt(Etl::LocateProperty(event, description, u"ProcessName"), 17 + pointerSize, 8);
        ExpectAt(Etl::LocateProperty(event, description, u"version"), 25 + pointerSize, 4);
        ExpectAt(Etl::LocateProperty(event, description, u"machine"), 29 + pointerSize, 2);
    }
}

TEST(PropertyLocator, AnswersInvalidEventDataForAFixedSizeThatPassesTheEnd)
{
    const Etl::EventDescription& description = ProductEvent(2020, 1);
    const std::vector<uint8_t> data = PayloadBuilder().Narrow("a").Narrow("b").U32(1).Data();
    const Etl::Event event = MakeEvent(product, 2020, 1, data, 8);
    ExpectStatus(Etl::LocateProperty(event, description, u"base"), Etl::StatusInvalidEventData);
    ExpectAt(Etl::LocateProperty(MakeEvent(product, 2020, 1, data, 4), description, u"base"), 4, 4);
    ExpectStatus(Etl::LocateProperty(MakeEvent(product, 2020, 1, data, 4), description, u"size"),
                 Etl::StatusInvalidEventData);
}

const Etl::Guid testProvider = *Etl::ParseGuid("01234567-89AB-CDEF-0123-456789ABCDEF");

PayloadBuilder TemplatePayload()
{
    return PayloadBuilder()
        .U16(2)
        .U32(7)
        .U32(0xFFFFFFFF)
        .U8(3)
        .Wide(u"abcd", false)
        .U32(3)
        .Bytes({1, 2, 3})
        .U8(2)
        .Narrow("hi", false)
        .U8(0)
        .Sid(5, {21, 1000})
        .U16(4)
        .Wide(u"ok", false);
}

TEST(PropertyLocator, FollowsLengthsCountsStructsSidsAndCountedStrings)
{
    const Etl::EventDescription description = Etl::ReadManifest(Testing::richManifest)[0];
    const std::vector<uint8_t> data = TemplatePayload().Data();
    const Etl::Event event = MakeEvent(testProvider, 1, 0, data);
    ExpectAt(Etl::LocateProperty(event, description, u"Count"), 0, 2);
    ExpectAt(Etl::LocateProperty(event, description, u"Values"), 2, 8);
    ExpectAt(Etl::LocateProperty(event, description, u"Colour"), 10, 1);
    ExpectAt(Etl::LocateProperty(event, description, u"Fixed"), 11, 8);
    ExpectAt(Etl::LocateProperty(event, description, u"Size"), 19, 4);
    ExpectAt(Etl::LocateProperty(event, description, u"Blob"), 23, 3);
    ExpectAt(Etl::LocateProperty(event, description, u"Pairs"), 26, 4);
    ExpectAt(Etl::LocateProperty(event, description, u"Sid"), 30, 16);
    ExpectAt(Etl::LocateProperty(event, description, u"Counted"), 46, 6);
    EXPECT_EQ(data.size(), 52u);
}

TEST(PropertyLocator, LocatesArrayElements)
{
    const Etl::EventDescription description = Etl::ReadManifest(Testing::richManifest)[0];
    const std::vector<uint8_t> data = TemplatePayload().Data();
    const Etl::Event event = MakeEvent(testProvider, 1, 0, data);
    ExpectAt(Etl::LocateProperty(event, description, u"Values", 0), 2, 4);
    ExpectAt(Etl::LocateProperty(event, description, u"Values", 1), 6, 4);
    ExpectStatus(Etl::LocateProperty(event, description, u"Values", 2), Etl::statusBadArrayIndex);
    ExpectAt(Etl::LocateProperty(event, description, u"Pairs", 0), 26, 3);
    ExpectAt(Etl::LocateProperty(event, description, u"Pairs", 1), 29, 1);
    ExpectAt(Etl::LocateProperty(event, description, u"Colour", 0), 10, 1);
    ExpectStatus(Etl::LocateProperty(event, description, u"Colour", 1), Etl::statusBadArrayIndex);

    std::vector<Etl::PropertyLocation> elements;
    ASSERT_EQ(Etl::LocateElements(event, description, 6, elements), Etl::StatusSuccess);
    ASSERT_EQ(elements.size(), 2u);
    ExpectAt(elements[0], 26, 3);
    ExpectAt(elements[1], 29, 1);
    ASSERT_EQ(Etl::LocateElements(event, description, 2, elements), Etl::StatusSuccess);
    ASSERT_EQ(elements.size(), 1u);
    ExpectAt(elements[0], 10, 1);
    EXPECT_EQ(Etl::LocateElements(event, description, 9, elements), Etl::StatusNotFound);
    EXPECT_TRUE(elements.empty());
}

TEST(PropertyLocator, LocatesStructMembersAsTwoDescriptorsNameThem)
{
    const Etl::EventDescription description = Etl::ReadManifest(Testing::richManifest)[0];
    const std::vector<uint8_t> data = TemplatePayload().Data();
    const Etl::Event event = MakeEvent(testProvider, 1, 0, data);
    // Pairs[0] is { Key 2, Text "hi" } at 26, Pairs[1] { Key 0, Text "" } at 29; a member's
    // length comes from the member before it in the same element.
    ExpectAt(Etl::LocateStructMember(event, description, u"Pairs", 0, u"Key"), 26, 1);
    ExpectAt(Etl::LocateStructMember(event, description, u"Pairs", 0, u"Text"), 27, 2);
    ExpectAt(Etl::LocateStructMember(event, description, u"Pairs", 1, u"Key"), 29, 1);
    ExpectAt(Etl::LocateStructMember(event, description, u"Pairs", 1, u"Text"), 30, 0);
    ExpectAt(Etl::LocateStructMember(event, description, u"Pairs", 0, u"Text", 0), 27, 2);
    ExpectStatus(Etl::LocateStructMember(event, description, u"Pairs", 0, u"Text", 1), Etl::statusBadArrayIndex);
    ExpectStatus(Etl::LocateStructMember(event, description, u"Pairs", 2, u"Key"), Etl::statusBadArrayIndex);
    ExpectStatus(Etl::LocateStructMember(event, description, u"Pairs", Etl::allElements, u"Key"),
                 Etl::statusBadArrayIndex);
    ExpectStatus(Etl::LocateStructMember(event, description, u"Pairs", 0, u"Sid"), Etl::StatusNotFound);
    ExpectStatus(Etl::LocateStructMember(event, description, u"Size", 0, u"Key"), Etl::StatusNotFound);
    ExpectStatus(Etl::LocateStructMember(event, description, u"Nothing", 0, u"Key"), Etl::StatusNotFound);
}

TEST(PropertyLocator, AnswersInvalidEventDataWhenACountOrLengthAsksForMoreThanThereIs)
{
    const Etl::EventDescription description = Etl::ReadManifest(Testing::richManifest)[0];
    // A count of 65535 four-byte values in a short event: no hang, no read past the end.
    const std::vector<uint8_t> manyValues = PayloadBuilder().U16(0xFFFF).U32(1).U32(2).Data();
    ExpectStatus(Etl::LocateProperty(MakeEvent(testProvider, 1, 0, manyValues), description, u"Values"),
                 Etl::StatusInvalidEventData);
    std::vector<Etl::PropertyLocation> elements;
    EXPECT_EQ(Etl::LocateElements(MakeEvent(testProvider, 1, 0, manyValues), description, 1, elements),
              Etl::StatusInvalidEventData);
    EXPECT_TRUE(elements.empty());
    // A binary length of 4 GB.
    const std::vector<uint8_t> hugeBlob =
        PayloadBuilder().U16(0).U8(1).Wide(u"abcd", false).U32(0xFFFFFFFF).Bytes({1, 2}).Data();
    ExpectStatus(Etl::LocateProperty(MakeEvent(testProvider, 1, 0, hugeBlob), description, u"Blob"),
                 Etl::StatusInvalidEventData);
    ExpectAt(Etl::LocateProperty(MakeEvent(testProvider, 1, 0, hugeBlob), description, u"Size"), 11, 4);
}

TEST(PropertyLocator, SizesSidsByTheirSubAuthorityCount)
{
    const Etl::EventDescription description = Etl::ReadManifest(Testing::richManifest)[0];
    std::vector<uint8_t> data = TemplatePayload().Data();
    data.resize(30);
    // Revision and count but not the authority and sub-authorities the count promises.
    const std::vector<uint8_t> shortSid = PayloadBuilder().Bytes(data).U8(1).U8(2).Bytes({0, 0, 0, 0, 0, 5}).Data();
    ExpectStatus(Etl::LocateProperty(MakeEvent(testProvider, 1, 0, shortSid), description, u"Sid"),
                 Etl::StatusInvalidEventData);
    const std::vector<uint8_t> oneByte = PayloadBuilder().Bytes(data).U8(1).Data();
    ExpectStatus(Etl::LocateProperty(MakeEvent(testProvider, 1, 0, oneByte), description, u"Sid"),
                 Etl::StatusInvalidEventData);
    const std::vector<uint8_t> noSubAuthorities = PayloadBuilder().Bytes(data).Sid(18, {}).Data();
    ExpectAt(Etl::LocateProperty(MakeEvent(testProvider, 1, 0, noSubAuthorities), description, u"Sid"), 30, 8);
}

Etl::EventDescription Flat(std::vector<Etl::PropertyDescription> properties, size_t topLevel)
{
    Etl::EventDescription description;
    description.properties = std::move(properties);
    description.topLevelPropertyCount = topLevel;
    description.IndexNames();
    return description;
}

Etl::PropertyDescription Property(std::u16string name, uint16_t inType)
{
    Etl::PropertyDescription property;
    property.name = std::move(name);
    property.inType = inType;
    return property;
}

TEST(PropertyLocator, AnswersNotSupportedForATypeItCannotMeasure)
{
    const Etl::EventDescription description = Flat({Property(u"Odd", 99), Property(u"After", Etl::InUInt8)}, 2);
    const std::vector<uint8_t> data{1, 2, 3};
    const Etl::Event event = MakeEvent(testProvider, 1, 0, data);
    ExpectStatus(Etl::LocateProperty(event, description, u"Odd"), Etl::StatusNotSupported);
    ExpectStatus(Etl::LocateProperty(event, description, u"After"), Etl::StatusNotSupported);
}

TEST(PropertyLocator, RefusesStructsThatContainThemselves)
{
    Etl::PropertyDescription loop = Property(u"Loop", Etl::InNull);
    loop.flags = Etl::PropertyStruct;
    loop.structStartIndex = 1;
    loop.structMemberCount = 1;
    Etl::PropertyDescription inner = loop;
    inner.name = u"Inner";
    const Etl::EventDescription description = Flat({loop, inner}, 1);
    const std::vector<uint8_t> data{1, 2, 3};
    ExpectStatus(Etl::LocateProperty(MakeEvent(testProvider, 1, 0, data), description, u"Loop"),
                 Etl::StatusNotSupported);
}

TEST(PropertyLocator, MeasuresTheOtherCountedAndTerminatedTypes)
{
    Etl::PropertyDescription fixedAnsi = Property(u"FixedAnsi", Etl::InAnsiString);
    fixedAnsi.flags = Etl::PropertyParamFixedLength;
    fixedAnsi.length = 3;
    const Etl::EventDescription description =
        Flat({Property(u"Reversed", Etl::InReversedCountedString), Property(u"Counted", Etl::InCountedAnsiString),
              Property(u"Dump", Etl::InHexDump), fixedAnsi, Property(u"Time", Etl::InSystemTime),
              Property(u"Guid", Etl::InGuid), Property(u"Size", Etl::InSizeT), Property(u"Char", Etl::InUnicodeChar),
              Property(u"Wbem", Etl::InWbemSid), Property(u"Rest", Etl::InNonNullTerminatedString)},
             10);
    const std::vector<uint8_t> data = PayloadBuilder()
                                          .U8(0)
                                          .U8(4)
                                          .Wide(u"ab", false) // big-endian count 4
                                          .U16(1)
                                          .Narrow("x", false)
                                          .U32(2)
                                          .Bytes({9, 9})
                                          .Narrow("abc", false)
                                          .Bytes(std::vector<uint8_t>(16, 0))
                                          .Bytes(std::vector<uint8_t>(16, 1))
                                          .U32(0x1234)
                                          .U16(u'z')
                                          .U32(0)
                                          .U32(0)
                                          .Sid(5, {18})
                                          .Wide(u"end", false)
                                          .U8(1)
                                          .Data();
    const Etl::Event event = MakeEvent(testProvider, 1, 0, data, 4);
    ExpectAt(Etl::LocateProperty(event, description, u"Reversed"), 0, 6);
    ExpectAt(Etl::LocateProperty(event, description, u"Counted"), 6, 3);
    ExpectAt(Etl::LocateProperty(event, description, u"Dump"), 9, 6);
    ExpectAt(Etl::LocateProperty(event, description, u"FixedAnsi"), 15, 3);
    ExpectAt(Etl::LocateProperty(event, description, u"Time"), 18, 16);
    ExpectAt(Etl::LocateProperty(event, description, u"Guid"), 34, 16);
    ExpectAt(Etl::LocateProperty(event, description, u"Size"), 50, 4);
    ExpectAt(Etl::LocateProperty(event, description, u"Char"), 54, 2);
    ExpectAt(Etl::LocateProperty(event, description, u"Wbem"), 56, 20);
    // Whole UTF-16 units only: the odd last byte is not part of it.
    ExpectAt(Etl::LocateProperty(event, description, u"Rest"), 76, 6);
}

} // namespace
