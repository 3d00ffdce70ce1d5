#include "trace/MessageWriter.h"

#include "trace/EtwWriter.h"
#include "trace/StreamFailure.h"
#include "trace/ThreadStreams.h"
#include "trace/TraceFile.h"
#include "trace/TraceSettings.h"

#include <windows.h>

#include <ctime>
#include <iomanip>
#include <iostream>

namespace Trace {

namespace {

bool PassesThreshold(LogLevel level)
{
    return Settings().level >= static_cast<int32_t>(level);
}

void WriteTimestamp(std::ostream& out)
{
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    constexpr uint64_t ticksFrom1601To1970 = 116444736000000000ull;
    const uint64_t ticks =
        ((static_cast<uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime) - ticksFrom1601To1970;
    const __time64_t seconds = static_cast<__time64_t>(ticks / 10000000);
    const unsigned milliseconds = static_cast<unsigned>((ticks / 10000) % 1000);

    std::tm utc{};
    _gmtime64_s(&utc, &seconds);
    char text[16] = {};
    std::strftime(text, sizeof(text), "%H:%M:%S.", &utc);
    out << text << std::setw(3) << std::setfill('0') << milliseconds << std::setfill(' ') << 'Z';
}

// The whole line goes out in one write, so that a stream whose buffer serialises its
// writes (the C runtime's console streams do) keeps lines of concurrent threads whole.
void WriteLine(std::ostream& out, const std::string& line)
{
    out.write(line.data(), static_cast<std::streamsize>(line.size()));
    out.flush();
}

} // namespace

std::ostream& FieldStream()
{
    return CurrentThreadStreams().fields;
}

void BuildLinePrefix(LogLevel level, const std::string& category)
{
    if (!PassesThreshold(level)) {
        return;
    }
    std::ostream& out = CurrentThreadStreams().prefix;
    WriteTimestamp(out);
    const auto& names = LevelNames();
    const auto name = names.find(static_cast<int32_t>(level));
    out << ' ' << std::left << std::setw(8) << (name != names.end() ? name->second : std::string()) << std::right;
    out << ' ' << category << '(' << ::GetCurrentProcessId() << ':' << ::GetCurrentThreadId() << ") - ";
}

void WriteMessage(LogLevel level, const std::string& category, std::string_view message)
{
    ThreadStreams& streams = CurrentThreadStreams();
    const bool failed = streams.prefix.bad() || streams.fields.bad();
    const std::string prefix = streams.prefix.str();
    const std::string fields = streams.fields.str();
    // Cleared before any sink runs, so that a sink that throws (the temporary directory
    // of the trace file cannot be found) leaves nothing behind for the next message.
    streams.prefix.str(std::string());
    streams.fields.str(std::string());
    streams.prefix.clear();
    streams.fields.clear();
    if (failed) {
        throw StreamFailure(StreamFailureText(std::ios_base::badbit));
    }

    if (PassesThreshold(level)) {
        std::string line = prefix;
        line.append(message).append(fields).push_back('\n');
        if ((Settings().sinks & SinkConsole) != 0) {
            WriteLine(level <= LogLevel::Error ? std::cerr : std::cout, line);
        }
        if ((Settings().sinks & SinkFile) != 0) {
            WriteTraceFileLine(line);
        }
    }
    WriteOperationalEvent(level, category, message, fields);
}

} // namespace Trace
