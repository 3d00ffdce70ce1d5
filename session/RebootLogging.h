#pragma once

// Reboot logging: the running log session mirrored into an ETW auto-logger definition
// under HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\WMI\Autologger, which the
// system starts again at boot. The session values are copied from the session as the
// system reports it, so the definition reproduces what runs, not what was asked for.

#include <cstdint>

namespace Session {

// Replaces any earlier definition of the session (key tree deleted first, so no stale
// value or provider key survives) with the running session's values and one provider
// key each for the product, Winlogon and, when any of processes, threads or images is
// set, Kernel-Process. True when every key and value was written. False when no session
// runs (nothing written) or a registry or GUID call failed (what was written before the
// failure stays; STOP removes it). `level` is the ETW level of the product's provider.
bool ConfigureRebootLogging(uint8_t level, bool callstacks, bool processes, bool threads, bool images);

} // namespace Session
