#pragma once

#include <string>

namespace Base {

// The user's temporary directory, ending in a backslash (GetTempPathW), of any length.
// On failure logs "Failed to determine temp path" (ERROR, category "path", field
// errorCode) and throws Base::ExceptionWin32 with the code GetLastError gave.
std::wstring TempPath();

} // namespace Base
