// Placeholder entry points until the session commands are built; each reports that it
// is not implemented.

#include "session/SessionControl.h"

#include <windows.h>

namespace Session {

uint32_t StartLog(const StartOptions&)
{
    return ERROR_CALL_NOT_IMPLEMENTED;
}

uint32_t StopLog()
{
    return ERROR_CALL_NOT_IMPLEMENTED;
}

uint32_t ReportStatus()
{
    return ERROR_CALL_NOT_IMPLEMENTED;
}

std::wstring DefaultLogFilePath()
{
    return {};
}

} // namespace Session
