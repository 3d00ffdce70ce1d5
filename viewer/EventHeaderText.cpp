#include "viewer/EventHeaderText.h"

#include "viewer/LogText.h"
#include "viewer/PropertyReader.h"

#include <cstring>
#include <iomanip>
#include <iostream>
#include <string>

namespace Viewer {

namespace {

// The session id of the last terminal-session item; false when there is none.
bool FindSessionId(const EVENT_RECORD& record, ULONG& sessionId)
{
    bool found = false;
    for (USHORT index = 0; record.ExtendedData != nullptr && index < record.ExtendedDataCount; ++index) {
        const EVENT_HEADER_EXTENDED_DATA_ITEM& item = record.ExtendedData[index];
        if (item.ExtType == EVENT_HEADER_EXT_TYPE_TS_ID && item.DataSize >= sizeof(ULONG) && item.DataPtr != 0) {
            std::memcpy(&sessionId, reinterpret_cast<const void*>(item.DataPtr), sizeof(ULONG));
            found = true;
        }
    }
    return found;
}

} // namespace

void WriteTimestamp(const EVENT_RECORD& record)
{
    const LONGLONG ticks = record.EventHeader.TimeStamp.QuadPart;
    FILETIME utc{};
    utc.dwLowDateTime = static_cast<DWORD>(static_cast<ULONGLONG>(ticks) & 0xFFFFFFFFu);
    utc.dwHighDateTime = static_cast<DWORD>(static_cast<ULONGLONG>(ticks) >> 32);
    FILETIME local{};
    SYSTEMTIME time{};
    ::FileTimeToLocalFileTime(&utc, &local);
    ::FileTimeToSystemTime(&local, &time);
    const auto milliseconds = static_cast<unsigned>((ticks % 10000000) / 10000);
    std::wcout << std::setfill(L'0') << std::dec << std::setw(4) << time.wYear << L'-' << std::setw(2) << time.wMonth
               << L'-' << std::setw(2) << time.wDay << L' ' << std::setw(2) << time.wHour << L':' << std::setw(2)
               << time.wMinute << L':' << std::setw(2) << time.wSecond << L'.' << std::setw(3) << milliseconds;
}

void WriteSource(const EVENT_RECORD& record, std::wstring_view name)
{
    WriteLogField(name);
    std::wcout << L'(';
    ULONG sessionId = 0;
    if (FindSessionId(record, sessionId)) {
        std::wcout << sessionId << L':';
    }
    std::wcout << record.EventHeader.ProcessId << L':' << record.EventHeader.ThreadId << L')';
}

std::wstring_view ProductSourceName(const EVENT_RECORD& record)
{
    // Reused from event to event, so that the header allocates nothing once it has grown.
    static std::wstring name;
    if (ReadTextProperty(record, L"ProcessName", name) != ERROR_SUCCESS) {
        return L"???";
    }
    return name;
}

} // namespace Viewer
