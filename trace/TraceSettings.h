#pragma once

#include <cstdint>

namespace Trace {

// Option bits of EnsureConfigured.
enum ConfigureOption : uint32_t {
    SkipCrashHandlers = 1,
    SkipProviderRegistration = 2,
};

// Bits of TraceSettings::sinks.
enum SinkBit : uint32_t {
    SinkFile = 1,
    SinkConsole = 2,
};

struct TraceSettings {
    int32_t level = 0; // threshold for console and file; "trace-level", default 4
    uint32_t sinks = 0;
};

// Zero until EnsureConfigured has run; never changed afterwards.
const TraceSettings& Settings();

// Configures the framework once per process from the argument store: registers the ETW
// provider unless SkipProviderRegistration, installs the crash handlers unless
// SkipCrashHandlers, then reads "trace-level", "trace-console" and "trace-folder".
// The first caller's options win; every later call returns at once. Every logging call
// passes through here, so nothing inside may log.
void EnsureConfigured(uint32_t options);

} // namespace Trace
