#pragma once

// The system providers whose events the viewer renders beside the product's own
// (Trace::ProviderGuid). START records them; LIVE never enables them.

#include <windows.h>

namespace Viewer {

// Microsoft-Windows-Winlogon {DBE9B383-7CF3-4331-91CC-A3CB16A3B538}
extern const GUID WinlogonProviderGuid;

// Microsoft-Windows-Kernel-Process {22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}
extern const GUID KernelProcessProviderGuid;

} // namespace Viewer
