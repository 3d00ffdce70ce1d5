#pragma once

// The VIEW and LIVE options, handed to ETW as the consumer's context so that the event
// callback receives them with every record.

#include <cstdint>
#include <limits>

namespace Viewer {

// Which consumer VIEW reads the file with (LIVE always uses the system's).
enum ReaderChoice : uint32_t {
    ReaderAutomatic = 0, // the system's, or the built-in one when the system cannot open the file
    ReaderSystem = 1,    // the system's only
    ReaderBuiltin = 2,   // ksdiag's own
};

// What VIEW and LIVE write on standard output.
enum OutputFormat : uint32_t {
    FormatText = 0, // the coloured text view
    FormatJson = 1, // JSON Lines: one object per event, nothing else
};

// The widest window of time: every event is inside it.
constexpr int64_t EarliestTime = 0;
constexpr int64_t LatestTime = std::numeric_limits<int64_t>::max();

struct ViewOptions {
    uint32_t level = 4;                // highest ETW level shown (VIEW) or enabled (LIVE)
    uint32_t callstack = 0;            // resolve and print call stacks / capture them (LIVE)
    uint32_t winlogon = 0;             // show Winlogon subscriber events
    uint32_t process = 0;              // Kernel-Process events of this pid; 0xFFFFFFFF every process
    uint32_t threads = 0;              // also thread start and stop of that process
    uint32_t images = 0;               // also image load and unload of that process
    uint32_t frameLimit = 0;           // frames printed per stack; 0 no limit
    uint32_t symbols = 0;              // add SYMOPT_DEBUG to the symbol options
    uint32_t reader = ReaderAutomatic; // VIEW only
    uint32_t format = FormatText;
    uint32_t all = 0; // JSON only: every event of every provider, whatever the filters above
    // The window of time shown, both ends included, as UTC file times (100 ns since
    // 1601-01-01); events outside it are not shown.
    int64_t from = EarliestTime;
    int64_t to = LatestTime;
};

} // namespace Viewer
