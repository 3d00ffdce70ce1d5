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

void PrintViewLevelFailure(const std::string& program)
{
    std::cout << "Unrecognised level. " << RunForHelp(program) << "\n";
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
        // On standard output, as the level failures are.
        std::cout << "Unrecognised reader. " << RunForHelp(program) << "\n";
        return 1;
    }
    const uint32_t result = CommandOperations().ViewLogFile(file, options);
    if (result != ERROR_SUCCESS) {
        PrintFailure("View log", result);
        return 1;
    }
    return 0;
}

int RunStatus(const std::string&)
{
    return CommandOperations().ReportStatus() != ERROR_SUCCESS ? 1 : 0;
}

int RunLive(const std::string& program)
{
    Viewer::ViewOptions options;
    if (!ReadViewOptions(options)) {
        PrintViewLevelFailure(program);
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
