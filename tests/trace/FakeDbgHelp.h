#pragma once

// Stands in for dbghelp.dll behind Platform::Module() while it lives, so that a test
// decides what the crash handler's stack walk finds.
//
// GetProcAddress hands out the fakes below for SymSetOptions, SymInitialize,
// StackWalk64, SymFromAddr and SymGetLineFromAddr64 (unless fakeSymbolHandler is
// cleared), fails with ERROR_PROC_NOT_FOUND for hidden names, and forwards every other
// name to the real library. The fakes record their arguments. One object at a time.

#include "platform/ModuleApi.h"
#include "tests/support/ScopedApi.h"
#include "tests/support/SoleInstance.h"

#include <windows.h>

#include <dbghelp.h>

#include <set>
#include <string>
#include <vector>

namespace Testing {

struct StackWalkCall {
    DWORD machine = 0;
    HANDLE process = nullptr;
    HANDLE thread = nullptr;
    STACKFRAME64 frame{}; // as passed in
    CONTEXT context{};    // as passed in
    const void* contextRecord = nullptr;
    PREAD_PROCESS_MEMORY_ROUTINE64 readMemory = nullptr;
    PFUNCTION_TABLE_ACCESS_ROUTINE64 functionTableAccess = nullptr;
    PGET_MODULE_BASE_ROUTINE64 moduleBase = nullptr;
    PTRANSLATE_ADDRESS_ROUTINE64 translateAddress = nullptr;
};

struct SymInitializeCall {
    HANDLE process = nullptr;
    bool searchPathGiven = false;
    BOOL invadeProcess = FALSE;
};

class FakeDbgHelp {
public:
    FakeDbgHelp();
    FakeDbgHelp(const FakeDbgHelp&) = delete;
    FakeDbgHelp& operator=(const FakeDbgHelp&) = delete;
    ~FakeDbgHelp();

    // What GetProcAddress answers.
    bool fakeSymbolHandler = true;
    std::set<std::string> hidden;
    bool failLoad = false; // LoadLibraryExW fails with ERROR_MOD_NOT_FOUND

    // What the fakes answer.
    BOOL initialiseResult = TRUE;
    DWORD initialiseError = 0;   // last error when initialiseResult is FALSE
    std::vector<DWORD64> frames; // program counters StackWalk64 yields before it ends
    bool symbolFound = false;
    std::string symbolName = "FakeFunction";
    bool lineFound = false;
    bool lineHasFileName = true;
    std::string fileName = "C:\\src\\fake.cpp";
    DWORD lineNumber = 42;
    DWORD lineDisplacement = 7;

    // What they saw.
    std::vector<std::string> lookedUp; // names asked of GetProcAddress, in order
    std::vector<DWORD> options;        // SymSetOptions arguments
    std::vector<SymInitializeCall> initialisations;
    std::vector<StackWalkCall> walks;
    std::vector<DWORD64> symbolAddresses; // SymFromAddr
    std::vector<DWORD> symbolStructSizes;
    std::vector<DWORD> symbolNameRoom;  // MaxNameLen
    std::vector<DWORD64> lineAddresses; // SymGetLineFromAddr64
    std::vector<DWORD> lineStructSizes;

private:
    SoleInstance<FakeDbgHelp> sole;
    ScopedApi<Platform::ModuleApi> module;
};

} // namespace Testing
