// Every real log under tests/data/etl read whole and compared with FIGURES.md, the reading
// of an independent reader: the header fields, the records outside the header buffer by
// kind, the events by provider, id (classic: class type) and version, and the first and
// last times after the merge. The rest (names, counts of the header buffer's records) is
// as a hex dump of each file shows it.

#include "SampleFiles.h"

#include "etl/FileSource.h"
#include "etl/GuidText.h"
#include "etl/KernelEventClasses.h"

#include <gtest/gtest.h>

#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace {

using Etl::HeaderKind;

struct Sample {
    std::string file;
    uint32_t pointerSize;
    uint32_t processors;
    int64_t perfFreq;
    std::string startTime;
    std::string first;
    std::string last;
    uint64_t buffers;
    uint64_t compressedBuffers;
    // Records outside the header buffer, by kind (FIGURES.md).
    std::map<HeaderKind, uint64_t> kinds;
    // Records of the header buffer, the log file header first: their hook types.
    std::vector<uint8_t> headerBufferTypes;
    // "GUID id version" for event, classic and instance records (FIGURES.md).
    std::map<std::string, uint64_t> events;
    std::u16string loggerName;
    std::u16string logFileName;
    uint32_t cpuSpeedMHz;
    uint32_t buffersWritten;
    uint32_t logFileMode;
};

void PrintTo(const Sample& sample, std::ostream* stream)
{
    *stream << sample.file;
}

const std::vector<Sample>& Samples()
{
    static const std::vector<Sample> samples = {
        {"AMSITrace.etl",
         8,
         8,
         10000000,
         "2020-02-17T12:48:30.420313Z",
         "2020-02-17T12:48:57.454272Z",
         "2020-02-17T12:49:50.402432Z",
         6,
         0,
         {{HeaderKind::Event64, 19}},
         {0, 80},
         {{"8E805EB3-6A8F-4A1E-90FA-A831D94E54A1 0 0", 19}},
         u"AMSITraceSession",
         u"c:\\work\\AMSITrace.etl",
         1992,
         6,
         0x08000001},
        {"KernelProcess-Win7.etl",
         8,
         2,
         2109960,
         "2010-10-29T19:07:49.659636Z",
         "2010-10-29T19:07:49.672810Z",
         "2010-10-29T19:10:20.120352Z",
         182,
         0,
         {{HeaderKind::Event64, 10343}},
         {0},
         {{"22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716 1 0", 4},
          {"22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716 2 1", 4},
          {"22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716 3 1", 287},
          {"22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716 4 1", 264},
          {"22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716 5 0", 1115},
          {"22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716 6 0", 1153},
          {"22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716 7 0", 810},
          {"22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716 8 0", 5088},
          {"22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716 9 0", 838},
          {"22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716 10 0", 780}},
         u"DataCollector02",
         u"C:\\PerfLogs\\Admin\\PerfRepro\\GEORGIS3_20101029-000009\\DataCollector02.etl",
         2160,
         182,
         0},
        {"SelfDescribingSingleEvent.etl",
         8,
         12,
         10000000,
         "2022-04-20T21:27:15.272243Z",
         "2022-04-20T21:27:15.272243Z",
         "2022-04-20T21:27:18.637703Z",
         3,
         2,
         {{HeaderKind::Event64, 1}, {HeaderKind::Full64, 18}, {HeaderKind::System64, 2}},
         {0, 80},
         {{"9B79EE91-B5FD-41C0-A243-4248E266E9D0 32 0", 1},
          {"9B79EE91-B5FD-41C0-A243-4248E266E9D0 33 0", 1},
          {"9B79EE91-B5FD-41C0-A243-4248E266E9D0 34 0", 2},
          {"9B79EE91-B5FD-41C0-A243-4248E266E9D0 35 0", 10},
          {"9B79EE91-B5FD-41C0-A243-4248E266E9D0 37 0", 1},
          {"A61EA624-4944-55FC-C2A8-37838829438D 3 0", 1},
          {"ED54DFF8-C409-4CF6-BF83-05E1E61A09C4 33 0", 1},
          {"ED54DFF8-C409-4CF6-BF83-05E1E61A09C4 35 0", 1},
          {"ED54DFF8-C409-4CF6-BF83-05E1E61A09C4 37 0", 1}},
         u"Relogger",
         u"[multiple files]",
         3192,
         3,
         0x04010001},
        {"ShutdownPerfDiagLogger.etl",
         8,
         2,
         10000000,
         "2020-02-28T09:03:47.744579Z",
         "2020-02-28T17:15:47.412590Z",
         "2020-02-28T17:15:51.653812Z",
         49,
         0,
         {{HeaderKind::PerfInfo64, 8645}, {HeaderKind::System64, 8430}},
         {0, 5, 80},
         {},
         u"PerfDiag Logger",
         u"C:\\Windows\\system32\\WDI\\LogFiles\\ShutdownPerfDiagLogger.etl",
         1992,
         49,
         0x02000080},
        {"lxcore_kernel.etl",
         8,
         6,
         10000000,
         "2020-07-14T12:04:31.138736Z",
         "2020-07-14T12:04:36.902651Z",
         "2020-07-14T12:04:36.903871Z",
         3,
         0,
         {{HeaderKind::Event64, 2}},
         {0, 80},
         {{"0CD1C309-0878-4515-83DB-749843B3F5C9 0 0", 2}},
         u"lxcore_kernel",
         u"C:\\Prog\\lxcore_kernel.etl",
         3000,
         3,
         0},
        {"powershell.etl",
         8,
         32,
         10000000,
         "2023-03-29T15:12:38.017544Z",
         "2023-03-29T15:12:38.020459Z",
         "2023-03-29T15:14:55.438943Z",
         26,
         0,
         {{HeaderKind::Event64, 112}},
         {0, 80},
         {{"A0C1853B-5C40-4B15-8766-3CF1C58F985A 7937 1", 101},
          {"A0C1853B-5C40-4B15-8766-3CF1C58F985A 7938 1", 1},
          {"A0C1853B-5C40-4B15-8766-3CF1C58F985A 7939 1", 6},
          {"A0C1853B-5C40-4B15-8766-3CF1C58F985A 7942 1", 1},
          {"A0C1853B-5C40-4B15-8766-3CF1C58F985A 40961 1", 1},
          {"A0C1853B-5C40-4B15-8766-3CF1C58F985A 40962 1", 1},
          {"A0C1853B-5C40-4B15-8766-3CF1C58F985A 53504 1", 1}},
         u"usermode_trace",
         u"C:\\Users\\aaaaa\\output1.etl",
         3400,
         26,
         0x9},
        {"smallEtlFile.etl",
         4,
         4,
         3117777,
         "2016-08-17T23:30:22.037926Z",
         "2016-08-17T23:30:22.068863Z",
         "2016-08-17T23:30:22.068863Z",
         2,
         1,
         {{HeaderKind::Event32, 1}},
         {0},
         {{"A669021C-C450-4609-A035-5AF59AF4DF18 154 2", 1}},
         u"PerfWatsonGCHeapETLSession688",
         u"ReloggedFile.ETL",
         3193,
         2,
         0x04011001},
        {"test_data_32_v0.etl",
         4,
         2,
         14318180,
         "2010-03-21T13:27:39.357000Z",
         "2010-03-21T13:27:39.384557Z",
         "2010-03-21T13:27:41.383808Z",
         3,
         0,
         {{HeaderKind::Full32, 26}},
         {0},
         {{"2CB15D1D-5FC1-11D2-ABE1-00A0C911F518 2 0", 1},
          {"2CB15D1D-5FC1-11D2-ABE1-00A0C911F518 3 0", 24},
          {"2CB15D1D-5FC1-11D2-ABE1-00A0C911F518 10 0", 1}},
         u"Make Test Data Session",
         u"c:\\code\\sawbuck\\src\\sawbuck\\viewer\\test_data\\test_data_32_v0.etl",
         2161,
         3,
         0x1},
    };
    return samples;
}

bool IsClassic(HeaderKind kind)
{
    return kind == HeaderKind::Full32 || kind == HeaderKind::Full64 || kind == HeaderKind::Instance32 ||
           kind == HeaderKind::Instance64;
}

bool IsEventHeader(HeaderKind kind)
{
    return kind == HeaderKind::Event32 || kind == HeaderKind::Event64;
}

// What one pass over a sample found.
struct Reading {
    std::map<HeaderKind, uint64_t> kindsOutsideHeaderBuffer;
    std::vector<uint8_t> headerBufferTypes;
    std::map<std::string, uint64_t> events;
    int64_t first = 0;
    int64_t last = 0;
    uint64_t inversions = 0;
    uint64_t records = 0;
};

Reading Read(Etl::LogReader& reader)
{
    Reading reading;
    Etl::Event event;
    int64_t previous = INT64_MIN;
    while (reader.Next(event)) {
        ++reading.records;
        if (event.timestamp < previous) {
            ++reading.inversions;
        }
        previous = event.timestamp;
        if (event.bufferIndex == 0) {
            reading.headerBufferTypes.push_back(event.descriptor.opcode);
            continue;
        }
        ++reading.kindsOutsideHeaderBuffer[event.kind];
        if (reading.first == 0) {
            reading.first = event.timestamp;
        }
        reading.last = event.timestamp;
        if (IsEventHeader(event.kind) || IsClassic(event.kind)) {
            const unsigned id = IsClassic(event.kind) ? event.descriptor.opcode : event.descriptor.id;
            ++reading.events[Etl::FormatGuid(event.provider) + " " + std::to_string(id) + " " +
                             std::to_string(event.descriptor.version)];
        }
    }
    return reading;
}

class SampleLogs : public testing::TestWithParam<Sample> {};

TEST_P(SampleLogs, HeaderFieldsAreTheOnesFiguresGives)
{
    const Sample& sample = GetParam();
    const auto bytes = EtlTest::ReadSample(sample.file);
    const auto reader = EtlTest::ReaderOver(bytes);
    const Etl::LogHeader& header = reader->Header();
    EXPECT_EQ(header.pointerSize, sample.pointerSize);
    EXPECT_EQ(header.processors, sample.processors);
    EXPECT_EQ(header.clockType, 1u);
    EXPECT_EQ(header.perfFreq, sample.perfFreq);
    EXPECT_EQ(EtlTest::IsoTime(header.startTime), sample.startTime);
    EXPECT_EQ(header.loggerName, sample.loggerName);
    EXPECT_EQ(header.logFileName, sample.logFileName);
    EXPECT_EQ(header.cpuSpeedMHz, sample.cpuSpeedMHz);
    EXPECT_EQ(header.buffersWritten, sample.buffersWritten);
    EXPECT_EQ(header.logFileMode, sample.logFileMode);
}

TEST_P(SampleLogs, RecordsAndTimesAreTheOnesFiguresGives)
{
    const Sample& sample = GetParam();
    const auto bytes = EtlTest::ReadSample(sample.file);
    const auto reader = EtlTest::ReaderOver(bytes);
    const Reading reading = Read(*reader);
    EXPECT_EQ(reading.kindsOutsideHeaderBuffer, sample.kinds);
    EXPECT_EQ(reading.headerBufferTypes, sample.headerBufferTypes);
    EXPECT_EQ(reading.events, sample.events);
    EXPECT_EQ(EtlTest::IsoTime(reading.first), sample.first);
    EXPECT_EQ(EtlTest::IsoTime(reading.last), sample.last);
    EXPECT_EQ(reading.inversions, 0u);

    const Etl::ReadCounts& counts = reader->Counts();
    EXPECT_EQ(counts.buffers, sample.buffers);
    EXPECT_EQ(counts.compressedBuffers, sample.compressedBuffers);
    uint64_t delivered = 0;
    for (const uint64_t count : counts.delivered) {
        delivered += count;
    }
    EXPECT_EQ(delivered, reading.records);
    const HeaderKind headerKind = sample.pointerSize == 4 ? HeaderKind::System32 : HeaderKind::System64;
    const uint64_t outside = sample.kinds.count(headerKind) ? sample.kinds.at(headerKind) : 0;
    EXPECT_EQ(counts.Delivered(headerKind), outside + sample.headerBufferTypes.size());
    for (const uint64_t count : counts.undecoded) {
        EXPECT_EQ(count, 0u);
    }
}

// The first event is the log file header as ProcessTrace delivers it: the EventTrace
// class, classic, opcode 0, the TRACE_LOGFILE_HEADER and the names as its user data, at
// StartTime.
TEST_P(SampleLogs, LogFileHeaderComesFirstAsAnEventTraceEvent)
{
    const Sample& sample = GetParam();
    const auto bytes = EtlTest::ReadSample(sample.file);
    const auto reader = EtlTest::ReaderOver(bytes);
    Etl::Event event;
    ASSERT_TRUE(reader->Next(event));
    EXPECT_EQ(event.provider, Etl::EventTraceClass());
    EXPECT_EQ(Etl::FormatGuid(event.provider), "68FDD900-4A3E-11D1-84F4-0000F80464E3");
    EXPECT_EQ(event.descriptor.opcode, 0u);
    EXPECT_EQ(event.descriptor.id, 0u);
    EXPECT_EQ(event.hookId, 0u);
    EXPECT_NE(event.flags & Etl::FlagClassicHeader, 0);
    EXPECT_NE(event.flags & (sample.pointerSize == 4 ? Etl::Flag32BitHeader : Etl::Flag64BitHeader), 0);
    EXPECT_EQ(event.timestamp, reader->Header().startTime);
    EXPECT_EQ(event.bufferIndex, 0u);
    EXPECT_EQ(event.bufferOffset, 0x48u);
    // The user data begins with TRACE_LOGFILE_HEADER.BufferSize and ends with the log file
    // name and its terminating zero.
    ASSERT_GE(event.userData.size(), 4u);
    const uint32_t bufferSize = event.userData[0] | event.userData[1] << 8 | event.userData[2] << 16 |
                                static_cast<uint32_t>(event.userData[3]) << 24;
    EXPECT_EQ(bufferSize, reader->Header().bufferSize);
    const size_t nameBytes = 2 * (sample.logFileName.size() + 1);
    ASSERT_GE(event.userData.size(), nameBytes);
    std::u16string tail;
    for (size_t offset = event.userData.size() - nameBytes; offset + 2 < event.userData.size(); offset += 2) {
        tail.push_back(static_cast<char16_t>(event.userData[offset] | event.userData[offset + 1] << 8));
    }
    EXPECT_EQ(tail, sample.logFileName);
}

TEST_P(SampleLogs, FileAndMemoryReadTheSame)
{
    const Sample& sample = GetParam();
    const auto bytes = EtlTest::ReadSample(sample.file);
    const auto fromMemory = EtlTest::ReaderOver(bytes);
    std::error_code error;
    auto source = Etl::OpenFile(EtlTest::SamplePath(sample.file), error);
    ASSERT_FALSE(error) << error.message();
    ASSERT_NE(source, nullptr);
    EXPECT_EQ(source->Size(), bytes.size());
    Etl::LogReader fromFile(std::move(source));
    Etl::Event memoryEvent;
    Etl::Event fileEvent;
    uint64_t records = 0;
    while (fromMemory->Next(memoryEvent)) {
        ASSERT_TRUE(fromFile.Next(fileEvent)) << records;
        ++records;
        ASSERT_EQ(fileEvent.timestamp, memoryEvent.timestamp) << records;
        ASSERT_EQ(fileEvent.bufferIndex, memoryEvent.bufferIndex) << records;
        ASSERT_EQ(fileEvent.bufferOffset, memoryEvent.bufferOffset) << records;
        ASSERT_TRUE(std::equal(fileEvent.userData.begin(), fileEvent.userData.end(), memoryEvent.userData.begin(),
                               memoryEvent.userData.end()))
            << records;
    }
    EXPECT_FALSE(fromFile.Next(fileEvent));
}

INSTANTIATE_TEST_SUITE_P(EverySample, SampleLogs, testing::ValuesIn(Samples()),
                         [](const testing::TestParamInfo<Sample>& info) {
                             std::string name = info.param.file.substr(0, info.param.file.find('.'));
                             for (char& character : name) {
                                 if (!std::isalnum(static_cast<unsigned char>(character))) {
                                     character = '_';
                                 }
                             }
                             return name;
                         });

TEST(SampleLogDetails, KernelRecordsCarryTheirClassAndHook)
{
    const auto bytes = EtlTest::ReadSample("ShutdownPerfDiagLogger.etl");
    const auto reader = EtlTest::ReaderOver(bytes);
    Etl::Event event;
    std::map<std::string, uint64_t> byClassAndHook;
    while (reader->Next(event)) {
        if (event.bufferIndex != 0) {
            ++byClassAndHook[Etl::FormatGuid(event.provider) + " " + std::to_string(event.hookId >> 8) + " " +
                             std::to_string(event.descriptor.opcode) + (event.threadId == 0xFFFFFFFF ? " -" : "")];
        }
    }
    // Thread (group 5), process (3), image (0x14) and, through perfinfo headers without
    // thread or process, EventTrace (0) and image rundown. Counted from the file's hooks.
    const std::map<std::string, uint64_t> expected = {
        {"68FDD900-4A3E-11D1-84F4-0000F80464E3 0 5 -", 2},     {"68FDD900-4A3E-11D1-84F4-0000F80464E3 0 8 -", 2},
        {"68FDD900-4A3E-11D1-84F4-0000F80464E3 0 32 -", 2},    {"2CB15D1D-5FC1-11D2-ABE1-00A0C911F518 20 3 -", 6549},
        {"2CB15D1D-5FC1-11D2-ABE1-00A0C911F518 20 4 -", 1952}, {"2CB15D1D-5FC1-11D2-ABE1-00A0C911F518 20 33 -", 1},
        {"2CB15D1D-5FC1-11D2-ABE1-00A0C911F518 20 34 -", 1},   {"3D6FA8D0-FE05-11D0-9DDA-00C04FD7BA7C 3 3 -", 94},
        {"3D6FA8D0-FE05-11D0-9DDA-00C04FD7BA7C 3 4 -", 37},    {"3D6FA8D0-FE05-11D0-9DDA-00C04FD7BA7C 3 39 -", 5},
        {"2CB15D1D-5FC1-11D2-ABE1-00A0C911F518 20 2", 4791},   {"2CB15D1D-5FC1-11D2-ABE1-00A0C911F518 20 3", 196},
        {"2CB15D1D-5FC1-11D2-ABE1-00A0C911F518 20 4", 193},    {"3D6FA8D0-FE05-11D0-9DDA-00C04FD7BA7C 3 2", 60},
        {"3D6FA8D0-FE05-11D0-9DDA-00C04FD7BA7C 3 10", 72},     {"3D6FA8D0-FE05-11D0-9DDA-00C04FD7BA7C 3 11", 60},
        {"3D6FA8D1-FE05-11D0-9DDA-00C04FD7BA7C 5 1", 350},     {"3D6FA8D1-FE05-11D0-9DDA-00C04FD7BA7C 5 2", 1032},
        {"3D6FA8D1-FE05-11D0-9DDA-00C04FD7BA7C 5 3", 1175},    {"3D6FA8D1-FE05-11D0-9DDA-00C04FD7BA7C 5 4", 501},
    };
    EXPECT_EQ(byClassAndHook, expected);
}

TEST(SampleLogDetails, ExtendedItemsOfTraceLoggingEvents)
{
    const auto bytes = EtlTest::ReadSample("SelfDescribingSingleEvent.etl");
    const auto reader = EtlTest::ReaderOver(bytes);
    Etl::Event event;
    while (reader->Next(event) && event.kind != HeaderKind::Event64) {
    }
    ASSERT_EQ(event.kind, HeaderKind::Event64);
    EXPECT_EQ(event.flags, Etl::FlagExtendedInfo | Etl::Flag64BitHeader | Etl::FlagProcessorIndex);
    EXPECT_EQ(event.threadId, 52284u);
    EXPECT_EQ(event.processId, 111592u);
    EXPECT_EQ(event.descriptor.level, 5u);
    EXPECT_EQ(event.processor, 1u);
    ASSERT_EQ(event.extended.size(), 2u);
    EXPECT_EQ(event.extended[0].type, Etl::ExtProvTraits);
    // The traits: their size (11), then the provider name "MySource".
    EXPECT_EQ(std::string(event.extended[0].data.begin() + 2, event.extended[0].data.end() - 1), "MySource");
    EXPECT_EQ(event.extended[1].type, Etl::ExtEventSchemaTl);
    EXPECT_EQ(event.extended[1].data.size(), 23u);
    // "Hello" and "World!" in UTF-16 with their terminators.
    EXPECT_EQ(event.userData.size(), 26u);
    EXPECT_EQ(event.userData[0], 'H');
    EXPECT_EQ(event.userData[12], 'W');
}

TEST(SampleLogDetails, ProcessorNumberIsTheLowByteWithoutTheIndexFlag)
{
    // KernelProcess-Win7.etl keeps 0x08 in the byte after the processor number.
    const auto bytes = EtlTest::ReadSample("KernelProcess-Win7.etl");
    const auto reader = EtlTest::ReaderOver(bytes);
    Etl::Event event;
    std::map<uint16_t, uint64_t> byProcessor;
    while (reader->Next(event)) {
        EXPECT_EQ(event.flags & Etl::FlagProcessorIndex, 0);
        EXPECT_EQ(event.loggerId, 0x0Bu);
        ++byProcessor[event.processor];
    }
    EXPECT_EQ(byProcessor.size(), 2u);
    EXPECT_EQ(byProcessor.count(0), 1u);
    EXPECT_EQ(byProcessor.count(1), 1u);
}

TEST(SampleLogDetails, OpenFileReportsAMissingFile)
{
    std::error_code error;
    const auto source = Etl::OpenFile(EtlTest::SamplePath("no-such-log.etl"), error);
    EXPECT_EQ(source, nullptr);
    EXPECT_EQ(error, std::errc::no_such_file_or_directory);
}

} // namespace
