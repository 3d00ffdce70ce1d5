#include "tests/support/TimeZoneRun.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cwchar>
#include <string>

namespace Testing {

namespace {

constexpr long long ticksPerMinute = 60LL * 10000000LL;

long long Ticks(const FILETIME& time)
{
    return static_cast<long long>((static_cast<unsigned long long>(time.dwHighDateTime) << 32) | time.dwLowDateTime);
}

} // namespace

std::optional<int> RequestedUtcOffsetMinutes()
{
    char text[32] = {};
    const DWORD length = ::GetEnvironmentVariableA("KSDIAG_TEST_UTC_OFFSET", text, sizeof(text));
    if (length == 0 || length >= sizeof(text)) {
        return std::nullopt;
    }
    return std::atoi(text);
}

int LocalOffsetMinutes(const FILETIME& utc)
{
    FILETIME local{};
    EXPECT_TRUE(::FileTimeToLocalFileTime(&utc, &local));
    const int offset = static_cast<int>((Ticks(local) - Ticks(utc)) / ticksPerMinute);
    if (const std::optional<int> requested = RequestedUtcOffsetMinutes()) {
        EXPECT_EQ(*requested, offset) << "the platform is not in the zone this run asked for";
    }
    return offset;
}

std::wstring ShiftedTimeText(long long utcFileTime, int offsetMinutes)
{
    const long long shifted = utcFileTime + offsetMinutes * ticksPerMinute;
    const FILETIME time{static_cast<DWORD>(shifted & 0xFFFFFFFF), static_cast<DWORD>(shifted >> 32)};
    SYSTEMTIME parts{};
    EXPECT_TRUE(::FileTimeToSystemTime(&time, &parts));
    wchar_t text[32] = {};
    std::swprintf(text, 32, L"%04u-%02u-%02u %02u:%02u:%02u.%03u", parts.wYear, parts.wMonth, parts.wDay, parts.wHour,
                  parts.wMinute, parts.wSecond, parts.wMilliseconds);
    return text;
}

} // namespace Testing
