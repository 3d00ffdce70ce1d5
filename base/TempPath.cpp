#include "base/TempPath.h"

#include "base/Exception.h"
#include "platform/FileApi.h"
#include "trace/Log.h"

#include <windows.h>

namespace Base {

namespace {

Trace::Category pathLog("path");

} // namespace

std::wstring TempPath()
{
    wchar_t buffer[MAX_PATH + 1] = {};
    const DWORD length = Platform::File().GetTempPathW(MAX_PATH + 1, buffer);
    if (length == 0 || length > MAX_PATH) {
        const uint32_t errorCode = length == 0 ? ::GetLastError() : ERROR_INSUFFICIENT_BUFFER;
        pathLog->Error("Failed to determine temp path", Trace::Field{"errorCode", errorCode});
        throw ExceptionWin32(errorCode);
    }
    return std::wstring(buffer, length);
}

} // namespace Base
