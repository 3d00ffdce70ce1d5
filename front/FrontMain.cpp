// Front::Main: start-up, banner, command word and dispatch.

#include "front/Main.h"

#include "base/Exception.h"
#include "base/ProcessArguments.h"
#include "base/TextUtilities.h"
#include "front/Banner.h"
#include "front/CommandOptions.h"
#include "front/Commands.h"
#include "front/WideCommandLine.h"
#include "trace/DebugTrace.h"
#include "trace/TraceSettings.h"

#include <iostream>
#include <string>
#include <string_view>

namespace Front {

namespace {

using Base::ProcessArguments;

struct Command {
    std::string_view word; // lower case; the typed word is lower-cased before comparing
    int (*run)(const std::string& program);
};

constexpr Command commands[] = {
    {"start", RunStart},   {"stop", RunStop}, {"view", RunView},
    {"status", RunStatus}, {"live", RunLive}, {"/?", RunUsage},
};

// /debug echoes every DebugTrace line of the commands to the console, ENTER and EXIT
// included.
void EchoDebugTrace()
{
    Trace::DebugConsoleLevel = 7;
    Trace::DebugConsoleEnabled = 1;
}

int Run(int argc, char** argv, const wchar_t* const* wideArgv)
{
    // The trace settings are read before the command line is parsed, so a run of ksdiag
    // traces with the defaults; /debug is its own switch below. The utility reads the
    // product's events and registers no provider of its own.
    Trace::EnsureConfigured(Trace::SkipProviderRegistration);
    ProcessArguments::LogArguments();
    ProcessArguments::Populate(argc, argv, wideArgv);

    if (!ProcessArguments::Has("nologo")) {
        PrintBanner(JsonFormatRequested() ? std::cerr : std::cout);
    }
    const std::string program = argc > 0 && argv[0] != nullptr ? argv[0] : "";
    if (ProcessArguments::CommandLineCount() < 2) {
        std::cerr << "Insufficient arguments. " << RunForHelp(program) << "\n";
        return -1;
    }
    if (ProcessArguments::Has("debug")) {
        EchoDebugTrace();
    }

    // Only position 1 is examined: a command word after an option is not found.
    const std::string word = Base::ToLower(ProcessArguments::CommandLineAt(1).full);
    for (const Command& command : commands) {
        if (word == command.word) {
            return command.run(program);
        }
    }
    std::cerr << "Unknown option \"" << word << "\". " << RunForHelp(program) << "\n";
    return 1;
}

} // namespace

int Main(int argc, char** argv, const wchar_t* const* wideArgv)
{
    try {
        return Run(argc, argv, wideArgv);
    } catch (const Base::Exception& error) {
        // Whatever the step, the user gets the message; the exit code stays 0.
        std::cerr << error.what() << "\n";
        return 0;
    }
}

int ProcessMain(int argc, char** argv)
{
    const WideCommandLine wide;
    // Both come from the one command line; should the two parsers disagree on the number
    // of tokens, the store reads every value from argv instead.
    return Main(argc, argv, wide.Count() == argc ? wide.Tokens() : nullptr);
}

} // namespace Front
