// Classic (full-header) and system records as the writer encodes them, against records of
// real logs given the same values.

#include "tests/etlwriter/ClassicRecord.h"
#include "tests/etlwriter/LogfileHeader.h"
#include "tests/etlwriter/SampleFiles.h"
#include "tests/etlwriter/SampleOptions.h"
#include "tests/etlwriter/SystemRecord.h"
#include "tests/etlwriter/WrittenLog.h"

#include "etl/GuidText.h"

#include <gtest/gtest.h>

namespace {

using EtlWriterTesting::ReadSample;
using EtlWriterTesting::Slice;

std::vector<uint8_t> Encode(const EtlWriter::ClassicRecord& record)
{
    std::vector<uint8_t> bytes(EtlWriter::ClassicRecordSize(record));
    EtlWriter::EncodeClassicRecord(record, bytes);
    return bytes;
}

// test_data_32_v0.etl's first event (0x9E bytes at 0x10048): header type 0x0A, event type
// 3 at level 4.
TEST(ClassicRecord, ThirtyTwoBitRecordIsTheTestData32SampleRecordByteForByte)
{
    const std::vector<uint8_t> sample = ReadSample("test_data_32_v0.etl");
    const std::vector<uint8_t> data = Slice(sample, 0x10048 + 0x30, 0x9E - 0x30);
    EtlWriter::ClassicRecord record;
    record.kind = Etl::HeaderKind::Full32;
    record.type = 3;
    record.level = 4;
    record.threadId = 0x1218;
    record.processId = 0x1060;
    record.timestamp = 0x35A5520E71F;
    record.classGuid = Etl::ParseGuid("2CB15D1D-5FC1-11D2-ABE1-00A0C911F518").value();
    record.kernelTime = 4;
    record.userTime = 1;
    record.data = data;
    EXPECT_EQ(Encode(record), Slice(sample, 0x10048, 0x9E));
}

// SelfDescribingSingleEvent.etl's first classic record (0x70 bytes behind the system
// record of its first compressed buffer): header type 0x14, event type 0x21.
TEST(ClassicRecord, SixtyFourBitRecordIsTheSelfDescribingSampleRecordByteForByte)
{
    const std::vector<uint8_t> buffer = EtlWriterTesting::SampleBuffer("SelfDescribingSingleEvent.etl", 1);
    const std::vector<uint8_t> data = Slice(buffer, 0x98 + 0x30, 0x70 - 0x30);
    EtlWriter::ClassicRecord record;
    record.kind = Etl::HeaderKind::Full64;
    record.type = 0x21;
    record.timestamp = 0x5E0098C654D;
    record.classGuid = Etl::ParseGuid("9B79EE91-B5FD-41C0-A243-4248E266E9D0").value();
    record.data = data;
    EXPECT_EQ(Encode(record), Slice(buffer, 0x98, 0x70));
}

TEST(ClassicRecord, VersionLandsBehindTypeAndLevel)
{
    EtlWriter::ClassicRecord record;
    record.type = 0x0A;
    record.level = 0x02;
    record.version = 0x0304;
    const std::vector<uint8_t> bytes = Encode(record);
    ASSERT_EQ(bytes.size(), 0x30u);
    EXPECT_EQ(Slice(bytes, 0, 8), (std::vector<uint8_t>{0x30, 0x00, 0x14, 0xC0, 0x0A, 0x02, 0x04, 0x03}));
}

// The logfile header in full-header form: the EventTrace class, type 0, and the same data
// powershell.etl's header record holds (BuffersWritten 26 as there).
TEST(ClassicRecord, LogfileHeaderAsClassicRecordCarriesThePowershellSampleData)
{
    const std::vector<uint8_t> sample = ReadSample("powershell.etl");
    EtlWriter::LogfileHeader header = EtlWriterTesting::PowershellOptions().header;
    header.buffersWritten = 26;
    const std::vector<uint8_t> data = EtlWriter::EncodeLogfileHeader(header);
    EtlWriter::ClassicRecord record;
    record.classGuid = EtlWriter::eventTraceClass;
    record.data = data;
    const std::vector<uint8_t> bytes = Encode(record);
    ASSERT_EQ(bytes.size(), 0x30u + 0x16Cu);
    EXPECT_EQ(Slice(bytes, 0x18, 16), (std::vector<uint8_t>{0x00, 0xD9, 0xFD, 0x68, 0x3E, 0x4A, 0xD1, 0x11, 0x84, 0xF4,
                                                            0x00, 0x00, 0xF8, 0x04, 0x64, 0xE3}));
    EXPECT_EQ(Slice(bytes, 0x30, 0x16C), Slice(sample, 0x68, 0x16C));
}

TEST(ClassicRecord, KindsOtherThanFullHeadersAreRefused)
{
    EtlWriter::ClassicRecord record;
    record.kind = Etl::HeaderKind::Instance64;
    EXPECT_THROW(EtlWriter::ClassicRecordSize(record), std::invalid_argument);
}

// The second header-group record of SelfDescribingSingleEvent.etl's first compressed
// buffer, a system record in an event buffer (hook 0x50, 0x30 zero bytes).
TEST(SystemRecord, SystemRecordIsTheSelfDescribingSampleRecordByteForByte)
{
    const std::vector<uint8_t> buffer = EtlWriterTesting::SampleBuffer("SelfDescribingSingleEvent.etl", 1);
    const std::vector<uint8_t> data(0x30, 0);
    EtlWriter::SystemRecord record;
    record.hookId = 0x50;
    record.threadId = 112044;
    record.processId = 10460;
    record.timestamp = 0x5E0098C654D;
    record.userTime = 2;
    record.data = data;
    std::vector<uint8_t> bytes(EtlWriter::SystemRecordSize(record));
    EtlWriter::EncodeSystemRecord(record, bytes);
    EXPECT_EQ(bytes, Slice(buffer, 0x48, 0x50));
}

TEST(SystemRecord, KindsOtherThanSystemHeadersAreRefused)
{
    EtlWriter::SystemRecord record;
    record.kind = Etl::HeaderKind::Compact64;
    EXPECT_THROW(EtlWriter::SystemRecordSize(record), std::invalid_argument);
}

} // namespace
