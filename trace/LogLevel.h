#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

namespace Trace {

// Lower is more severe. A message reaches console and file when its level is at most
// the configured threshold ("trace-level", 4 by default).
enum class LogLevel : int32_t {
    Fatal = 0,
    Error = 1,
    Warning = 2,
    Info = 3,
    Verbose = 4,
    Debug = 5,
};

// "FATAL" to "DEBUG" by level number. Numbers outside 0..5 have no entry.
const std::unordered_map<int32_t, std::string>& LevelNames();

} // namespace Trace
