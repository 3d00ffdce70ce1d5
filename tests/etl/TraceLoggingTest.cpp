#include "etl/Decoder.h"
#include "etl/EventMessage.h"
#include "etl/FormatError.h"
#include "etl/GuidText.h"
#include "etl/PropertyLocator.h"
#include "etl/PropertyValue.h"
#include "etl/TraceLoggingSchema.h"
#include "tests/etl/LocationExpectations.h"
#include "tests/etl/PayloadBuilder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Testing::ExpectAt;
using Testing::PayloadBuilder;

// Real TraceLogging events cut out of the sample logs AMSITrace.etl and lxcore_kernel.etl (both
// from airbus-cert/etl-parser; see the samples' SOURCES.md). In the file each extended item
// follows the 0x50-byte event header with a header of its own (16-bit aligned size, type,
// "another item follows" flag, data size); the user data follows the last item.
// AMSITrace.etl: the record at file offset 0x52F40 (294 bytes).
// Extended item of type 12 (12 bytes at record offset 0x58):
const std::vector<uint8_t> amsiTraits{
    0x0C, 0x00, 0x41, 0x6D, 0x73, 0x69, 0x54, 0x72, 0x61, 0x63, 0x65, 0x00,
};
// Extended item of type 11 (43 bytes at record offset 0x70):
const std::vector<uint8_t> amsiSchema{
    0x2B, 0x00, 0x00, 0x41, 0x6D, 0x73, 0x69, 0x53, 0x63, 0x72, 0x69, 0x70, 0x74, 0x00, 0x45,
    0x6E, 0x67, 0x69, 0x6E, 0x65, 0x00, 0x01, 0x53, 0x63, 0x72, 0x69, 0x70, 0x74, 0x00, 0x01,
    0x52, 0x61, 0x77, 0x20, 0x53, 0x63, 0x72, 0x69, 0x70, 0x74, 0x00, 0xC6, 0x02,
};
// User data (134 bytes at record offset 0xA0):
const std::vector<uint8_t> amsiData{
    0x56, 0x00, 0x42, 0x00, 0x53, 0x00, 0x63, 0x00, 0x72, 0x00, 0x69, 0x00, 0x70, 0x00, 0x74, 0x00, 0x00,
    0x00, 0x6D, 0x00, 0x73, 0x00, 0x67, 0x00, 0x62, 0x00, 0x6F, 0x00, 0x78, 0x00, 0x20, 0x00, 0x22, 0x00,
    0x49, 0x00, 0x73, 0x00, 0x20, 0x00, 0x56, 0x00, 0x42, 0x00, 0x53, 0x00, 0x63, 0x00, 0x72, 0x00, 0x69,
    0x00, 0x70, 0x00, 0x74, 0x00, 0x20, 0x00, 0x44, 0x00, 0x65, 0x00, 0x61, 0x00, 0x64, 0x00, 0x3F, 0x00,
    0x22, 0x00, 0x0D, 0x00, 0x0A, 0x00, 0x00, 0x00, 0x1C, 0x00, 0x6D, 0x00, 0x73, 0x00, 0x67, 0x00, 0x62,
    0x00, 0x6F, 0x00, 0x78, 0x00, 0x20, 0x00, 0x22, 0x00, 0x49, 0x00, 0x73, 0x00, 0x20, 0x00, 0x56, 0x00,
    0x42, 0x00, 0x53, 0x00, 0x63, 0x00, 0x72, 0x00, 0x69, 0x00, 0x70, 0x00, 0x74, 0x00, 0x20, 0x00, 0x44,
    0x00, 0x65, 0x00, 0x61, 0x00, 0x64, 0x00, 0x3F, 0x00, 0x22, 0x00, 0x0D, 0x00, 0x0A, 0x00,
};
// lxcore_kernel.etl: the record at file offset 0x2048 (344 bytes).
// Extended item of type 12 (56 bytes at record offset 0x58):
const std::vector<uint8_t> lxcoreTraits{
    0x38, 0x00, 0x4D, 0x69, 0x63, 0x72, 0x6F, 0x73, 0x6F, 0x66, 0x74, 0x2E, 0x57, 0x69, 0x6E, 0x64, 0x6F, 0x77, 0x73,
    0x2E, 0x53, 0x75, 0x62, 0x73, 0x79, 0x73, 0x74, 0x65, 0x6D, 0x2E, 0x4C, 0x78, 0x43, 0x6F, 0x72, 0x65, 0x00, 0x13,
    0x00, 0x01, 0x1A, 0x73, 0x50, 0x4F, 0xCF, 0x89, 0x82, 0x47, 0xB3, 0xE0, 0xDC, 0xE8, 0xC9, 0x04, 0x76, 0xBA,
};
// Extended item of type 11 (100 bytes at record offset 0x98):
const std::vector<uint8_t> lxcoreSchema{
    0x64, 0x00, 0x80, 0x00, 0x42, 0x72, 0x65, 0x61, 0x6B, 0x50, 0x6F, 0x69, 0x6E, 0x74, 0x00, 0x45, 0x72,
    0x72, 0x6F, 0x72, 0x4C, 0x65, 0x76, 0x65, 0x6C, 0x00, 0x04, 0x69, 0x6E, 0x73, 0x74, 0x61, 0x6E, 0x63,
    0x65, 0x49, 0x64, 0x00, 0x0F, 0x4C, 0x78, 0x50, 0x69, 0x64, 0x00, 0x07, 0x4C, 0x78, 0x54, 0x69, 0x64,
    0x00, 0x07, 0x4C, 0x78, 0x4E, 0x73, 0x00, 0x07, 0x45, 0x78, 0x65, 0x63, 0x75, 0x74, 0x61, 0x62, 0x6C,
    0x65, 0x50, 0x61, 0x74, 0x68, 0x00, 0x17, 0x46, 0x75, 0x6E, 0x63, 0x74, 0x69, 0x6F, 0x6E, 0x00, 0x02,
    0x4C, 0x69, 0x6E, 0x65, 0x00, 0x08, 0x4D, 0x65, 0x73, 0x73, 0x61, 0x67, 0x65, 0x00, 0x02,
};
// User data (88 bytes at record offset 0x100):
const std::vector<uint8_t> lxcoreData{
    0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFF,
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x4C, 0x78, 0x70, 0x49, 0x6E,
    0x73, 0x74, 0x61, 0x6E, 0x63, 0x65, 0x53, 0x74, 0x61, 0x72, 0x74, 0x00, 0x63, 0x0A, 0x00, 0x00, 0x5B, 0x30,
    0x78, 0x63, 0x30, 0x30, 0x30, 0x30, 0x30, 0x33, 0x34, 0x5D, 0x20, 0x4C, 0x78, 0x70, 0x49, 0x6E, 0x73, 0x74,
    0x61, 0x6E, 0x63, 0x65, 0x49, 0x6E, 0x69, 0x74, 0x69, 0x61, 0x6C, 0x69, 0x7A, 0x65, 0x0A, 0x00,
};

struct Record {
    Etl::Guid provider;
    Etl::EventDescriptor descriptor;
    const std::vector<uint8_t>& traits;
    const std::vector<uint8_t>& schema;
    const std::vector<uint8_t>& data;

    Etl::Event Event() const
    {
        Etl::Event event = Testing::MakeEvent(provider, descriptor.id, descriptor.version, data);
        event.descriptor = descriptor;
        event.flags = Etl::FlagExtendedInfo;
        event.extended = {{Etl::ExtProvTraits, traits}, {Etl::ExtEventSchemaTl, schema}};
        return event;
    }
};

// Channel 11 is TraceLogging's; the AMSI events are at level 5 with no keyword.
const Record amsi{
    *Etl::ParseGuid("8E805EB3-6A8F-4A1E-90FA-A831D94E54A1"), {0, 0, 11, 5, 0, 0, 0}, amsiTraits, amsiSchema, amsiData};
const Record lxcore{*Etl::ParseGuid("0CD1C309-0878-4515-83DB-749843B3F5C9"),
                    {0, 0, 11, 2, 0, 0, 0x400000000000},
                    lxcoreTraits,
                    lxcoreSchema,
                    lxcoreData};

std::u16string Text(const Etl::Event& event, const Etl::EventDescription& description, std::u16string_view name)
{
    const Etl::PropertyLocation location = Etl::LocateProperty(event, description, name);
    if (location.status != Etl::StatusSuccess) {
        ADD_FAILURE() << "status " << location.status;
        return {};
    }
    const Etl::PropertyDescription& property = description.properties[description.FindTopLevelProperty(name)];
    return Etl::FormatValue(
        Etl::DecodeValue(property.inType, event.userData.subspan(location.offset, location.size), event.pointerSize),
        property.outType);
}

TEST(TraceLoggingSample, DescribesAnAmsiScriptEvent)
{
    const Etl::Event event = amsi.Event();
    Etl::Decoder decoder;
    const Etl::EventDescription* description = decoder.Describe(event);
    ASSERT_NE(description, nullptr);
    EXPECT_EQ(description->source, Etl::DecodingSource::TraceLogging);
    EXPECT_EQ(description->provider, amsi.provider);
    EXPECT_EQ(description->providerName, u"AmsiTrace");
    EXPECT_EQ(description->eventName, u"AmsiScript");
    EXPECT_EQ(description->taskName, u"AmsiScript");
    EXPECT_EQ(description->tags, 0u);
    EXPECT_EQ(description->descriptor.level, 5u);
    EXPECT_EQ(description->descriptor.channel, 11u);
    EXPECT_EQ(description->levelName, u"Verbose");
    EXPECT_EQ(description->opcodeName, u"");
    EXPECT_EQ(description->message, u"");
    ASSERT_EQ(description->properties.size(), 3u);
    EXPECT_EQ(description->topLevelPropertyCount, 3u);
    const auto& p = description->properties;
    EXPECT_EQ(p[0].name, u"Engine");
    EXPECT_EQ(p[0].inType, Etl::InUnicodeString);
    EXPECT_EQ(p[0].outType, Etl::OutNull);
    EXPECT_EQ(p[0].flags, 0u);
    EXPECT_EQ(p[1].name, u"Script");
    EXPECT_EQ(p[1].inType, Etl::InUnicodeString);
    EXPECT_EQ(p[2].name, u"Raw Script");
    EXPECT_EQ(p[2].inType, Etl::InUInt16);
    EXPECT_EQ(p[2].outType, Etl::OutString);
    EXPECT_EQ(p[2].flags, Etl::PropertyCountInData);
    EXPECT_TRUE(p[2].IsArray());
}

TEST(TraceLoggingSample, LocatesAndDecodesTheAmsiScriptFields)
{
    const Etl::Event event = amsi.Event();
    Etl::Decoder decoder;
    const Etl::EventDescription& description = *decoder.Describe(event);
    ExpectAt(Etl::LocateProperty(event, description, u"Engine"), 0, 18);
    ExpectAt(Etl::LocateProperty(event, description, u"Script"), 18, 58);
    // The 16-bit element count, then 28 UTF-16 code units.
    ExpectAt(Etl::LocateProperty(event, description, u"Raw Script"), 76, 58);
    ExpectAt(Etl::LocateProperty(event, description, u"Raw Script", 0), 78, 2);
    ExpectAt(Etl::LocateProperty(event, description, u"Raw Script", 27), 132, 2);
    EXPECT_EQ(Etl::LocateProperty(event, description, u"Raw Script", 28).status, Etl::statusBadArrayIndex);
    std::vector<Etl::PropertyLocation> elements;
    ASSERT_EQ(Etl::LocateElements(event, description, 2, elements), Etl::StatusSuccess);
    EXPECT_EQ(elements.size(), 28u);
    EXPECT_EQ(Text(event, description, u"Engine"), u"VBScript");
    EXPECT_EQ(Text(event, description, u"Script"), u"msgbox \"Is VBScript Dead?\"\r\n");
    EXPECT_EQ(Etl::FormatProperty(event, description, 2), u"msgbox \"Is VBScript Dead?\"\r\n");
    EXPECT_EQ(Etl::DecodeValue(Etl::InUInt16, event.userData.subspan(78, 2), 8), Etl::PropertyValue(uint64_t{u'm'}));
}

TEST(TraceLoggingSample, DescribesAndDecodesAnLxCoreBreakPoint)
{
    const Etl::Event event = lxcore.Event();
    Etl::Decoder decoder;
    const Etl::EventDescription* description = decoder.Describe(event);
    ASSERT_NE(description, nullptr);
    EXPECT_EQ(description->providerName, u"Microsoft.Windows.Subsystem.LxCore");
    EXPECT_EQ(description->eventName, u"BreakPoint");
    EXPECT_EQ(description->levelName, u"Error");
    EXPECT_EQ(description->descriptor.keyword, 0x400000000000u);
    const std::vector<std::pair<std::u16string, uint16_t>> fields{
        {u"ErrorLevel", Etl::InUInt8},    {u"instanceId", Etl::InGuid},
        {u"LxPid", Etl::InInt32},         {u"LxTid", Etl::InInt32},
        {u"LxNs", Etl::InInt32},          {u"ExecutablePath", Etl::InManifestCountedAnsiString},
        {u"Function", Etl::InAnsiString}, {u"Line", Etl::InUInt32},
        {u"Message", Etl::InAnsiString}};
    ASSERT_EQ(description->properties.size(), fields.size());
    for (size_t index = 0; index < fields.size(); ++index) {
        EXPECT_EQ(description->properties[index].name, fields[index].first);
        EXPECT_EQ(description->properties[index].inType, fields[index].second);
        EXPECT_EQ(description->properties[index].outType, Etl::OutNull);
    }
    EXPECT_EQ(Text(event, *description, u"ErrorLevel"), u"2");
    EXPECT_EQ(Text(event, *description, u"instanceId"), u"{00000000-0000-0000-0000-000000000000}");
    EXPECT_EQ(Text(event, *description, u"LxPid"), u"-1");
    EXPECT_EQ(Text(event, *description, u"LxTid"), u"-1");
    EXPECT_EQ(Text(event, *description, u"LxNs"), u"0");
    ExpectAt(Etl::LocateProperty(event, *description, u"ExecutablePath"), 29, 2);
    EXPECT_EQ(Text(event, *description, u"ExecutablePath"), u"");
    EXPECT_EQ(Text(event, *description, u"Function"), u"LxpInstanceStart");
    EXPECT_EQ(Text(event, *description, u"Line"), u"2659");
    ExpectAt(Etl::LocateProperty(event, *description, u"Message"), 52, 36);
    EXPECT_EQ(Text(event, *description, u"Message"), u"[0xc0000034] LxpInstanceInitialize\n");
}

// Builds TraceLogging event metadata: the size, tags, name and fields.
class Metadata {
public:
    explicit Metadata(const std::string& eventName, std::vector<uint8_t> tags = {0})
    {
        body = tags;
        Name(eventName);
    }
    Metadata& Field(const std::string& name, std::vector<uint8_t> typeBytes)
    {
        Name(name);
        body.insert(body.end(), typeBytes.begin(), typeBytes.end());
        return *this;
    }
    Metadata& Raw(std::vector<uint8_t> bytes)
    {
        body.insert(body.end(), bytes.begin(), bytes.end());
        return *this;
    }
    std::vector<uint8_t> Bytes() const
    {
        const size_t size = body.size() + 2;
        std::vector<uint8_t> bytes{static_cast<uint8_t>(size), static_cast<uint8_t>(size >> 8)};
        bytes.insert(bytes.end(), body.begin(), body.end());
        return bytes;
    }

private:
    void Name(const std::string& name)
    {
        body.insert(body.end(), name.begin(), name.end());
        body.push_back(0);
    }
    std::vector<uint8_t> body;
};

std::vector<uint8_t> Traits(const std::string& provider)
{
    const size_t size = provider.size() + 3;
    std::vector<uint8_t> bytes{static_cast<uint8_t>(size), static_cast<uint8_t>(size >> 8)};
    bytes.insert(bytes.end(), provider.begin(), provider.end());
    bytes.push_back(0);
    return bytes;
}

Etl::Event TraceLoggingEvent(const std::vector<uint8_t>& schema, const std::vector<uint8_t>& traits,
                             const std::vector<uint8_t>& data, uint8_t level = 4)
{
    Etl::Event event = Testing::MakeEvent(*Etl::ParseGuid("11111111-2222-3333-4444-555555555555"), 0, 0, data);
    event.descriptor.channel = 11;
    event.descriptor.level = level;
    event.extended = {{Etl::ExtProvTraits, traits}, {Etl::ExtEventSchemaTl, schema}};
    return event;
}

TEST(TraceLoggingSchema, ReadsTagsOutTypesFixedAndVariableCountsAndCustomFields)
{
    const std::vector<uint8_t> schema = Metadata("Rich", {0x81, 0x82, 0x03})
                                            .Field("Hex", {0x88, 0x04})                      // UInt32, hex
                                            .Field("Pid", {0x88, 0x05})                      // UInt32, PID
                                            .Field("Signed", {0x86, 0x11})                   // UInt16 shown signed
                                            .Field("Time", {0x8A, 0x10})                     // UInt64 as FILETIME
                                            .Field("Utf8", {0x82, 0x23})                     // AnsiString, UTF-8
                                            .Field("Tagged", {0x84, 0x80, 0x05})             // UInt8, tags 0x0A00000
                                            .Field("Fixed", {0x27, 0x03, 0x00})              // Int32[3]
                                            .Field("Variable", {0x48})                       // UInt32[n]
                                            .Field("Blob", {0x0E})                           // binary
                                            .Field("Custom", {0x64, 0x02, 0x00, 0xAA, 0xBB}) // custom, 2 schema bytes
                                            .Bytes();
    const std::vector<uint8_t> traits = Traits("Test.Provider");
    const std::vector<uint8_t> data = PayloadBuilder()
                                          .U32(0xBEEF)
                                          .U32(1234)
                                          .U16(0xFFFE)
                                          .U64(0x01CB779C9AE2EA90)
                                          .Narrow("\xC3\xA9t\xC3\xA9")
                                          .U8(7)
                                          .U32(1)
                                          .U32(2)
                                          .U32(3)
                                          .U16(2)
                                          .U32(10)
                                          .U32(20)
                                          .U16(3)
                                          .Bytes({0xDE, 0xAD, 0x01})
                                          .U16(1)
                                          .Bytes({0x42})
                                          .Data();
    const Etl::Event event = TraceLoggingEvent(schema, traits, data);
    Etl::Decoder decoder;
    const Etl::EventDescription* description = decoder.Describe(event);
    ASSERT_NE(description, nullptr);
    EXPECT_EQ(description->providerName, u"Test.Provider");
    EXPECT_EQ(description->eventName, u"Rich");
    // 0x01 << 21 | 0x02 << 14 | 0x03 << 7
    EXPECT_EQ(description->tags, 0x208180u);
    const auto& p = description->properties;
    ASSERT_EQ(p.size(), 10u);
    EXPECT_EQ(p[0].outType, Etl::OutHexInt32);
    EXPECT_EQ(p[1].outType, Etl::OutPid);
    EXPECT_EQ(p[2].outType, Etl::OutShort);
    EXPECT_EQ(p[3].outType, Etl::OutDateTime);
    EXPECT_EQ(p[4].outType, Etl::OutUtf8);
    EXPECT_EQ(p[5].flags, Etl::PropertyHasTags);
    EXPECT_EQ(p[5].tags, 0x0A00000u);
    EXPECT_EQ(p[5].outType, Etl::OutNull);
    EXPECT_EQ(p[6].flags, Etl::PropertyParamFixedCount);
    EXPECT_EQ(p[6].count, 3u);
    EXPECT_EQ(p[7].flags, Etl::PropertyCountInData);
    EXPECT_EQ(p[8].inType, Etl::InManifestCountedBinary);
    EXPECT_EQ(p[9].inType, Etl::InManifestCountedBinary);
    EXPECT_EQ(p[9].flags, Etl::PropertyHasCustomSchema);

    EXPECT_EQ(Text(event, *description, u"Hex"), u"0xBEEF");
    EXPECT_EQ(Text(event, *description, u"Pid"), u"1234");
    EXPECT_EQ(Text(event, *description, u"Time"), u"2010-10-29T19:08:00.7357072Z");
    EXPECT_EQ(Text(event, *description, u"Utf8"), u"\u00E9t\u00E9");
    EXPECT_EQ(Text(event, *description, u"Tagged"), u"7");
    ExpectAt(Etl::LocateProperty(event, *description, u"Fixed"), 25, 12);
    EXPECT_EQ(Etl::FormatProperty(event, *description, 6), u"1, 2, 3");
    ExpectAt(Etl::LocateProperty(event, *description, u"Variable"), 37, 10);
    EXPECT_EQ(Etl::FormatProperty(event, *description, 7), u"10, 20");
    ExpectAt(Etl::LocateProperty(event, *description, u"Blob"), 47, 5);
    EXPECT_EQ(Text(event, *description, u"Blob"), u"0xDEAD01");
    ExpectAt(Etl::LocateProperty(event, *description, u"Custom"), 52, 3);
    EXPECT_EQ(Text(event, *description, u"Custom"), u"0x42");
}

TEST(TraceLoggingSchema, FlattensNestedStructsMembersAfterTheTopLevel)
{
    // Before; Outer { A; Inner { B; C }; D }[n]; After
    const std::vector<uint8_t> schema = Metadata("Structs")
                                            .Field("Before", {0x04})
                                            .Field("Outer", {0xD8, 0x03})
                                            .Field("A", {0x04})
                                            .Field("Inner", {0x98, 0x02})
                                            .Field("B", {0x06})
                                            .Field("C", {0x02})
                                            .Field("D", {0x04})
                                            .Field("After", {0x04})
                                            .Bytes();
    const std::vector<uint8_t> data = PayloadBuilder()
                                          .U8(1)
                                          .U16(2)
                                          .U8(10)
                                          .U16(11)
                                          .Narrow("x")
                                          .U8(12)
                                          .U8(20)
                                          .U16(21)
                                          .Narrow("yz")
                                          .U8(22)
                                          .U8(99)
                                          .Data();
    const std::vector<uint8_t> traits = Traits("P");
    const Etl::Event event = TraceLoggingEvent(schema, traits, data);
    Etl::Decoder decoder;
    const Etl::EventDescription* description = decoder.Describe(event);
    ASSERT_NE(description, nullptr);
    const auto& p = description->properties;
    ASSERT_EQ(p.size(), 8u);
    EXPECT_EQ(description->topLevelPropertyCount, 3u);
    const std::u16string names[] = {u"Before", u"Outer", u"After", u"A", u"Inner", u"D", u"B", u"C"};
    for (size_t index = 0; index < 8; ++index) {
        EXPECT_EQ(p[index].name, names[index]);
    }
    EXPECT_EQ(p[1].flags, Etl::PropertyStruct | Etl::PropertyCountInData);
    EXPECT_EQ(p[1].structStartIndex, 3u);
    EXPECT_EQ(p[1].structMemberCount, 3u);
    EXPECT_EQ(p[4].flags, Etl::PropertyStruct);
    EXPECT_EQ(p[4].structStartIndex, 6u);
    EXPECT_EQ(p[4].structMemberCount, 2u);
    ExpectAt(Etl::LocateProperty(event, *description, u"Before"), 0, 1);
    ExpectAt(Etl::LocateProperty(event, *description, u"Outer"), 1, 15);
    ExpectAt(Etl::LocateProperty(event, *description, u"Outer", 0), 3, 6);
    ExpectAt(Etl::LocateProperty(event, *description, u"Outer", 1), 9, 7);
    ExpectAt(Etl::LocateProperty(event, *description, u"After"), 16, 1);
    EXPECT_EQ(Text(event, *description, u"After"), u"99");
}

std::string SchemaError(const std::vector<uint8_t>& schema, const std::vector<uint8_t>& traits = Traits("P"))
{
    try {
        Etl::ReadTraceLoggingSchema(Etl::Event{}, schema, traits);
    } catch (const Etl::FormatError& error) {
        return error.what();
    }
    return "no error";
}

TEST(TraceLoggingSchema, RefusesMalformedMetadata)
{
    EXPECT_EQ(SchemaError({0x10, 0x00, 0x00, 'E', 0}),
              "TraceLogging metadata: event schema size does not fit its item");
    EXPECT_EQ(SchemaError({0x01}), "TraceLogging metadata: event schema size does not fit its item");
    EXPECT_EQ(SchemaError({0x02, 0x00}), "TraceLogging metadata: tags end early");
    EXPECT_EQ(SchemaError(Metadata("E", {0x80, 0x80, 0x80, 0x80, 0x00}).Bytes()),
              "TraceLogging metadata: tags longer than four bytes");
    EXPECT_EQ(SchemaError({0x05, 0x00, 0x00, 'E', 'v'}), "TraceLogging metadata: event name without a terminator");
    EXPECT_EQ(SchemaError(Metadata("E").Raw({'F', 0}).Bytes()), "TraceLogging metadata: field \"F\" has no type");
    EXPECT_EQ(SchemaError(Metadata("E").Raw({'F'}).Bytes()), "TraceLogging metadata: field name without a terminator");
    EXPECT_EQ(SchemaError(Metadata("E").Field("F", {0x88}).Bytes()),
              "TraceLogging metadata: field \"F\" ends before its out-type");
    EXPECT_EQ(SchemaError(Metadata("E").Field("F", {0x88, 0x80}).Bytes()), "TraceLogging metadata: tags end early");
    EXPECT_EQ(SchemaError(Metadata("E").Field("F", {0x24, 0x01}).Bytes()),
              "TraceLogging metadata: field \"F\" ends before its count");
    EXPECT_EQ(SchemaError(Metadata("E").Field("F", {0x64, 0x05, 0x00, 0x01}).Bytes()),
              "TraceLogging metadata: custom schema of field \"F\" passes the end");
    EXPECT_EQ(SchemaError(Metadata("E").Field("F", {0x00}).Bytes()),
              "TraceLogging metadata: field \"F\" has unknown type 0");
    EXPECT_EQ(SchemaError(Metadata("E").Field("F", {0x1A}).Bytes()),
              "TraceLogging metadata: field \"F\" has unknown type 26");
    EXPECT_EQ(SchemaError(Metadata("E").Field("S", {0x98, 0x02}).Field("A", {0x04}).Bytes()),
              "TraceLogging metadata: struct \"S\" has fewer fields than it declares");
    EXPECT_EQ(SchemaError(Metadata("E").Bytes(), {0x09, 0x00, 'P'}),
              "TraceLogging metadata: provider traits size does not fit its item");
    EXPECT_EQ(SchemaError(Metadata("E").Bytes(), {0x03, 0x00, 'P'}),
              "TraceLogging metadata: provider name without a terminator");
    Metadata deep("E");
    for (int level = 0; level < 40; ++level) {
        deep.Field("S", {0x98, 0x01});
    }
    deep.Field("X", {0x04});
    EXPECT_EQ(SchemaError(deep.Bytes()), "TraceLogging metadata: structs nested deeper than 32 levels");
}

TEST(TraceLoggingSchema, LeavesAnEventWithMalformedMetadataUndescribed)
{
    const std::vector<uint8_t> schema = Metadata("E").Field("F", {0x1F}).Bytes();
    const std::vector<uint8_t> traits = Traits("P");
    const std::vector<uint8_t> data{1};
    Etl::Decoder decoder;
    EXPECT_EQ(decoder.Describe(TraceLoggingEvent(schema, traits, data)), nullptr);
    EXPECT_EQ(decoder.Describe(TraceLoggingEvent(schema, traits, data)), nullptr);
    EXPECT_EQ(decoder.CachedSchemaCount(), 1u);
}

TEST(TraceLoggingSchema, NamesNoProviderWithoutTraits)
{
    const std::vector<uint8_t> schema = Metadata("E").Field("F", {0x04}).Bytes();
    const std::vector<uint8_t> data{1};
    Etl::Event event = TraceLoggingEvent(schema, {}, data);
    event.extended = {{Etl::ExtEventSchemaTl, schema}};
    Etl::Decoder decoder;
    const Etl::EventDescription* description = decoder.Describe(event);
    ASSERT_NE(description, nullptr);
    EXPECT_EQ(description->providerName, u"");
    EXPECT_EQ(description->eventName, u"E");
}

TEST(TraceLoggingCache, ParsesEachDistinctSchemaOnce)
{
    const std::vector<uint8_t> schema = Metadata("E").Field("F", {0x04}).Bytes();
    const std::vector<uint8_t> copy = schema; // the same metadata at another address
    const std::vector<uint8_t> traits = Traits("P");
    const std::vector<uint8_t> data{1};
    Etl::Decoder decoder;
    const Etl::EventDescription* first = decoder.Describe(TraceLoggingEvent(schema, traits, data));
    const Etl::EventDescription* second = decoder.Describe(TraceLoggingEvent(copy, traits, data));
    EXPECT_EQ(first, second);
    EXPECT_EQ(decoder.CachedSchemaCount(), 1u);
    // Another level is another description: the level name comes from it.
    const Etl::EventDescription* verbose = decoder.Describe(TraceLoggingEvent(schema, traits, data, 5));
    EXPECT_NE(verbose, first);
    EXPECT_EQ(verbose->levelName, u"Verbose");
    EXPECT_EQ(decoder.CachedSchemaCount(), 2u);
    const std::vector<uint8_t> otherTraits = Traits("Q");
    EXPECT_EQ(decoder.Describe(TraceLoggingEvent(schema, otherTraits, data))->providerName, u"Q");
    EXPECT_EQ(decoder.CachedSchemaCount(), 3u);
}

TEST(TraceLoggingCache, StaysBounded)
{
    const std::vector<uint8_t> traits = Traits("P");
    const std::vector<uint8_t> data{1};
    Etl::Decoder decoder;
    for (size_t index = 0; index < Etl::Decoder::maxCachedSchemas; ++index) {
        const std::vector<uint8_t> schema = Metadata("E" + std::to_string(index)).Field("F", {0x04}).Bytes();
        ASSERT_NE(decoder.Describe(TraceLoggingEvent(schema, traits, data)), nullptr);
    }
    EXPECT_EQ(decoder.CachedSchemaCount(), Etl::Decoder::maxCachedSchemas);
    const std::vector<uint8_t> schema = Metadata("One more").Field("F", {0x04}).Bytes();
    const Etl::EventDescription* description = decoder.Describe(TraceLoggingEvent(schema, traits, data));
    ASSERT_NE(description, nullptr);
    EXPECT_EQ(description->eventName, u"One more");
    EXPECT_EQ(decoder.CachedSchemaCount(), 1u);
}

} // namespace
