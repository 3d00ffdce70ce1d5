// Logs streamed to a file hold the same bytes as the same logs kept in memory, including
// the header buffer written again at the end and the slots a circular log overwrites.

#include "tests/etlwriter/FileOutput.h"
#include "tests/etlwriter/LogWriter.h"
#include "tests/etlwriter/MemoryOutput.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

class FileOutputTest : public testing::Test {
protected:
    void TearDown() override { std::filesystem::remove(path); }

    std::vector<uint8_t> FileBytes() const
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    const std::filesystem::path path =
        std::filesystem::temp_directory_path() /
        ("etl_writer_" + std::string(testing::UnitTest::GetInstance()->current_test_info()->name()) + ".etl");
};

void WriteLog(EtlWriter::Output& output, uint32_t logFileMode)
{
    EtlWriter::LogOptions options;
    options.header.bufferSize = 0x1000;
    options.header.numberOfProcessors = 2;
    options.header.logFileMode = logFileMode;
    options.header.maximumFileSize = 12;
    EtlWriter::LogWriter writer(output, options);
    const std::vector<uint8_t> payload(0x300, 0x42);
    EtlWriter::EventRecord record;
    record.userData = payload;
    for (int index = 0; index < 60; ++index) {
        record.timestamp = index;
        writer.Write(static_cast<uint16_t>(index % 2), record);
    }
    writer.Close();
}

TEST_F(FileOutputTest, SequentialLogIsTheSameOnDiskAsInMemory)
{
    EtlWriter::MemoryOutput memory;
    WriteLog(memory, 0x1);
    {
        EtlWriter::FileOutput file(path);
        WriteLog(file, 0x1);
    }
    EXPECT_EQ(memory.Bytes().size(), 0x1000u * 17);
    EXPECT_EQ(FileBytes(), memory.Bytes());
}

TEST_F(FileOutputTest, CircularLogIsTheSameOnDiskAsInMemory)
{
    const uint32_t circular = EtlWriter::logFileModeCircular | EtlWriter::logFileModeKilobytesForSize;
    EtlWriter::MemoryOutput memory;
    WriteLog(memory, circular);
    {
        EtlWriter::FileOutput file(path);
        WriteLog(file, circular);
    }
    EXPECT_EQ(memory.Bytes().size(), 0x3000u);
    EXPECT_EQ(FileBytes(), memory.Bytes());
}

TEST_F(FileOutputTest, FolderThatDoesNotExistIsReported)
{
    EXPECT_THROW(EtlWriter::FileOutput(path / "missing" / "log.etl"), std::runtime_error);
}

} // namespace
