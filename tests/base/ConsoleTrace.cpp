#include "tests/base/ConsoleTrace.h"

#include "base/ProcessArguments.h"
#include "trace/TraceSettings.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iomanip>
#include <sstream>

namespace Testing {

void EnableConsoleTrace()
{
    const char* argv[] = {"base_tests", "/trace-console", "/trace-level:5"};
    Base::ProcessArguments::Populate(3, argv);
    // The suite's own crash reporting stays in charge, and no provider is registered.
    Trace::EnsureConfigured(Trace::SkipCrashHandlers | Trace::SkipProviderRegistration);
}

std::vector<TraceLine> ParsedTraceLines(const std::string& output)
{
    std::vector<TraceLine> parsed;
    for (const std::string& line : SplitLines(output)) {
        const auto traceLine = ParseTraceLine(line);
        EXPECT_TRUE(traceLine.has_value()) << "not a trace line: " << line;
        if (traceLine) {
            parsed.push_back(*traceLine);
        }
    }
    return parsed;
}

std::string HexField(const void* pointer)
{
    std::ostringstream text;
    text << "0x" << std::hex << reinterpret_cast<uintptr_t>(pointer);
    return text.str();
}

} // namespace Testing
