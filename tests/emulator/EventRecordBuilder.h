#pragma once

// Synthetic event records for tests: an EVENT_RECORD with real header fields, user data
// laid out field by field as a template lays it out, and extended data items (terminal
// session id, 32- and 64-bit stack traces, or any raw item).
//
//   Testing::RecordedEvent event = Testing::EventRecordBuilder(providerId, 2012, 1, 4)
//                                      .Task(3).Process(10, 20)
//                                      .Utf16(L"app").Utf16(L"name").SessionId(1).Build();
//   callback(&event.record);

#include <windows.h>

#include <evntcons.h>

#include <cstdint>
#include <string_view>
#include <vector>

namespace Testing {

// Owns the storage the record points into. Move-only: moving keeps every pointer of the
// record valid (the buffers move with their vectors); a copy would not.
class RecordedEvent {
public:
    RecordedEvent() = default;
    RecordedEvent(const RecordedEvent&) = delete;
    RecordedEvent& operator=(const RecordedEvent&) = delete;
    RecordedEvent(RecordedEvent&&) = default;
    RecordedEvent& operator=(RecordedEvent&&) = default;

    EVENT_RECORD record{};

private:
    friend class EventRecordBuilder;
    std::vector<uint8_t> userData;
    std::vector<EVENT_HEADER_EXTENDED_DATA_ITEM> items;
    std::vector<std::vector<uint8_t>> itemData;
};

class EventRecordBuilder {
public:
    // Process 1000, thread 2000, time stamp 2024-03-07 09:05:01.042 UTC, 64-bit header.
    EventRecordBuilder(const GUID& provider, USHORT id, UCHAR version, UCHAR level);

    EventRecordBuilder& Task(USHORT task);
    EventRecordBuilder& Opcode(UCHAR opcode);
    EventRecordBuilder& Keyword(ULONGLONG keyword);
    EventRecordBuilder& Process(ULONG processId, ULONG threadId);
    // UTC file time (100 ns since 1601).
    EventRecordBuilder& Timestamp(LONGLONG fileTime);
    // 4 marks a 32-bit producer (EVENT_HEADER_FLAG_32_BIT_HEADER), 8 a 64-bit one; later
    // Pointer() fields take that many bytes.
    EventRecordBuilder& PointerSize(unsigned bytes);

    // User data, appended in order. Strings get their terminator unless told otherwise.
    EventRecordBuilder& Utf16(std::wstring_view text, bool terminate = true);
    EventRecordBuilder& Narrow(std::string_view text, bool terminate = true); // ANSI and UTF-8
    EventRecordBuilder& Pointer(uint64_t value);
    EventRecordBuilder& UInt64(uint64_t value);
    EventRecordBuilder& UInt32(uint32_t value);
    EventRecordBuilder& UInt16(uint16_t value);
    EventRecordBuilder& Bytes(const void* data, size_t size);

    // Extended data items, in order.
    EventRecordBuilder& SessionId(ULONG sessionId);
    EventRecordBuilder& StackTrace32(ULONG64 matchId, const std::vector<uint32_t>& addresses);
    EventRecordBuilder& StackTrace64(ULONG64 matchId, const std::vector<uint64_t>& addresses);
    EventRecordBuilder& ExtendedItem(USHORT type, const void* data, size_t size);

    RecordedEvent Build() const;

private:
    EVENT_HEADER header{};
    unsigned pointerSize = 8;
    std::vector<uint8_t> userData;
    std::vector<std::pair<USHORT, std::vector<uint8_t>>> items;
};

} // namespace Testing
