#pragma once

// Captured console trace output reduced to what a test asserts about each message:
// "LEVEL category - text", without the time and the process and thread ids. ERROR
// messages go to standard error, all others to standard output.

#include "tests/support/OutputCapture.h"

#include <string>
#include <vector>

namespace Testing {

// One string per line, in order; a line that is not a trace line fails the test.
std::vector<std::string> LoggedMessages(const std::string& output);

// Exactly these messages on standard output and nothing on standard error.
void ExpectOnlyOutput(const OutputCapture& capture, const std::vector<std::string>& expected);
// Exactly these messages on standard error and nothing on standard output.
void ExpectOnlyErrors(const OutputCapture& capture, const std::vector<std::string>& expected);

} // namespace Testing
