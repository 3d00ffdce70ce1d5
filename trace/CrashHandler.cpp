#include "trace/CrashHandler.h"

#include "base/DelayLoad.h"
#include "trace/FrameworkReset.h"
#include "trace/Log.h"

#include <dbghelp.h>
#include <psapi.h>

#include <csignal>
#include <cstdint>
#include <string>

namespace Trace {

namespace {

Category crashLog("crash_handler");

constexpr wchar_t dbghelpPath[] = L"dbghelp.dll";

// Module names of up to 1040 characters: long paths, as the loader may report them.
constexpr DWORD moduleNameLength = 1040;

// The symbol handler, bound at run time: a process may crash on a machine whose
// dbghelp.dll lacks a function, and the crash handler must then still say so.
struct DbgHelp {
    Base::DelayLoaded<decltype(&::SymSetOptions)> SymSetOptions;
    Base::DelayLoaded<decltype(&::SymInitialize)> SymInitialize;
    Base::DelayLoaded<decltype(&::StackWalk64)> StackWalk64;
    Base::DelayLoaded<decltype(&::SymFromAddr)> SymFromAddr;
    Base::DelayLoaded<decltype(&::SymGetLineFromAddr64)> SymGetLineFromAddr64;
    Base::DelayLoaded<decltype(&::SymFunctionTableAccess64)> SymFunctionTableAccess64;
    Base::DelayLoaded<decltype(&::SymGetModuleBase64)> SymGetModuleBase64;

    void ResetAll() noexcept
    {
        SymSetOptions.Reset();
        SymInitialize.Reset();
        StackWalk64.Reset();
        SymFromAddr.Reset();
        SymGetLineFromAddr64.Reset();
        SymFunctionTableAccess64.Reset();
        SymGetModuleBase64.Reset();
    }

    // In the order of use; the first one that cannot be had ends the attempt.
    bool BindAll()
    {
        return SymSetOptions.Bind(dbghelpPath, "SymSetOptions", Base::SearchSystem32) &&
               SymInitialize.Bind(dbghelpPath, "SymInitialize", Base::SearchSystem32) &&
               StackWalk64.Bind(dbghelpPath, "StackWalk64", Base::SearchSystem32) &&
               SymFromAddr.Bind(dbghelpPath, "SymFromAddr", Base::SearchSystem32) &&
               SymGetLineFromAddr64.Bind(dbghelpPath, "SymGetLineFromAddr64", Base::SearchSystem32) &&
               SymFunctionTableAccess64.Bind(dbghelpPath, "SymFunctionTableAccess64", Base::SearchSystem32) &&
               SymGetModuleBase64.Bind(dbghelpPath, "SymGetModuleBase64", Base::SearchSystem32);
    }
};

DbgHelp& Bindings()
{
    static DbgHelp bindings;
    return bindings;
}

// SYMBOL_INFO with room for a 255-character name behind it (its own Name[1] keeps the
// terminator's place).
struct SymbolRecord {
    SYMBOL_INFO info;
    char name[255];
};

// What every frame line carries, so that a frame without symbols can still be resolved
// by hand from the closing hint.
struct FrameLocation {
    uint32_t frame = 0;
    std::wstring moduleName; // empty when no module holds the address
    Hex<HMODULE> moduleHandle{nullptr};
    Hex<DWORD64> frameAddress{0};
};

// What the symbol handler knows about one address.
struct FrameSymbols {
    bool symbolFound = false;
    std::string name;
    bool lineFound = false;
    std::string fileName; // empty when the line record names no file
    uint32_t lineNumber = 0;
    uint32_t lineDisplacement = 0;
};

FrameLocation Locate(uint32_t frame, DWORD64 address)
{
    FrameLocation location;
    location.frame = frame;
    location.frameAddress.value = address;
    // From-address lookup that leaves the module's reference count alone: the crashing
    // process is not going to unload anything.
    const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    HMODULE module = nullptr;
    if (::GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(static_cast<uintptr_t>(address)), &module)) {
        wchar_t name[moduleNameLength] = {};
        ::K32GetModuleFileNameExW(::GetCurrentProcess(), module, name, moduleNameLength);
        location.moduleHandle.value = module;
        location.moduleName = name;
    }
    return location;
}

FrameSymbols LookUp(const DbgHelp& dbghelp, HANDLE process, DWORD64 address)
{
    FrameSymbols symbols;

    SymbolRecord symbol{};
    symbol.info.SizeOfStruct = sizeof(SYMBOL_INFO);
    symbol.info.MaxNameLen = sizeof(symbol.name);
    DWORD64 symbolDisplacement = 0;
    if (dbghelp.SymFromAddr(process, address, &symbolDisplacement, &symbol.info)) {
        symbols.symbolFound = true;
        symbols.name = symbol.info.Name;
    }

    IMAGEHLP_LINE64 line{};
    line.SizeOfStruct = sizeof(IMAGEHLP_LINE64);
    DWORD lineDisplacement = 0;
    if (dbghelp.SymGetLineFromAddr64(process, address, &lineDisplacement, &line)) {
        symbols.lineFound = true;
        symbols.fileName = line.FileName != nullptr ? line.FileName : "";
        symbols.lineNumber = line.LineNumber;
        symbols.lineDisplacement = lineDisplacement;
    }
    return symbols;
}

template <typename... Extra> void LogStackFrame(const FrameLocation& location, const Field<Extra>&... extra)
{
    crashLog->Error("Stack frame", Field{"frame", location.frame}, Field{"moduleName", location.moduleName},
                    Field{"moduleHandle", location.moduleHandle}, Field{"frameAddress", location.frameAddress},
                    extra...);
}

void LogStackFrame(const FrameLocation& location, const FrameSymbols& symbols)
{
    if (symbols.symbolFound && symbols.lineFound) {
        LogStackFrame(location, Field{"Name", symbols.name}, Field{"fileName", symbols.fileName},
                      Field{"LineNumber", symbols.lineNumber});
    } else if (symbols.symbolFound) {
        LogStackFrame(location, Field{"Name", symbols.name});
    } else if (symbols.lineFound) {
        // Without a symbol the line's displacement is the only offset there is.
        LogStackFrame(location, Field{"fileName", symbols.fileName}, Field{"LineNumber", symbols.lineNumber},
                      Field{"symbolOffset", symbols.lineDisplacement});
    } else {
        LogStackFrame(location);
    }
}

// The walk starts at the faulting instruction, with the frame and stack pointers of the
// exception's context, all as flat 64-bit addresses.
STACKFRAME64 FirstFrame(const CONTEXT& context)
{
    STACKFRAME64 frame{};
    frame.AddrPC.Offset = context.Rip;
    frame.AddrPC.Mode = AddrModeFlat;
    frame.AddrFrame.Offset = context.Rbp;
    frame.AddrFrame.Mode = AddrModeFlat;
    frame.AddrStack.Offset = context.Rsp;
    frame.AddrStack.Mode = AddrModeFlat;
    return frame;
}

bool InitialiseSymbols(const DbgHelp& dbghelp, HANDLE process)
{
    dbghelp.SymSetOptions(SYMOPT_UNDNAME | SYMOPT_DEFERRED_LOADS | SYMOPT_LOAD_LINES);
    // Invading the process loads the symbols of every module already mapped, which is
    // all of them by the time anything crashes.
    if (!dbghelp.SymInitialize(process, nullptr, TRUE)) {
        const uint32_t errorCode = ::GetLastError();
        crashLog->Error("Failed to initialise symbols", Field{"errorCode", errorCode});
        return false;
    }
    return true;
}

INIT_ONCE installOnce = INIT_ONCE_STATIC_INIT;
bool installed = false;
// What the handlers replaced; only a reset of the framework puts them back.
void (*replacedAbortHandler)(int) = SIG_DFL;
LPTOP_LEVEL_EXCEPTION_FILTER replacedFilter = nullptr;

BOOL CALLBACK InstallOnce(PINIT_ONCE, PVOID, PVOID*)
{
    replacedAbortHandler = std::signal(SIGABRT, OnAbortSignal);
    replacedFilter = ::SetUnhandledExceptionFilter(OnUnhandledException);
    installed = true;
    return TRUE;
}

} // namespace

void InstallCrashHandlers()
{
    ::InitOnceExecuteOnce(&installOnce, InstallOnce, nullptr, nullptr);
}

void OnAbortSignal(int signum)
{
    crashLog->Error("Abort handler called", Field{"signum", signum});
    // Never return into abort(): nothing catches an int, so the process ends through
    // the runtime's handling of an uncaught exception.
    throw 0;
}

LONG WINAPI OnUnhandledException(EXCEPTION_POINTERS* exception)
{
    try {
        const uint32_t exceptionCode = exception->ExceptionRecord->ExceptionCode;
        crashLog->Error("Unhandled exception handler called", Field{"ExceptionCode", exceptionCode});
        DumpStack(exception);
    } catch (...) {
        // The system's crash processing must still run; a trace sink that fails now
        // (no trace file, a broken stream) only costs the remaining lines.
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

void DumpStack(EXCEPTION_POINTERS* exception)
{
    const HANDLE process = ::GetCurrentProcess();
    const HANDLE thread = ::GetCurrentThread();

    DbgHelp& dbghelp = Bindings();
    if (!dbghelp.BindAll()) {
        crashLog->Error("Failed to load dbghelp.dll to analyse stack trace");
        return;
    }
    const bool symbols = InitialiseSymbols(dbghelp, process);

    CONTEXT context = *exception->ContextRecord; // the walk rewrites it
    STACKFRAME64 frame = FirstFrame(context);
    const auto functionTableAccess = dbghelp.SymFunctionTableAccess64.Binding().Get<PFUNCTION_TABLE_ACCESS_ROUTINE64>();
    const auto moduleBase = dbghelp.SymGetModuleBase64.Binding().Get<PGET_MODULE_BASE_ROUTINE64>();
    // No frame limit: a crash report that stops early hides the caller that mattered,
    // and the walk ends by itself at the thread's first frame.
    for (uint32_t number = 0;; ++number) {
        if (!dbghelp.StackWalk64(IMAGE_FILE_MACHINE_AMD64, process, thread, &frame, &context, nullptr,
                                 functionTableAccess, moduleBase, nullptr)) {
            crashLog->Error("Finished dumping stack trace. For missing symbols, run \"dbh.exe -n moduleName\" then "
                            "\"base moduleHandle\" and \"addr frameAddress\".");
            return;
        }
        const FrameLocation location = Locate(number, frame.AddrPC.Offset);
        if (symbols) {
            LogStackFrame(location, LookUp(dbghelp, process, frame.AddrPC.Offset));
        } else {
            LogStackFrame(location);
        }
    }
}

void Reset::UninstallCrashHandlers()
{
    if (installed) {
        std::signal(SIGABRT, replacedAbortHandler);
        ::SetUnhandledExceptionFilter(replacedFilter);
        installed = false;
    }
    ::InitOnceInitialize(&installOnce);
    Bindings().ResetAll();
}

} // namespace Trace
