#pragma once

// Runs one of the suite's executables (ksdiag.exe, the crash helper) as a child process
// and collects its exit code and the exact bytes of its standard output and error.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Testing {

struct ChildResult {
    uint32_t exitCode = 0;
    std::string out;
    std::string err;
};

// An executable built next to the test executable (all land in one bin directory).
std::filesystem::path SiblingExecutable(const wchar_t* fileName);

// Runs the program with the arguments (each quoted as needed) and waits for it. The
// child inherits the test's environment; its standard input is empty.
ChildResult RunChild(const std::filesystem::path& program, const std::vector<std::wstring>& arguments);

// Same, with argv[0] exactly as given (so a test can check how the program echoes it).
ChildResult RunChildWithArgv0(const std::filesystem::path& program, const std::wstring& argv0,
                              const std::vector<std::wstring>& arguments);

} // namespace Testing
