// The product's events as the generator lays them out: descriptors from the manifest,
// payloads field by field, and a generated log's buffers and records.

#include "tests/etlwriter/ProductEvents.h"
#include "tests/etlwriter/MemoryOutput.h"
#include "tests/etlwriter/ProductLogGenerator.h"
#include "tests/etlwriter/SampleFiles.h"
#include "tests/etlwriter/WrittenLog.h"

#include "etl/GuidText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

namespace {

using EtlWriterTesting::Slice;
using EtlWriterTesting::U16;
using EtlWriterTesting::U32;
using EtlWriterTesting::U64;
using testing::ElementsAre;

void ExpectDescriptor(const Etl::EventDescriptor& descriptor, uint16_t id, uint8_t version, uint8_t channel,
                      uint8_t level, uint8_t opcode, uint16_t task, uint64_t keyword)
{
    SCOPED_TRACE(id);
    EXPECT_EQ(descriptor.id, id);
    EXPECT_EQ(descriptor.version, version);
    EXPECT_EQ(descriptor.channel, channel);
    EXPECT_EQ(descriptor.level, level);
    EXPECT_EQ(descriptor.opcode, opcode);
    EXPECT_EQ(descriptor.task, task);
    EXPECT_EQ(descriptor.keyword, keyword);
}

TEST(ProductEvents, ProviderIsKestrovaDiagnostics)
{
    EXPECT_EQ(Etl::FormatGuid(EtlWriter::kestrovaProvider), "6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04");
}

TEST(ProductEvents, DescriptorsAreTheManifests)
{
    using EtlWriter::ProductDescriptor;
    ExpectDescriptor(ProductDescriptor(2000, 1), 2000, 1, 16, 18, 17, 1, 0x8000000000000004);
    ExpectDescriptor(ProductDescriptor(2001, 1), 2001, 1, 16, 17, 11, 2, 0x8000000000000004);
    ExpectDescriptor(ProductDescriptor(2002, 1), 2002, 1, 16, 16, 10, 2, 0x8000000000000004);
    ExpectDescriptor(ProductDescriptor(2003, 1), 2003, 1, 16, 5, 12, 1, 0x8000000000000004);
    ExpectDescriptor(ProductDescriptor(2004, 1), 2004, 1, 16, 4, 13, 1, 0x8000000000000002);
    ExpectDescriptor(ProductDescriptor(2005, 1), 2005, 1, 16, 3, 14, 1, 0x8000000000000002);
    ExpectDescriptor(ProductDescriptor(2006, 1), 2006, 1, 16, 2, 15, 1, 0x8000000000000002);
    ExpectDescriptor(ProductDescriptor(2010, 2), 2010, 2, 17, 18, 17, 3, 0x4000000000000001);
    ExpectDescriptor(ProductDescriptor(2011, 2), 2011, 2, 17, 5, 12, 3, 0x4000000000000001);
    ExpectDescriptor(ProductDescriptor(2012, 2), 2012, 2, 17, 4, 13, 3, 0x4000000000000001);
    ExpectDescriptor(ProductDescriptor(2013, 2), 2013, 2, 17, 3, 14, 3, 0x4000000000000001);
    ExpectDescriptor(ProductDescriptor(2014, 2), 2014, 2, 17, 2, 15, 3, 0x4000000000000001);
    ExpectDescriptor(ProductDescriptor(2012, 1), 2012, 1, 17, 4, 13, 3, 0x4000000000000001);
}

TEST(ProductEvents, OtherIdsAndVersionsAreRefused)
{
    EXPECT_THROW(EtlWriter::ProductDescriptor(2004, 2), std::invalid_argument);
    EXPECT_THROW(EtlWriter::ProductDescriptor(2012, 3), std::invalid_argument);
    EXPECT_THROW(EtlWriter::ProductDescriptor(2020, 1), std::invalid_argument);
    EXPECT_THROW(EtlWriter::ProductDescriptor(2007, 1), std::invalid_argument);
}

TEST(ProductEvents, VersionTwoFieldsAreNulTerminatedUtf8InOrder)
{
    std::vector<uint8_t> payload = {9, 9, 9};
    EtlWriter::OperationalPayloadV2({"svc", "net", "up", "", "s"}, payload);
    EXPECT_THAT(payload, ElementsAre('s', 'v', 'c', 0, 'n', 'e', 't', 0, 'u', 'p', 0, 0, 's', 0));
}

TEST(ProductEvents, VersionOneFieldsAreNulTerminatedUtf16InOrder)
{
    std::vector<uint8_t> payload;
    EtlWriter::OperationalPayloadV1({"a", "", "b\xE9", "c", ""}, payload);
    EXPECT_THAT(payload, ElementsAre('a', 0, 0, 0, 0, 0, 'b', 0, 0xE9, 0, 0, 0, 'c', 0, 0, 0, 0, 0));
}

TEST(ProductEvents, DebugTraceIsProcessNameAndTextInUtf16)
{
    std::vector<uint8_t> payload;
    EtlWriter::DebugTracePayload("svc", "hi", payload);
    EXPECT_THAT(payload, ElementsAre('s', 0, 'v', 0, 'c', 0, 0, 0, 'h', 0, 'i', 0, 0, 0));
}

// A small generated log, walked record by record.
class GeneratedLog : public testing::Test {
protected:
    static std::vector<uint8_t> Generate(const EtlWriter::GeneratorOptions& options)
    {
        EtlWriter::MemoryOutput output;
        EtlWriter::GenerateProductLog(output, options);
        return output.Bytes();
    }

    static EtlWriter::GeneratorOptions SmallBuffers()
    {
        EtlWriter::GeneratorOptions options;
        options.events = 3000;
        options.bufferSize = 0x4000;
        return options;
    }
};

TEST_F(GeneratedLog, HoldsEveryEventAsAProductEventWithASessionId)
{
    const std::vector<uint8_t> log = Generate(SmallBuffers());
    const auto buffers = EtlWriterTesting::WalkBuffers(log);
    ASSERT_GT(buffers.size(), 20u);
    EXPECT_EQ(U32(log, 0x68 + 0x20), 0x2u) << "circular, as ksdiag START makes it";
    EXPECT_EQ(U32(log, 0x68 + 0x1C), 1024u);
    EXPECT_EQ(U32(log, 0x68 + 0x110), 1u) << "QPC";
    EXPECT_EQ(U32(log, 0x68 + 0x24), buffers.size());

    size_t records = 0;
    std::set<uint32_t> processors;
    std::map<std::pair<uint16_t, uint8_t>, size_t> events;
    std::set<uint32_t> sessions;
    std::vector<uint64_t> sequences;
    for (size_t index = 1; index < buffers.size(); ++index) {
        const auto& buffer = buffers[index];
        processors.insert(buffer.context & 0xFFFF);
        sequences.push_back(buffer.sequence);
        uint64_t previous = 0;
        for (const auto& record : EtlWriterTesting::WalkRecords(buffer)) {
            const std::vector<uint8_t> bytes = Slice(buffer.bytes, record.offset, record.size);
            ASSERT_EQ(record.headerType, 0x13u);
            EXPECT_EQ(U16(bytes, 4), 0x0001u) << "only the extended-info flag";
            EXPECT_EQ(Etl::GuidFromBytes(&bytes[0x18]), EtlWriter::kestrovaProvider);
            EXPECT_GE(U64(bytes, 0x10), previous) << "records of a buffer in time order";
            previous = U64(bytes, 0x10);
            events[{U16(bytes, 0x28), bytes[0x2A]}]++;
            // The TS_ID item: size 0x10, type 3, the last item, 4 bytes.
            EXPECT_EQ(U64(bytes, 0x50), 0x0004000000030010u);
            sessions.insert(U32(bytes, 0x58));
            ++records;
        }
    }
    EXPECT_EQ(records, 3000u);
    EXPECT_EQ(processors, (std::set<uint32_t>{0, 1, 2, 3}));
    EXPECT_EQ(sessions, (std::set<uint32_t>{0, 1, 2}));
    EXPECT_FALSE(std::is_sorted(sequences.begin(), sequences.end())) << "several processors: file order differs";
    for (const uint16_t id : {2000, 2001, 2002, 2003, 2004, 2005, 2006}) {
        EXPECT_GT((events[{id, uint8_t{1}}]), 0u) << id;
    }
    for (const uint16_t id : {2010, 2011, 2012, 2013, 2014}) {
        EXPECT_GT((events[{id, uint8_t{2}}]), 0u) << id;
        EXPECT_GT((events[{id, uint8_t{1}}]), 0u) << id;
    }
}

TEST_F(GeneratedLog, IsTheSameForTheSameSeed)
{
    EtlWriter::GeneratorOptions options = SmallBuffers();
    const std::vector<uint8_t> first = Generate(options);
    EXPECT_EQ(Generate(options), first);
    options.seed = 2;
    EXPECT_NE(Generate(options), first);
}

TEST_F(GeneratedLog, CanBeCompressed)
{
    EtlWriter::GeneratorOptions options = SmallBuffers();
    options.circularMegabytes = 0;
    options.compressed = true;
    const std::vector<uint8_t> log = Generate(options);
    EXPECT_EQ(U32(log, 0x68 + 0x20), 0x04000001u);
    const auto buffers = EtlWriterTesting::WalkBuffers(log);
    size_t records = 0;
    for (size_t index = 1; index < buffers.size(); ++index) {
        EXPECT_EQ(buffers[index].flags & 0x40, 0x40);
        records += EtlWriterTesting::WalkRecords(buffers[index]).size();
    }
    EXPECT_EQ(records, 3000u);
}

} // namespace
