#pragma once

// Tests of time stamps run twice: as every test, in the machine's own zone (UTC on the
// build machine, where UTC and local time agree), and again in zones far from UTC, which
// ctest sets through TZ for Wine, naming the offset it asked for in
// KSDIAG_TEST_UTC_OFFSET (minutes east of UTC). See ksdiag_add_time_zone_runs.

#include <windows.h>

#include <optional>

namespace Testing {

// The offset the run asked for; nothing in a run in the machine's own zone.
std::optional<int> RequestedUtcOffsetMinutes();

// The offset of local time from UTC at the given UTC file time, in minutes east, as the
// platform converts it. In a run that asked for a zone, a platform that disagrees fails
// the calling test: the run would only repeat the machine's own zone.
int LocalOffsetMinutes(const FILETIME& utc);

// A UTC file time as "YYYY-MM-DD HH:MM:SS.mmm" after adding the offset, computed here
// without the platform's time zone functions.
std::wstring ShiftedTimeText(long long utcFileTime, int offsetMinutes);

} // namespace Testing
