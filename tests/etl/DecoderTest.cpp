#include "etl/Decoder.h"
#include "etl/FormatError.h"
#include "etl/GuidText.h"
#include "etl/PropertyLocator.h"
#include "tests/etl/PayloadBuilder.h"
#include "tests/etl/TestManifests.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Testing::MakeEvent;

const Etl::Guid product = *Etl::ParseGuid("6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04");
const Etl::Guid kernelProcess = *Etl::ParseGuid("22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716");
const std::vector<uint8_t> noData;

TEST(Decoder, DescribesProductEventsOnlyOnceTheManifestIsLoaded)
{
    Etl::Decoder decoder;
    EXPECT_EQ(decoder.Describe(MakeEvent(product, 2004, 1, noData)), nullptr);
    decoder.LoadManifest(Testing::ProductManifest());
    const Etl::EventDescription* info = decoder.Describe(MakeEvent(product, 2004, 1, noData));
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->message, u"info:%2");
    const Etl::EventDescription* v1 = decoder.Describe(MakeEvent(product, 2012, 1, noData));
    const Etl::EventDescription* v2 = decoder.Describe(MakeEvent(product, 2012, 2, noData));
    ASSERT_NE(v1, nullptr);
    ASSERT_NE(v2, nullptr);
    EXPECT_EQ(v1->properties[0].inType, Etl::InUnicodeString);
    EXPECT_EQ(v2->properties[0].inType, Etl::InAnsiString);
    EXPECT_EQ(decoder.Describe(MakeEvent(product, 2012, 3, noData)), nullptr);
    EXPECT_EQ(decoder.Describe(MakeEvent(product, 2007, 1, noData)), nullptr);
    // The same answer every time: a lookup, not a new description.
    EXPECT_EQ(decoder.Describe(MakeEvent(product, 2004, 1, noData)), info);
}

std::string Manifest(const std::string& message)
{
    return "<instrumentationManifest><instrumentation><events>"
           "<provider name=\"Microsoft-Windows-Kernel-Process\" guid=\"{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}\">"
           "<events><event value=\"1\" version=\"0\" message=\"" +
           message + "\"/></events></provider></events></instrumentation></instrumentationManifest>";
}

TEST(Decoder, LetsALoadedManifestReplaceEarlierDescriptions)
{
    Etl::Decoder decoder;
    const Etl::EventDescription* builtIn = decoder.Describe(MakeEvent(kernelProcess, 1, 0, noData));
    ASSERT_NE(builtIn, nullptr);
    EXPECT_EQ(builtIn->properties.size(), 5u);
    decoder.LoadManifest(Manifest("first"));
    const Etl::EventDescription* first = decoder.Describe(MakeEvent(kernelProcess, 1, 0, noData));
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->message, u"first");
    EXPECT_TRUE(first->properties.empty());
    decoder.LoadManifest(Manifest("second"));
    EXPECT_EQ(decoder.Describe(MakeEvent(kernelProcess, 1, 0, noData))->message, u"second");
    // Descriptions handed out before stay readable.
    EXPECT_EQ(first->message, u"first");
    EXPECT_EQ(builtIn->properties.size(), 5u);
    // Other versions keep their built-in descriptions.
    EXPECT_EQ(decoder.Describe(MakeEvent(kernelProcess, 1, 1, noData))->properties.size(), 6u);
}

TEST(Decoder, KeepsWhatItHadWhenAManifestFailsToLoad)
{
    Etl::Decoder decoder;
    decoder.LoadManifest(Testing::ProductManifest());
    const std::string broken = "<instrumentationManifest><instrumentation><events>"
                               "<provider name=\"P\" guid=\"{6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04}\">"
                               "<events><event value=\"2004\" version=\"1\" message=\"replaced\"/>"
                               "<event value=\"9\" level=\"Unknown\"/></events>"
                               "</provider></events></instrumentation></instrumentationManifest>";
    EXPECT_THROW(decoder.LoadManifest(broken), Etl::FormatError);
    EXPECT_THROW(decoder.LoadManifest("<not xml"), Etl::FormatError);
    const Etl::EventDescription* info = decoder.Describe(MakeEvent(product, 2004, 1, noData));
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->message, u"info:%2");
    EXPECT_EQ(decoder.Describe(MakeEvent(product, 9, 0, noData)), nullptr);
}

TEST(Decoder, LocatesThroughTheDescriptionItGives)
{
    Etl::Decoder decoder;
    decoder.LoadManifest(Testing::ProductManifest());
    const std::vector<uint8_t> data = Testing::PayloadBuilder().Wide(u"app").Wide(u"hello").Data();
    const Etl::Event event = MakeEvent(product, 2006, 1, data);
    const Etl::PropertyLocation location = Etl::LocateProperty(event, *decoder.Describe(event), u"Message");
    EXPECT_EQ(location.status, Etl::StatusSuccess);
    EXPECT_EQ(location.offset, 8u);
    EXPECT_EQ(location.size, 12u);
}

} // namespace
