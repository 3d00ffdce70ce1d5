#pragma once

// The trace file sink: where the file goes and the process-wide stream writing it.

#include "base/FileOutputStream.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace Trace {

// A file name the program may preset before its first message; when set, the file sink
// is on without "trace-folder". Empty in this utility.
std::string& DefaultTraceFileName();

// "trace-file", else "logging-file", as given; otherwise the folder ("trace-folder", or
// the user's temporary directory) joined with an optional "YYYYMMDD_HHMMSS_<pid>_"
// prefix ("trace-file-prefix" true) and DefaultTraceFileName or "<module>.log".
// Throws std::filesystem::filesystem_error when the temporary directory is unknown.
std::filesystem::path ResolveTraceFilePath();

// (Re)opens the stream on the resolved path, truncating the file; other handles may read
// and write the file meanwhile. On failure the stream is closed with its fail state set
// and messages are lost for the file only; if the stream's exception mask asks for it,
// std::ios_base::failure "ios_base::failbit set" is thrown.
void OpenTraceFile();

// Writes one whole line (its line break included) and flushes it, first opening the
// stream when it is closed or bad, with OpenTraceFile's failures. Lines of concurrent
// threads are written one after the other, never into each other.
void WriteTraceFileLine(std::string_view line);

// The process-wide trace file stream, closed until the first message needs it. Close()
// is for tests that must release the file; the program keeps it open until exit.
Base::FileOutputStream& TraceFileStream();
bool IsTraceFileOpen();

} // namespace Trace
