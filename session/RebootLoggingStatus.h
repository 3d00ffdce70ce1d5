#pragma once

// Whether reboot logging is in force, as the auto-logger keys of a session tell: the
// session key and the product's provider key must exist, and the Status values that
// the system writes into both at boot must be 0 (or absent, before any boot).

#include <cstdint>
#include <string>

namespace Session {

// What the keys said, for reports that name it by a word rather than a sentence.
enum class RebootLoggingState {
    Disabled,                 // no auto-logger definition for the session
    Enabled,                  // both Status values 0 or absent
    SessionKeyUnreadable,     // the session key could not be opened
    ProviderKeyUnreadable,    // the product's provider key could not be opened
    SessionStatusUnreadable,  // the session key's Status could not be read
    ProviderStatusUnreadable, // the provider key's Status could not be read
    Failed,                   // a Status value reports a failure
};

struct RebootLoggingStatus {
    // The text after " Reboot Logging    - ", e.g. "Enabled." or "Disabled.".
    std::wstring text;
    // 0 when the keys could be read (enabled or disabled alike); the registry's error
    // when a key or value could not be read; 1287 (ERROR_UNIDENTIFIED_ERROR) when a
    // Status value reports a failure.
    uint32_t result = 0;
    RebootLoggingState state = RebootLoggingState::Disabled;
    // The Status values, with Enabled and Failed (0 otherwise).
    uint32_t sessionStatus = 0;
    uint32_t providerStatus = 0;
};

// Reads HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\WMI\Autologger\<loggerName>
// and its product provider key; every key is closed before it returns. An empty
// logger name (a reply whose name could not be read) reads as disabled.
RebootLoggingStatus ReadRebootLoggingStatus(const std::wstring& loggerName);

} // namespace Session
