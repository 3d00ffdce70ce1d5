#pragma once

// The events of the two system providers the viewer reads, described as Windows' own
// manifests describe them to TDH, so that they decode without those manifests:
// - Microsoft-Windows-Winlogon {DBE9B383-7CF3-4331-91CC-A3CB16A3B538} 811 and 812, version 0;
// - Microsoft-Windows-Kernel-Process {22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716} 1 (versions 0 to
//   4), 2 (0 to 2), 3 and 4 (0 and 1), 5 and 6 (0): every version Windows writes.
// Each description is for one id and version; an event of another version is not described.

#include "etl/EventDescription.h"

#include <vector>

namespace Etl {

std::vector<EventDescription> SystemProviderDescriptions();

} // namespace Etl
