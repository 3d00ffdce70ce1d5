#pragma once

#include <string>

namespace Base {

// The user's temporary directory, ending in a backslash (GetTempPathW). On failure logs
// "Failed to determine temp path" in category "path" and throws Base::ExceptionWin32.
std::wstring TempPath();

} // namespace Base
