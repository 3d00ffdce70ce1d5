#pragma once

// The six command words and what each prints and returns. Each takes the program name
// exactly as typed (argv[0]), which the failure lines repeat, and returns the process
// exit code. Results go to standard output and failures to standard error, except the
// two "Unrecognised level" lines, which have always gone to standard output.

#include <string>

namespace Front {

// "Run <program> /? for help.", the tail of every line that sends the user to the help.
std::string RunForHelp(const std::string& program);

// 0 when the session started; 1 when the level was not recognised, a session already
// runs or the start failed.
int RunStart(const std::string& program);

// 0 when the session stopped, else 1 with the error.
int RunStop(const std::string& program);

// 0 when the file was read, else 1 with the error or the level failure.
int RunView(const std::string& program);

// 1 when the status report found a reboot-logging problem; no line of its own.
int RunStatus(const std::string& program);

// 0 whatever the live view met (it reports through the trace only), 1 only for the
// level failure.
int RunLive(const std::string& program);

// Prints the help text; 0.
int RunUsage(const std::string& program);

} // namespace Front
