#include "front/Usage.h"

#include "front/Banner.h"

#include <windows.h>

#include <shlwapi.h>

#include <iostream>
#include <string>

namespace Front {

namespace {

// Both START and VIEW name the default file. The real default adds the computer name;
// the help text has always named it without, and stays so.
constexpr const char* defaultPathLine = "  \t%PROGRAMDATA%\\Kestrova\\Diagnostics\\Logs\\Kestrova-Log.etl is used.";

// Everything after the usage line, one entry per line. The tab after two blanks
// indents the descriptions under their commands.
constexpr const char* optionLines[] = {
    "Available options include:",
    "",
    "  START [/file:<filename>] [/level:DEBUG|VERBOSE|INFO|WARNING|ERROR]",
    "        [/maxSize:<sizeInMb>] [/buffer:<sizeInKb>] [/sequential] [/callstacks]",
    "        [/processes] [/threads] [/images]",
    "",
    "  \tStarts a logging session. If no filename is supplied, then the file",
    defaultPathLine,
    "  \tThe level can be used to specify the amount of detail to collect and",
    "  \tdefaults to VERBOSE. If /sequential is not specified, then the file",
    "  \tdefaults to a circular log file which grows to the default maximum size of",
    "  \t500Mb before overwriting older entries. If /sequential is specified, then",
    "  \tthe log file grows to the maximum size and then stops collecting log",
    "  \tstatements. By default, the maximum size of a sequential log file is",
    "  \tunlimited. The /maxSize argument can be specified to enforce a maximum",
    "  \tfile size of either circular or sequential log files. The /callstacks",
    "  \targument can be used to collect a callstack for each log statement.",
    "",
    "  \tWhen processes is supplied, the log will capture all process start and",
    "  \tstop events. The threads argument will also include thread start and stop",
    "  \tevents. The images argument will include the load and unload of each module",
    "  \tinto each process.",
    "",
    "  STOP",
    "",
    "  \tStops an existing logging session.",
    "",
    "  VIEW [/file:<filename>] [/level:DEBUG|VERBOSE|INFO|WARNING|ERROR]",
    "       [/winlogon] [/process:<pid>] [/threads] [/images]",
    "",
    "  \tDisplays a log file. If no filename is supplied, then the file",
    defaultPathLine,
    "  \tThe level can be used to specify the amount of detail to view and defaults",
    "  \tto INFO. The winlogon argument will detail the handling of each winlogon",
    "  \tnotification provider.",
    "",
    "  \tWhen process is supplied with a pid, the start and stop of the process is",
    "  \tlogged. Additionally threads and images can be supplied to display thread",
    "  \tstart and stop, or image load and unload for the process identified by the",
    "  \tpid.",
    "",
    "  \tThe reader argument chooses how the file is read: /reader:system uses the",
    "  \tsystem's trace consumer, /reader:builtin the utility's own reader. By",
    "  \tdefault the system's consumer is used, and the utility's own reader when",
    "  \tthe system cannot open the file.",
    "",
    "  STATUS",
    "",
    "  \tDisplays the current status of the logging session.",
    "",
    "  LIVE [/level:DEBUG|VERBOSE|INFO|WARNING|ERROR]",
    "",
    "  \tDisplays live log messages. If a level is not specified, then INFO log",
    "  \tstatements are displayed.",
    "",
    "  VIEW and LIVE [/format:json] [/all] [/from:<time>] [/to:<time>]",
    "  STATUS [/format:json]",
    "",
    "  \tThe format argument json writes JSON Lines instead of text: one object",
    "  \tper event on standard output and nothing else there; the banner then goes",
    "  \tto standard error. STATUS /format:json writes its report as one object.",
    "  \tThe all argument, with /format:json only, shows every event of every",
    "  \tprovider in the file, whatever its level; the level must still be given,",
    "  \tand the winlogon, process, threads and images arguments do not apply.",
    "",
    "  \tThe from and to arguments show only the events between two times, both",
    "  \tincluded, as text or JSON. A time is written as 2024-03-07T09:05:01.042Z",
    "  \tor 2024-03-07T10:05:01+01:00; without a zone it is local time, as the",
    "  \ttext view prints it, and \"2024-03-07 10:05:01\" may be used as well.",
    "",
};

// The running executable's file name, without its folder.
std::string ModuleFileName()
{
    char path[520] = {};
    ::GetModuleFileNameA(nullptr, path, sizeof(path));
    return ::PathFindFileNameA(path);
}

} // namespace

void PrintUsage()
{
    std::cout << "Controls diagnostics for " << ProductName << " components.\n\n";
    std::cout << "Usage: " << ModuleFileName() << " option [args]\n\n";
    for (const char* line : optionLines) {
        std::cout << line << "\n";
    }
}

} // namespace Front
