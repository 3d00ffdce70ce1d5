#pragma once

// Event Tracing for Windows: controller, consumer and provider entry points.
//
// Every ETW call of the product goes through this table so that the test suite can
// put an emulator of the documented contract behind it (Wine only stubs ETW). The
// product never writes to the table; Etw() is bound to advapi32 at start-up.

#include <windows.h>

#include <evntprov.h>
#include <evntrace.h>

namespace Platform {

struct EtwApi {
    decltype(&::StartTraceW) StartTraceW;
    decltype(&::ControlTraceW) ControlTraceW;
    decltype(&::EnableTraceEx2) EnableTraceEx2;
    decltype(&::OpenTraceW) OpenTraceW;
    decltype(&::ProcessTrace) ProcessTrace;
    decltype(&::CloseTrace) CloseTrace;
    decltype(&::EventRegister) EventRegister;
    decltype(&::EventWriteTransfer) EventWriteTransfer;
};

// The table in force for the process.
EtwApi& Etw();

// The system functions, for restoring the table or forwarding to the real platform.
const EtwApi& SystemEtw();

} // namespace Platform
