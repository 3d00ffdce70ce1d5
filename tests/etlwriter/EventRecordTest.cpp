// Event records as the writer encodes them, against records of real logs given the same
// values, and every byte of one record with each kind of extended item.

#include "tests/etlwriter/EventRecord.h"
#include "tests/etlwriter/ExtendedItems.h"
#include "tests/etlwriter/SampleFiles.h"
#include "tests/etlwriter/WrittenLog.h"

#include "etl/GuidText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string_view>

namespace {

using EtlWriterTesting::ReadSample;
using EtlWriterTesting::Slice;

Etl::Guid Guid(std::string_view text)
{
    const std::optional<Etl::Guid> guid = Etl::ParseGuid(text);
    EXPECT_TRUE(guid.has_value()) << text;
    return guid.value_or(Etl::Guid{});
}

EtlWriter::EventRecord Event(uint32_t threadId, uint32_t processId, int64_t timestamp, std::string_view provider)
{
    EtlWriter::EventRecord record;
    record.threadId = threadId;
    record.processId = processId;
    record.timestamp = timestamp;
    record.provider = Guid(provider);
    return record;
}

// Into bytes that are not zero, as a buffer reused by the writer is not: every byte of the
// record, padding included, must be written.
std::vector<uint8_t> Encode(const EtlWriter::EventRecord& record)
{
    std::vector<uint8_t> bytes(EtlWriter::EventRecordSize(record), 0xEE);
    EtlWriter::EncodeEventRecord(record, bytes);
    return bytes;
}

// lxcore_kernel.etl's first record (0x158 bytes at 0x2048): a TraceLogging event with
// provider traits and its schema, both inline, linkage 1 then 0.
TEST(EventRecord, TraceLoggingEventIsTheLxcoreSampleRecordByteForByte)
{
    const std::vector<uint8_t> sample = ReadSample("lxcore_kernel.etl");
    const std::vector<uint8_t> traits = Slice(sample, 0x20A0, 0x38);
    const std::vector<uint8_t> schema = Slice(sample, 0x20E0, 0x64);
    const std::vector<uint8_t> userData = Slice(sample, 0x2148, 0x58);
    EtlWriter::ExtendedItems items;
    items.ProviderTraits(traits).TraceLoggingSchema(schema);

    EtlWriter::EventRecord record = Event(0xB34, 0x16F4, 0x19DAE2C7EC, "0CD1C309-0878-4515-83DB-749843B3F5C9");
    record.descriptor = {0, 0, 0x0B, 2, 0, 0, 0x0000400000000000};
    record.extended = items.Items();
    record.userData = userData;
    EXPECT_EQ(Encode(record), Slice(sample, 0x2048, 0x158));
}

// AMSITrace.etl's first record (0x6C0 bytes at 0x10048): kernel and user time, an activity
// id, and the provider traits of a provider known by its name only.
TEST(EventRecord, TraceLoggingEventIsTheAmsiSampleRecordByteForByte)
{
    const std::vector<uint8_t> sample = ReadSample("AMSITrace.etl");
    const std::vector<uint8_t> traits = EtlWriter::ProviderTraitsBlob("AmsiTrace");
    EXPECT_EQ(traits, Slice(sample, 0x100A0, 0x0C));
    const std::vector<uint8_t> schema = Slice(sample, 0x100B8, 0x2B);
    const std::vector<uint8_t> userData = Slice(sample, 0x100E8, 0x10708 - 0x100E8);
    EtlWriter::ExtendedItems items;
    items.ProviderTraits(traits).TraceLoggingSchema(schema);

    EtlWriter::EventRecord record = Event(0x6AB8, 0x74AC, 0x27F3EBB57A3, "8E805EB3-6A8F-4A1E-90FA-A831D94E54A1");
    record.descriptor = {0, 0, 0x0B, 5, 0, 0, 0};
    record.kernelTime = 2;
    record.userTime = 3;
    record.activityId = Guid("66931E3D-E311-0000-06D0-AF6611E3D501");
    record.extended = items.Items();
    record.userData = userData;
    EXPECT_EQ(Encode(record), Slice(sample, 0x10048, 0x6C0));
}

// smallEtlFile.etl's one event, of a 32-bit producer, inside its compressed buffer: header
// type 0x12 and no 32-bit flag in the file.
TEST(EventRecord, ThirtyTwoBitEventIsTheSmallEtlFileSampleRecordByteForByte)
{
    const std::vector<uint8_t> buffer = EtlWriterTesting::SampleBuffer("smallEtlFile.etl", 1);
    const std::vector<uint8_t> userData = Slice(buffer, 0x48 + 0x50, 0x298 - 0x50);

    EtlWriter::EventRecord record = Event(0x10F0, 0x2B0, 0x2B20682E24, "A669021C-C450-4609-A035-5AF59AF4DF18");
    record.kind = Etl::HeaderKind::Event32;
    record.descriptor = {154, 2, 0, 4, 0x24, 2, 0x20000008};
    record.kernelTime = 4;
    record.userTime = 0xB;
    record.userData = userData;
    EXPECT_EQ(Encode(record), Slice(buffer, 0x48, 0x298));
}

void Append(std::vector<uint8_t>& bytes, uint64_t value, size_t width)
{
    for (size_t index = 0; index < width; ++index) {
        bytes.push_back(static_cast<uint8_t>(value >> (8 * index)));
    }
}

void Append(std::vector<uint8_t>& bytes, std::initializer_list<uint8_t> values)
{
    bytes.insert(bytes.end(), values);
}

TEST(EventRecord, EveryFieldAndItemLandsAtItsOffset)
{
    const Etl::Guid related = Guid("01020304-0506-0708-090A-0B0C0D0E0F10");
    EtlWriter::ExtendedItems items;
    items.SessionId(1)
        .StackTrace64(0x1234, {0x7FF612340000, 0x7FF612345678})
        .StackTrace32(0x99, {0x401000, 0x402000, 0x403000})
        .RelatedActivityId(related);
    const std::vector<uint8_t> userData = {'a', 'b', 0};
    EtlWriter::EventRecord record;
    record.property = 0x0040;
    record.threadId = 0x11223344;
    record.processId = 0x55667788;
    record.timestamp = 0x0102030405060708;
    record.provider = Guid("6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04");
    record.descriptor = {2012, 2, 17, 4, 13, 3, 0x4000000000000001};
    record.kernelTime = 5;
    record.userTime = 6;
    record.activityId = Guid("A0A1A2A3-B0B1-C0C1-D0D1-D2D3D4D5D6D7");
    record.extended = items.Items();
    record.userData = userData;

    std::vector<uint8_t> expected;
    Append(expected, {0xBB, 0x00, 0x13, 0xC0}); // size 0x50 + 104 + 3, type 0x13, marker
    Append(expected, {0x01, 0x00, 0x40, 0x00}); // extended-info flag added, property
    Append(expected, 0x11223344, 4);
    Append(expected, 0x55667788, 4);
    Append(expected, 0x0102030405060708, 8);
    Append(expected, {0x41, 0x9C, 0x2B, 0x6E, 0x3D, 0x7A, 0x15, 0x4F, 0x8C, 0x62, 0x3D, 0x9A, 0x1B, 0x7E, 0x5F, 0x04});
    Append(expected,
           {0xDC, 0x07, 0x02, 0x11, 0x04, 0x0D, 0x03, 0x00}); // id 2012, version, channel, level, opcode, task
    Append(expected, 0x4000000000000001, 8);
    Append(expected, 5, 4);
    Append(expected, 6, 4);
    Append(expected, {0xA3, 0xA2, 0xA1, 0xA0, 0xB1, 0xB0, 0xC1, 0xC0, 0xD0, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7});
    ASSERT_EQ(expected.size(), 0x50u);
    // TS_ID: item of 0x10, type 3, linkage 1, 4 bytes of data, 4 of padding.
    Append(expected, {0x10, 0x00, 0x03, 0x00, 0x01, 0x00, 0x04, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00});
    // STACK_TRACE64: match id, then two 8-byte addresses.
    Append(expected, {0x20, 0x00, 0x06, 0x00, 0x01, 0x00, 0x18, 0x00});
    Append(expected, 0x1234, 8);
    Append(expected, 0x7FF612340000, 8);
    Append(expected, 0x7FF612345678, 8);
    // STACK_TRACE32: match id, then three 4-byte addresses, padded from 0x1C to 0x20.
    Append(expected, {0x20, 0x00, 0x05, 0x00, 0x01, 0x00, 0x14, 0x00});
    Append(expected, 0x99, 8);
    Append(expected, 0x401000, 4);
    Append(expected, 0x402000, 4);
    Append(expected, 0x403000, 4);
    Append(expected, 0, 4);
    // RELATED_ACTIVITYID, the last item: linkage 0.
    Append(expected, {0x18, 0x00, 0x01, 0x00, 0x00, 0x00, 0x10, 0x00});
    Append(expected, {0x04, 0x03, 0x02, 0x01, 0x06, 0x05, 0x08, 0x07, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10});
    Append(expected, {'a', 'b', 0});
    EXPECT_EQ(Encode(record), expected);
}

TEST(EventRecord, FlagsWithoutItemsAreWrittenAsGiven)
{
    EtlWriter::EventRecord record;
    record.kind = Etl::HeaderKind::Event32;
    record.flags = Etl::FlagStringOnly | Etl::FlagPrivateSession;
    const std::vector<uint8_t> bytes = Encode(record);
    ASSERT_EQ(bytes.size(), 0x50u);
    EXPECT_THAT(Slice(bytes, 0, 6), testing::ElementsAre(0x50, 0x00, 0x12, 0xC0, 0x06, 0x00));
}

TEST(EventRecord, RecordsBeyondTheSixteenBitSizeAreRefused)
{
    const std::vector<uint8_t> userData(0xFFFF - 0x50 + 1);
    EtlWriter::EventRecord record;
    record.userData = userData;
    EXPECT_THROW(EtlWriter::EventRecordSize(record), std::length_error);
    record.userData = std::span<const uint8_t>(userData).first(0xFFFF - 0x50);
    EXPECT_EQ(EtlWriter::EventRecordSize(record), 0xFFFFu);
}

TEST(EventRecord, KindsOtherThanEventHeadersAreRefused)
{
    EtlWriter::EventRecord record;
    record.kind = Etl::HeaderKind::Full64;
    EXPECT_THROW(EtlWriter::EventRecordSize(record), std::invalid_argument);
}

TEST(EventRecord, OutputOfAnotherSizeIsRefused)
{
    EtlWriter::EventRecord record;
    std::vector<uint8_t> bytes(0x58);
    EXPECT_THROW(EtlWriter::EncodeEventRecord(record, bytes), std::invalid_argument);
}

} // namespace
