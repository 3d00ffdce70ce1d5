// The order of delivery, on small logs built here: each processor's buffers by sequence
// number whatever their place in the file, the processors merged by time stamp, and a
// circular log that wrapped read from its oldest buffer on.

#include "SampleFiles.h"
#include "SyntheticLog.h"

#include "etl/FormatError.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using EtlTest::EventRecord;
using EtlTest::StampAt;

const Etl::Guid provider{0x6E2B9C41, 0x7A3D, 0x4F15, {0x8C, 0x62, 0x3D, 0x9A, 0x1B, 0x7E, 0x5F, 0x04}};

// An event whose id says when it was stamped, in microseconds after StartTime.
std::vector<uint8_t> At(uint16_t microseconds)
{
    return EventRecord(true, StampAt(microseconds * 10), provider, microseconds, {});
}

// "id@processor/buffer" of every record after the log file header.
std::vector<std::string> Order(const std::vector<uint8_t>& log)
{
    const auto reader = EtlTest::ReaderOver(log);
    Etl::Event event;
    EXPECT_TRUE(reader->Next(event));
    EXPECT_EQ(event.hookId, 0u);
    std::vector<std::string> order;
    while (reader->Next(event)) {
        order.push_back(std::to_string(event.descriptor.id) + "@" + std::to_string(event.processor) + "/" +
                        std::to_string(event.bufferIndex));
        EXPECT_EQ(event.timestamp, EtlTest::HeaderFields{}.startTime + event.descriptor.id * 10);
    }
    return order;
}

TEST(BufferOrder, ProcessorsBuffersReadBySequenceAndMergedByTime)
{
    // In the file: processor 1's second buffer, processor 0's second, processor 1's first,
    // processor 0's first.
    const auto log = EtlTest::SyntheticLog()
                         .Buffer(1, 4, {At(60), At(80)})
                         .Buffer(0, 3, {At(50), At(70)})
                         .Buffer(1, 2, {At(20), At(40)})
                         .Buffer(0, 1, {At(10), At(30)})
                         .Bytes();
    EXPECT_EQ(Order(log), (std::vector<std::string>{"10@0/4", "20@1/3", "30@0/4", "40@1/3", "50@0/2", "60@1/1",
                                                    "70@0/2", "80@1/1"}));
}

TEST(BufferOrder, WrappedCircularLogReadsFromItsOldestBuffer)
{
    // A circular log with room for four buffers after its header, which wrapped: the
    // buffers of sequence 7 and 8 overwrote those of 3 and 4 at the start of the ring, so
    // the file holds 7, 8, 5, 6 in that order.
    EtlTest::HeaderFields fields;
    fields.logFileMode = Etl::LogFileModeCircular;
    fields.buffersWritten = 9; // every buffer the session wrote, more than the file keeps
    const auto log = EtlTest::SyntheticLog(fields)
                         .Buffer(2, 7, {At(70), At(71)})
                         .Buffer(2, 8, {At(80)})
                         .Buffer(2, 5, {At(50), At(51), At(52)})
                         .Buffer(2, 6, {At(60)})
                         .Bytes();
    EXPECT_EQ(Order(log),
              (std::vector<std::string>{"50@2/3", "51@2/3", "52@2/3", "60@2/4", "70@2/1", "71@2/1", "80@2/2"}));
}

TEST(BufferOrder, EqualStampsKeepTheOrderOfTheirBuffers)
{
    // Processor 3's buffer was written first (sequence 8), though processor 1 sorts lower.
    const auto log = EtlTest::SyntheticLog().Buffer(1, 9, {At(5), At(7)}).Buffer(3, 8, {At(5), At(6)}).Bytes();
    EXPECT_EQ(Order(log), (std::vector<std::string>{"5@3/2", "5@1/1", "6@3/2", "7@1/1"}));
}

TEST(BufferOrder, LogFileHeaderComesFirstEvenAfterEarlierRecords)
{
    EtlTest::HeaderFields fields;
    fields.referenceStamp = 5'000'000;
    const auto log =
        EtlTest::SyntheticLog(fields).Buffer(0, 1, {EventRecord(true, 4'000'000, provider, 1, {})}).Bytes();
    const auto reader = EtlTest::ReaderOver(log);
    Etl::Event event;
    ASSERT_TRUE(reader->Next(event));
    EXPECT_EQ(event.timestamp, fields.startTime);
    EXPECT_EQ(event.provider,
              (Etl::Guid{0x68FDD900, 0x4A3E, 0x11D1, {0x84, 0xF4, 0x00, 0x00, 0xF8, 0x04, 0x64, 0xE3}}));
    ASSERT_TRUE(reader->Next(event));
    EXPECT_EQ(event.timestamp, fields.startTime - 1'000'000);
    EXPECT_FALSE(reader->Next(event));
    EXPECT_FALSE(reader->Next(event));
}

TEST(BufferOrder, SequentialLogWithFewerBuffersThanItsHeaderCountsIsCutShort)
{
    EtlTest::HeaderFields fields;
    fields.buffersWritten = 4;
    const auto log = EtlTest::SyntheticLog(fields).Buffer(0, 1, {At(1)}).Bytes();
    try {
        EtlTest::ReaderOver(log);
        FAIL() << "no error";
    } catch (const Etl::FormatError& error) {
        EXPECT_STREQ(error.what(),
                     "The log file header counts 4 buffers written, but the 0x800-byte file holds 2: it is cut short");
    }
}

TEST(BufferOrder, EmptyBuffersAndEndMarkersEndTheirBuffer)
{
    const auto log = EtlTest::SyntheticLog()
                         .Buffer(0, 1, {})
                         .Buffer(0, 2, {At(3), {0xFF, 0xFF, 0xFF, 0xFF}, At(4)})
                         .Buffer(0, 3, {At(5)})
                         .Bytes();
    EXPECT_EQ(Order(log), (std::vector<std::string>{"3@0/2", "5@0/3"}));
}

} // namespace
