#pragma once

// The log file path taken apart the way START creates its folder and STATUS prints it.
// DefaultLogFilePath itself is declared in session/SessionControl.h.

#include <string>

namespace Session {

struct LogFilePathParts {
    std::wstring directory; // everything before the file name, trailing backslash included
    std::wstring fileName;  // PathFindFileNameW's answer
};

// A bare file name has an empty directory; a path ending in a separator, whatever
// PathFindFileNameW makes of it.
LogFilePathParts SplitLogFilePath(const std::wstring& path);

} // namespace Session
