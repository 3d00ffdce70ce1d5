#include "front/TimeOption.h"

#include "base/ProcessArguments.h"

#include <windows.h>

namespace Front {

namespace {

constexpr int64_t ticksPerSecond = 10000000;
constexpr int64_t ticksPerMinute = 60 * ticksPerSecond;
constexpr int64_t ticksPerDay = 24 * 60 * ticksPerMinute;

// Reads exactly count digits at position; false when they are not all digits.
bool Digits(std::string_view text, size_t& position, size_t count, int64_t& value)
{
    if (position + count > text.size()) {
        return false;
    }
    value = 0;
    for (size_t index = 0; index < count; ++index) {
        const char c = text[position + index];
        if (c < '0' || c > '9') {
            return false;
        }
        value = value * 10 + (c - '0');
    }
    position += count;
    return true;
}

bool LeapYear(int64_t year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int64_t DaysInMonth(int64_t year, int64_t month)
{
    static const int64_t days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && LeapYear(year) ? 29 : days[month - 1];
}

// Days from 1601-01-01 to the date, proleptic Gregorian.
int64_t DaysSince1601(int64_t year, int64_t month, int64_t day)
{
    const int64_t years = year - 1601;
    int64_t days = years * 365 + years / 4 - years / 100 + years / 400;
    for (int64_t before = 1; before < month; ++before) {
        days += DaysInMonth(year, before);
    }
    return days + day - 1;
}

bool ParseDate(std::string_view text, size_t& at, int64_t& days)
{
    int64_t year = 0;
    int64_t month = 0;
    int64_t day = 0;
    if (!Digits(text, at, 4, year) || at >= text.size() || text[at++] != '-' || !Digits(text, at, 2, month) ||
        at >= text.size() || text[at++] != '-' || !Digits(text, at, 2, day)) {
        return false;
    }
    if (year < 1601 || month < 1 || month > 12 || day < 1 || day > DaysInMonth(year, month)) {
        return false;
    }
    days = DaysSince1601(year, month, day);
    return true;
}

// hh:mm[:ss[.fraction]] into ticks of the day.
bool ParseTimeOfDay(std::string_view text, size_t& at, int64_t& ticks)
{
    int64_t hour = 0;
    int64_t minute = 0;
    int64_t second = 0;
    if (!Digits(text, at, 2, hour) || at >= text.size() || text[at++] != ':' || !Digits(text, at, 2, minute)) {
        return false;
    }
    if (at < text.size() && text[at] == ':') {
        ++at;
        if (!Digits(text, at, 2, second)) {
            return false;
        }
        if (at < text.size() && (text[at] == '.' || text[at] == ',')) {
            ++at;
            int64_t fraction = 0;
            size_t digits = 0;
            while (at < text.size() && text[at] >= '0' && text[at] <= '9') {
                if (digits < 7) {
                    fraction = fraction * 10 + (text[at] - '0');
                }
                ++digits;
                ++at;
            }
            if (digits == 0) {
                return false;
            }
            for (size_t scale = digits; scale < 7; ++scale) {
                fraction *= 10;
            }
            ticks = fraction;
        }
    }
    if (hour > 23 || minute > 59 || second > 59) {
        return false;
    }
    ticks += (hour * 60 + minute) * ticksPerMinute + second * ticksPerSecond;
    return true;
}

// Z, +hh, +hh:mm or +hhmm (and the same with '-'); offsetTicks is east of UTC.
bool ParseZone(std::string_view text, size_t& at, int64_t& offsetTicks)
{
    if (text[at] == 'Z' || text[at] == 'z') {
        ++at;
        offsetTicks = 0;
        return true;
    }
    if (text[at] != '+' && text[at] != '-') {
        return false;
    }
    const int64_t sign = text[at++] == '-' ? -1 : 1;
    int64_t hours = 0;
    int64_t minutes = 0;
    if (!Digits(text, at, 2, hours)) {
        return false;
    }
    if (at < text.size()) {
        if (text[at] == ':') {
            ++at;
        }
        if (!Digits(text, at, 2, minutes)) {
            return false;
        }
    }
    if (hours > 23 || minutes > 59) {
        return false;
    }
    offsetTicks = sign * (hours * 60 + minutes) * ticksPerMinute;
    return true;
}

} // namespace

bool ParseIsoTime(std::string_view text, IsoTime& time)
{
    size_t at = 0;
    int64_t days = 0;
    if (!ParseDate(text, at, days)) {
        return false;
    }
    int64_t ticks = days * ticksPerDay;
    if (at < text.size() && (text[at] == 'T' || text[at] == 't' || text[at] == ' ')) {
        ++at;
        int64_t ofDay = 0;
        if (!ParseTimeOfDay(text, at, ofDay)) {
            return false;
        }
        ticks += ofDay;
    }
    bool local = true;
    if (at < text.size()) {
        int64_t offset = 0;
        if (!ParseZone(text, at, offset) || at != text.size()) {
            return false;
        }
        ticks -= offset;
        local = false;
    }
    if (ticks < 0) {
        return false; // before 1601 in UTC
    }
    time.ticks = ticks;
    time.local = local;
    return true;
}

bool ReadTimeOption(const char* name, int64_t& utcTicks)
{
    Base::Argument argument;
    if (!Base::ProcessArguments::Get(name, argument)) {
        return true;
    }
    IsoTime time;
    if (!ParseIsoTime(argument.value, time)) {
        return false;
    }
    if (!time.local) {
        utcTicks = time.ticks;
        return true;
    }
    // The inverse of the FileTimeToLocalFileTime that prints the text view's times.
    FILETIME local{};
    local.dwLowDateTime = static_cast<DWORD>(static_cast<uint64_t>(time.ticks) & 0xFFFFFFFFu);
    local.dwHighDateTime = static_cast<DWORD>(static_cast<uint64_t>(time.ticks) >> 32);
    FILETIME utc{};
    if (!::LocalFileTimeToFileTime(&local, &utc)) {
        return false;
    }
    utcTicks = static_cast<int64_t>(static_cast<uint64_t>(utc.dwHighDateTime) << 32 | utc.dwLowDateTime);
    return true;
}

} // namespace Front
