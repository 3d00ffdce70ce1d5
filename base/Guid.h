#pragma once

#include <windows.h>

#include <string>

namespace Base {

// A new GUID from UuidCreate. RPC_S_UUID_LOCAL_ONLY (1824) counts as success: such a
// GUID is unique on this machine, which is all the program needs. Any other status is
// logged and thrown as Base::ExceptionWin32.
GUID CreateGuid();

// The 36-character RPC form: lower-case hex in groups 8-4-4-4-12, no braces.
// Throws Base::ExceptionWin32 with the RPC status on failure.
std::wstring GuidToString(const GUID& guid);

} // namespace Base
