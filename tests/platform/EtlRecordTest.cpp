#include "platform/EtlRecord.h"

#include "tests/emulator/EventRecordBuilder.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

const GUID provider = {0x6E2B9C41, 0x7A3D, 0x4F15, {0x8C, 0x62, 0x3D, 0x9A, 0x1B, 0x7E, 0x5F, 0x04}};

} // namespace

TEST(EtlRecord, GuidsConvertBothWays)
{
    const Etl::Guid converted = Platform::ToEtlGuid(provider);
    EXPECT_EQ(0x6E2B9C41u, converted.data1);
    EXPECT_EQ(0x7A3Du, converted.data2);
    EXPECT_EQ(0x4F15u, converted.data3);
    EXPECT_EQ(0x8Cu, converted.data4[0]);
    EXPECT_EQ(0x04u, converted.data4[7]);
    EXPECT_TRUE(IsEqualGUID(provider, Platform::ToGuid(converted)));
}

TEST(EtlRecord, EventFromRecordKeepsHeaderDataAndItems)
{
    const Testing::RecordedEvent built = Testing::EventRecordBuilder(provider, 2012, 2, 4)
                                             .Task(3)
                                             .Opcode(13)
                                             .Keyword(0x4000000000000001ull)
                                             .Process(10, 20)
                                             .Timestamp(133542759010420000LL)
                                             .UInt32(0xDEADBEEF)
                                             .SessionId(7)
                                             .StackTrace64(1, {0x1000, 0x2000})
                                             .Build();
    Etl::Event event;
    Platform::EventFromRecord(built.record, event);
    EXPECT_EQ(2012, event.descriptor.id);
    EXPECT_EQ(2, event.descriptor.version);
    EXPECT_EQ(4, event.descriptor.level);
    EXPECT_EQ(3, event.descriptor.task);
    EXPECT_EQ(13, event.descriptor.opcode);
    EXPECT_EQ(0x4000000000000001ull, event.descriptor.keyword);
    EXPECT_EQ(10u, event.processId);
    EXPECT_EQ(20u, event.threadId);
    EXPECT_EQ(133542759010420000LL, event.timestamp);
    EXPECT_EQ(8u, event.pointerSize);
    ASSERT_EQ(4u, event.userData.size());
    EXPECT_EQ(static_cast<const void*>(built.record.UserData), static_cast<const void*>(event.userData.data()));
    ASSERT_EQ(2u, event.extended.size());
    EXPECT_EQ(EVENT_HEADER_EXT_TYPE_TS_ID, event.extended[0].type);
    EXPECT_EQ(4u, event.extended[0].data.size());
    EXPECT_EQ(EVENT_HEADER_EXT_TYPE_STACK_TRACE64, event.extended[1].type);
    EXPECT_EQ(24u, event.extended[1].data.size());
}

TEST(EtlRecord, ThirtyTwoBitHeaderMeansFourBytePointers)
{
    const Testing::RecordedEvent built = Testing::EventRecordBuilder(provider, 1, 0, 4).PointerSize(4).Build();
    Etl::Event event;
    Platform::EventFromRecord(built.record, event);
    EXPECT_EQ(4u, event.pointerSize);
}

TEST(EtlRecord, RecordFromEventPointsIntoTheEvent)
{
    const uint8_t data[] = {1, 2, 3, 4, 5};
    const uint8_t session[] = {7, 0, 0, 0};
    const uint8_t stack[] = {1, 0, 0, 0, 0, 0, 0, 0, 0x10, 0, 0, 0};
    Etl::Event event;
    event.provider = Platform::ToEtlGuid(provider);
    event.descriptor.id = 2004;
    event.descriptor.version = 1;
    event.descriptor.level = 4;
    event.flags = 0x0041; // extended info, 64-bit header
    event.processId = 11;
    event.threadId = 22;
    event.timestamp = 133542759010420000LL;
    event.processor = 3;
    event.userData = data;
    event.extended = {{EVENT_HEADER_EXT_TYPE_TS_ID, session}, {EVENT_HEADER_EXT_TYPE_STACK_TRACE32, stack}};

    EVENT_RECORD record{};
    std::vector<EVENT_HEADER_EXTENDED_DATA_ITEM> items;
    Platform::RecordFromEvent(event, record, items);
    EXPECT_TRUE(IsEqualGUID(provider, record.EventHeader.ProviderId));
    EXPECT_EQ(2004, record.EventHeader.EventDescriptor.Id);
    EXPECT_EQ(0x0041, record.EventHeader.Flags);
    EXPECT_EQ(sizeof(EVENT_HEADER), record.EventHeader.Size);
    EXPECT_EQ(11u, record.EventHeader.ProcessId);
    EXPECT_EQ(22u, record.EventHeader.ThreadId);
    EXPECT_EQ(133542759010420000LL, record.EventHeader.TimeStamp.QuadPart);
    EXPECT_EQ(3, record.BufferContext.ProcessorIndex);
    EXPECT_EQ(5, record.UserDataLength);
    EXPECT_EQ(static_cast<const void*>(data), record.UserData);
    ASSERT_EQ(2, record.ExtendedDataCount);
    EXPECT_EQ(EVENT_HEADER_EXT_TYPE_TS_ID, record.ExtendedData[0].ExtType);
    EXPECT_EQ(1, record.ExtendedData[0].Linkage);
    EXPECT_EQ(reinterpret_cast<ULONGLONG>(session), record.ExtendedData[0].DataPtr);
    EXPECT_EQ(EVENT_HEADER_EXT_TYPE_STACK_TRACE32, record.ExtendedData[1].ExtType);
    EXPECT_EQ(0, record.ExtendedData[1].Linkage);
    EXPECT_EQ(12, record.ExtendedData[1].DataSize);

    // Round trip back.
    Etl::Event back;
    Platform::EventFromRecord(record, back);
    EXPECT_EQ(event.descriptor.id, back.descriptor.id);
    EXPECT_EQ(event.provider, back.provider);
    EXPECT_EQ(2u, back.extended.size());
}

TEST(EtlRecord, NoItemsNoPointer)
{
    Etl::Event event;
    EVENT_RECORD record{};
    std::vector<EVENT_HEADER_EXTENDED_DATA_ITEM> items;
    Platform::RecordFromEvent(event, record, items);
    EXPECT_EQ(0, record.ExtendedDataCount);
    EXPECT_EQ(nullptr, record.ExtendedData);
    EXPECT_EQ(nullptr, record.UserData);
    EXPECT_EQ(0, record.UserDataLength);
}
