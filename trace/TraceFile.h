#pragma once

// The trace file sink: where the file goes and the process-wide stream writing it.

#include <filesystem>
#include <ostream>
#include <string>

namespace Trace {

// A file name the program may preset before its first message; when set, the file sink
// is on without "trace-folder". Empty in this utility.
std::string& DefaultTraceFileName();

// "trace-file", else "logging-file", as given; otherwise the folder ("trace-folder", or
// the user's temporary directory) joined with an optional "YYYYMMDD_HHMMSS_<pid>_"
// prefix ("trace-file-prefix" true) and DefaultTraceFileName or "<module>.log".
// Throws std::filesystem::filesystem_error when the temporary directory is unknown.
std::filesystem::path ResolveTraceFilePath();

// (Re)opens the stream on the resolved path, truncating the file. On failure the stream
// keeps its fail state and messages are lost for the file only.
void OpenTraceFile();

std::ostream& TraceFileStream();
bool IsTraceFileOpen();

} // namespace Trace
