// A program that does nothing, built with the same toolchain and flags and importing the
// same DLLs as ksdiag.exe, so that the loader and the runtimes cost it what they cost
// ksdiag. It is the floor of ksdiag's start-up time (scripts/startup-benchmark, which
// compares the two import lists before it times them) and the measure of what the
// system DLLs themselves load in the DLL planting test. When ksdiag's imports change,
// this list follows.

#include <windows.h>

#include <objbase.h>
#include <rpc.h>
#include <shlobj.h>
#include <shlwapi.h>

// Referenced, never called: one function of each DLL keeps its import.
static void* const imports[] = {
    reinterpret_cast<void*>(&::RegCloseKey),          // ADVAPI32
    reinterpret_cast<void*>(&::StringFromGUID2),      // ole32
    reinterpret_cast<void*>(&::UuidCreate),           // RPCRT4
    reinterpret_cast<void*>(&::SHCreateDirectoryExW), // SHELL32
    reinterpret_cast<void*>(&::PathFindFileNameA),    // SHLWAPI
};

int main()
{
    // Read through a volatile, so that the table is kept.
    return *static_cast<void* const volatile*>(&imports[0]) == nullptr ? 1 : 0;
}
