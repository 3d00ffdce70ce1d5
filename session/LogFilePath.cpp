#include "session/LogFilePath.h"

#include "session/SessionControl.h"

#include <windows.h>

#include <shlwapi.h>

#include <vector>

namespace Session {

namespace {

constexpr wchar_t defaultLogFileTemplate[] =
    L"%PROGRAMDATA%\\Kestrova\\Diagnostics\\Logs\\Kestrova-Log-%COMPUTERNAME%.etl";

// The room the log file name has in the session's block, terminator included.
constexpr DWORD expansionUnits = MAX_PATH;

} // namespace

LogFilePathParts SplitLogFilePath(const std::wstring& path)
{
    const wchar_t* fileName = ::PathFindFileNameW(path.c_str());
    const size_t directoryLength = static_cast<size_t>(fileName - path.c_str());
    return {path.substr(0, directoryLength), std::wstring(fileName)};
}

std::wstring DefaultLogFilePath()
{
    // One unit more than the expansion may fill, always zero: whatever the system leaves
    // in the buffer when the expansion needs more room, the text ends inside it.
    std::vector<wchar_t> expanded(expansionUnits + 1, L'\0');
    ::ExpandEnvironmentStringsW(defaultLogFileTemplate, expanded.data(), expansionUnits);
    // The text up to the first terminator; an expansion that failed leaves the zeros.
    return std::wstring(expanded.data());
}

} // namespace Session
