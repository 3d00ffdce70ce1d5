// Circular logs (LogFileMode 0x2): buffers wrap over the oldest ones behind the header
// buffer once the file has reached its maximum size.

#include "tests/etlwriter/LogWriter.h"
#include "tests/etlwriter/MemoryOutput.h"
#include "tests/etlwriter/SampleFiles.h"
#include "tests/etlwriter/WrittenLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using EtlWriterTesting::U32;
using EtlWriterTesting::WalkBuffers;
using EtlWriterTesting::WrittenBuffer;
using testing::ElementsAre;

EtlWriter::LogOptions Circular(uint32_t logFileMode, uint32_t bufferSize, uint32_t maximumFileSize)
{
    EtlWriter::LogOptions options;
    options.header.bufferSize = bufferSize;
    options.header.logFileMode = logFileMode;
    options.header.maximumFileSize = maximumFileSize;
    return options;
}

// 16 KB of 4 KB buffers: the header buffer and three slots.
EtlWriter::LogOptions SmallCircular()
{
    return Circular(EtlWriter::logFileModeCircular | EtlWriter::logFileModeKilobytesForSize, 0x1000, 16);
}

void WriteBuffers(EtlWriter::LogWriter& writer, int buffers)
{
    const std::vector<uint8_t> payload(0x7C0 - 0x50, 0x5A); // two records fill a buffer
    EtlWriter::EventRecord record;
    record.userData = payload;
    for (int index = 0; index < 2 * buffers; ++index) {
        record.timestamp = 1000 + index;
        writer.Write(0, record);
    }
}

TEST(CircularLog, WrapsOverTheOldestBuffersBehindTheHeader)
{
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, SmallCircular());
    WriteBuffers(writer, 8);
    writer.Close();

    ASSERT_EQ(output.Bytes().size(), 0x4000u);
    const std::vector<WrittenBuffer> buffers = WalkBuffers(output.Bytes());
    ASSERT_EQ(buffers.size(), 4u);
    // Buffers 1 to 8 went to slots 1, 2, 3, 1, 2, 3, 1, 2: the newest three remain, the
    // slot behind the one written last holding the oldest of them.
    EXPECT_EQ(buffers[1].sequence, 7u);
    EXPECT_EQ(buffers[2].sequence, 8u);
    EXPECT_EQ(buffers[3].sequence, 6u);
    EXPECT_EQ(buffers[2].flags, 0x21u);
    EXPECT_EQ(buffers[1].flags, 0x20u);
    EXPECT_EQ(buffers[3].flags, 0x20u);
    // BuffersWritten counts all nine buffers; the mode is what the options said.
    EXPECT_EQ(U32(output.Bytes(), 0x68 + 0x24), 9u);
    EXPECT_EQ(U32(output.Bytes(), 0x68 + 0x20), 0x2002u);
    EXPECT_EQ(U32(output.Bytes(), 0x68 + 0x1C), 16u);
}

TEST(CircularLog, DoesNotWrapBeforeItIsFull)
{
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, SmallCircular());
    WriteBuffers(writer, 2);
    writer.Close();
    const std::vector<WrittenBuffer> buffers = WalkBuffers(output.Bytes());
    ASSERT_EQ(buffers.size(), 3u);
    EXPECT_EQ(buffers[1].sequence, 1u);
    EXPECT_EQ(buffers[2].sequence, 2u);
    EXPECT_EQ(output.Bytes().size(), 0x3000u);
}

// Without EVENT_TRACE_USE_KBYTES_FOR_SIZE the maximum counts megabytes: 1 MB of 64 KB
// buffers is the header buffer and 15 slots.
TEST(CircularLog, MaximumFileSizeCountsMegabytes)
{
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, Circular(EtlWriter::logFileModeCircular, 0x10000, 1));
    const std::vector<uint8_t> payload(0x7FD0 - 0x50, 1); // two records a buffer
    EtlWriter::EventRecord record;
    record.userData = payload;
    for (int index = 0; index < 40; ++index) {
        writer.Write(0, record);
    }
    writer.Close();
    EXPECT_EQ(output.Bytes().size(), 0x100000u);
    const std::vector<WrittenBuffer> buffers = WalkBuffers(output.Bytes());
    ASSERT_EQ(buffers.size(), 16u);
    EXPECT_THAT(std::vector<uint64_t>({buffers[1].sequence, buffers[5].sequence, buffers[6].sequence}),
                ElementsAre(16u, 20u, 6u));
}

} // namespace
