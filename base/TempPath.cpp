#include "base/TempPath.h"

#include "base/Exception.h"
#include "platform/FileApi.h"
#include "trace/Log.h"

#include <windows.h>

namespace Base {

namespace {

Trace::Category pathLog("path");

[[noreturn]] void ThrowTempPathFailure(uint32_t errorCode)
{
    pathLog->Error("Failed to determine temp path", Trace::Field{"errorCode", errorCode});
    throw ExceptionWin32(errorCode);
}

} // namespace

std::wstring TempPath()
{
    // MAX_PATH + 1 holds any classic path; a longer TMP (long-path aware systems) makes
    // GetTempPathW answer the size it needs, terminator included, and the call is repeated
    // once with that size. A second "too small" would mean the variable changed between
    // the two calls, which is reported rather than chased.
    std::wstring buffer(MAX_PATH + 1, L'\0');
    for (int attempt = 0; attempt < 2; ++attempt) {
        const DWORD size = static_cast<DWORD>(buffer.size());
        const DWORD length = Platform::File().GetTempPathW(size, buffer.data());
        if (length == 0) {
            ThrowTempPathFailure(::GetLastError());
        }
        if (length < size) {
            buffer.resize(length);
            return buffer;
        }
        buffer.assign(length, L'\0');
    }
    ThrowTempPathFailure(ERROR_INSUFFICIENT_BUFFER);
}

} // namespace Base
