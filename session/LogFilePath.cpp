#include "session/LogFilePath.h"

#include "session/SessionControl.h"

#include <windows.h>

#include <shlwapi.h>

#include <vector>

namespace Session {

namespace {

constexpr wchar_t defaultLogFileTemplate[] =
    L"%PROGRAMDATA%\\Kestrova\\Diagnostics\\Logs\\Kestrova-Log-%COMPUTERNAME%.etl";

// The expansion fits MAX_PATH whenever the session can hold it.
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
    std::vector<wchar_t> expanded(expansionUnits, L'\0');
    const DWORD needed = ::ExpandEnvironmentStringsW(defaultLogFileTemplate, expanded.data(), expansionUnits);
    if (needed > expansionUnits) {
        // Cut short, the path would name a file nobody asked for. Expanded in full it is
        // too long for the session, and START refuses it with that reason.
        expanded.assign(needed, L'\0');
        ::ExpandEnvironmentStringsW(defaultLogFileTemplate, expanded.data(), needed);
    }
    // The text up to the first terminator; an expansion that failed leaves the zeros.
    return std::wstring(expanded.data());
}

} // namespace Session
