#pragma once

// Reading trace output back: splits captured text into lines and takes a line apart
// into the pieces of its prefix, so that tests assert everything but the clock.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Testing {

struct TraceLine {
    std::string time;  // "HH:MM:SS.mmmZ"
    std::string level; // padded to eight characters, as printed
    std::string category;
    uint32_t processId = 0;
    uint32_t threadId = 0;
    std::string text; // message and field text after " - "
};

// Lines without their line breaks ("\n" or "\r\n").
std::vector<std::string> SplitLines(const std::string& text);

// Parses "HH:MM:SS.mmmZ LEVEL    category(pid:tid) - text"; nullopt when it is not one.
std::optional<TraceLine> ParseTraceLine(const std::string& line);

// The text parts of every trace line, in order.
std::vector<std::string> TraceTexts(const std::string& output);

} // namespace Testing
