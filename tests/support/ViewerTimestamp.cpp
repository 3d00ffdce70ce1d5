#include "tests/support/ViewerTimestamp.h"

#include <windows.h>

#include <cstdio>

namespace Testing {

std::string ViewerTimestamp(long long fileTime)
{
    FILETIME utc{static_cast<DWORD>(fileTime & 0xFFFFFFFF), static_cast<DWORD>(fileTime >> 32)};
    FILETIME local{};
    SYSTEMTIME time{};
    ::FileTimeToLocalFileTime(&utc, &local);
    ::FileTimeToSystemTime(&local, &time);
    char text[64];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u.%03u", time.wYear, time.wMonth, time.wDay,
                  time.wHour, time.wMinute, time.wSecond, static_cast<unsigned>((fileTime % 10000000) / 10000));
    return text;
}

} // namespace Testing
