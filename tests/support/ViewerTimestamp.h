#pragma once

// The time stamp the viewer prints for an event, computed the way the viewer computes it
// (local date and time of the UTC file time, the milliseconds of the stamp itself), so
// that tests compare whole lines whatever time zone they run in.

#include <string>

namespace Testing {

// "2024-03-07 09:05:01.042" for the file time (100 ns units since 1601, UTC).
std::string ViewerTimestamp(long long fileTime);

} // namespace Testing
