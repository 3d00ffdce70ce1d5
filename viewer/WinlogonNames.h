#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

namespace Viewer {

// Winlogon's notification numbers (the "Event" property of events 811 and 812) and the
// names an administrator knows them by. Built on first use; numbers outside it are
// shown as "Event <n>" by the caller.
const std::unordered_map<uint32_t, std::wstring>& WinlogonNotificationNames();

} // namespace Viewer
