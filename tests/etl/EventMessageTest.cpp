#include "etl/EventMessage.h"
#include "etl/GuidText.h"
#include "etl/ManifestReader.h"
#include "etl/PropertyTree.h"
#include "tests/etl/PayloadBuilder.h"
#include "tests/etl/TestManifests.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Testing::MakeEvent;
using Testing::PayloadBuilder;

const Etl::Guid product = *Etl::ParseGuid("6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04");

Etl::EventDescription ProductEvent(uint16_t id, uint8_t version)
{
    for (Etl::EventDescription& description : Etl::ReadManifest(Testing::ProductManifest())) {
        if (description.descriptor.id == id && description.descriptor.version == version) {
            return std::move(description);
        }
    }
    throw std::runtime_error("no such product event");
}

TEST(EventMessage, InsertsTheProductsUtf16AndUtf8Fields)
{
    const std::vector<uint8_t> wide = PayloadBuilder().Wide(u"app.exe").Wide(u"Started \u00e9").Data();
    EXPECT_EQ(Etl::FormatEventMessage(MakeEvent(product, 2004, 1, wide), ProductEvent(2004, 1)),
              u"info:Started \u00e9");
    const std::vector<uint8_t> utf8 =
        PayloadBuilder().Narrow("app.exe").Narrow("Connect").Narrow("\xC3\xA9t\xC3\xA9").Narrow("").Narrow("").Data();
    EXPECT_EQ(Etl::FormatEventMessage(MakeEvent(product, 2012, 2, utf8), ProductEvent(2012, 2)), u"Connect");
    const std::vector<uint8_t> image =
        PayloadBuilder().Narrow("C:\\a.dll").Narrow("").U64(0).U32(0).Wide(u"app").Narrow("").U16(0).Data();
    EXPECT_EQ(Etl::FormatEventMessage(MakeEvent(product, 2020, 1, image), ProductEvent(2020, 1)), u"image:C:\\a.dll");
}

TEST(EventMessage, InsertsNothingForAPropertyTheDataLacks)
{
    const std::vector<uint8_t> data = PayloadBuilder().Wide(u"app.exe").Data();
    EXPECT_EQ(Etl::FormatEventMessage(MakeEvent(product, 2005, 1, data), ProductEvent(2005, 1)), u"warning:");
}

Etl::EventDescription WithMessage(std::u16string message, size_t properties)
{
    Etl::EventDescription description;
    std::vector<Etl::PropertyNode> nodes;
    for (size_t index = 0; index < properties; ++index) {
        Etl::PropertyNode node;
        node.property.name = u"P" + std::u16string(1, static_cast<char16_t>(u'a' + index));
        node.property.inType = Etl::InUInt8;
        nodes.push_back(node);
    }
    Etl::FlattenProperties(nodes, description);
    description.message = std::move(message);
    return description;
}

TEST(EventMessage, ReplacesInsertsAsFormatMessageDoes)
{
    std::vector<uint8_t> data;
    for (uint8_t value = 1; value <= 12; ++value) {
        data.push_back(value);
    }
    const Etl::Event event = MakeEvent(product, 1, 0, data);
    const auto format = [&event](const std::u16string& message, size_t properties = 12) {
        return Etl::FormatEventMessage(event, WithMessage(message, properties));
    };
    EXPECT_EQ(format(u"%1 and %12"), u"1 and 12");
    EXPECT_EQ(format(u"%1%2%3"), u"123");
    EXPECT_EQ(format(u"%10x"), u"10x");
    EXPECT_EQ(format(u"%2!u! bytes"), u"2 bytes");
    EXPECT_EQ(format(u"%2!unclosed"), u"2!unclosed");
    EXPECT_EQ(format(u"100%% %n%t%r%b%.%!"), u"100% \r\n\t\r .!");
    EXPECT_EQ(format(u"%13 and %99 stay", 12), u"%13 and %99 stay");
    EXPECT_EQ(format(u"%3 of 2", 2), u"%3 of 2");
    EXPECT_EQ(format(u"ends with %"), u"ends with %");
    EXPECT_EQ(format(u"%0"), u"0");
    EXPECT_EQ(format(u""), u"");
}

TEST(EventMessage, JoinsArrayElements)
{
    const char manifest[] = R"xml(<instrumentationManifest><instrumentation><events>
     <provider name="P" guid="{01234567-89AB-CDEF-0123-456789ABCDEF}">
      <templates><template tid="T">
       <data name="Count" inType="win:UInt16"/>
       <data name="Values" inType="win:Int32" count="Count"/>
       <data name="Names" inType="win:UnicodeString" count="2"/>
      </template></templates>
      <events><event value="1" template="T" message="[%2] [%3] [%1]"/></events>
     </provider></events></instrumentation></instrumentationManifest>)xml";
    const Etl::EventDescription description = Etl::ReadManifest(manifest)[0];
    const std::vector<uint8_t> data = PayloadBuilder().U16(3).U32(1).U32(-2).U32(3).Wide(u"a").Wide(u"b").Data();
    const Etl::Event event = MakeEvent(*Etl::ParseGuid("01234567-89AB-CDEF-0123-456789ABCDEF"), 1, 0, data);
    EXPECT_EQ(Etl::FormatEventMessage(event, description), u"[1, -2, 3] [a, b] [3]");
    EXPECT_EQ(Etl::FormatProperty(event, description, 1), u"1, -2, 3");
    EXPECT_EQ(Etl::FormatProperty(event, description, 3), u"");
    const std::vector<uint8_t> none = PayloadBuilder().U16(0).Wide(u"a").Wide(u"b").Data();
    EXPECT_EQ(Etl::FormatProperty(MakeEvent(Etl::Guid{}, 1, 0, none), description, 1), u"");
    EXPECT_EQ(Etl::FormatProperty(MakeEvent(Etl::Guid{}, 1, 0, none), description, 2), u"a, b");
}

} // namespace
