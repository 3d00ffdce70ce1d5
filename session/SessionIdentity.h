#pragma once

// The fixed identities of the log session: its name and GUID, the providers it records,
// the keywords it asks of them, and where its auto-logger definition lives in the
// registry. START, STOP, STATUS and the auto-logger all find the session by this name;
// no handle survives the process that started it.

#include <windows.h>

#include <cstdint>
#include <string>

namespace Session {

inline constexpr wchar_t SessionName[] = L"Kestrova Diagnostics Log";

// Wnode.Guid of the session and the auto-logger's "Guid" value.
// {9C4E2B71-3A5F-4D86-B0E7-52A1F8C63D9E}
inline constexpr GUID SessionGuid = {0x9C4E2B71, 0x3A5F, 0x4D86, {0xB0, 0xE7, 0x52, 0xA1, 0xF8, 0xC6, 0x3D, 0x9E}};

// The product's own provider is Trace::ProviderGuid; these are the system providers the
// session adds.
// Microsoft-Windows-Winlogon {DBE9B383-7CF3-4331-91CC-A3CB16A3B538}
inline constexpr GUID WinlogonProviderGuid = {
    0xDBE9B383, 0x7CF3, 0x4331, {0x91, 0xCC, 0xA3, 0xCB, 0x16, 0xA3, 0xB5, 0x38}};
// Microsoft-Windows-Kernel-Process {22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}
inline constexpr GUID KernelProcessProviderGuid = {
    0x22FB2CD6, 0x0E7B, 0x422B, {0xA0, 0xC7, 0x2F, 0xAD, 0x1F, 0xD0, 0xE7, 0x16}};

// The level the system providers are recorded at (verbose).
inline constexpr UCHAR SystemProviderLevel = 5;

// The running session asks Winlogon for its subscriber-notification events only, while
// the auto-logger asks it, like the product's provider, for every keyword. The
// difference is long-standing and kept.
inline constexpr ULONGLONG WinlogonSessionKeyword = 0x4000000000000000ull;
inline constexpr ULONGLONG AllKeywords = 0xFFFFFFFFFFFFFFFFull;

// WINEVENT_KEYWORD_PROCESS, _THREAD and _IMAGE of Kernel-Process.
inline constexpr ULONGLONG KernelProcessProcessKeyword = 0x10;
inline constexpr ULONGLONG KernelProcessThreadKeyword = 0x20;
inline constexpr ULONGLONG KernelProcessImageKeyword = 0x40;

// The OR of the keywords asked for; 0 means Kernel-Process is not recorded at all.
ULONGLONG KernelProcessKeywords(bool processes, bool threads, bool images);

// EnableProperty of the product's provider: session ids always, a stack with every
// event on request.
ULONG ProductEnableProperty(bool callstacks);

// Under HKEY_LOCAL_MACHINE, where the system looks for auto-logger definitions at boot.
inline constexpr wchar_t AutologgerParentPath[] = L"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger";

// The definition of a session: the parent path, a backslash and the logger name.
std::wstring AutologgerSessionPath(const std::wstring& loggerName);

} // namespace Session
