#include "viewer/WinlogonNames.h"

namespace Viewer {

const std::unordered_map<uint32_t, std::wstring>& WinlogonNotificationNames()
{
    static const std::unordered_map<uint32_t, std::wstring> names{
        {0, L"CreateSession"},   {1, L"TerminateSession"}, {2, L"Logon"},         {3, L"Logoff"},     {4, L"Lock"},
        {5, L"Unlock"},          {6, L"StopSSAsUser"},     {7, L"StartSSAsUser"}, {8, L"Disconnect"}, {9, L"Reconnect"},
        {10, L"StartSSAsNoone"}, {11, L"StopSSAsNoone"},   {12, L"StartShell"},   {13, L"EndShell"},
    };
    return names;
}

} // namespace Viewer
