#include "tests/trace/FakeDbgHelp.h"

#include <algorithm>
#include <cstring>

namespace Testing {

namespace {

FakeDbgHelp* installed = nullptr;

DWORD WINAPI FakeSymSetOptions(DWORD options)
{
    installed->options.push_back(options);
    return options;
}

BOOL WINAPI FakeSymInitialize(HANDLE process, PCSTR searchPath, BOOL invadeProcess)
{
    installed->initialisations.push_back(SymInitializeCall{process, searchPath != nullptr, invadeProcess});
    if (!installed->initialiseResult) {
        ::SetLastError(installed->initialiseError);
    }
    return installed->initialiseResult;
}

BOOL WINAPI FakeStackWalk64(DWORD machine, HANDLE process, HANDLE thread, LPSTACKFRAME64 frame, PVOID contextRecord,
                            PREAD_PROCESS_MEMORY_ROUTINE64 readMemory,
                            PFUNCTION_TABLE_ACCESS_ROUTINE64 functionTableAccess, PGET_MODULE_BASE_ROUTINE64 moduleBase,
                            PTRANSLATE_ADDRESS_ROUTINE64 translateAddress)
{
    StackWalkCall call;
    call.machine = machine;
    call.process = process;
    call.thread = thread;
    call.frame = *frame;
    call.context = *static_cast<CONTEXT*>(contextRecord);
    call.contextRecord = contextRecord;
    call.readMemory = readMemory;
    call.functionTableAccess = functionTableAccess;
    call.moduleBase = moduleBase;
    call.translateAddress = translateAddress;
    const size_t index = installed->walks.size();
    installed->walks.push_back(call);
    if (index >= installed->frames.size()) {
        return FALSE;
    }
    // A real walk unwinds the context it is given; so does this one, to show whose it is.
    static_cast<CONTEXT*>(contextRecord)->Rip = 0;
    frame->AddrPC.Offset = installed->frames[index];
    return TRUE;
}

BOOL WINAPI FakeSymFromAddr(HANDLE, DWORD64 address, PDWORD64 displacement, PSYMBOL_INFO symbol)
{
    installed->symbolAddresses.push_back(address);
    installed->symbolStructSizes.push_back(symbol->SizeOfStruct);
    installed->symbolNameRoom.push_back(symbol->MaxNameLen);
    if (!installed->symbolFound) {
        ::SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    const std::string& name = installed->symbolName;
    const size_t length = std::min<size_t>(name.size(), symbol->MaxNameLen - 1);
    std::memcpy(symbol->Name, name.data(), length);
    symbol->Name[length] = '\0';
    symbol->NameLen = static_cast<ULONG>(length);
    *displacement = 3;
    return TRUE;
}

BOOL WINAPI FakeSymGetLineFromAddr64(HANDLE, DWORD64 address, PDWORD displacement, PIMAGEHLP_LINE64 line)
{
    installed->lineAddresses.push_back(address);
    installed->lineStructSizes.push_back(line->SizeOfStruct);
    if (!installed->lineFound) {
        ::SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    line->FileName = installed->lineHasFileName ? installed->fileName.data() : nullptr;
    line->LineNumber = installed->lineNumber;
    *displacement = installed->lineDisplacement;
    return TRUE;
}

// GetProcAddress's answer type, by way of a data pointer as the real export would be.
template <typename Function> FARPROC AsProc(Function function)
{
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
}

FARPROC Fake(LPCSTR name)
{
    const std::string wanted(name);
    if (wanted == "SymSetOptions") {
        return AsProc(FakeSymSetOptions);
    }
    if (wanted == "SymInitialize") {
        return AsProc(FakeSymInitialize);
    }
    if (wanted == "StackWalk64") {
        return AsProc(FakeStackWalk64);
    }
    if (wanted == "SymFromAddr") {
        return AsProc(FakeSymFromAddr);
    }
    if (wanted == "SymGetLineFromAddr64") {
        return AsProc(FakeSymGetLineFromAddr64);
    }
    return nullptr;
}

FARPROC WINAPI FakeGetProcAddress(HMODULE module, LPCSTR name)
{
    installed->lookedUp.emplace_back(name);
    if (installed->hidden.count(name) != 0) {
        ::SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    if (installed->fakeSymbolHandler) {
        if (const FARPROC fake = Fake(name)) {
            return fake;
        }
    }
    return Platform::SystemModule().GetProcAddress(module, name);
}

HMODULE WINAPI FakeLoadLibraryExW(LPCWSTR path, HANDLE file, DWORD flags)
{
    if (installed->failLoad) {
        ::SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    return Platform::SystemModule().LoadLibraryExW(path, file, flags);
}

} // namespace

FakeDbgHelp::FakeDbgHelp() : sole(installed, *this, "a dbghelp fake"), module(Platform::Module())
{
    module->GetProcAddress = FakeGetProcAddress;
    module->LoadLibraryExW = FakeLoadLibraryExW;
}

FakeDbgHelp::~FakeDbgHelp() = default;

} // namespace Testing
