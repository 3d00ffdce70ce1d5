// The header buffer a LogWriter writes, given the values a real log holds, against that
// log's header buffer: field by field at the documented offsets, then every byte.

#include "tests/etlwriter/LogWriter.h"
#include "tests/etlwriter/MemoryOutput.h"
#include "tests/etlwriter/SampleFiles.h"
#include "tests/etlwriter/SampleOptions.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using EtlWriterTesting::PowershellOptions;
using EtlWriterTesting::ReadSample;
using EtlWriterTesting::Slice;
using EtlWriterTesting::SmallEtlFileOptions;
using EtlWriterTesting::TestData32Options;
using EtlWriterTesting::U16;
using EtlWriterTesting::U32;
using EtlWriterTesting::U64;

// Where the logfile header record and its data start in every header buffer.
constexpr size_t recordOffset = 0x48;
constexpr size_t dataOffset = 0x68;

std::vector<uint8_t> WrittenHeaderBuffer(const EtlWriter::LogOptions& options)
{
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, options);
    writer.Close();
    return output.Bytes();
}

// BuffersWritten counts the buffers this writer wrote (here the header buffer alone); the
// sample's count is put in before comparing the rest byte for byte.
void ExpectSameHeaderBuffer(std::vector<uint8_t> written, const std::vector<uint8_t>& sample, size_t size)
{
    ASSERT_EQ(written.size(), size);
    EXPECT_EQ(U32(written, dataOffset + 0x24), 1u);
    std::copy(sample.begin() + dataOffset + 0x24, sample.begin() + dataOffset + 0x28,
              written.begin() + dataOffset + 0x24);
    const auto difference = std::mismatch(written.begin(), written.end(), sample.begin());
    EXPECT_EQ(difference.first, written.end())
        << "first difference at offset 0x" << std::hex << (difference.first - written.begin());
}

TEST(HeaderBuffer, SixtyFourBitLayoutHasThePowershellSampleFields)
{
    const std::vector<uint8_t> sample = ReadSample("powershell.etl");
    const std::vector<uint8_t> written = WrittenHeaderBuffer(PowershellOptions());
    for (const std::vector<uint8_t>* bytes : {&sample, &written}) {
        SCOPED_TRACE(bytes == &sample ? "sample" : "written");
        // Buffer header: size, saved and current offset, logger 0x21, filled, flags 0x21, type 4.
        EXPECT_EQ(U32(*bytes, 0x00), 0x2000u);
        EXPECT_EQ(U32(*bytes, 0x04), 0x228u);
        EXPECT_EQ(U32(*bytes, 0x08), 0x228u);
        EXPECT_EQ(U32(*bytes, 0x28), 0x00210000u);
        EXPECT_EQ(U32(*bytes, 0x2C), 3u);
        EXPECT_EQ(U32(*bytes, 0x30), 0x228u);
        EXPECT_EQ(U16(*bytes, 0x34), 0x21u);
        EXPECT_EQ(U16(*bytes, 0x36), 4u);
        // System header of the record: version 2, type 2 (64-bit), marker 0xC0, size 0x18C, hook 0.
        EXPECT_EQ(U32(*bytes, recordOffset), 0xC0020002u);
        EXPECT_EQ(U16(*bytes, recordOffset + 4), 0x18Cu);
        EXPECT_EQ(U16(*bytes, recordOffset + 6), 0u);
        EXPECT_EQ(U64(*bytes, recordOffset + 0x10), 0x2F395521Fu);
        // TRACE_LOGFILE_HEADER, 64-bit layout: PointerSize, the time zone at 0x48, the clock
        // type at 0x110, the names from 0x118.
        EXPECT_EQ(U32(*bytes, dataOffset + 0x2C), 8u);
        EXPECT_EQ(U32(*bytes, dataOffset + 0x20), 0x9u);
        EXPECT_EQ(U32(*bytes, dataOffset + 0x48), 300u);
        EXPECT_EQ(U64(*bytes, dataOffset + 0x100), 10'000'000u);
        EXPECT_EQ(U32(*bytes, dataOffset + 0x110), 1u);
        EXPECT_EQ(U16(*bytes, dataOffset + 0x118), u'u');
        // The second header-group record: hook 0x50, 0x50 bytes.
        EXPECT_EQ(U32(*bytes, 0x1D8), 0xC0020002u);
        EXPECT_EQ(U32(*bytes, 0x1DC), 0x00500050u);
        // Unused bytes.
        EXPECT_EQ(U64(*bytes, 0x228), 0xFFFFFFFFFFFFFFFFu);
    }
}

TEST(HeaderBuffer, SixtyFourBitLayoutIsThePowershellSampleByteForByte)
{
    ExpectSameHeaderBuffer(WrittenHeaderBuffer(PowershellOptions()), ReadSample("powershell.etl"), 0x2000);
}

TEST(HeaderBuffer, ThirtyTwoBitLayoutHasTheTestData32SampleFields)
{
    const std::vector<uint8_t> sample = ReadSample("test_data_32_v0.etl");
    const std::vector<uint8_t> written = WrittenHeaderBuffer(TestData32Options());
    for (const std::vector<uint8_t>* bytes : {&sample, &written}) {
        SCOPED_TRACE(bytes == &sample ? "sample" : "written");
        // Version 6.1 form: SavedOffset 0, processor number 0 with alignment 8, flag 1 only.
        EXPECT_EQ(U32(*bytes, 0x04), 0u);
        EXPECT_EQ(U32(*bytes, 0x08), 0x228u);
        EXPECT_EQ(U64(*bytes, 0x10), 0x35A551B53C7u);
        EXPECT_EQ(U32(*bytes, 0x28), 0x00130800u);
        EXPECT_EQ(U16(*bytes, 0x34), 0x1u);
        // System header type 1 (32-bit), size 0x1E0.
        EXPECT_EQ(U32(*bytes, recordOffset), 0xC0010002u);
        EXPECT_EQ(U16(*bytes, recordOffset + 4), 0x1E0u);
        // 32-bit layout: 4-byte name pointers, the time zone at 0x40, BootTime at 0xF0,
        // PerfFreq 0xF8, the clock type at 0x108, the names from 0x110.
        EXPECT_EQ(U32(*bytes, dataOffset + 0x2C), 4u);
        EXPECT_EQ(U32(*bytes, dataOffset + 0x3C), 0x9C5301A6u);
        EXPECT_EQ(U32(*bytes, dataOffset + 0x40), 300u);
        EXPECT_EQ(U64(*bytes, dataOffset + 0xF0), 0x01CAC6A463BD1238u);
        EXPECT_EQ(U64(*bytes, dataOffset + 0xF8), 14318180u);
        EXPECT_EQ(U32(*bytes, dataOffset + 0x108), 1u);
        EXPECT_EQ(U16(*bytes, dataOffset + 0x110), u'M');
        EXPECT_EQ(U32(*bytes, 0x228), 0xFFFFFFFFu);
    }
}

TEST(HeaderBuffer, ThirtyTwoBitLayoutIsTheTestData32SampleByteForByte)
{
    ExpectSameHeaderBuffer(WrittenHeaderBuffer(TestData32Options()), ReadSample("test_data_32_v0.etl"), 0x10000);
}

// A compressed log's header buffer is not compressed, but shrinks to its filled size
// rounded up to 512 bytes: 0x1D8 bytes in 0x200.
TEST(HeaderBuffer, CompressedLogIsTheSmallEtlFileSampleByteForByte)
{
    const std::vector<uint8_t> sample = ReadSample("smallEtlFile.etl");
    const std::vector<uint8_t> written = WrittenHeaderBuffer(SmallEtlFileOptions());
    EXPECT_EQ(U32(written, 0x00), 0x200u);
    EXPECT_EQ(U32(written, 0x04), 0x1D8u);
    EXPECT_EQ(U32(written, 0x08), 0u);
    EXPECT_EQ(U32(written, 0x28), 0u);
    EXPECT_EQ(U32(written, 0x30), 0x1D8u);
    EXPECT_EQ(U16(written, 0x34), 0x1u);
    EXPECT_EQ(U32(written, dataOffset + 0x20), 0x04011001u);
    // The record ends at 0x1D6. Its padding holds 66 00 in the sample, left over in the
    // relogger's memory; the writer pads with zeros as every other sample does.
    EXPECT_EQ(U16(written, 0x1D6), 0u);
    EXPECT_EQ(U16(sample, 0x1D6), 0x66u);
    std::vector<uint8_t> padded = written;
    padded[0x1D6] = 0x66;
    ExpectSameHeaderBuffer(padded, sample, 0x200);
}

TEST(HeaderBuffer, CloseCountsTheBuffersAndSettlesTheEndTime)
{
    EtlWriter::LogOptions options = PowershellOptions();
    options.header.endTime = 0;
    options.header.numberOfProcessors = 2;
    options.header.perfFreq = 2'000'000;
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, options);
    EtlWriter::ClassicRecord record;
    record.timestamp = options.startStamp + 5'000'000; // 2.5 s at 2 MHz
    writer.Write(0, record);
    writer.Write(1, record);
    writer.Close();
    EXPECT_EQ(U32(output.Bytes(), dataOffset + 0x24), 3u);
    EXPECT_EQ(U64(output.Bytes(), dataOffset + 0x10), static_cast<uint64_t>(options.header.startTime + 25'000'000));
}

TEST(HeaderBuffer, EndTimeOfASystemTimeLogIsItsLatestStamp)
{
    EtlWriter::LogOptions options = PowershellOptions();
    options.header.endTime = 0;
    options.header.clockType = EtlWriter::ClockType::SystemTime;
    options.startStamp = options.header.startTime;
    EtlWriter::MemoryOutput output;
    EtlWriter::LogWriter writer(output, options);
    EtlWriter::ClassicRecord record;
    record.timestamp = options.header.startTime + 1234567;
    writer.Write(3, record);
    record.timestamp = options.header.startTime + 99;
    writer.Write(4, record);
    writer.Close();
    EXPECT_EQ(U32(output.Bytes(), dataOffset + 0x110), 2u);
    EXPECT_EQ(U64(output.Bytes(), dataOffset + 0x10), static_cast<uint64_t>(options.header.startTime + 1234567));
}

TEST(HeaderBuffer, LogWithoutRecordsEndsWhenItStarts)
{
    EtlWriter::LogOptions options = PowershellOptions();
    options.header.endTime = 0;
    const std::vector<uint8_t> written = WrittenHeaderBuffer(options);
    EXPECT_EQ(U64(written, dataOffset + 0x10), static_cast<uint64_t>(options.header.startTime));
}

TEST(HeaderBuffer, OptionsNoLogCanHaveAreRefused)
{
    EtlWriter::MemoryOutput output;
    EtlWriter::LogOptions options = PowershellOptions();
    options.header.bufferSize = 0x2004;
    EXPECT_THROW(EtlWriter::LogWriter(output, options), std::invalid_argument);
    options.header.bufferSize = 512;
    EXPECT_THROW(EtlWriter::LogWriter(output, options), std::invalid_argument);
    options = PowershellOptions();
    options.header.pointerSize = 2;
    EXPECT_THROW(EtlWriter::LogWriter(output, options), std::invalid_argument);
    options = PowershellOptions();
    options.header.numberOfProcessors = 0;
    EXPECT_THROW(EtlWriter::LogWriter(output, options), std::invalid_argument);
    options = PowershellOptions();
    options.header.logFileMode = EtlWriter::logFileModeCircular | EtlWriter::logFileModeCompressed;
    options.header.maximumFileSize = 1;
    EXPECT_THROW(EtlWriter::LogWriter(output, options), std::invalid_argument);
    options = PowershellOptions();
    options.header.logFileMode = EtlWriter::logFileModeCircular | EtlWriter::logFileModeKilobytesForSize;
    options.header.maximumFileSize = 8; // 8 KB: the header buffer alone
    EXPECT_THROW(EtlWriter::LogWriter(output, options), std::invalid_argument);
    options = PowershellOptions();
    options.header.timeZone.standardName = std::u16string(32, u'x');
    EXPECT_THROW(EtlWriter::LogWriter(output, options), std::invalid_argument);
    EXPECT_TRUE(output.Bytes().empty());
}

} // namespace
