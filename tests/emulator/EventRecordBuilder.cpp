#include "tests/emulator/EventRecordBuilder.h"

#include <cstring>

namespace Testing {

namespace {

void Append(std::vector<uint8_t>& bytes, const void* data, size_t size)
{
    const auto* begin = static_cast<const uint8_t*>(data);
    bytes.insert(bytes.end(), begin, begin + size);
}

} // namespace

EventRecordBuilder::EventRecordBuilder(const GUID& provider, USHORT id, UCHAR version, UCHAR level)
{
    header.Size = sizeof(EVENT_HEADER);
    header.HeaderType = 0;
    header.Flags = EVENT_HEADER_FLAG_64_BIT_HEADER;
    header.ProviderId = provider;
    header.EventDescriptor.Id = id;
    header.EventDescriptor.Version = version;
    header.EventDescriptor.Level = level;
    header.ProcessId = 1000;
    header.ThreadId = 2000;
    header.TimeStamp.QuadPart = 133542759010420000LL; // 2024-03-07 09:05:01.042 UTC
}

EventRecordBuilder& EventRecordBuilder::Task(USHORT task)
{
    header.EventDescriptor.Task = task;
    return *this;
}

EventRecordBuilder& EventRecordBuilder::Opcode(UCHAR opcode)
{
    header.EventDescriptor.Opcode = opcode;
    return *this;
}

EventRecordBuilder& EventRecordBuilder::Keyword(ULONGLONG keyword)
{
    header.EventDescriptor.Keyword = keyword;
    return *this;
}

EventRecordBuilder& EventRecordBuilder::Process(ULONG processId, ULONG threadId)
{
    header.ProcessId = processId;
    header.ThreadId = threadId;
    return *this;
}

EventRecordBuilder& EventRecordBuilder::Timestamp(LONGLONG fileTime)
{
    header.TimeStamp.QuadPart = fileTime;
    return *this;
}

EventRecordBuilder& EventRecordBuilder::PointerSize(unsigned bytes)
{
    pointerSize = bytes;
    header.Flags &= ~(EVENT_HEADER_FLAG_32_BIT_HEADER | EVENT_HEADER_FLAG_64_BIT_HEADER);
    header.Flags |= bytes == 4 ? EVENT_HEADER_FLAG_32_BIT_HEADER : EVENT_HEADER_FLAG_64_BIT_HEADER;
    return *this;
}

EventRecordBuilder& EventRecordBuilder::Utf16(std::wstring_view text, bool terminate)
{
    Append(userData, text.data(), text.size() * sizeof(wchar_t));
    if (terminate) {
        userData.insert(userData.end(), 2, 0);
    }
    return *this;
}

EventRecordBuilder& EventRecordBuilder::Narrow(std::string_view text, bool terminate)
{
    Append(userData, text.data(), text.size());
    if (terminate) {
        userData.push_back(0);
    }
    return *this;
}

EventRecordBuilder& EventRecordBuilder::Pointer(uint64_t value)
{
    if (pointerSize == 4) {
        return UInt32(static_cast<uint32_t>(value));
    }
    return UInt64(value);
}

EventRecordBuilder& EventRecordBuilder::UInt64(uint64_t value)
{
    Append(userData, &value, sizeof(value));
    return *this;
}

EventRecordBuilder& EventRecordBuilder::UInt32(uint32_t value)
{
    Append(userData, &value, sizeof(value));
    return *this;
}

EventRecordBuilder& EventRecordBuilder::UInt16(uint16_t value)
{
    Append(userData, &value, sizeof(value));
    return *this;
}

EventRecordBuilder& EventRecordBuilder::Bytes(const void* data, size_t size)
{
    Append(userData, data, size);
    return *this;
}

EventRecordBuilder& EventRecordBuilder::SessionId(ULONG sessionId)
{
    return ExtendedItem(EVENT_HEADER_EXT_TYPE_TS_ID, &sessionId, sizeof(sessionId));
}

EventRecordBuilder& EventRecordBuilder::StackTrace32(ULONG64 matchId, const std::vector<uint32_t>& addresses)
{
    std::vector<uint8_t> data;
    Append(data, &matchId, sizeof(matchId));
    Append(data, addresses.data(), addresses.size() * sizeof(uint32_t));
    return ExtendedItem(EVENT_HEADER_EXT_TYPE_STACK_TRACE32, data.data(), data.size());
}

EventRecordBuilder& EventRecordBuilder::StackTrace64(ULONG64 matchId, const std::vector<uint64_t>& addresses)
{
    std::vector<uint8_t> data;
    Append(data, &matchId, sizeof(matchId));
    Append(data, addresses.data(), addresses.size() * sizeof(uint64_t));
    return ExtendedItem(EVENT_HEADER_EXT_TYPE_STACK_TRACE64, data.data(), data.size());
}

EventRecordBuilder& EventRecordBuilder::ExtendedItem(USHORT type, const void* data, size_t size)
{
    std::vector<uint8_t> bytes;
    Append(bytes, data, size);
    items.emplace_back(type, std::move(bytes));
    return *this;
}

RecordedEvent EventRecordBuilder::Build() const
{
    RecordedEvent event;
    event.userData = userData;
    event.record.EventHeader = header;
    event.record.UserDataLength = static_cast<USHORT>(userData.size());
    // No payload is a null pointer, as ETW delivers it.
    event.record.UserData = event.userData.empty() ? nullptr : event.userData.data();
    for (const auto& [type, bytes] : items) {
        event.itemData.push_back(bytes);
    }
    for (size_t index = 0; index < items.size(); ++index) {
        EVENT_HEADER_EXTENDED_DATA_ITEM item{};
        item.ExtType = items[index].first;
        item.DataSize = static_cast<USHORT>(event.itemData[index].size());
        item.DataPtr = reinterpret_cast<ULONG64>(event.itemData[index].data());
        event.items.push_back(item);
    }
    event.record.ExtendedDataCount = static_cast<USHORT>(event.items.size());
    event.record.ExtendedData = event.items.empty() ? nullptr : event.items.data();
    if (!event.items.empty()) {
        event.record.EventHeader.Flags |= EVENT_HEADER_FLAG_EXTENDED_INFO;
    }
    return event;
}

} // namespace Testing
