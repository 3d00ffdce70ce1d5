#include "etl/SystemProviders.h"

#include "etl/GuidText.h"
#include "etl/PropertyTree.h"
#include "etl/StandardNames.h"

#include <vector>

namespace Etl {

// Where these layouts come from (public dumps of the manifests Windows registers):
// - repnz/etw-providers-docs, Manifests-Win7-7600/Microsoft-Windows-Winlogon.xml: template
//   NotifySubscriberStartArgs of events 811 (CallSubscriberStart) and 812 (CallSubscriberStop),
//   task CallSubscriber (811), opcodes win:Start and win:Stop, keyword PerfInstrumentation.
// - repnz/etw-providers-docs, Manifests-Win7-7600/Microsoft-Windows-Kernel-Process.xml: the
//   templates ProcessStartArgs (1 v0), ProcessStopArgs (2 v0), ProcessStopArgs_V1 (2 v1),
//   ThreadStartArgs (3 v0, 4 v0), ThreadStartArgs_V1 (3 v1), ThreadStopArgs_V1 (4 v1) and
//   ImageLoadArgs (5 v0, 6 v0), with the tasks, opcodes and keywords.
// - OTRF/OSSEM, data_dictionaries/windows/etw-providers/Microsoft-Windows-Kernel-Process/
//   events/event-1_v1.md, event-1_v2.md, event-1_v3.md and event-2_v2.md: the later templates
//   ProcessStartArgs_V1, ProcessStartArgs_V2, ProcessRundownArgs_V1 (1 v3: with the
//   MandatoryLabel SID) and ProcessStopArgs_V2.
// - rabbitstack/fibratus (the Go decoder's DecodeProcessInternal) quotes ProcessStartArgs_V4
//   (1 v4): ProcessRundownArgs_V1 and SecurityMitigations.
// - The out-types of ProcessID and ParentProcessID (win:PID), CreateTime and ExitTime
//   (xs:dateTime), SessionID and ExitCode (xs:unsignedInt) are as the registered manifest
//   states them, quoted in Brian Rogers' TraceSample (KernelProcessSession.cs). Other fields
//   carry their in-type's default out-type.
// - The event messages: scheatkode/brain, knowledgebase/systems/windows/event-logs/
//   Microsoft-Windows-Kernel-Process.md. No public source gives those of 1 v3 and v4 and of
//   2 v2, so they have none here.
// - The channel (16, "Microsoft-Windows-Kernel-Process/Analytic") and its keyword bit 63 are
//   those of the Windows 7 events in KernelProcess-Win7.etl, which also confirmed the layouts
//   of 1 v0, 2 v1, 3 v1, 4 v1, 5 v0 and 6 v0 byte by byte.

namespace {

struct Field {
    const char16_t* name;
    uint16_t inType;
    uint16_t outType;
};

struct EventShape {
    uint16_t id;
    uint8_t version;
    uint8_t opcode;   // 0 when the manifest gives none
    uint64_t keyword; // the event's keyword, channel bit included
    const char16_t* task;
    const char16_t* keywordName;
    const char16_t* message;
    std::vector<Field> fields;
};

EventDescription Describe(const Guid& provider, const char16_t* providerName, const char16_t* channelName,
                          uint8_t channel, const EventShape& shape)
{
    EventDescription description;
    description.provider = provider;
    description.providerName = providerName;
    description.source = DecodingSource::XmlFile;
    description.descriptor =
        EventDescriptor{shape.id, shape.version, channel, 4, shape.opcode, shape.id, shape.keyword};
    description.levelName = StandardLevelName(4);
    description.channelName = channelName;
    description.keywordNames.push_back(shape.keywordName);
    description.taskName = shape.task;
    if (shape.opcode != 0) {
        description.opcodeName = StandardOpcodeName(shape.opcode);
    }
    description.message = shape.message;
    std::vector<PropertyNode> nodes;
    for (const Field& field : shape.fields) {
        PropertyNode node;
        node.property.name = field.name;
        node.property.inType = field.inType;
        node.property.outType = field.outType;
        nodes.push_back(std::move(node));
    }
    FlattenProperties(nodes, description);
    return description;
}

constexpr Field processId{u"ProcessID", InUInt32, OutPid};
constexpr Field createTime{u"CreateTime", InFileTime, OutDateTime};
constexpr Field parentProcessId{u"ParentProcessID", InUInt32, OutPid};
constexpr Field sessionId{u"SessionID", InUInt32, OutUnsignedInt};
constexpr Field flags{u"Flags", InUInt32, OutUnsignedInt};
constexpr Field unicodeImageName{u"ImageName", InUnicodeString, OutString};
constexpr Field imageChecksum{u"ImageChecksum", InUInt32, OutUnsignedInt};
constexpr Field timeDateStamp{u"TimeDateStamp", InUInt32, OutUnsignedInt};
constexpr Field packageFullName{u"PackageFullName", InUnicodeString, OutString};
constexpr Field packageRelativeAppId{u"PackageRelativeAppId", InUnicodeString, OutString};
constexpr Field processSequenceNumber{u"ProcessSequenceNumber", InUInt64, OutUnsignedLong};
constexpr Field exitTime{u"ExitTime", InFileTime, OutDateTime};
constexpr Field exitCode{u"ExitCode", InUInt32, OutUnsignedInt};
constexpr Field tokenElevationType{u"TokenElevationType", InUInt32, OutUnsignedInt};
constexpr Field handleCount{u"HandleCount", InUInt32, OutUnsignedInt};
constexpr Field commitCharge{u"CommitCharge", InUInt64, OutUnsignedLong};
constexpr Field commitPeak{u"CommitPeak", InUInt64, OutUnsignedLong};
constexpr Field cpuCycleCount{u"CPUCycleCount", InUInt64, OutUnsignedLong};
constexpr Field readOperationCount{u"ReadOperationCount", InUInt32, OutUnsignedInt};
constexpr Field writeOperationCount{u"WriteOperationCount", InUInt32, OutUnsignedInt};
constexpr Field readTransferKiloBytes{u"ReadTransferKiloBytes", InUInt32, OutUnsignedInt};
constexpr Field writeTransferKiloBytes{u"WriteTransferKiloBytes", InUInt32, OutUnsignedInt};
constexpr Field hardFaultCount{u"HardFaultCount", InUInt32, OutUnsignedInt};
constexpr Field ansiImageName{u"ImageName", InAnsiString, OutString};
constexpr Field threadId{u"ThreadID", InUInt32, OutUnsignedInt};

Field Pointer(const char16_t* name)
{
    return Field{name, InPointer, OutHexInt64};
}

std::vector<EventDescription> Winlogon()
{
    const Guid provider = *ParseGuid("DBE9B383-7CF3-4331-91CC-A3CB16A3B538");
    const std::vector<Field> subscriber{{u"Event", InUInt32, OutUnsignedInt},
                                        {u"SubscriberName", InUnicodeString, OutString}};
    // The Winlogon manifest sends these events to no channel and gives them no message.
    const EventShape shapes[] = {
        {811, 0, 1, 0x10000, u"CallSubscriber", u"PerfInstrumentation", u"", subscriber},
        {812, 0, 2, 0x10000, u"CallSubscriber", u"PerfInstrumentation", u"", subscriber},
    };
    std::vector<EventDescription> descriptions;
    for (const EventShape& shape : shapes) {
        EventDescription description = Describe(provider, u"Microsoft-Windows-Winlogon", u"", 0, shape);
        description.descriptor.task = 811;
        descriptions.push_back(std::move(description));
    }
    return descriptions;
}

std::vector<EventDescription> KernelProcess()
{
    const Guid provider = *ParseGuid("22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716");
    constexpr uint64_t analytic = 0x8000000000000000;
    constexpr uint64_t process = analytic | 0x10;
    constexpr uint64_t thread = analytic | 0x20;
    constexpr uint64_t image = analytic | 0x40;
    const char16_t* processKeyword = u"WINEVENT_KEYWORD_PROCESS";
    const char16_t* threadKeyword = u"WINEVENT_KEYWORD_THREAD";
    const char16_t* imageKeyword = u"WINEVENT_KEYWORD_IMAGE";
    const char16_t* startMessage0 = u"Process %1 started at time %2 by parent %3 running in session %4 with name %5.";
    const char16_t* startMessage1 = u"Process %1 started at time %2 by parent %3 running in session %4 with name %6.";
    const char16_t* stopMessage = u"Process %1 (which started at time %2) stopped at time %3 with exit code %4.";
    const std::vector<Field> rundown{processId,
                                     processSequenceNumber,
                                     createTime,
                                     parentProcessId,
                                     {u"ParentProcessSequenceNumber", InUInt64, OutUnsignedLong},
                                     sessionId,
                                     flags,
                                     {u"ProcessTokenElevationType", InUInt32, OutUnsignedInt},
                                     {u"ProcessTokenIsElevated", InUInt32, OutUnsignedInt},
                                     {u"MandatoryLabel", InSid, OutString},
                                     unicodeImageName,
                                     imageChecksum,
                                     timeDateStamp,
                                     packageFullName,
                                     packageRelativeAppId};
    std::vector<Field> rundownV4(rundown);
    rundownV4.push_back(Field{u"SecurityMitigations", InUInt32, OutUnsignedInt});
    const std::vector<Field> threadStart{processId,
                                         threadId,
                                         Pointer(u"StackBase"),
                                         Pointer(u"StackLimit"),
                                         Pointer(u"UserStackBase"),
                                         Pointer(u"UserStackLimit"),
                                         Pointer(u"StartAddr"),
                                         Pointer(u"Win32StartAddr"),
                                         Pointer(u"TebBase")};
    std::vector<Field> threadStartV1(threadStart);
    threadStartV1.push_back(Field{u"SubProcessTag", InUInt32, OutUnsignedInt});
    std::vector<Field> threadStopV1(threadStartV1);
    threadStopV1.push_back(Field{u"CycleTime", InUInt64, OutUnsignedLong});
    const std::vector<Field> imageLoad{
        Pointer(u"ImageBase"), Pointer(u"ImageSize"),   processId,       {u"ImageCheckSum", InUInt32, OutUnsignedInt},
        timeDateStamp,         Pointer(u"DefaultBase"), unicodeImageName};
    const std::vector<Field> stop0{processId,   createTime,   exitTime,   exitCode,     tokenElevationType,
                                   handleCount, commitCharge, commitPeak, ansiImageName};
    const std::vector<Field> stop1{processId,
                                   createTime,
                                   exitTime,
                                   exitCode,
                                   tokenElevationType,
                                   handleCount,
                                   commitCharge,
                                   commitPeak,
                                   cpuCycleCount,
                                   readOperationCount,
                                   writeOperationCount,
                                   readTransferKiloBytes,
                                   writeTransferKiloBytes,
                                   hardFaultCount,
                                   ansiImageName};
    std::vector<Field> stop2 = stop1;
    stop2.insert(stop2.begin() + 1, processSequenceNumber);
    const EventShape shapes[] = {
        {1,
         0,
         1,
         process,
         u"ProcessStart",
         processKeyword,
         startMessage0,
         {processId, createTime, parentProcessId, sessionId, unicodeImageName}},
        {1,
         1,
         1,
         process,
         u"ProcessStart",
         processKeyword,
         startMessage1,
         {processId, createTime, parentProcessId, sessionId, flags, unicodeImageName}},
        {1,
         2,
         1,
         process,
         u"ProcessStart",
         processKeyword,
         startMessage1,
         {processId, createTime, parentProcessId, sessionId, flags, unicodeImageName, imageChecksum, timeDateStamp,
          packageFullName, packageRelativeAppId}},
        {1, 3, 1, process, u"ProcessStart", processKeyword, u"", rundown},
        {1, 4, 1, process, u"ProcessStart", processKeyword, u"", rundownV4},
        {2, 0, 2, process, u"ProcessStop", processKeyword, stopMessage, stop0},
        {2, 1, 2, process, u"ProcessStop", processKeyword, stopMessage, stop1},
        {2, 2, 2, process, u"ProcessStop", processKeyword, u"", stop2},
        {3, 0, 1, thread, u"ThreadStart", threadKeyword, u"Thread %2 (in Process %1) started.", threadStart},
        {3, 1, 1, thread, u"ThreadStart", threadKeyword, u"Thread %2 (in Process %1) started.", threadStartV1},
        {4, 0, 2, thread, u"ThreadStop", threadKeyword, u"Thread %2 (in Process %1) stopped.", threadStart},
        {4, 1, 2, thread, u"ThreadStop", threadKeyword, u"Thread %2 (in Process %1) stopped.", threadStopV1},
        {5, 0, 0, image, u"ImageLoad", imageKeyword, u"Process %3 had an image loaded with name %7.", imageLoad},
        {6, 0, 0, image, u"ImageUnload", imageKeyword, u"Process %3 had an image unloaded with name %7.", imageLoad},
    };
    std::vector<EventDescription> descriptions;
    for (const EventShape& shape : shapes) {
        descriptions.push_back(Describe(provider, u"Microsoft-Windows-Kernel-Process",
                                        u"Microsoft-Windows-Kernel-Process/Analytic", 16, shape));
    }
    return descriptions;
}

} // namespace

std::vector<EventDescription> SystemProviderDescriptions()
{
    std::vector<EventDescription> descriptions = Winlogon();
    for (EventDescription& description : KernelProcess()) {
        descriptions.push_back(std::move(description));
    }
    return descriptions;
}

} // namespace Etl
