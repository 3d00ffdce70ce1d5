// The built-in TDH against the TDH emulator: for the product's events, described from the
// very manifest ksdiag carries, both must give the rendering code the same answers.

#include "platform/BuiltinTdh.h"
#include "tests/emulator/TdhEmulator.h"
#include "tests/support/TempDirectory.h"
#include "tests/viewer/ViewerEvents.h"
#include "trace/EtwWriter.h"
#include "viewer/ManifestExtraction.h"

#include <gtest/gtest.h>

#include <climits>
#include <fstream>
#include <string>
#include <vector>

namespace {

using Testing::RecordedEvent;

// One event information block, through the size protocol.
std::vector<uint8_t> Information(const Platform::TdhApi& tdh, const EVENT_RECORD& record, ULONG& status)
{
    ULONG size = 0;
    status = tdh.TdhGetEventInformation(const_cast<EVENT_RECORD*>(&record), 0, nullptr, nullptr, &size);
    if (status != ERROR_INSUFFICIENT_BUFFER) {
        return {};
    }
    std::vector<uint8_t> block(size);
    status = tdh.TdhGetEventInformation(const_cast<EVENT_RECORD*>(&record), 0, nullptr,
                                        reinterpret_cast<TRACE_EVENT_INFO*>(block.data()), &size);
    return block;
}

std::wstring NameAt(const std::vector<uint8_t>& block, ULONG offset)
{
    if (offset == 0) {
        return {};
    }
    return reinterpret_cast<const wchar_t*>(block.data() + offset);
}

const TRACE_EVENT_INFO& Info(const std::vector<uint8_t>& block)
{
    return *reinterpret_cast<const TRACE_EVENT_INFO*>(block.data());
}

struct PropertyAnswer {
    ULONG sizeStatus = 0;
    ULONG size = 0;
    ULONG readStatus = 0;
    std::vector<uint8_t> bytes;
    friend bool operator==(const PropertyAnswer&, const PropertyAnswer&) = default;
};

PropertyAnswer Property(const Platform::TdhApi& tdh, const EVENT_RECORD& record, const wchar_t* name)
{
    PROPERTY_DATA_DESCRIPTOR descriptor{};
    descriptor.PropertyName = reinterpret_cast<ULONGLONG>(name);
    descriptor.ArrayIndex = ULONG_MAX;
    auto* event = const_cast<EVENT_RECORD*>(&record);
    PropertyAnswer answer;
    answer.sizeStatus = tdh.TdhGetPropertySize(event, 0, nullptr, 1, &descriptor, &answer.size);
    if (answer.sizeStatus == ERROR_SUCCESS) {
        answer.bytes.assign(answer.size, 0xCC);
        answer.readStatus = tdh.TdhGetProperty(event, 0, nullptr, 1, &descriptor, answer.size, answer.bytes.data());
    }
    return answer;
}

class BuiltinTdh : public ::testing::Test {
protected:
    void SetUp() override
    {
        const std::wstring path = (temp.Path() / L"manifest.xml").wstring();
        ASSERT_EQ(0u, Viewer::ExtractManifest(path));
        ASSERT_EQ(0u, builtin.TdhLoadManifest(const_cast<wchar_t*>(path.c_str())));
        ASSERT_EQ(0u, Platform::Tdh().TdhLoadManifest(const_cast<wchar_t*>(path.c_str())));
    }

    // Every product event kind the viewer renders, in both text encodings where there are two.
    static std::vector<RecordedEvent> ProductEvents()
    {
        std::vector<RecordedEvent> events;
        for (USHORT id = 2000; id <= 2006; ++id) {
            events.push_back(Testing::DebugTraceEvent(id, L"app", L"text of " + std::to_wstring(id)).Build());
        }
        for (UCHAR version = 1; version <= 2; ++version) {
            for (USHORT id = 2010; id <= 2014; ++id) {
                Testing::OperationalFields fields;
                fields.message = L"caf\u00e9 \u65e5\u672c";
                events.push_back(Testing::OperationalEvent(version, id, fields).Build());
            }
        }
        Testing::ImageFields image;
        image.debug = "AAAA";
        events.push_back(Testing::ImageEvent(image).Build());
        image.pointerSize = 4;
        image.base = 0x10000000;
        events.push_back(Testing::ImageEvent(image).Build());
        events.push_back(Testing::FaultEvent(L"app", "TWFu").Build());
        return events;
    }

    Testing::TempDirectory temp;
    Testing::TdhEmulator emulator;
    const Platform::TdhApi& builtin = Platform::BuiltinTdh();
};

} // namespace

TEST_F(BuiltinTdh, SizeProtocolAsksForTheExactSizeThenFills)
{
    const RecordedEvent event = Testing::OperationalEvent(2, 2012).Build();
    auto* record = const_cast<EVENT_RECORD*>(&event.record);
    ULONG size = 0;
    ASSERT_EQ(static_cast<ULONG>(ERROR_INSUFFICIENT_BUFFER),
              builtin.TdhGetEventInformation(record, 0, nullptr, nullptr, &size));
    ASSERT_GT(size, sizeof(TRACE_EVENT_INFO));
    const ULONG needed = size;
    std::vector<uint8_t> block(needed);
    size = needed - 1;
    EXPECT_EQ(
        static_cast<ULONG>(ERROR_INSUFFICIENT_BUFFER),
        builtin.TdhGetEventInformation(record, 0, nullptr, reinterpret_cast<TRACE_EVENT_INFO*>(block.data()), &size));
    EXPECT_EQ(needed, size);
    EXPECT_EQ(0u, builtin.TdhGetEventInformation(record, 0, nullptr, reinterpret_cast<TRACE_EVENT_INFO*>(block.data()),
                                                 &size));
    EXPECT_EQ(needed, size);
    EXPECT_EQ(2012, Info(block).EventDescriptor.Id);
    EXPECT_EQ(2, Info(block).EventDescriptor.Version);
}

TEST_F(BuiltinTdh, DescribesProductEventsAsTheEmulatorDoes)
{
    for (const RecordedEvent& event : ProductEvents()) {
        const USHORT id = event.record.EventHeader.EventDescriptor.Id;
        SCOPED_TRACE(id);
        ULONG builtinStatus = 1;
        ULONG emulatorStatus = 1;
        const std::vector<uint8_t> ours = Information(builtin, event.record, builtinStatus);
        const std::vector<uint8_t> theirs = Information(Platform::Tdh(), event.record, emulatorStatus);
        ASSERT_EQ(0u, builtinStatus);
        ASSERT_EQ(0u, emulatorStatus);
        EXPECT_TRUE(IsEqualGUID(Trace::ProviderGuid, Info(ours).ProviderGuid));
        EXPECT_EQ(Info(theirs).EventDescriptor.Level, Info(ours).EventDescriptor.Level);
        EXPECT_EQ(Info(theirs).EventDescriptor.Task, Info(ours).EventDescriptor.Task);
        EXPECT_EQ(Info(theirs).EventDescriptor.Opcode, Info(ours).EventDescriptor.Opcode);
        EXPECT_EQ(NameAt(theirs, Info(theirs).LevelNameOffset), NameAt(ours, Info(ours).LevelNameOffset));
        EXPECT_EQ(NameAt(theirs, Info(theirs).ProviderNameOffset), NameAt(ours, Info(ours).ProviderNameOffset));
        EXPECT_EQ(NameAt(theirs, Info(theirs).TaskNameOffset), NameAt(ours, Info(ours).TaskNameOffset));
        EXPECT_EQ(NameAt(theirs, Info(theirs).EventMessageOffset), NameAt(ours, Info(ours).EventMessageOffset));
        ASSERT_EQ(Info(theirs).TopLevelPropertyCount, Info(ours).TopLevelPropertyCount);
        for (ULONG index = 0; index < Info(ours).TopLevelPropertyCount; ++index) {
            const EVENT_PROPERTY_INFO& mine = Info(ours).EventPropertyInfoArray[index];
            const EVENT_PROPERTY_INFO& other = Info(theirs).EventPropertyInfoArray[index];
            EXPECT_EQ(NameAt(theirs, other.NameOffset), NameAt(ours, mine.NameOffset));
            EXPECT_EQ(other.nonStructType.InType, mine.nonStructType.InType);
            EXPECT_EQ(other.nonStructType.OutType, mine.nonStructType.OutType);
        }
    }
}

TEST_F(BuiltinTdh, ReadsEveryPropertyAsTheEmulatorDoes)
{
    for (const RecordedEvent& event : ProductEvents()) {
        SCOPED_TRACE(event.record.EventHeader.EventDescriptor.Id);
        ULONG status = 1;
        const std::vector<uint8_t> ours = Information(builtin, event.record, status);
        ASSERT_EQ(0u, status);
        for (ULONG index = 0; index < Info(ours).TopLevelPropertyCount; ++index) {
            const std::wstring name = NameAt(ours, Info(ours).EventPropertyInfoArray[index].NameOffset);
            SCOPED_TRACE(std::string(name.begin(), name.end()));
            const PropertyAnswer mine = Property(builtin, event.record, name.c_str());
            EXPECT_EQ(0u, mine.sizeStatus);
            EXPECT_EQ(0u, mine.readStatus);
            EXPECT_EQ(Property(Platform::Tdh(), event.record, name.c_str()), mine);
        }
    }
}

TEST_F(BuiltinTdh, ReadsTheTextTheWriterWrote)
{
    Testing::OperationalFields fields;
    fields.message = L"Disk full";
    const RecordedEvent event = Testing::OperationalEvent(2, 2014, fields).Build();
    const PropertyAnswer message = Property(builtin, event.record, L"Message");
    ASSERT_EQ(0u, message.readStatus);
    EXPECT_EQ(std::string("Disk full", 10), std::string(message.bytes.begin(), message.bytes.end()));
}

TEST_F(BuiltinTdh, AnswersNotFoundForAPropertyTheEventLacks)
{
    const RecordedEvent event = Testing::OperationalEvent(2, 2012).Build();
    EXPECT_EQ(static_cast<ULONG>(ERROR_NOT_FOUND), Property(builtin, event.record, L"message").sizeStatus);
    EXPECT_EQ(static_cast<ULONG>(ERROR_NOT_FOUND), Property(builtin, event.record, L"Missing").sizeStatus);
}

TEST_F(BuiltinTdh, AnswersNotFoundForAnEventNothingDescribes)
{
    const GUID unknown = {0x01020304, 0x0506, 0x0708, {1, 2, 3, 4, 5, 6, 7, 8}};
    const RecordedEvent event = Testing::EventRecordBuilder(unknown, 1, 0, 4).UInt32(7).Build();
    ULONG size = 0;
    EXPECT_EQ(static_cast<ULONG>(ERROR_NOT_FOUND),
              builtin.TdhGetEventInformation(const_cast<EVENT_RECORD*>(&event.record), 0, nullptr, nullptr, &size));
    EXPECT_EQ(static_cast<ULONG>(ERROR_NOT_FOUND), Property(builtin, event.record, L"Anything").sizeStatus);
    // A version the manifest does not have is another event.
    const RecordedEvent version3 =
        Testing::EventRecordBuilder(Trace::ProviderGuid, 2012, 3, 4).Task(3).Narrow("app").Build();
    EXPECT_EQ(static_cast<ULONG>(ERROR_NOT_FOUND),
              builtin.TdhGetEventInformation(const_cast<EVENT_RECORD*>(&version3.record), 0, nullptr, nullptr, &size));
}

TEST_F(BuiltinTdh, DataThatEndsBeforeThePropertyIsInvalidEventData)
{
    // Only ProcessName and Name: the message would come next.
    const RecordedEvent event =
        Testing::EventRecordBuilder(Trace::ProviderGuid, 2012, 2, 4).Task(3).Narrow("app").Narrow("Name").Build();
    EXPECT_EQ(0u, Property(builtin, event.record, L"Name").sizeStatus);
    EXPECT_EQ(static_cast<ULONG>(ERROR_EVT_INVALID_EVENT_DATA), Property(builtin, event.record, L"Message").sizeStatus);
    EXPECT_EQ(Property(Platform::Tdh(), event.record, L"Message").sizeStatus,
              Property(builtin, event.record, L"Message").sizeStatus);
}

TEST_F(BuiltinTdh, ShortPropertyBufferIsInsufficient)
{
    const RecordedEvent event = Testing::OperationalEvent(2, 2012).Build();
    PROPERTY_DATA_DESCRIPTOR descriptor{};
    descriptor.PropertyName = reinterpret_cast<ULONGLONG>(L"Message");
    descriptor.ArrayIndex = ULONG_MAX;
    uint8_t buffer[4] = {};
    EXPECT_EQ(static_cast<ULONG>(ERROR_INSUFFICIENT_BUFFER),
              builtin.TdhGetProperty(const_cast<EVENT_RECORD*>(&event.record), 0, nullptr, 1, &descriptor,
                                     sizeof buffer, buffer));
}

TEST_F(BuiltinTdh, PathsReachStructMembersOnlyAndNoDeeper)
{
    const RecordedEvent event = Testing::OperationalEvent(2, 2012).Build();
    PROPERTY_DATA_DESCRIPTOR descriptors[3] = {};
    for (PROPERTY_DATA_DESCRIPTOR& descriptor : descriptors) {
        descriptor.PropertyName = reinterpret_cast<ULONGLONG>(L"Message");
        descriptor.ArrayIndex = ULONG_MAX;
    }
    auto* record = const_cast<EVENT_RECORD*>(&event.record);
    ULONG size = 0;
    // "Message" is no struct, so it has no member of that name.
    EXPECT_EQ(static_cast<ULONG>(ERROR_NOT_FOUND),
              builtin.TdhGetPropertySize(record, 0, nullptr, 2, descriptors, &size));
    // TDH's structs hold no structs: a third level is never there.
    EXPECT_EQ(static_cast<ULONG>(ERROR_NOT_SUPPORTED),
              builtin.TdhGetPropertySize(record, 0, nullptr, 3, descriptors, &size));
    descriptors[1].PropertyName = 0;
    EXPECT_EQ(static_cast<ULONG>(ERROR_INVALID_PARAMETER),
              builtin.TdhGetPropertySize(record, 0, nullptr, 2, descriptors, &size));
}

TEST_F(BuiltinTdh, PointerSizeContextOverridesTheHeader)
{
    // A 64-bit header, but the producer was 32-bit: "base" is then 4 bytes.
    Testing::ImageFields image;
    image.debug = "AAAA";
    image.pointerSize = 4;
    RecordedEvent event = Testing::ImageEvent(image).Build();
    event.record.EventHeader.Flags = EVENT_HEADER_FLAG_64_BIT_HEADER;
    TDH_CONTEXT context{};
    context.ParameterValue = 4;
    context.ParameterType = TDH_CONTEXT_POINTERSIZE;
    PROPERTY_DATA_DESCRIPTOR descriptor{};
    descriptor.PropertyName = reinterpret_cast<ULONGLONG>(L"base");
    descriptor.ArrayIndex = ULONG_MAX;
    ULONG size = 0;
    ASSERT_EQ(0u,
              builtin.TdhGetPropertySize(const_cast<EVENT_RECORD*>(&event.record), 1, &context, 1, &descriptor, &size));
    EXPECT_EQ(4u, size);
}

TEST_F(BuiltinTdh, LoadManifestReportsAMissingFileAndMalformedXml)
{
    std::wstring missing = (temp.Path() / L"absent.xml").wstring();
    EXPECT_EQ(static_cast<ULONG>(ERROR_FILE_NOT_FOUND), builtin.TdhLoadManifest(missing.data()));
    std::wstring broken = (temp.Path() / L"broken.xml").wstring();
    std::ofstream(std::filesystem::path(broken)) << "<instrumentationManifest><instrumentation>";
    EXPECT_EQ(static_cast<ULONG>(ERROR_XML_PARSE_ERROR), builtin.TdhLoadManifest(broken.data()));
    // The manifest loaded before stays loaded.
    const RecordedEvent event = Testing::OperationalEvent(2, 2012).Build();
    EXPECT_EQ(0u, Property(builtin, event.record, L"Message").sizeStatus);
}

TEST_F(BuiltinTdh, SystemProviderEventsHaveTheEmulatorsLayoutInEveryVersion)
{
    std::vector<RecordedEvent> events;
    events.push_back(Testing::WinlogonEvent(811, L"Sens", 5).Build());
    events.push_back(Testing::WinlogonEvent(812, L"Profiles", 13).Build());
    const std::pair<USHORT, UCHAR> kernelEvents[] = {{1, 0}, {1, 1}, {1, 2}, {1, 3}, {2, 0}, {2, 1}, {2, 2},
                                                     {3, 0}, {3, 1}, {4, 0}, {4, 1}, {5, 0}, {6, 0}};
    for (const auto& [id, version] : kernelEvents) {
        Testing::KernelFields fields;
        fields.version = version;
        events.push_back(Testing::KernelProcessEvent(id, fields).Build());
    }
    for (const RecordedEvent& event : events) {
        const EVENT_DESCRIPTOR& descriptor = event.record.EventHeader.EventDescriptor;
        SCOPED_TRACE(std::to_string(descriptor.Id) + " v" + std::to_string(descriptor.Version));
        ULONG builtinStatus = 1;
        ULONG emulatorStatus = 1;
        const std::vector<uint8_t> ours = Information(builtin, event.record, builtinStatus);
        const std::vector<uint8_t> theirs = Information(Platform::Tdh(), event.record, emulatorStatus);
        ASSERT_EQ(0u, builtinStatus);
        ASSERT_EQ(0u, emulatorStatus);
        EXPECT_EQ(NameAt(theirs, Info(theirs).LevelNameOffset), NameAt(ours, Info(ours).LevelNameOffset));
        ASSERT_EQ(Info(theirs).TopLevelPropertyCount, Info(ours).TopLevelPropertyCount);
        for (ULONG index = 0; index < Info(ours).TopLevelPropertyCount; ++index) {
            const EVENT_PROPERTY_INFO& mine = Info(ours).EventPropertyInfoArray[index];
            const std::wstring name = NameAt(ours, mine.NameOffset);
            SCOPED_TRACE(std::string(name.begin(), name.end()));
            EXPECT_EQ(NameAt(theirs, Info(theirs).EventPropertyInfoArray[index].NameOffset), name);
            EXPECT_EQ(Info(theirs).EventPropertyInfoArray[index].nonStructType.InType, mine.nonStructType.InType);
            const PropertyAnswer answer = Property(builtin, event.record, name.c_str());
            EXPECT_EQ(0u, answer.readStatus);
            EXPECT_EQ(Property(Platform::Tdh(), event.record, name.c_str()), answer);
        }
    }
}

TEST_F(BuiltinTdh, SystemProviderVersionsWindowsDoesNotEmitAreUndescribed)
{
    Testing::KernelFields fields;
    fields.version = 7;
    const RecordedEvent event = Testing::KernelProcessEvent(3, fields).Build();
    ULONG size = 0;
    EXPECT_EQ(static_cast<ULONG>(ERROR_NOT_FOUND),
              builtin.TdhGetEventInformation(const_cast<EVENT_RECORD*>(&event.record), 0, nullptr, nullptr, &size));
    EXPECT_EQ(
        static_cast<ULONG>(ERROR_NOT_FOUND),
        Platform::Tdh().TdhGetEventInformation(const_cast<EVENT_RECORD*>(&event.record), 0, nullptr, nullptr, &size));
}
