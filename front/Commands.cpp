#include "front/Commands.h"

#include "front/CommandOptions.h"
#include "front/Operations.h"
#include "front/Usage.h"

#include <windows.h>

#include <cstdint>
#include <iostream>

namespace Front {

namespace {

// Error numbers are decimal whatever the stream was left in.
void PrintFailure(const char* command, uint32_t error)
{
    std::cerr << command << " failed with error " << std::dec << error << ".\n";
}

// The option failures of VIEW, LIVE and STATUS go to standard output, as they always did,
// except when JSON is asked for: its standard output holds JSON only.
std::ostream& OptionFailureStream()
{
    return JsonFormatRequested() ? std::cerr : std::cout;
}

void PrintViewLevelFailure(const std::string& program)
{
    OptionFailureStream() << "Unrecognised level. " << RunForHelp(program) << "\n";
}

// Where the level failures go. False after printing one.
bool ReadOutputOptionsOrSay(Viewer::ViewOptions& options, const std::string& program)
{
    switch (ReadOutputOptions(options)) {
    case OutputOptionsResult::Read:
        return true;
    case OutputOptionsResult::UnknownFormat:
        OptionFailureStream() << "Unrecognised format. " << RunForHelp(program) << "\n";
        return false;
    case OutputOptionsResult::AllNeedsJson:
        OptionFailureStream() << "The all option needs /format:json. " << RunForHelp(program) << "\n";
        return false;
    case OutputOptionsResult::BadTime:
        OptionFailureStream() << "Unrecognised time. " << RunForHelp(program) << "\n";
        return false;
    }
    return false;
}

} // namespace

std::string RunForHelp(const std::string& program)
{
    return "Run " + program + " /? for help.";
}

int RunStart(const std::string& program)
{
    Session::StartOptions options;
    if (!ReadStartOptions(options)) {
        // The level byte is written as it stands, still its preset 18: the user sees the
        // character 0x12 rather than the word that was rejected.
        std::cout << "Unrecognised level '" << static_cast<char>(options.level) << "'. " << RunForHelp(program) << "\n";
        return 1;
    }
    const uint32_t result = CommandOperations().StartLog(options);
    if (result == ERROR_SUCCESS) {
        std::cout << "Start log completed successfully.\n";
        return 0;
    }
    if (result == ERROR_ALREADY_EXISTS) {
        std::cerr << "The log file is already running.\n";
        return 1;
    }
    PrintFailure("Start log", result);
    return 1;
}

int RunStop(const std::string&)
{
    const uint32_t result = CommandOperations().StopLog();
    if (result != ERROR_SUCCESS) {
        PrintFailure("Stop log", result);
        return 1;
    }
    return 0;
}

int RunView(const std::string& program)
{
    const std::wstring file = LogFilePath();
    Viewer::ViewOptions options;
    if (!ReadViewOptions(options)) {
        PrintViewLevelFailure(program);
        return 1;
    }
    if (!ReadReaderChoice(options.reader)) {
        // Where the level failures go.
        OptionFailureStream() << "Unrecognised reader. " << RunForHelp(program) << "\n";
        return 1;
    }
    if (!ReadOutputOptionsOrSay(options, program)) {
        return 1;
    }
    const uint32_t result = CommandOperations().ViewLogFile(file, options);
    if (result != ERROR_SUCCESS) {
        PrintFailure("View log", result);
        return 1;
    }
    return 0;
}

int RunStatus(const std::string& program)
{
    uint32_t format = Viewer::FormatText;
    if (!ReadFormat(format)) {
        OptionFailureStream() << "Unrecognised format. " << RunForHelp(program) << "\n";
        return 1;
    }
    const Operations& operations = CommandOperations();
    const uint32_t result = format == Viewer::FormatJson ? operations.ReportStatusJson() : operations.ReportStatus();
    return result != ERROR_SUCCESS ? 1 : 0;
}

int RunLive(const std::string& program)
{
    Viewer::ViewOptions options;
    if (!ReadViewOptions(options)) {
        PrintViewLevelFailure(program);
        return 1;
    }
    if (!ReadOutputOptionsOrSay(options, program)) {
        return 1;
    }
    CommandOperations().RunLiveView(options);
    return 0;
}

int RunUsage(const std::string&)
{
    PrintUsage();
    return 0;
}

} // namespace Front
