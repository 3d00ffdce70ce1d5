// How a LogWriter fills, numbers, stamps and writes out the buffers of several processors.

#include "tests/etlwriter/LogWriter.h"
#include "tests/etlwriter/MemoryOutput.h"
#include "tests/etlwriter/SampleFiles.h"
#include "tests/etlwriter/WrittenLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

using EtlWriterTesting::WalkBuffers;
using EtlWriterTesting::WalkRecords;
using EtlWriterTesting::WrittenBuffer;
using testing::ElementsAre;

constexpr uint32_t bufferSize = 0x1000;

EtlWriter::LogOptions SmallBuffers(uint32_t processors)
{
    EtlWriter::LogOptions options;
    options.header.bufferSize = bufferSize;
    options.header.numberOfProcessors = processors;
    options.header.startTime = 0x01DA000000000000;
    options.loggerId = 0x21;
    options.startStamp = 1000;
    return options;
}

// An event of exactly size bytes (at least 0x50) stamped timestamp.
class Events {
public:
    const EtlWriter::EventRecord& Sized(size_t size, int64_t timestamp)
    {
        payload.assign(size - EtlWriter::eventHeaderSize, 0xAB);
        record.timestamp = timestamp;
        record.userData = payload;
        return record;
    }

private:
    std::vector<uint8_t> payload;
    EtlWriter::EventRecord record;
};

std::vector<uint64_t> Sequences(const std::vector<WrittenBuffer>& buffers)
{
    std::vector<uint64_t> sequences;
    for (size_t index = 1; index < buffers.size(); ++index) {
        sequences.push_back(buffers[index].sequence);
    }
    return sequences;
}

TEST(LogWriter, RecordsAreAlignedAndTheUnusedRestIsFF)
{
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, SmallBuffers(1));
    Events events;
    writer.Write(0, events.Sized(0x53, 2000));
    writer.Write(0, events.Sized(0x58, 2001));
    writer.Write(0, events.Sized(0x61, 2002));
    writer.Close();

    const std::vector<WrittenBuffer> buffers = WalkBuffers(output.Bytes());
    ASSERT_EQ(buffers.size(), 2u);
    const WrittenBuffer& buffer = buffers[1];
    EXPECT_EQ(buffer.fileOffset, bufferSize);
    EXPECT_EQ(buffer.bufferSize, bufferSize);
    EXPECT_EQ(buffer.filled, 0x48u + 0x58 + 0x58 + 0x68);
    EXPECT_EQ(buffer.savedOffset, buffer.filled);
    EXPECT_EQ(buffer.state, 3u);
    EXPECT_EQ(buffer.type, 0u);
    const auto records = WalkRecords(buffer);
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].offset, 0x48u);
    EXPECT_EQ(records[1].offset, 0xA0u);
    EXPECT_EQ(records[2].offset, 0xF8u);
    EXPECT_EQ(records[2].size, 0x61u);
    // Zero padding behind a record, 0xFF behind the last.
    EXPECT_THAT(EtlWriterTesting::Slice(buffer.bytes, 0x48 + 0x53, 5), ElementsAre(0, 0, 0, 0, 0));
    EXPECT_TRUE(std::all_of(buffer.bytes.begin() + buffer.filled, buffer.bytes.end(),
                            [](uint8_t byte) { return byte == 0xFF; }));
}

// Buffers are used again once written out: what an earlier record left there must not
// show through the padding of a later one.
TEST(LogWriter, PaddingIsZeroAlsoInBuffersUsedAgain)
{
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, SmallBuffers(1));
    Events events;
    for (int index = 0; index < 40; ++index) {
        writer.Write(0, events.Sized(0x140 + static_cast<size_t>(index % 8), 2000 + index));
    }
    writer.Close();

    const std::vector<WrittenBuffer> buffers = WalkBuffers(output.Bytes());
    ASSERT_EQ(buffers.size(), 5u);
    for (size_t index = 1; index < buffers.size(); ++index) {
        for (const auto& record : WalkRecords(buffers[index])) {
            const size_t end = record.offset + record.size;
            const size_t padding = ((end + 7) & ~size_t{7}) - end;
            EXPECT_EQ(EtlWriterTesting::Slice(buffers[index].bytes, end, padding), std::vector<uint8_t>(padding, 0))
                << "buffer " << index << ", record at " << record.offset;
        }
    }
}

// A buffer pushed out by a record adds that record's aligned size to CurrentOffset; one
// written unfilled at the end adds the buffer size.
TEST(LogWriter, CurrentOffsetTellsWhyABufferWasWrittenOut)
{
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, SmallBuffers(1));
    Events events;
    for (int index = 0; index < 13; ++index) {
        writer.Write(0, events.Sized(0x138, 2000 + index)); // 13 * 0x138 > 0x1000 - 0x48
    }
    writer.Close();

    const std::vector<WrittenBuffer> buffers = WalkBuffers(output.Bytes());
    ASSERT_EQ(buffers.size(), 3u);
    EXPECT_EQ(buffers[1].filled, 0x48u + 12 * 0x138);
    EXPECT_EQ(buffers[1].currentOffset, buffers[1].filled + 0x138);
    EXPECT_EQ(buffers[2].filled, 0x48u + 0x138);
    EXPECT_EQ(buffers[2].currentOffset, bufferSize + buffers[2].filled);
}

// Where the CurrentOffset rule comes from: in powershell.etl every buffer that went out full
// has the aligned size of its processor's next first record on top of FilledBytes.
TEST(LogWriter, CurrentOffsetRuleIsWhatThePowershellSampleHas)
{
    const std::vector<WrittenBuffer> buffers = WalkBuffers(EtlWriterTesting::ReadSample("powershell.etl"));
    size_t full = 0;
    for (const WrittenBuffer& buffer : buffers) {
        if (buffer.type != 0 || buffer.currentOffset == buffer.bufferSize + buffer.filled) {
            continue;
        }
        const WrittenBuffer* next = nullptr;
        for (const WrittenBuffer& candidate : buffers) {
            if (candidate.type == 0 && (candidate.context & 0xFFFF) == (buffer.context & 0xFFFF) &&
                candidate.sequence > buffer.sequence && (next == nullptr || candidate.sequence < next->sequence)) {
                next = &candidate;
            }
        }
        ASSERT_NE(next, nullptr) << "buffer " << buffer.sequence;
        EXPECT_EQ(buffer.currentOffset - buffer.filled, (WalkRecords(*next).at(0).size + 7u) & ~7u)
            << "buffer " << buffer.sequence;
        ++full;
    }
    EXPECT_EQ(full, 17u);
}

// Buffers are numbered as they are begun and written as they fill, so the processor whose
// buffer fills first comes first in the file with the highest number so far.
TEST(LogWriter, FileOrderIsTheOrderBuffersFillNotTheirSequence)
{
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, SmallBuffers(3));
    Events events;
    writer.Write(0, events.Sized(0x50, 2000));
    writer.Write(1, events.Sized(0x50, 2001));
    writer.Write(2, events.Sized(0x50, 2002));
    for (int index = 0; index < 13; ++index) {
        writer.Write(2, events.Sized(0x138, 3000 + index));
    }
    EXPECT_EQ(output.Bytes().size(), 2 * bufferSize) << "the full buffer goes out at once";
    writer.Write(1, events.Sized(0x50, 2500));
    writer.Close();

    const std::vector<WrittenBuffer> buffers = WalkBuffers(output.Bytes());
    ASSERT_EQ(buffers.size(), 5u);
    EXPECT_THAT(Sequences(buffers), ElementsAre(3u, 1u, 2u, 4u));
    EXPECT_EQ(buffers[1].context, 0x00210002u);
    EXPECT_EQ(buffers[2].context, 0x00210000u);
    EXPECT_EQ(buffers[3].context, 0x00210001u);
    EXPECT_EQ(buffers[4].context, 0x00210002u);
    // Each buffer is stamped with the latest record stamp when it goes out.
    EXPECT_EQ(buffers[1].timestamp, 3012u);
    EXPECT_EQ(buffers[2].timestamp, 3012u);
    // The 16-bit processor index flag on every buffer, the flush marker on the last.
    EXPECT_EQ(buffers[1].flags, 0x20u);
    EXPECT_EQ(buffers[3].flags, 0x20u);
    EXPECT_EQ(buffers[4].flags, 0x21u);
    EXPECT_EQ(WalkRecords(buffers[3]).size(), 2u);
}

TEST(LogWriter, WindowsSevenFormNamesTheProcessorInAByte)
{
    EtlWriter::LogOptions options = SmallBuffers(3);
    options.processorIndex = EtlWriter::ProcessorIndexForm::Number8;
    options.loggerId = 0xB;
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, options);
    Events events;
    writer.Write(2, events.Sized(0x50, 2000));
    writer.Write(1, events.Sized(0x50, 2001));
    writer.Close();

    const std::vector<WrittenBuffer> buffers = WalkBuffers(output.Bytes());
    ASSERT_EQ(buffers.size(), 3u);
    EXPECT_EQ(buffers[0].context, 0x000B0800u);
    EXPECT_EQ(buffers[0].flags, 0x1u);
    EXPECT_EQ(buffers[1].context, 0x000B0801u);
    EXPECT_EQ(buffers[1].flags, 0x0u);
    EXPECT_EQ(buffers[2].context, 0x000B0802u);
    EXPECT_EQ(buffers[2].flags, 0x1u);
}

// The sample this form copies: KernelProcess-Win7.etl is not kept in tests/data, but
// test_data_32_v0.etl has the same buffer context and flags.
TEST(LogWriter, WindowsSevenFormIsWhatTheTestData32SampleHas)
{
    const std::vector<WrittenBuffer> sample = WalkBuffers(EtlWriterTesting::ReadSample("test_data_32_v0.etl"));
    ASSERT_EQ(sample.size(), 3u);
    EXPECT_EQ(sample[1].context, 0x00130801u);
    EXPECT_EQ(sample[1].flags, 0x0u);
    EXPECT_EQ(sample[2].context, 0x00130800u);
    EXPECT_EQ(sample[2].flags, 0x1u);
    EXPECT_EQ(sample[2].savedOffset, sample[2].filled);
    EXPECT_EQ(sample[2].currentOffset, 0x10000 + sample[2].filled);
}

TEST(LogWriter, ClassicAndSystemRecordsShareBuffersWithEvents)
{
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, SmallBuffers(1));
    Events events;
    writer.Write(0, events.Sized(0x50, 2000));
    EtlWriter::ClassicRecord classic;
    classic.kind = Etl::HeaderKind::Full32;
    writer.Write(0, classic);
    EtlWriter::SystemRecord system;
    writer.Write(0, system);
    writer.Close();

    const auto records = WalkRecords(WalkBuffers(output.Bytes()).at(1));
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].headerType, 0x13u);
    EXPECT_EQ(records[1].headerType, 0x0Au);
    EXPECT_EQ(records[2].headerType, 0x02u);
    EXPECT_EQ(records[2].offset, 0x48u + 0x50 + 0x30);
}

std::vector<uint64_t> ReorderedSequences(uint32_t window, uint32_t seed)
{
    EtlWriter::LogOptions options = SmallBuffers(1);
    options.reorderWindow = window;
    options.reorderSeed = seed;
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, options);
    Events events;
    for (int index = 0; index < 12 * 20; ++index) {
        writer.Write(0, events.Sized(0x148, 2000 + index)); // 12 records a buffer
    }
    writer.Close();
    return Sequences(WalkBuffers(output.Bytes()));
}

TEST(LogWriter, AReorderWindowShufflesTheFileOrderOfBuffers)
{
    std::vector<uint64_t> inOrder(20);
    for (size_t index = 0; index < inOrder.size(); ++index) {
        inOrder[index] = index + 1;
    }
    EXPECT_EQ(ReorderedSequences(0, 1), inOrder);
    const std::vector<uint64_t> shuffled = ReorderedSequences(4, 1);
    EXPECT_NE(shuffled, inOrder);
    EXPECT_TRUE(std::is_permutation(shuffled.begin(), shuffled.end(), inOrder.begin()));
    EXPECT_EQ(ReorderedSequences(4, 1), shuffled) << "the same seed gives the same order";
    EXPECT_NE(ReorderedSequences(4, 2), shuffled);
}

TEST(LogWriter, CountsWhatItWrote)
{
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, SmallBuffers(2));
    Events events;
    for (int index = 0; index < 14; ++index) {
        writer.Write(static_cast<uint16_t>(index % 2), events.Sized(0x138, 2000 + index));
    }
    writer.Close();
    EXPECT_EQ(writer.Stats().records, 14u);
    EXPECT_EQ(writer.Stats().eventBuffers, 2u);
    EXPECT_EQ(writer.Stats().uncompressedBytes, 2 * (0x48u + 7 * 0x138));
    EXPECT_EQ(writer.Stats().fileSize, 3 * bufferSize);
    EXPECT_EQ(output.Bytes().size(), 3 * bufferSize);
}

TEST(LogWriter, RefusesWhatNoBufferCanHold)
{
    EtlWriter::LogOptions options = SmallBuffers(2);
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, options);
    Events events;
    EXPECT_THROW(writer.Write(2, events.Sized(0x50, 2000)), std::invalid_argument);
    EXPECT_THROW(writer.Write(0, events.Sized(bufferSize - 0x48 + 1, 2000)), std::length_error);
    writer.Write(0, events.Sized(bufferSize - 0x48, 2000));
    writer.Close();
    EXPECT_THROW(writer.Write(0, events.Sized(0x50, 2000)), std::logic_error);
    writer.Close(); // a second Close does nothing
    const std::vector<WrittenBuffer> buffers = WalkBuffers(output.Bytes());
    ASSERT_EQ(buffers.size(), 2u);
    EXPECT_EQ(buffers[1].filled, bufferSize);
    EXPECT_EQ(buffers[1].currentOffset, 2 * bufferSize);
}

TEST(LogWriter, WindowsSevenFormRefusesProcessorsAboveAByte)
{
    EtlWriter::LogOptions options = SmallBuffers(300);
    options.processorIndex = EtlWriter::ProcessorIndexForm::Number8;
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, options);
    Events events;
    writer.Write(255, events.Sized(0x50, 2000));
    EXPECT_THROW(writer.Write(256, events.Sized(0x50, 2000)), std::invalid_argument);
}

} // namespace
