#pragma once

// Trace Data Helper entry points, behind the same kind of table as ETW itself. The
// system's functions are bound from System32 on first use (SystemTdh.cpp), never by an
// import that could be satisfied by a tdh.dll next to the program.

#include <windows.h>

#include <evntcons.h>
#include <tdh.h>

namespace Platform {

// Not declared by every SDK's tdh.h, although tdh.dll has exported it since Windows 7.
using TdhLoadManifestFunction = ULONG(WINAPI*)(PWSTR manifest);

struct TdhApi {
    TdhLoadManifestFunction TdhLoadManifest;
    decltype(&::TdhGetEventInformation) TdhGetEventInformation;
    decltype(&::TdhGetPropertySize) TdhGetPropertySize;
    decltype(&::TdhGetProperty) TdhGetProperty;
};

TdhApi& Tdh();
const TdhApi& SystemTdh();

} // namespace Platform
