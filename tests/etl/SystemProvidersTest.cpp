#include "etl/SystemProviders.h"
#include "etl/Decoder.h"
#include "etl/GuidText.h"
#include "etl/PropertyLocator.h"
#include "tests/etl/LocationExpectations.h"
#include "tests/etl/PayloadBuilder.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using Testing::ExpectAt;
using Testing::MakeEvent;
using Testing::PayloadBuilder;

const Etl::Guid winlogon = *Etl::ParseGuid("{DBE9B383-7CF3-4331-91CC-A3CB16A3B538}");
const Etl::Guid kernelProcess = *Etl::ParseGuid("{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}");

struct Field {
    std::u16string name;
    uint16_t inType;
    uint16_t outType;
};

const Field processId{u"ProcessID", Etl::InUInt32, Etl::OutPid};
const Field createTime{u"CreateTime", Etl::InFileTime, Etl::OutDateTime};
const Field parentProcessId{u"ParentProcessID", Etl::InUInt32, Etl::OutPid};
const Field sessionId{u"SessionID", Etl::InUInt32, Etl::OutUnsignedInt};
const Field flags{u"Flags", Etl::InUInt32, Etl::OutUnsignedInt};
const Field imageName{u"ImageName", Etl::InUnicodeString, Etl::OutString};
const Field ansiImageName{u"ImageName", Etl::InAnsiString, Etl::OutString};
const Field sequence{u"ProcessSequenceNumber", Etl::InUInt64, Etl::OutUnsignedLong};

Field U32(const char16_t* name)
{
    return Field{name, Etl::InUInt32, Etl::OutUnsignedInt};
}

Field U64(const char16_t* name)
{
    return Field{name, Etl::InUInt64, Etl::OutUnsignedLong};
}

Field Pointer(const char16_t* name)
{
    return Field{name, Etl::InPointer, Etl::OutHexInt64};
}

Field Unicode(const char16_t* name)
{
    return Field{name, Etl::InUnicodeString, Etl::OutString};
}

using Key = std::pair<uint16_t, uint8_t>;

std::map<Key, std::vector<Field>> ExpectedKernelProcessFields()
{
    const std::vector<Field> thread0{processId,
                                     U32(u"ThreadID"),
                                     Pointer(u"StackBase"),
                                     Pointer(u"StackLimit"),
                                     Pointer(u"UserStackBase"),
                                     Pointer(u"UserStackLimit"),
                                     Pointer(u"StartAddr"),
                                     Pointer(u"Win32StartAddr"),
                                     Pointer(u"TebBase")};
    std::vector<Field> thread1 = thread0;
    thread1.push_back(U32(u"SubProcessTag"));
    std::vector<Field> threadStop1 = thread1;
    threadStop1.push_back(U64(u"CycleTime"));
    const std::vector<Field> image{Pointer(u"ImageBase"), Pointer(u"ImageSize"),   processId, U32(u"ImageCheckSum"),
                                   U32(u"TimeDateStamp"), Pointer(u"DefaultBase"), imageName};
    const std::vector<Field> stopCommon{processId,
                                        createTime,
                                        {u"ExitTime", Etl::InFileTime, Etl::OutDateTime},
                                        U32(u"ExitCode"),
                                        U32(u"TokenElevationType"),
                                        U32(u"HandleCount"),
                                        U64(u"CommitCharge"),
                                        U64(u"CommitPeak")};
    std::vector<Field> stop0 = stopCommon;
    stop0.push_back(ansiImageName);
    std::vector<Field> stop1 = stopCommon;
    for (const Field& field :
         {U64(u"CPUCycleCount"), U32(u"ReadOperationCount"), U32(u"WriteOperationCount"), U32(u"ReadTransferKiloBytes"),
          U32(u"WriteTransferKiloBytes"), U32(u"HardFaultCount"), ansiImageName}) {
        stop1.push_back(field);
    }
    std::vector<Field> stop2 = stop1;
    stop2.insert(stop2.begin() + 1, sequence);
    const std::vector<Field> start3{processId,
                                    sequence,
                                    createTime,
                                    parentProcessId,
                                    U64(u"ParentProcessSequenceNumber"),
                                    sessionId,
                                    flags,
                                    U32(u"ProcessTokenElevationType"),
                                    U32(u"ProcessTokenIsElevated"),
                                    {u"MandatoryLabel", Etl::InSid, Etl::OutString},
                                    imageName,
                                    U32(u"ImageChecksum"),
                                    U32(u"TimeDateStamp"),
                                    Unicode(u"PackageFullName"),
                                    Unicode(u"PackageRelativeAppId")};
    std::vector<Field> start4 = start3;
    start4.push_back(U32(u"SecurityMitigations"));
    return {
        {{1, 0}, {processId, createTime, parentProcessId, sessionId, imageName}},
        {{1, 1}, {processId, createTime, parentProcessId, sessionId, flags, imageName}},
        {{1, 2},
         {processId, createTime, parentProcessId, sessionId, flags, imageName, U32(u"ImageChecksum"),
          U32(u"TimeDateStamp"), Unicode(u"PackageFullName"), Unicode(u"PackageRelativeAppId")}},
        {{1, 3}, start3},
        {{1, 4}, start4},
        {{2, 0}, stop0},
        {{2, 1}, stop1},
        {{2, 2}, stop2},
        {{3, 0}, thread0},
        {{3, 1}, thread1},
        {{4, 0}, thread0},
        {{4, 1}, threadStop1},
        {{5, 0}, image},
        {{6, 0}, image},
    };
}

void ExpectFields(const Etl::EventDescription& description, const std::vector<Field>& fields)
{
    ASSERT_EQ(description.properties.size(), fields.size());
    EXPECT_EQ(description.topLevelPropertyCount, fields.size());
    for (size_t index = 0; index < fields.size(); ++index) {
        SCOPED_TRACE("field " + std::to_string(index));
        EXPECT_EQ(description.properties[index].name, fields[index].name);
        EXPECT_EQ(description.properties[index].inType, fields[index].inType);
        EXPECT_EQ(description.properties[index].outType, fields[index].outType);
        EXPECT_EQ(description.properties[index].flags, 0u);
    }
}

TEST(SystemProviders, DescribeEveryKernelProcessVersionWithItsFields)
{
    const auto expected = ExpectedKernelProcessFields();
    std::map<Key, const Etl::EventDescription*> described;
    const std::vector<Etl::EventDescription> descriptions = Etl::SystemProviderDescriptions();
    for (const Etl::EventDescription& description : descriptions) {
        if (description.provider == kernelProcess) {
            described[{description.descriptor.id, description.descriptor.version}] = &description;
        }
    }
    ASSERT_EQ(described.size(), expected.size());
    for (const auto& [key, fields] : expected) {
        SCOPED_TRACE("event " + std::to_string(key.first) + " version " + std::to_string(key.second));
        ASSERT_EQ(described.count(key), 1u);
        ExpectFields(*described[key], fields);
    }
}

TEST(SystemProviders, NameKernelProcessLevelsTasksOpcodesChannelAndKeywords)
{
    struct Names {
        uint16_t task;
        uint8_t opcode;
        const char16_t* taskName;
        const char16_t* opcodeName;
        uint64_t keyword;
        const char16_t* keywordName;
    };
    const std::map<uint16_t, Names> byId{
        {1, {1, 1, u"ProcessStart", u"Start", 0x8000000000000010, u"WINEVENT_KEYWORD_PROCESS"}},
        {2, {2, 2, u"ProcessStop", u"Stop", 0x8000000000000010, u"WINEVENT_KEYWORD_PROCESS"}},
        {3, {3, 1, u"ThreadStart", u"Start", 0x8000000000000020, u"WINEVENT_KEYWORD_THREAD"}},
        {4, {4, 2, u"ThreadStop", u"Stop", 0x8000000000000020, u"WINEVENT_KEYWORD_THREAD"}},
        {5, {5, 0, u"ImageLoad", u"", 0x8000000000000040, u"WINEVENT_KEYWORD_IMAGE"}},
        {6, {6, 0, u"ImageUnload", u"", 0x8000000000000040, u"WINEVENT_KEYWORD_IMAGE"}},
    };
    for (const Etl::EventDescription& description : Etl::SystemProviderDescriptions()) {
        if (description.provider != kernelProcess) {
            continue;
        }
        SCOPED_TRACE("event " + std::to_string(description.descriptor.id));
        const Names& names = byId.at(description.descriptor.id);
        EXPECT_EQ(description.providerName, u"Microsoft-Windows-Kernel-Process");
        EXPECT_EQ(description.source, Etl::DecodingSource::XmlFile);
        EXPECT_EQ(description.descriptor.level, 4u);
        EXPECT_EQ(description.levelName, u"Information");
        EXPECT_EQ(description.descriptor.channel, 16u);
        EXPECT_EQ(description.channelName, u"Microsoft-Windows-Kernel-Process/Analytic");
        EXPECT_EQ(description.descriptor.task, names.task);
        EXPECT_EQ(description.taskName, names.taskName);
        EXPECT_EQ(description.descriptor.opcode, names.opcode);
        EXPECT_EQ(description.opcodeName, names.opcodeName);
        EXPECT_EQ(description.descriptor.keyword, names.keyword);
        EXPECT_EQ(description.keywordNames, std::vector<std::u16string>{names.keywordName});
    }
}

TEST(SystemProviders, GiveKernelProcessMessagesWherePublished)
{
    const std::map<Key, std::u16string> messages{
        {{1, 0}, u"Process %1 started at time %2 by parent %3 running in session %4 with name %5."},
        {{1, 1}, u"Process %1 started at time %2 by parent %3 running in session %4 with name %6."},
        {{1, 2}, u"Process %1 started at time %2 by parent %3 running in session %4 with name %6."},
        {{1, 3}, u""},
        {{1, 4}, u""},
        {{2, 0}, u"Process %1 (which started at time %2) stopped at time %3 with exit code %4."},
        {{2, 1}, u"Process %1 (which started at time %2) stopped at time %3 with exit code %4."},
        {{2, 2}, u""},
        {{3, 0}, u"Thread %2 (in Process %1) started."},
        {{3, 1}, u"Thread %2 (in Process %1) started."},
        {{4, 0}, u"Thread %2 (in Process %1) stopped."},
        {{4, 1}, u"Thread %2 (in Process %1) stopped."},
        {{5, 0}, u"Process %3 had an image loaded with name %7."},
        {{6, 0}, u"Process %3 had an image unloaded with name %7."},
    };
    for (const Etl::EventDescription& description : Etl::SystemProviderDescriptions()) {
        if (description.provider == kernelProcess) {
            EXPECT_EQ(description.message, messages.at({description.descriptor.id, description.descriptor.version}));
        }
    }
}

TEST(SystemProviders, DescribeWinlogonSubscriberEvents)
{
    std::vector<const Etl::EventDescription*> events;
    const std::vector<Etl::EventDescription> descriptions = Etl::SystemProviderDescriptions();
    for (const Etl::EventDescription& description : descriptions) {
        if (description.provider == winlogon) {
            events.push_back(&description);
        }
    }
    ASSERT_EQ(events.size(), 2u);
    const uint8_t opcodes[] = {1, 2};
    const char16_t* opcodeNames[] = {u"Start", u"Stop"};
    for (size_t index = 0; index < 2; ++index) {
        const Etl::EventDescription& description = *events[index];
        EXPECT_EQ(description.descriptor.id, 811 + index);
        EXPECT_EQ(description.descriptor.version, 0u);
        EXPECT_EQ(description.providerName, u"Microsoft-Windows-Winlogon");
        EXPECT_EQ(description.descriptor.level, 4u);
        EXPECT_EQ(description.levelName, u"Information");
        EXPECT_EQ(description.descriptor.task, 811u);
        EXPECT_EQ(description.taskName, u"CallSubscriber");
        EXPECT_EQ(description.descriptor.opcode, opcodes[index]);
        EXPECT_EQ(description.opcodeName, opcodeNames[index]);
        EXPECT_EQ(description.descriptor.keyword, 0x10000u);
        EXPECT_EQ(description.keywordNames, std::vector<std::u16string>{u"PerfInstrumentation"});
        EXPECT_EQ(description.descriptor.channel, 0u);
        EXPECT_EQ(description.channelName, u"");
        EXPECT_EQ(description.message, u"");
        ExpectFields(description, {U32(u"Event"), Unicode(u"SubscriberName")});
    }
}

class SystemProviderEvents : public testing::Test {
protected:
    const Etl::EventDescription& Described(const Etl::Event& event)
    {
        const Etl::EventDescription* description = decoder.Describe(event);
        if (description == nullptr) {
            throw std::runtime_error("not described");
        }
        return *description;
    }

    Etl::Decoder decoder;
};

TEST_F(SystemProviderEvents, LocateWinlogonProperties)
{
    const std::vector<uint8_t> data = PayloadBuilder().U32(5).Wide(u"Sens").Data();
    const Etl::Event event = MakeEvent(winlogon, 811, 0, data);
    const Etl::EventDescription& description = Described(event);
    ExpectAt(Etl::LocateProperty(event, description, u"Event"), 0, 4);
    ExpectAt(Etl::LocateProperty(event, description, u"SubscriberName"), 4, 10);
    EXPECT_EQ(Etl::LocateProperty(event, description, u"Subscriber").status, Etl::StatusNotFound);
    const std::vector<uint8_t> truncated{5, 0, 0};
    EXPECT_EQ(Etl::LocateProperty(MakeEvent(winlogon, 812, 0, truncated), description, u"SubscriberName").status,
              Etl::StatusInvalidEventData);
}

TEST_F(SystemProviderEvents, SizeThreadPointersByTheProducer)
{
    for (const unsigned pointerSize : {4u, 8u}) {
        SCOPED_TRACE("pointer size " + std::to_string(pointerSize));
        PayloadBuilder builder;
        builder.U32(1036).U32(3900);
        for (uint64_t pointer = 1; pointer <= 7; ++pointer) {
            builder.Pointer(pointer, pointerSize);
        }
        const std::vector<uint8_t> data = builder.U32(98).Data();
        const Etl::Event event = MakeEvent(kernelProcess, 3, 1, data, pointerSize);
        const Etl::EventDescription& description = Described(event);
        ExpectAt(Etl::LocateProperty(event, description, u"ThreadID"), 4, 4);
        ExpectAt(Etl::LocateProperty(event, description, u"StackBase"), 8, pointerSize);
        ExpectAt(Etl::LocateProperty(event, description, u"TebBase"), 8 + 6 * pointerSize, pointerSize);
        ExpectAt(Etl::LocateProperty(event, description, u"SubProcessTag"), 8 + 7 * pointerSize, 4);
        // One byte short.
        const std::vector<uint8_t> shortData(data.begin(), data.end() - 1);
        EXPECT_EQ(
            Etl::LocateProperty(MakeEvent(kernelProcess, 3, 1, shortData, pointerSize), description, u"SubProcessTag")
                .status,
            Etl::StatusInvalidEventData);
    }
}

TEST_F(SystemProviderEvents, SizeTheMandatoryLabelByItsOwnLength)
{
    for (const size_t subAuthorities : {size_t{1}, size_t{5}}) {
        SCOPED_TRACE(std::to_string(subAuthorities) + " sub-authorities");
        const std::vector<uint8_t> data = PayloadBuilder()
                                              .U32(100)
                                              .U64(7)
                                              .U64(0x01CB779C9AE2EA90)
                                              .U32(4)
                                              .U64(3)
                                              .U32(1)
                                              .U32(0)
                                              .U32(2)
                                              .U32(1)
                                              .Sid(16, std::vector<uint32_t>(subAuthorities, 0x3000))
                                              .Wide(u"\\Device\\a.exe")
                                              .U32(0x1234)
                                              .U32(0x5678)
                                              .Wide(u"")
                                              .Wide(u"")
                                              .Data();
        const Etl::Event event = MakeEvent(kernelProcess, 1, 3, data);
        const Etl::EventDescription& description = Described(event);
        const uint32_t sidSize = static_cast<uint32_t>(8 + 4 * subAuthorities);
        ExpectAt(Etl::LocateProperty(event, description, u"MandatoryLabel"), 48, sidSize);
        ExpectAt(Etl::LocateProperty(event, description, u"ImageName"), 48 + sidSize, 28);
        ExpectAt(Etl::LocateProperty(event, description, u"TimeDateStamp"), 48 + sidSize + 32, 4);
        ExpectAt(Etl::LocateProperty(event, description, u"PackageRelativeAppId"), 48 + sidSize + 38, 2);
        // The SID promises more sub-authorities than the data holds.
        std::vector<uint8_t> cut(data.begin(), data.begin() + 48 + 8);
        EXPECT_EQ(Etl::LocateProperty(MakeEvent(kernelProcess, 1, 3, cut), description, u"MandatoryLabel").status,
                  Etl::StatusInvalidEventData);
        EXPECT_EQ(Etl::LocateProperty(MakeEvent(kernelProcess, 1, 3, cut), description, u"ImageName").status,
                  Etl::StatusInvalidEventData);
    }
}

TEST_F(SystemProviderEvents, ReadTheAnsiImageNameOfProcessStop)
{
    const std::vector<uint8_t> data = PayloadBuilder()
                                          .U32(5380)
                                          .U64(1)
                                          .U64(2)
                                          .U32(0)
                                          .U32(3)
                                          .U32(96)
                                          .U64(0x59D000)
                                          .U64(0x706000)
                                          .U64(868422815)
                                          .U32(12)
                                          .U32(1)
                                          .U32(52)
                                          .U32(0)
                                          .U32(0)
                                          .Narrow("SearchProtocol")
                                          .Data();
    const Etl::Event event = MakeEvent(kernelProcess, 2, 1, data);
    const Etl::EventDescription& description = Described(event);
    ExpectAt(Etl::LocateProperty(event, description, u"ExitCode"), 20, 4);
    ExpectAt(Etl::LocateProperty(event, description, u"ImageName"), 76, 15);
    // Without its terminator the name takes the rest of the data.
    const std::vector<uint8_t> unterminated(data.begin(), data.end() - 1);
    ExpectAt(Etl::LocateProperty(MakeEvent(kernelProcess, 2, 1, unterminated), description, u"ImageName"), 76, 14);
    const std::vector<uint8_t> nameless(data.begin(), data.begin() + 76);
    EXPECT_EQ(Etl::LocateProperty(MakeEvent(kernelProcess, 2, 1, nameless), description, u"ImageName").status,
              Etl::StatusInvalidEventData);
    EXPECT_EQ(Etl::LocateProperty(event, description, u"ImageFileName").status, Etl::StatusNotFound);
}

TEST_F(SystemProviderEvents, LeaveOtherEventsAndVersionsUndescribed)
{
    const std::vector<uint8_t> data{0, 0, 0, 0};
    EXPECT_EQ(decoder.Describe(MakeEvent(kernelProcess, 7, 0, data)), nullptr);
    EXPECT_EQ(decoder.Describe(MakeEvent(kernelProcess, 1, 5, data)), nullptr);
    EXPECT_EQ(decoder.Describe(MakeEvent(kernelProcess, 5, 1, data)), nullptr);
    EXPECT_EQ(decoder.Describe(MakeEvent(winlogon, 811, 1, data)), nullptr);
    EXPECT_EQ(decoder.Describe(MakeEvent(winlogon, 810, 0, data)), nullptr);
    EXPECT_EQ(decoder.Describe(MakeEvent(Etl::Guid{}, 1, 0, data)), nullptr);
    ASSERT_NE(decoder.Describe(MakeEvent(kernelProcess, 1, 4, data)), nullptr);
    EXPECT_EQ(decoder.Describe(MakeEvent(kernelProcess, 1, 4, data))->properties.back().name, u"SecurityMitigations");
}

} // namespace
