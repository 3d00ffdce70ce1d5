#pragma once

// The three consumer entry points a log is read through. VIEW takes them either from the
// platform's ETW table (the system's consumer, or a test's emulator) or from the built-in
// reader (BuiltinConsumer.h), and uses the same three for the whole run.

#include <windows.h>

#include <evntrace.h>

namespace Platform {

struct ConsumerApi {
    decltype(&::OpenTraceW) OpenTraceW;
    decltype(&::ProcessTrace) ProcessTrace;
    decltype(&::CloseTrace) CloseTrace;
};

// The consumer entries of the platform's ETW table as it stands now.
ConsumerApi SystemConsumer();

} // namespace Platform
