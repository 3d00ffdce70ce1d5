#pragma once

// The times of /from and /to: ISO 8601 dates and times, with or without a zone.
//   2024-03-07                      midnight at the start of that day
//   2024-03-07T09:05                seconds 0
//   2024-03-07T09:05:01.0420000     up to seven digits of fraction (100 ns); more are cut off
//   2024-03-07 09:05:01.042         a blank for the T, as the text view prints its times
//   ...Z, ...+01:00, ...-0530, ...+01   a zone: UTC, or an offset east of UTC
// Without a zone the time is local time, converted as the text view converts the other way
// (the present offset of the machine's zone), so that a time copied from the text view
// names that event.

#include <cstdint>
#include <string_view>

namespace Front {

struct IsoTime {
    int64_t ticks = 0;  // 100 ns since 1601-01-01 in the time's own zone (UTC when it has a zone)
    bool local = false; // no zone given: ticks are local time
};

// Parses the text; false for anything else (out-of-range fields included, years before 1601
// and after 9999), time then unchanged.
bool ParseIsoTime(std::string_view text, IsoTime& time);

// The /from or /to value as a UTC file time. false when the option is present but not a time;
// utcTicks is then unchanged, as it is when the option is absent (true).
bool ReadTimeOption(const char* name, int64_t& utcTicks);

} // namespace Front
