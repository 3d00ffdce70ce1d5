// Compressed logs (LogFileMode 0x04000000) against SelfDescribingSingleEvent.etl.

#include "tests/etlwriter/LogWriter.h"
#include "tests/etlwriter/MemoryOutput.h"
#include "tests/etlwriter/SampleFiles.h"
#include "tests/etlwriter/WrittenLog.h"
#include "tests/etlwriter/XpressReference.h"

#include <gtest/gtest.h>

namespace {

using EtlWriterTesting::ReadSample;
using EtlWriterTesting::Slice;
using EtlWriterTesting::U32;
using EtlWriterTesting::WalkBuffers;
using EtlWriterTesting::WrittenBuffer;

constexpr uint32_t sessionBufferSize = 0x10000;

EtlWriter::LogOptions Options(uint32_t logFileMode)
{
    EtlWriter::LogOptions options;
    options.header.bufferSize = sessionBufferSize;
    options.header.numberOfProcessors = 2;
    options.header.logFileMode = logFileMode;
    options.header.loggerName = u"Kestrova Diagnostics Log";
    options.header.logFileName = u"C:\\ProgramData\\Kestrova\\Diagnostics\\Logs\\Kestrova-Log-HOST.etl";
    return options;
}

// Product-like records: the same strings again and again, a counter that changes.
void WriteRecords(EtlWriter::LogWriter& writer, int count)
{
    const std::string text = "ProcessName=service Name=worker Message=request handled Arguments=";
    for (int index = 0; index < count; ++index) {
        std::vector<uint8_t> payload(text.begin(), text.end());
        payload.push_back(static_cast<uint8_t>(index));
        EtlWriter::EventRecord record;
        record.timestamp = 1000 + index;
        record.threadId = 4000 + static_cast<uint32_t>(index % 3);
        record.userData = payload;
        writer.Write(static_cast<uint16_t>(index % 2), record);
    }
}

std::vector<uint8_t> WrittenLog(uint32_t logFileMode, int records)
{
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, Options(logFileMode));
    WriteRecords(writer, records);
    writer.Close();
    return output.Bytes();
}

// What the sample holds: BufferSize 0x48 + the compressed data, the next buffer right
// behind it, SavedOffset and FilledBytes the uncompressed size, CurrentOffset the
// session's buffer size on top, flags 0x60 and 0x61 on the last.
TEST(CompressedLog, SelfDescribingSampleLaysOutCompressedBuffersSo)
{
    const std::vector<uint8_t> sample = ReadSample("SelfDescribingSingleEvent.etl");
    EXPECT_EQ(U32(sample, 0x68 + 0x20) & EtlWriter::logFileModeCompressed, EtlWriter::logFileModeCompressed);
    const std::vector<WrittenBuffer> buffers = WalkBuffers(sample);
    ASSERT_EQ(buffers.size(), 3u);
    EXPECT_EQ(buffers[0].bufferSize, 0x400u);
    EXPECT_EQ(buffers[1].fileOffset, 0x400u);
    EXPECT_EQ(buffers[1].bufferSize, 0x1809u);
    EXPECT_EQ(buffers[2].fileOffset, 0x1C09u);
    EXPECT_EQ(buffers[1].savedOffset, 0x1C00u);
    EXPECT_EQ(buffers[1].filled, 0x1C00u);
    EXPECT_EQ(buffers[1].currentOffset, 0x11C00u);
    EXPECT_EQ(buffers[1].flags, 0x60u);
    EXPECT_EQ(buffers[2].flags, 0x61u);
    EXPECT_EQ(buffers[1].bytes.size(), 0x1C00u) << "the data decompresses to FilledBytes";
    EXPECT_EQ(buffers[2].fileOffset + buffers[2].bufferSize, sample.size());
}

TEST(CompressedLog, WrittenCompressedBuffersAreLaidOutAsTheSampleHasThem)
{
    const std::vector<uint8_t> log = WrittenLog(EtlWriter::logFileModeCompressed | 0x1, 400); // one buffer each
    EXPECT_EQ(U32(log, 0x68 + 0x20), EtlWriter::logFileModeCompressed | 0x1);
    const std::vector<WrittenBuffer> buffers = WalkBuffers(log);
    ASSERT_EQ(buffers.size(), 3u);
    // The header buffer: 0x280 bytes filled (the names make the logfile header 0x1E8), in
    // 0x400.
    EXPECT_EQ(buffers[0].filled, 0x280u);
    EXPECT_EQ(buffers[0].bufferSize, 0x400u);
    EXPECT_EQ(buffers[0].flags, 0x1u);
    size_t offset = buffers[0].bufferSize;
    for (size_t index = 1; index < buffers.size(); ++index) {
        const WrittenBuffer& buffer = buffers[index];
        SCOPED_TRACE(index);
        EXPECT_EQ(buffer.fileOffset, offset);
        EXPECT_EQ(buffer.savedOffset, buffer.filled);
        EXPECT_EQ(buffer.currentOffset, sessionBufferSize + buffer.filled);
        EXPECT_EQ(buffer.bytes.size(), buffer.filled);
        EXPECT_LT(buffer.bufferSize, buffer.filled / 4) << "repeated records compress well";
        EXPECT_EQ(buffer.flags, index + 1 == buffers.size() ? 0x61u : 0x60u);
        offset += buffer.bufferSize;
    }
    EXPECT_EQ(offset, log.size());
}

// Compression changes nothing but the bytes behind each buffer header.
TEST(CompressedLog, BuffersDecompressToWhatAnUncompressedLogHolds)
{
    const std::vector<WrittenBuffer> compressed = WalkBuffers(WrittenLog(EtlWriter::logFileModeCompressed, 1500));
    const std::vector<WrittenBuffer> plain = WalkBuffers(WrittenLog(0, 1500));
    ASSERT_EQ(compressed.size(), plain.size());
    ASSERT_GT(compressed.size(), 3u);
    for (size_t index = 1; index < plain.size(); ++index) {
        SCOPED_TRACE(index);
        EXPECT_EQ(compressed[index].sequence, plain[index].sequence);
        EXPECT_EQ(compressed[index].currentOffset, plain[index].currentOffset);
        EXPECT_EQ(Slice(compressed[index].bytes, 0x48, compressed[index].filled - 0x48),
                  Slice(plain[index].bytes, 0x48, plain[index].filled - 0x48));
    }
}

TEST(CompressedLog, CompressedDataHasMatchesThatOverlapAndLongLengths)
{
    const std::vector<uint8_t> log = WrittenLog(EtlWriter::logFileModeCompressed, 300);
    const std::vector<WrittenBuffer> buffers = WalkBuffers(log);
    ASSERT_GE(buffers.size(), 2u);
    const EtlWriterTesting::XpressDecoded decoded =
        EtlWriterTesting::XpressReferenceDecode(Slice(log, buffers[1].fileOffset + 0x48, buffers[1].bufferSize - 0x48));
    EXPECT_GT(decoded.overlappingMatches, 0u);
    EXPECT_GT(decoded.byteLengths, 0u);
}

} // namespace
