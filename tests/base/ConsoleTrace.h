#pragma once

// Trace output of the base library read back as text. A test process starts with an
// empty argument store and an unconfigured trace framework; EnableConsoleTrace fills
// the store with "/trace-console" "/trace-level:5" and configures the framework from
// it, so that every message down to DEBUG reaches the console sink, which the test
// then captures with Testing::OutputCapture. Call it before anything logs.

#include "tests/support/TraceLines.h"

#include <string>
#include <vector>

namespace Testing {

void EnableConsoleTrace();

// The trace lines of captured output, parsed; a line that is not a trace line fails
// the calling test.
std::vector<TraceLine> ParsedTraceLines(const std::string& output);

// The form in which a handle or address field is rendered: hexadecimal with 0x.
std::string HexField(const void* pointer);

} // namespace Testing
