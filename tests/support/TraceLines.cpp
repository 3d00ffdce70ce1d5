#include "tests/support/TraceLines.h"

#include <regex>

namespace Testing {

std::vector<std::string> SplitLines(const std::string& text)
{
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(line);
        start = end + 1;
    }
    return lines;
}

std::optional<TraceLine> ParseTraceLine(const std::string& line)
{
    static const std::regex pattern(R"(^(\d\d:\d\d:\d\d\.\d\d\dZ) (.{8}) ([^ (]*)\((\d+):(\d+)\) - (.*)$)");
    std::smatch match;
    if (!std::regex_match(line, match, pattern)) {
        return std::nullopt;
    }
    TraceLine parsed;
    parsed.time = match[1];
    parsed.level = match[2];
    parsed.category = match[3];
    parsed.processId = static_cast<uint32_t>(std::stoul(match[4]));
    parsed.threadId = static_cast<uint32_t>(std::stoul(match[5]));
    parsed.text = match[6];
    return parsed;
}

std::vector<std::string> TraceTexts(const std::string& output)
{
    std::vector<std::string> texts;
    for (const std::string& line : SplitLines(output)) {
        if (const auto parsed = ParseTraceLine(line)) {
            texts.push_back(parsed->text);
        }
    }
    return texts;
}

} // namespace Testing
