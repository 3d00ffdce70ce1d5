#include "platform/EtlRecord.h"

#include <cstring>

namespace Platform {

namespace {

EVENT_DESCRIPTOR ToDescriptor(const Etl::EventDescriptor& from) noexcept
{
    EVENT_DESCRIPTOR to{};
    to.Id = from.id;
    to.Version = from.version;
    to.Channel = from.channel;
    to.Level = from.level;
    to.Opcode = from.opcode;
    to.Task = from.task;
    to.Keyword = from.keyword;
    return to;
}

Etl::EventDescriptor ToEtlDescriptor(const EVENT_DESCRIPTOR& from) noexcept
{
    Etl::EventDescriptor to;
    to.id = from.Id;
    to.version = from.Version;
    to.channel = from.Channel;
    to.level = from.Level;
    to.opcode = from.Opcode;
    to.task = from.Task;
    to.keyword = from.Keyword;
    return to;
}

std::span<const uint8_t> Bytes(const void* data, size_t size) noexcept
{
    if (data == nullptr || size == 0) {
        return {};
    }
    return {static_cast<const uint8_t*>(data), size};
}

} // namespace

GUID ToGuid(const Etl::Guid& guid) noexcept
{
    GUID result{};
    result.Data1 = guid.data1;
    result.Data2 = guid.data2;
    result.Data3 = guid.data3;
    std::memcpy(result.Data4, guid.data4.data(), sizeof(result.Data4));
    return result;
}

Etl::Guid ToEtlGuid(const GUID& guid) noexcept
{
    Etl::Guid result;
    result.data1 = guid.Data1;
    result.data2 = guid.Data2;
    result.data3 = guid.Data3;
    std::memcpy(result.data4.data(), guid.Data4, sizeof(guid.Data4));
    return result;
}

void EventFromRecord(const EVENT_RECORD& record, Etl::Event& event)
{
    const EVENT_HEADER& header = record.EventHeader;
    event.flags = header.Flags;
    event.property = header.EventProperty;
    event.threadId = header.ThreadId;
    event.processId = header.ProcessId;
    event.rawTimestamp = header.TimeStamp.QuadPart;
    event.timestamp = header.TimeStamp.QuadPart;
    event.provider = ToEtlGuid(header.ProviderId);
    event.descriptor = ToEtlDescriptor(header.EventDescriptor);
    event.kernelTime = header.KernelTime;
    event.userTime = header.UserTime;
    event.activityId = ToEtlGuid(header.ActivityId);
    event.processor = record.BufferContext.ProcessorIndex;
    event.loggerId = record.BufferContext.LoggerId;
    event.pointerSize = (header.Flags & EVENT_HEADER_FLAG_32_BIT_HEADER) != 0 ? 4 : 8;
    event.userData = Bytes(record.UserData, record.UserDataLength);
    event.extended.clear();
    for (USHORT index = 0; record.ExtendedData != nullptr && index < record.ExtendedDataCount; ++index) {
        const EVENT_HEADER_EXTENDED_DATA_ITEM& item = record.ExtendedData[index];
        event.extended.push_back(
            Etl::ExtendedItem{item.ExtType, Bytes(reinterpret_cast<const void*>(item.DataPtr), item.DataSize)});
    }
}

void RecordFromEvent(const Etl::Event& event, EVENT_RECORD& record, std::vector<EVENT_HEADER_EXTENDED_DATA_ITEM>& items)
{
    EVENT_HEADER& header = record.EventHeader;
    header = EVENT_HEADER{};
    header.Size = sizeof(EVENT_HEADER);
    header.HeaderType = 0;
    header.Flags = event.flags;
    header.EventProperty = event.property;
    header.ThreadId = event.threadId;
    header.ProcessId = event.processId;
    header.TimeStamp.QuadPart = event.timestamp;
    header.ProviderId = ToGuid(event.provider);
    header.EventDescriptor = ToDescriptor(event.descriptor);
    header.KernelTime = event.kernelTime;
    header.UserTime = event.userTime;
    header.ActivityId = ToGuid(event.activityId);

    record.BufferContext = ETW_BUFFER_CONTEXT{};
    record.BufferContext.ProcessorIndex = event.processor;
    record.BufferContext.LoggerId = event.loggerId;

    items.resize(event.extended.size());
    for (size_t index = 0; index < items.size(); ++index) {
        const Etl::ExtendedItem& from = event.extended[index];
        EVENT_HEADER_EXTENDED_DATA_ITEM& to = items[index];
        to = EVENT_HEADER_EXTENDED_DATA_ITEM{};
        to.ExtType = from.type;
        to.DataSize = static_cast<USHORT>(from.data.size());
        to.DataPtr = reinterpret_cast<ULONGLONG>(from.data.data());
        // Linkage tells a consumer that another item follows, as ProcessTrace sets it.
        to.Linkage = index + 1 < items.size() ? 1 : 0;
    }
    record.ExtendedDataCount = static_cast<USHORT>(items.size());
    record.ExtendedData = items.empty() ? nullptr : items.data();
    record.UserDataLength = static_cast<USHORT>(event.userData.size());
    record.UserData = event.userData.empty() ? nullptr : const_cast<uint8_t*>(event.userData.data());
}

} // namespace Platform
