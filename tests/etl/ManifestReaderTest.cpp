#include "etl/ManifestReader.h"
#include "etl/FormatError.h"
#include "etl/GuidText.h"
#include "tests/etl/TestManifests.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct ExpectedField {
    std::u16string name;
    uint16_t inType;
    uint16_t outType;
};

struct ExpectedEvent {
    uint16_t id;
    uint8_t version;
    uint8_t channel;
    uint8_t level;
    uint8_t opcode;
    uint16_t task;
    uint64_t keyword;
    std::u16string levelName;
    std::u16string channelName;
    std::u16string taskName;
    std::u16string opcodeName;
    std::vector<std::u16string> keywordNames;
    std::u16string message;
    std::vector<ExpectedField> fields;
};

const std::u16string debugChannel = u"Kestrova-Diagnostics/Debug";
const std::u16string analyticalChannel = u"Kestrova-Diagnostics/Analytical";
// The message compiler gives each channel a keyword bit, from bit 63 down, in declaration order.
constexpr uint64_t debugBit = 0x8000000000000000;
constexpr uint64_t analyticalBit = 0x4000000000000000;

const std::vector<ExpectedField> traceFields{{u"ProcessName", 1, 1}, {u"Message", 1, 1}};
const std::vector<ExpectedField> methodFields{{u"ProcessName", 1, 1}, {u"Arguments", 1, 1}};
const std::vector<ExpectedField> operationalV1{
    {u"ProcessName", 1, 1}, {u"Name", 1, 1}, {u"Message", 1, 1}, {u"Arguments", 1, 1}, {u"Stack", 1, 1}};
const std::vector<ExpectedField> operationalV2{
    {u"ProcessName", 2, 35}, {u"Name", 2, 35}, {u"Message", 2, 35}, {u"Arguments", 2, 35}, {u"Stack", 2, 35}};

// In the manifest's order. Versions 2 of 2010 to 2014 follow their versions 1, differing only
// in the version and the fields.
std::vector<ExpectedEvent> ProductEvents()
{
    // clang-format off
    const std::vector<ExpectedEvent> versions1{
        {2000, 1, 16, 18, 17, 1, debugBit | 0x4, u"", debugChannel, u"Trace", u"Debug", {u"DebugVerbose"}, u"debug:%2", traceFields},
        {2001, 1, 16, 17, 11, 2, debugBit | 0x4, u"", debugChannel, u"Method", u"Exit", {u"DebugVerbose"}, u"exit:%2", methodFields},
        {2002, 1, 16, 16, 10, 2, debugBit | 0x4, u"", debugChannel, u"Method", u"Enter", {u"DebugVerbose"}, u"enter:%2", methodFields},
        {2003, 1, 16, 5, 12, 1, debugBit | 0x4, u"Verbose", debugChannel, u"Trace", u"Verbose", {u"DebugVerbose"}, u"verbose:%2", traceFields},
        {2004, 1, 16, 4, 13, 1, debugBit | 0x2, u"Information", debugChannel, u"Trace", u"Info", {u"DebugInfo"}, u"info:%2", traceFields},
        {2005, 1, 16, 3, 14, 1, debugBit | 0x2, u"Warning", debugChannel, u"Trace", u"Warning", {u"DebugInfo"}, u"warning:%2", traceFields},
        {2006, 1, 16, 2, 15, 1, debugBit | 0x2, u"Error", debugChannel, u"Trace", u"Error", {u"DebugInfo"}, u"error:%2", traceFields},
        {2010, 1, 17, 18, 17, 3, analyticalBit | 0x1, u"", analyticalChannel, u"Operational", u"Debug", {u"Operational"}, u"%2", operationalV1},
        {2011, 1, 17, 5, 12, 3, analyticalBit | 0x1, u"Verbose", analyticalChannel, u"Operational", u"Verbose", {u"Operational"}, u"%2", operationalV1},
        {2012, 1, 17, 4, 13, 3, analyticalBit | 0x1, u"Information", analyticalChannel, u"Operational", u"Info", {u"Operational"}, u"%2", operationalV1},
        {2013, 1, 17, 3, 14, 3, analyticalBit | 0x1, u"Warning", analyticalChannel, u"Operational", u"Warning", {u"Operational"}, u"%2", operationalV1},
        {2014, 1, 17, 2, 15, 3, analyticalBit | 0x1, u"Error", analyticalChannel, u"Operational", u"Error", {u"Operational"}, u"%2", operationalV1},
        {2020, 1, 16, 4, 12, 1, debugBit | 0x8, u"Information", debugChannel, u"Trace", u"Verbose", {u"DebugImage"}, u"image:%1",
         {{u"filename", 2, 1}, {u"debug", 2, 1}, {u"base", 16, 19}, {u"size", 8, 8}, {u"ProcessName", 1, 1}, {u"version", 2, 1},
          {u"machine", 6, 6}}},
        {2021, 1, 16, 1, 15, 1, debugBit | 0x10, u"Critical", debugChannel, u"Trace", u"Error", {u"DebugFault"}, u"fault:%1",
         {{u"ProcessName", 1, 1}, {u"debug", 2, 1}}},
    };
    // clang-format on
    std::vector<ExpectedEvent> events(versions1.begin(), versions1.begin() + 12);
    for (size_t index = 7; index < 12; ++index) {
        ExpectedEvent version2 = versions1[index];
        version2.version = 2;
        version2.fields = operationalV2;
        events.push_back(version2);
    }
    events.insert(events.end(), versions1.begin() + 12, versions1.end());
    return events;
}

TEST(ManifestReader, DescribesEveryEventOfTheProductManifest)
{
    const std::vector<Etl::EventDescription> descriptions = Etl::ReadManifest(Testing::ProductManifest());
    const std::vector<ExpectedEvent> expected = ProductEvents();
    ASSERT_EQ(descriptions.size(), expected.size());
    const Etl::Guid provider = *Etl::ParseGuid("{6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04}");
    for (size_t index = 0; index < expected.size(); ++index) {
        const Etl::EventDescription& description = descriptions[index];
        const ExpectedEvent& event = expected[index];
        SCOPED_TRACE("event " + std::to_string(event.id) + " version " + std::to_string(event.version));
        EXPECT_EQ(description.provider, provider);
        EXPECT_EQ(description.providerName, u"Kestrova-Diagnostics");
        EXPECT_EQ(description.source, Etl::DecodingSource::XmlFile);
        EXPECT_EQ(description.descriptor.id, event.id);
        EXPECT_EQ(description.descriptor.version, event.version);
        EXPECT_EQ(description.descriptor.channel, event.channel);
        EXPECT_EQ(description.descriptor.level, event.level);
        EXPECT_EQ(description.descriptor.opcode, event.opcode);
        EXPECT_EQ(description.descriptor.task, event.task);
        EXPECT_EQ(description.descriptor.keyword, event.keyword);
        EXPECT_EQ(description.levelName, event.levelName);
        EXPECT_EQ(description.channelName, event.channelName);
        EXPECT_EQ(description.taskName, event.taskName);
        EXPECT_EQ(description.opcodeName, event.opcodeName);
        EXPECT_EQ(description.keywordNames, event.keywordNames);
        EXPECT_EQ(description.message, event.message);
        EXPECT_EQ(description.eventName, u"");
        ASSERT_EQ(description.properties.size(), event.fields.size());
        EXPECT_EQ(description.topLevelPropertyCount, event.fields.size());
        for (size_t field = 0; field < event.fields.size(); ++field) {
            const Etl::PropertyDescription& property = description.properties[field];
            EXPECT_EQ(property.name, event.fields[field].name);
            EXPECT_EQ(property.inType, event.fields[field].inType);
            EXPECT_EQ(property.outType, event.fields[field].outType);
            EXPECT_EQ(property.flags, 0u);
            EXPECT_EQ(property.count, 1u);
            EXPECT_EQ(property.length, 0u);
            EXPECT_EQ(property.mapName, u"");
            EXPECT_EQ(description.FindTopLevelProperty(property.name), field);
        }
    }
}

TEST(ManifestReader, GivesBothVersionsOfTheOperationalEventsTheSameFieldNames)
{
    const std::vector<Etl::EventDescription> descriptions = Etl::ReadManifest(Testing::ProductManifest());
    for (uint16_t id = 2010; id <= 2014; ++id) {
        const Etl::EventDescription* versions[3] = {};
        for (const Etl::EventDescription& description : descriptions) {
            if (description.descriptor.id == id) {
                versions[description.descriptor.version] = &description;
            }
        }
        ASSERT_NE(versions[1], nullptr);
        ASSERT_NE(versions[2], nullptr);
        ASSERT_EQ(versions[1]->properties.size(), versions[2]->properties.size());
        for (size_t field = 0; field < versions[1]->properties.size(); ++field) {
            EXPECT_EQ(versions[1]->properties[field].name, versions[2]->properties[field].name);
            EXPECT_EQ(versions[1]->properties[field].inType, Etl::InUnicodeString);
            EXPECT_EQ(versions[2]->properties[field].inType, Etl::InAnsiString);
            EXPECT_EQ(versions[2]->properties[field].outType, Etl::OutUtf8);
        }
    }
}

TEST(ManifestReader, ResolvesMessagesScopedOpcodesChannelsAndKeywords)
{
    const std::vector<Etl::EventDescription> descriptions = Etl::ReadManifest(Testing::richManifest);
    ASSERT_EQ(descriptions.size(), 4u);
    const Etl::EventDescription& first = descriptions[0];
    EXPECT_EQ(first.providerName, u"Test-Provider");
    EXPECT_EQ(first.provider, *Etl::ParseGuid("01234567-89AB-CDEF-0123-456789ABCDEF"));
    EXPECT_EQ(first.descriptor.id, 1u);
    EXPECT_EQ(first.descriptor.version, 0u);
    EXPECT_EQ(first.descriptor.level, 0x10u);
    EXPECT_EQ(first.levelName, u"Very noisy");
    EXPECT_EQ(first.descriptor.task, 7u);
    EXPECT_EQ(first.taskName, u"Connecting");
    // The task's own opcode, not the provider's of the same name.
    EXPECT_EQ(first.descriptor.opcode, 30u);
    EXPECT_EQ(first.opcodeName, u"Retrying");
    EXPECT_EQ(first.descriptor.channel, 8u);
    EXPECT_EQ(first.channelName, u"System");
    EXPECT_EQ(first.descriptor.keyword, 0x8000000000000000 | 0x0020000000000000 | 0x100 | 0x1);
    EXPECT_EQ(first.keywordNames, (std::vector<std::u16string>{u"Low", u"High traffic", u"Audit Success"}));
    EXPECT_EQ(first.message, u"literal text");

    const Etl::EventDescription& second = descriptions[1];
    EXPECT_EQ(second.descriptor.id, 2u);
    EXPECT_EQ(second.descriptor.version, 3u);
    EXPECT_EQ(second.descriptor.opcode, 31u);
    EXPECT_EQ(second.opcodeName, u"Retry");
    EXPECT_EQ(second.taskName, u"Plain");
    EXPECT_EQ(second.descriptor.level, 0u);
    EXPECT_EQ(second.levelName, u"Log Always");
    EXPECT_EQ(second.descriptor.channel, 16u);
    EXPECT_EQ(second.channelName, u"Test-Provider/Operational");
    EXPECT_EQ(second.descriptor.keyword, 0x4000000000000000u);
    EXPECT_TRUE(second.keywordNames.empty());
    EXPECT_TRUE(second.properties.empty());

    const Etl::EventDescription& third = descriptions[2];
    EXPECT_EQ(third.descriptor.channel, 20u);
    EXPECT_EQ(third.descriptor.keyword, 0x2000000000000000u);
    EXPECT_EQ(third.descriptor.opcode, 240u);
    EXPECT_EQ(third.opcodeName, u"Receive");
    EXPECT_EQ(third.taskName, u"None");
    EXPECT_EQ(third.levelName, u"");

    EXPECT_EQ(descriptions[3].providerName, u"Second");
    EXPECT_EQ(descriptions[3].descriptor.id, 9u);
}

TEST(ManifestReader, FlattensStructsAndResolvesLengthsAndCounts)
{
    const Etl::EventDescription description = Etl::ReadManifest(Testing::richManifest)[0];
    ASSERT_EQ(description.topLevelPropertyCount, 9u);
    ASSERT_EQ(description.properties.size(), 11u);
    const auto& p = description.properties;
    EXPECT_EQ(p[0].name, u"Count");
    EXPECT_EQ(p[1].name, u"Values");
    EXPECT_EQ(p[1].flags, Etl::PropertyParamCount);
    EXPECT_EQ(p[1].count, 0u); // the index of Count
    EXPECT_TRUE(p[1].IsArray());
    EXPECT_EQ(p[2].mapName, u"Colours");
    EXPECT_EQ(p[3].flags, Etl::PropertyParamFixedLength);
    EXPECT_EQ(p[3].length, 4u);
    EXPECT_FALSE(p[3].IsArray());
    EXPECT_EQ(p[4].outType, Etl::OutUnsignedInt);
    EXPECT_EQ(p[5].flags, Etl::PropertyParamLength);
    EXPECT_EQ(p[5].length, 4u); // the index of Size
    EXPECT_EQ(p[5].outType, Etl::OutHexBinary);
    EXPECT_EQ(p[6].name, u"Pairs");
    EXPECT_EQ(p[6].flags, Etl::PropertyStruct | Etl::PropertyParamFixedCount);
    EXPECT_EQ(p[6].count, 2u);
    EXPECT_EQ(p[6].inType, Etl::InNull);
    EXPECT_EQ(p[6].structStartIndex, 9u);
    EXPECT_EQ(p[6].structMemberCount, 2u);
    EXPECT_EQ(p[7].inType, Etl::InSid);
    EXPECT_EQ(p[8].inType, Etl::InManifestCountedString);
    EXPECT_EQ(p[9].name, u"Key");
    EXPECT_EQ(p[10].name, u"Text");
    EXPECT_EQ(p[10].flags, Etl::PropertyParamLength);
    EXPECT_EQ(p[10].length, 9u); // the index of Key, the struct's first member
    EXPECT_EQ(description.FindTopLevelProperty(u"Key"), Etl::EventDescription::npos);
    EXPECT_EQ(description.FindTopLevelProperty(u"Pairs"), 6u);
    EXPECT_EQ(description.FindTopLevelProperty(u"pairs"), Etl::EventDescription::npos);
}

std::string ErrorOf(const std::string& manifest)
{
    try {
        Etl::ReadManifest(manifest);
    } catch (const Etl::FormatError& error) {
        return error.what();
    }
    return "no error";
}

std::string WithEvent(const std::string& templates, const std::string& event)
{
    return "<instrumentationManifest><instrumentation><events>\n"
           "<provider name=\"P\" guid=\"{01234567-89AB-CDEF-0123-456789ABCDEF}\">\n"
           "<templates>" +
           templates + "</templates>\n<events>\n" + event +
           "\n</events></provider></events></instrumentation>"
           "<localization><resources culture=\"en-US\"><stringTable><string id=\"s\" value=\"v\"/></stringTable>"
           "</resources></localization></instrumentationManifest>";
}

TEST(ManifestReader, NamesWhatItCannotResolveAndWhere)
{
    EXPECT_EQ(ErrorOf("<instrumentationManifest/>"), "manifest line 1: no instrumentation/events element");
    EXPECT_EQ(ErrorOf("<instrumentationManifest><instrumentation><events>\n<provider name=\"P\" guid=\"nope\"/>"
                      "</events></instrumentation></instrumentationManifest>"),
              "manifest line 2: provider guid \"nope\" is not a GUID");
    EXPECT_EQ(ErrorOf(WithEvent("", "<event value=\"1\" level=\"Loud\"/>")), "manifest line 5: unknown level \"Loud\"");
    EXPECT_EQ(ErrorOf(WithEvent("", "<event value=\"1\" task=\"T\"/>")), "manifest line 5: unknown task \"T\"");
    EXPECT_EQ(ErrorOf(WithEvent("", "<event value=\"1\" opcode=\"O\"/>")), "manifest line 5: unknown opcode \"O\"");
    EXPECT_EQ(ErrorOf(WithEvent("", "<event value=\"1\" keywords=\"K\"/>")), "manifest line 5: unknown keyword \"K\"");
    EXPECT_EQ(ErrorOf(WithEvent("", "<event value=\"1\" channel=\"C\"/>")), "manifest line 5: unknown channel \"C\"");
    EXPECT_EQ(ErrorOf(WithEvent("", "<event value=\"1\" template=\"T\"/>")), "manifest line 5: unknown template \"T\"");
    EXPECT_EQ(ErrorOf(WithEvent("", "<event value=\"1\" message=\"$(string.missing)\"/>")),
              "manifest line 5: no en-US string \"missing\"");
    EXPECT_EQ(ErrorOf(WithEvent("", "<event value=\"65536\"/>")),
              "manifest line 5: value \"65536\" is not a number from 0 to 65535");
    EXPECT_EQ(ErrorOf(WithEvent("", "<event value=\"1\" version=\"256\"/>")),
              "manifest line 5: version \"256\" is not a number from 0 to 255");
    EXPECT_EQ(ErrorOf(WithEvent("", "<event value=\"x1\"/>")),
              "manifest line 5: value \"x1\" is not a number from 0 to 65535");
    EXPECT_EQ(ErrorOf(WithEvent("", "<event version=\"1\"/>")), "manifest line 5: <event> without value");
    EXPECT_EQ(ErrorOf(WithEvent("<template tid=\"T\"><data name=\"A\" inType=\"win:Nothing\"/></template>", "")),
              "manifest line 3: unknown inType \"win:Nothing\"");
    EXPECT_EQ(ErrorOf(WithEvent("<template tid=\"T\"><data name=\"A\" inType=\"win:UInt8\" outType=\"xs:nothing\"/>"
                                "</template>",
                                "")),
              "manifest line 3: unknown outType \"xs:nothing\"");
    EXPECT_EQ(ErrorOf(WithEvent("<template tid=\"T\"><data name=\"A\" inType=\"win:Binary\" length=\"B\"/>"
                                "<data name=\"B\" inType=\"win:UInt8\"/></template>",
                                "")),
              "manifest line 3: length \"B\" names no earlier data item");
    EXPECT_EQ(
        ErrorOf(WithEvent("<template tid=\"T\"><data name=\"A\" inType=\"win:UInt8\" count=\"Z\"/></template>", "")),
        "manifest line 3: count \"Z\" names no earlier data item");
    EXPECT_EQ(ErrorOf("<instrumentationManifest>\n<instrumentation>"),
              "XML line 2: element \"instrumentation\" (line 2) is not closed");
}

} // namespace
