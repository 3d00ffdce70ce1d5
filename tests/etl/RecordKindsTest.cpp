// Every header kind the reader decodes, in small logs built here, and the fields it fills
// for each the way ProcessTrace fills an EVENT_RECORD.

#include "SampleFiles.h"
#include "SyntheticLog.h"

#include "etl/GuidText.h"
#include "etl/KernelEventClasses.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

using Etl::HeaderKind;
using EtlTest::StampAt;
using Bytes = std::vector<uint8_t>;

const Etl::Guid classGuid{0x2CB15D1D, 0x5FC1, 0x11D2, {0xAB, 0xE1, 0x00, 0xA0, 0xC9, 0x11, 0xF5, 0x18}};
const Etl::Guid provider{0x6E2B9C41, 0x7A3D, 0x4F15, {0x8C, 0x62, 0x3D, 0x9A, 0x1B, 0x7E, 0x5F, 0x04}};
const Bytes payload = {'d', 'a', 't', 'a', '!'};

// The records of a log with one buffer (processor 5) after the header buffer.
class OneBuffer {
public:
    explicit OneBuffer(const std::vector<Bytes>& records, const EtlTest::HeaderFields& fields = {})
        : bytes_(EtlTest::SyntheticLog(fields).Buffer(5, 1, records).Bytes()), reader_(EtlTest::ReaderOver(bytes_))
    {
        Etl::Event header;
        EXPECT_TRUE(reader_->Next(header));
    }

    Etl::Event Next()
    {
        Etl::Event event;
        EXPECT_TRUE(reader_->Next(event));
        return event;
    }

    bool AtEnd()
    {
        Etl::Event event;
        return !reader_->Next(event);
    }

    Etl::LogReader& Reader() { return *reader_; }

private:
    Bytes bytes_;
    std::unique_ptr<Etl::LogReader> reader_;
};

Bytes Data(const Etl::Event& event)
{
    return Bytes(event.userData.begin(), event.userData.end());
}

// The header fields of event on one line, to compare whole.
std::string Summary(const Etl::Event& event)
{
    static const char* const kinds[] = {"Event32",    "Event64",    "System32",   "System64", "Compact32",
                                        "Compact64",  "PerfInfo32", "PerfInfo64", "Full32",   "Full64",
                                        "Instance32", "Instance64", "Wpp32",      "Wpp64"};
    char text[400];
    std::snprintf(text, sizeof text,
                  "%s pointer %u flags 0x%X provider %s hook 0x%X id %u version %u channel %u level %u opcode %u "
                  "task %u keyword 0x%llX thread 0x%X process 0x%X times 0x%X 0x%X processor %u logger %u at %u:0x%X "
                  "time +%lld",
                  kinds[static_cast<size_t>(event.kind)], event.pointerSize, event.flags,
                  Etl::FormatGuid(event.provider).c_str(), event.hookId, event.descriptor.id, event.descriptor.version,
                  event.descriptor.channel, event.descriptor.level, event.descriptor.opcode, event.descriptor.task,
                  static_cast<unsigned long long>(event.descriptor.keyword), event.threadId, event.processId,
                  event.kernelTime, event.userTime, event.processor, event.loggerId, event.bufferIndex,
                  event.bufferOffset, static_cast<long long>(event.timestamp - EtlTest::HeaderFields{}.startTime));
    return text;
}

TEST(RecordKinds, SystemRecordOfAKernelGroup)
{
    OneBuffer log({EtlTest::SystemRecord(false, StampAt(7), 0x0301, 21, 22, payload)});
    const Etl::Event event = log.Next();
    EXPECT_EQ(Summary(event), "System32 pointer 4 flags 0x320 provider 3D6FA8D0-FE05-11D0-9DDA-00C04FD7BA7C hook "
                              "0x301 id 0 version 2 channel 0 level 0 opcode 1 task 0 keyword 0x0 thread 0x15 process "
                              "0x16 times 0x11 0x22 processor 5 logger 1 at 1:0x48 time +7"); // Process class
    EXPECT_EQ(event.rawTimestamp, StampAt(7));
    EXPECT_EQ(Data(event), payload);
    EXPECT_TRUE(event.extended.empty());
    EXPECT_TRUE(log.AtEnd());
    EXPECT_EQ(log.Reader().Counts().Delivered(HeaderKind::System32), 1u);
    EXPECT_EQ(log.Reader().Counts().Delivered(HeaderKind::System64), 1u); // the log file header
}

TEST(RecordKinds, CompactAndPerfInfoRecords)
{
    OneBuffer log({EtlTest::CompactRecord(true, StampAt(1), 0x0524, 31, 32, payload),
                   EtlTest::PerfInfoRecord(false, StampAt(2), 0x0F2E, payload)});
    const Etl::Event compact = log.Next();
    EXPECT_EQ(Summary(compact), "Compact64 pointer 8 flags 0x340 provider 3D6FA8D1-FE05-11D0-9DDA-00C04FD7BA7C "
                                "hook 0x524 id 0 version 2 channel 0 level 0 opcode 36 task 0 keyword 0x0 thread 0x1F "
                                "process 0x20 times 0x0 0x0 processor 5 logger 1 at 1:0x48 time +1"); // Thread class
    EXPECT_EQ(Data(compact), payload);

    const Etl::Event perfInfo = log.Next();
    // PerfInfo class; the compact record took 0x1D bytes, 0x20 aligned.
    EXPECT_EQ(Summary(perfInfo), "PerfInfo32 pointer 4 flags 0x320 provider CE1DBFB4-137E-4DA6-87B0-3F59AA102CBC "
                                 "hook 0xF2E id 0 version 2 channel 0 level 0 opcode 46 task 0 keyword 0x0 thread "
                                 "0xFFFFFFFF process 0xFFFFFFFF times 0x0 0x0 processor 5 logger 1 at 1:0x68 time +2");
    EXPECT_EQ(Data(perfInfo), payload);
}

TEST(RecordKinds, KernelGroupWithoutADocumentedClassKeepsItsHook)
{
    OneBuffer log({EtlTest::SystemRecord(true, StampAt(1), 0x3F07, 1, 2, {})});
    const Etl::Event event = log.Next();
    EXPECT_EQ(event.provider, Etl::Guid{});
    EXPECT_EQ(event.hookId, 0x3F07u);
    EXPECT_EQ(event.descriptor.opcode, 7u);
}

TEST(RecordKinds, ClassicRecordsNameTheirClass)
{
    OneBuffer log({EtlTest::ClassicRecord(false, StampAt(3), classGuid, 10, 4, 3, payload),
                   EtlTest::ClassicRecord(true, StampAt(4), classGuid, 2, 5, 0x0102, {})});
    const Etl::Event full32 = log.Next();
    EXPECT_EQ(Summary(full32), "Full32 pointer 4 flags 0x320 provider 2CB15D1D-5FC1-11D2-ABE1-00A0C911F518 hook "
                               "0x0 id 0 version 3 channel 0 level 4 opcode 10 task 0 keyword 0x0 thread 0x9A process "
                               "0xBC times 0x55 0x66 processor 5 logger 1 at 1:0x48 time +3");
    EXPECT_EQ(Data(full32), payload);

    const Etl::Event full64 = log.Next();
    EXPECT_EQ(full64.kind, HeaderKind::Full64);
    EXPECT_EQ(full64.pointerSize, 8u);
    EXPECT_EQ(full64.descriptor.version, 2u); // the low byte of the class version
    EXPECT_TRUE(full64.userData.empty());
}

TEST(RecordKinds, InstanceRecordDeliversItsInstanceInfo)
{
    const Etl::Guid parent{0x11111111, 0x2222, 0x3333, {4, 4, 5, 5, 5, 5, 5, 5}};
    OneBuffer log({EtlTest::InstanceRecord(true, StampAt(5), classGuid, 1, 0x77, 0x66, parent, payload)});
    const Etl::Event event = log.Next();
    EXPECT_EQ(Summary(event), "Instance64 pointer 8 flags 0x340 provider 2CB15D1D-5FC1-11D2-ABE1-00A0C911F518 hook "
                              "0x0 id 0 version 2 channel 0 level 3 opcode 1 task 0 keyword 0x0 thread 0x9A process "
                              "0xBC times 0x55 0x66 processor 5 logger 1 at 1:0x48 time +5");
    ASSERT_EQ(event.extended.size(), 1u);
    EXPECT_EQ(event.extended[0].type, Etl::ExtInstanceInfo);
    // EVENT_EXTENDED_ITEM_INSTANCE: InstanceId, ParentInstanceId, ParentGuid.
    EtlTest::ByteWriter expected;
    expected.U32(0x77).U32(0x66).Guid(parent);
    EXPECT_EQ(Bytes(event.extended[0].data.begin(), event.extended[0].data.end()), expected.Take());
    EXPECT_EQ(Data(event), payload);
}

TEST(RecordKinds, EventRecordsWithAndWithoutExtendedItems)
{
    const Bytes tsId = {0x01, 0x00, 0x00, 0x00};
    EtlTest::ByteWriter stack;
    stack.U64(0xABCD).U64(0x7FF612340000).U64(0x7FF612340010).U64(0xFFFFF80012345678);
    EtlTest::ByteWriter related;
    related.Guid(provider);
    OneBuffer log(
        {EtlTest::EventRecord(false, StampAt(1), provider, 300, payload),
         EtlTest::EventRecordWithItems(
             StampAt(2), provider, 301,
             {{Etl::ExtRelatedActivityId, related.Take()}, {Etl::ExtTsId, tsId}, {Etl::ExtStackTrace64, stack.Take()}},
             payload)});
    const Etl::Event event32 = log.Next();
    EXPECT_EQ(Summary(event32), "Event32 pointer 4 flags 0x220 provider 6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04 hook "
                                "0x0 id 300 version 1 channel 16 level 4 opcode 0 task 7 keyword 0x8000000000000001 "
                                "thread 0x1234 process 0x5678 times 0x33 0x44 processor 5 logger 1 at 1:0x48 time +1");
    EXPECT_EQ(Etl::FormatGuid(event32.activityId), "AC71D17E-1234-5678-0102-030405060708");
    EXPECT_TRUE(event32.extended.empty());
    EXPECT_EQ(Data(event32), payload);

    const Etl::Event event64 = log.Next();
    EXPECT_EQ(Summary(event64), "Event64 pointer 8 flags 0x241 provider 6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04 hook "
                                "0x0 id 301 version 1 channel 16 level 4 opcode 0 task 7 keyword 0x8000000000000001 "
                                "thread 0x1234 process 0x5678 times 0x33 0x44 processor 5 logger 1 at 1:0xA0 time +2");
    ASSERT_EQ(event64.extended.size(), 3u);
    EXPECT_EQ(event64.extended[0].type, Etl::ExtRelatedActivityId);
    EXPECT_EQ(event64.extended[0].data.size(), 16u);
    EXPECT_EQ(event64.extended[1].type, Etl::ExtTsId);
    EXPECT_EQ(Bytes(event64.extended[1].data.begin(), event64.extended[1].data.end()), tsId);
    EXPECT_EQ(event64.extended[2].type, Etl::ExtStackTrace64);
    EXPECT_EQ(event64.extended[2].data.size(), 32u);
    EXPECT_EQ(event64.extended[2].data[8], 0x00u);
    EXPECT_EQ(event64.extended[2].data[9], 0x00u);
    EXPECT_EQ(event64.extended[2].data[10], 0x34u);
    EXPECT_EQ(Data(event64), payload);
}

TEST(RecordKinds, MessagesWithATimeStampAreDeliveredOthersCounted)
{
    const Etl::Guid messageGuid{0x0D0C0B0A, 0x0F0E, 0x1110, {1, 2, 3, 4, 5, 6, 7, 8}};
    OneBuffer log({EtlTest::MessageRecord(false, 0, messageGuid, 11, 1, 2, payload),
                   EtlTest::MessageRecord(true, StampAt(9), messageGuid, 12, 41, 42, payload)});
    const Etl::Event event = log.Next();
    EXPECT_EQ(Summary(event), "Wpp64 pointer 8 flags 0x248 provider 0D0C0B0A-0F0E-1110-0102-030405060708 hook 0x0 "
                              "id 12 version 0 channel 0 level 0 opcode 0 task 0 keyword 0x0 thread 0x29 process 0x2A "
                              "times 0x0 0x0 processor 5 logger 1 at 1:0x70 time +9");
    EXPECT_EQ(Data(event), payload);
    EXPECT_TRUE(log.AtEnd());
    EXPECT_EQ(log.Reader().Counts().Skipped(HeaderKind::Wpp64), 1u);
    EXPECT_EQ(log.Reader().Counts().Delivered(HeaderKind::Wpp64), 1u);
}

TEST(RecordKinds, UndecodedHeaderTypesAreSkippedBySizeAndCounted)
{
    OneBuffer log({EtlTest::OtherTraceRecord(0x0C, Bytes(21, 0xEE)), EtlTest::OtherTraceRecord(0x30, {}),
                   EtlTest::EventRecord(true, StampAt(1), provider, 5, {}), EtlTest::OtherTraceRecord(0x0C, {})});
    EXPECT_EQ(log.Next().descriptor.id, 5u);
    EXPECT_TRUE(log.AtEnd());
    const Etl::ReadCounts& counts = log.Reader().Counts();
    EXPECT_EQ(counts.undecoded[0x0C], 2u);
    EXPECT_EQ(counts.undecoded[0x30], 1u);
    EXPECT_EQ(counts.Delivered(HeaderKind::Event64), 1u);
}

TEST(RecordKinds, SystemTimeClockStampsAreFileTimes)
{
    EtlTest::HeaderFields fields;
    fields.clockType = 2;
    fields.referenceStamp = fields.startTime;
    OneBuffer log({EtlTest::EventRecord(true, fields.startTime + 123456, provider, 1, {})}, fields);
    EXPECT_EQ(log.Next().timestamp, fields.startTime + 123456);
}

TEST(RecordKinds, CpuCycleClockConvertsThroughTheSpeed)
{
    EtlTest::HeaderFields fields;
    fields.clockType = 3;
    fields.cpuSpeedMHz = 2500; // 2500 cycles a microsecond
    fields.perfFreq = 0;
    OneBuffer log({EtlTest::EventRecord(true, fields.referenceStamp + 25'000'000, provider, 1, {})}, fields);
    EXPECT_EQ(log.Next().timestamp, fields.startTime + 100'000); // 10 ms
}

TEST(RecordKinds, ThirtyTwoBitLogFileHeader)
{
    EtlTest::HeaderFields fields;
    fields.pointerSize = 4;
    fields.perfFreq = 3'117'777;
    OneBuffer log({EtlTest::EventRecord(false, fields.referenceStamp + 3'117'777, provider, 1, {})}, fields);
    const Etl::LogHeader& header = log.Reader().Header();
    EXPECT_EQ(header.pointerSize, 4u);
    EXPECT_EQ(header.perfFreq, 3'117'777);
    EXPECT_EQ(header.startTime, fields.startTime);
    EXPECT_EQ(header.bootTime, fields.startTime - 36'000'000'000);
    EXPECT_EQ(header.endTime, fields.startTime + 600'000'000);
    EXPECT_EQ(header.timeZoneBias, -60);
    EXPECT_EQ(header.processors, 4u);
    EXPECT_EQ(header.buffersWritten, 2u);
    EXPECT_EQ(header.eventsLost, 7u);
    EXPECT_EQ(header.loggerName, u"Synthetic Logger");
    EXPECT_EQ(header.logFileName, u"C:\\logs\\synthetic.etl");
    EXPECT_EQ(log.Next().timestamp, fields.startTime + 10'000'000);
}

} // namespace
