// The writer against the instrumentation manifest that ksdiag carries: a consumer can
// decode only the events whose descriptor and payload are the manifest's, so the two
// must never drift apart. The manifest is read back from this test's own image, the
// same bytes as ksdiag.exe's resource.

#include "tests/emulator/EventSchema.h"
#include "tests/emulator/ProviderEmulator.h"
#include "tests/trace/WriterTestSupport.h"
#include "trace/EtwWriter.h"
#include "trace/Log.h"
#include "trace/TraceSettings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace {

std::vector<Testing::EventSchema> ManifestEvents()
{
    const HMODULE image = ::GetModuleHandleW(nullptr);
    const HRSRC resource = ::FindResourceW(image, L"TRACE_WIN32.MAN", L"MANIFEST");
    if (resource == nullptr) {
        throw std::runtime_error("this test image carries no instrumentation manifest");
    }
    const auto* xml = static_cast<const char*>(::LockResource(::LoadResource(image, resource)));
    return Testing::ParseManifest(std::string_view(xml, ::SizeofResource(image, resource)));
}

// The manifest's event of that id and version; throws when there is none, so that an
// event the manifest lacks fails the test that writes it.
Testing::EventSchema ManifestEvent(const EVENT_DESCRIPTOR& written)
{
    const std::vector<Testing::EventSchema> events = ManifestEvents();
    const auto found = std::find_if(events.begin(), events.end(), [&](const Testing::EventSchema& event) {
        return event.descriptor.Id == written.Id && event.descriptor.Version == written.Version;
    });
    if (found == events.end()) {
        throw std::runtime_error("the manifest has no event " + std::to_string(written.Id) + " version " +
                                 std::to_string(written.Version));
    }
    return *found;
}

// The manifest lists keywords by name; the message compiler adds the bit of the event's
// channel at the top of the mask: bit 63 for the first channel (16), 62 for the next.
ULONGLONG CompiledKeyword(const EVENT_DESCRIPTOR& manifest)
{
    return manifest.Keyword | (1ull << (63 - (manifest.Channel - 16)));
}

// A terminated string of 8-bit or UTF-16 characters and nothing behind its terminator.
template <typename Char> bool IsOneTerminatedString(const std::vector<uint8_t>& bytes)
{
    if (bytes.empty() || bytes.size() % sizeof(Char) != 0) {
        return false;
    }
    std::basic_string<Char> text(bytes.size() / sizeof(Char), Char());
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<uint8_t*>(text.data()));
    return text.find(Char()) == text.size() - 1;
}

std::vector<std::wstring> PropertyNames(const Testing::EventSchema& event)
{
    std::vector<std::wstring> names;
    for (const Testing::PropertySchema& property : event.properties) {
        names.push_back(property.name);
    }
    return names;
}

// Every property is a string of that in-type, and every data descriptor after the
// provider-traits slot carries one such string: one descriptor per property.
template <typename Char> void ExpectPayloadFits(const Testing::EventWrite& write, USHORT inType)
{
    const Testing::EventSchema event = ManifestEvent(write.descriptor);
    ASSERT_EQ(event.properties.size() + 1, write.count) << "event " << write.descriptor.Id;
    ASSERT_EQ(write.count, write.data.size());
    for (size_t index = 0; index < event.properties.size(); ++index) {
        EXPECT_EQ(inType, event.properties[index].inType) << "event " << write.descriptor.Id << " field " << index;
        EXPECT_TRUE(IsOneTerminatedString<Char>(write.data[index + 1].bytes))
            << "event " << write.descriptor.Id << " field " << index;
    }
}

} // namespace

TEST(ManifestAgreement, ProviderIsTheManifestsProvider)
{
    for (const Testing::EventSchema& event : ManifestEvents()) {
        EXPECT_TRUE(IsEqualGUID(event.provider, Trace::ProviderGuid)) << "event " << event.descriptor.Id;
        EXPECT_EQ(L"Kestrova-Diagnostics", event.providerName);
    }
}

TEST(ManifestAgreement, EveryDescriptorIsTheManifestsEventWithItsChannelKeyword)
{
    for (uint32_t bit = 0; bit < Trace::EventBitCount; ++bit) {
        const EVENT_DESCRIPTOR& written = Trace::EventDescriptors[bit];
        EVENT_DESCRIPTOR expected = ManifestEvent(written).descriptor;
        expected.Keyword = CompiledKeyword(expected);
        EXPECT_EQ(Testing::Fields(expected), Testing::Fields(written)) << "bit " << bit;
    }
}

TEST(ManifestAgreement, OperationalEventsFillTheFiveFieldsOfTheirTemplate)
{
    Testing::ProviderEmulator provider;
    Trace::EnsureConfigured(Trace::SkipCrashHandlers);
    provider.Enable(0, Testing::AllKeywords);
    Trace::Category log("agreement");
    Testing::EmitEveryLevel(*log);

    ASSERT_EQ((std::vector<USHORT>{2014, 2014, 2013, 2012, 2011, 2010}), provider.WrittenIds());
    const std::vector<std::wstring> fields{L"ProcessName", L"Name", L"Message", L"Arguments", L"Stack"};
    for (const Testing::EventWrite& write : provider.Writes()) {
        EXPECT_EQ(fields, PropertyNames(ManifestEvent(write.descriptor))) << "event " << write.descriptor.Id;
        ExpectPayloadFits<char>(write, Testing::InAnsiString);
    }
}

TEST(ManifestAgreement, DebugTraceEventsFillTheTwoFieldsOfTheirTemplate)
{
    Testing::ProviderEmulator provider;
    ASSERT_EQ(0u, Trace::RegisterProvider());
    provider.Enable(0, Testing::AllKeywords);
    Testing::TraceEveryDebugMember();

    ASSERT_EQ((std::vector<USHORT>{2002, 2001, 2003, 2004, 2005, 2006}), provider.WrittenIds());
    for (const Testing::EventWrite& write : provider.Writes()) {
        // Enter and exit name their text Arguments, the others Message: the same payload.
        const bool method = write.descriptor.Id == 2001 || write.descriptor.Id == 2002;
        const std::vector<std::wstring> fields{L"ProcessName", method ? L"Arguments" : L"Message"};
        EXPECT_EQ(fields, PropertyNames(ManifestEvent(write.descriptor))) << "event " << write.descriptor.Id;
        ExpectPayloadFits<wchar_t>(write, Testing::InUnicodeString);
    }
}
