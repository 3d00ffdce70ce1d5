// The embedded manifest as TDH reads it: every event's descriptor, names and fields.

#include "tests/viewer/ViewerFixture.h"
#include "trace/EtwWriter.h"
#include "viewer/EventInformation.h"

#include <gtest/gtest.h>

namespace {

class ManifestContent : public Testing::ViewerTest {
protected:
    void SetUp() override { LoadManifest(); }

    struct Expected {
        USHORT id;
        UCHAR version;
        UCHAR level;
        USHORT task;
        UCHAR opcode;
        ULONGLONG keyword;
        const wchar_t* channel;
        const wchar_t* message;
        std::vector<std::wstring> fields;
    };

    static std::wstring Text(const TRACE_EVENT_INFO& info, ULONG offset)
    {
        return offset == 0 ? L"" : reinterpret_cast<const wchar_t*>(reinterpret_cast<const uint8_t*>(&info) + offset);
    }

    void Check(const Expected& expected)
    {
        SCOPED_TRACE(expected.id * 10 + expected.version);
        EVENT_RECORD record{};
        record.EventHeader.ProviderId = Trace::ProviderGuid;
        record.EventHeader.EventDescriptor.Id = expected.id;
        record.EventHeader.EventDescriptor.Version = expected.version;
        ULONG error = 0;
        const TRACE_EVENT_INFO* info = Viewer::GetEventInformation(record, error);
        ASSERT_NE(nullptr, info) << error;
        EXPECT_EQ(expected.level, info->EventDescriptor.Level);
        EXPECT_EQ(expected.task, info->EventDescriptor.Task);
        EXPECT_EQ(expected.opcode, info->EventDescriptor.Opcode);
        EXPECT_EQ(expected.keyword, info->EventDescriptor.Keyword);
        EXPECT_EQ(L"Kestrova-Diagnostics", Text(*info, info->ProviderNameOffset));
        EXPECT_EQ(std::wstring(L"Kestrova-Diagnostics/") + expected.channel, Text(*info, info->ChannelNameOffset));
        EXPECT_EQ(expected.message, Text(*info, info->EventMessageOffset));
        std::vector<std::wstring> fields;
        for (ULONG index = 0; index < info->TopLevelPropertyCount; ++index) {
            fields.push_back(Text(*info, info->EventPropertyInfoArray[index].NameOffset));
        }
        EXPECT_EQ(expected.fields, fields);
    }
};

const std::vector<std::wstring> traceFields{L"ProcessName", L"Message"};
const std::vector<std::wstring> methodFields{L"ProcessName", L"Arguments"};
const std::vector<std::wstring> operationalFields{L"ProcessName", L"Name", L"Message", L"Arguments", L"Stack"};

TEST_F(ManifestContent, DebugEvents)
{
    Check({2000, 1, 18, 1, 17, 0x4, L"Debug", L"debug:%2", traceFields});
    Check({2001, 1, 17, 2, 11, 0x4, L"Debug", L"exit:%2", methodFields});
    Check({2002, 1, 16, 2, 10, 0x4, L"Debug", L"enter:%2", methodFields});
    Check({2003, 1, 5, 1, 12, 0x4, L"Debug", L"verbose:%2", traceFields});
    Check({2004, 1, 4, 1, 13, 0x2, L"Debug", L"info:%2", traceFields});
    Check({2005, 1, 3, 1, 14, 0x2, L"Debug", L"warning:%2", traceFields});
    Check({2006, 1, 2, 1, 15, 0x2, L"Debug", L"error:%2", traceFields});
}

TEST_F(ManifestContent, OperationalEventsInBothVersions)
{
    const std::pair<UCHAR, UCHAR> levelsAndOpcodes[] = {{18, 17}, {5, 12}, {4, 13}, {3, 14}, {2, 15}};
    const wchar_t* messages[] = {L"%2", L"%2", L"%2", L"%2", L"%2"};
    for (UCHAR version : {1, 2}) {
        for (USHORT index = 0; index < 5; ++index) {
            Check({static_cast<USHORT>(2010 + index), version, levelsAndOpcodes[index].first, 3,
                   levelsAndOpcodes[index].second, 0x1, L"Analytical", messages[index], operationalFields});
        }
    }
}

TEST_F(ManifestContent, ImageAndFaultEvents)
{
    Check({2020,
           1,
           4,
           1,
           12,
           0x8,
           L"Debug",
           L"image:%1",
           {L"filename", L"debug", L"base", L"size", L"ProcessName", L"version", L"machine"}});
    Check({2021, 1, 1, 1, 15, 0x10, L"Debug", L"fault:%1", {L"ProcessName", L"debug"}});
}

TEST_F(ManifestContent, VersionTwoCarriesUtf8AndVersionOneUtf16)
{
    EVENT_RECORD record{};
    record.EventHeader.ProviderId = Trace::ProviderGuid;
    record.EventHeader.EventDescriptor.Id = 2012;
    for (UCHAR version : {1, 2}) {
        record.EventHeader.EventDescriptor.Version = version;
        ULONG error = 0;
        const TRACE_EVENT_INFO* info = Viewer::GetEventInformation(record, error);
        ASSERT_NE(nullptr, info);
        for (ULONG index = 0; index < info->TopLevelPropertyCount; ++index) {
            const auto& property = info->EventPropertyInfoArray[index];
            EXPECT_EQ(version == 1 ? 1 : 2, property.nonStructType.InType);   // UnicodeString : AnsiString
            EXPECT_EQ(version == 1 ? 1 : 35, property.nonStructType.OutType); // xs:string : win:Utf8
        }
    }
}

TEST_F(ManifestContent, StandardLevelsHaveNamesAndCustomOnesNone)
{
    EVENT_RECORD record{};
    record.EventHeader.ProviderId = Trace::ProviderGuid;
    record.EventHeader.EventDescriptor.Version = 1;
    const std::pair<USHORT, const wchar_t*> levels[] = {
        {2021, L"Critical"}, {2006, L"Error"}, {2005, L"Warning"}, {2004, L"Information"},
        {2003, L"Verbose"},  {2000, L""},      {2001, L""},        {2002, L""}};
    for (const auto& [id, name] : levels) {
        record.EventHeader.EventDescriptor.Id = id;
        ULONG error = 0;
        const TRACE_EVENT_INFO* info = Viewer::GetEventInformation(record, error);
        ASSERT_NE(nullptr, info);
        EXPECT_EQ(name, Text(*info, info->LevelNameOffset)) << id;
    }
}

} // namespace
