#pragma once

// Helpers shared by the trace framework's tests: configuring a fresh test process from
// command-line switches, releasing the trace file, and reading files the framework
// keeps open.

#include "trace/TraceSettings.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Testing {

// Fills the argument store with "trace_tests.exe" followed by the switches, then calls
// EnsureConfigured with the options. Populate reads the registry through the registry
// wrapper, whose DEBUG messages already configure the framework (with no option bits)
// once the command-line entries are in the store; the explicit call is what configures
// it should Populate ever stay silent.
void ConfigureWith(const std::vector<std::string>& switches,
                   uint32_t options = Trace::SkipCrashHandlers | Trace::SkipProviderRegistration);

// "/name:value" with a path in the narrow form the argument store holds.
std::string PathSwitch(const char* name, const std::filesystem::path& path);

// The whole content of a file, read through a handle that shares reading and writing
// with the trace file stream that may still hold the file open.
std::string ReadSharedFile(const std::filesystem::path& path);

// Closes the process-wide trace file stream when the test ends, so that the test's
// temporary directory can be removed. Declare it after the directory.
class TraceFileCloser {
public:
    TraceFileCloser() = default;
    TraceFileCloser(const TraceFileCloser&) = delete;
    TraceFileCloser& operator=(const TraceFileCloser&) = delete;
    ~TraceFileCloser();
};

} // namespace Testing
