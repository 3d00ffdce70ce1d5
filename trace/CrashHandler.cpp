#include "trace/CrashHandler.h"

#include "base/DelayLoad.h"
#include "trace/Log.h"

#include <dbghelp.h>
#include <psapi.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Trace {

namespace {

Category crashLog("crash_handler");

using Trace::Field;

constexpr wchar_t dbghelpPath[] = L"dbghelp.dll";

struct DbgHelp {
    Base::DelayLoaded<decltype(&::SymSetOptions)> SymSetOptions;
    Base::DelayLoaded<decltype(&::SymInitialize)> SymInitialize;
    Base::DelayLoaded<decltype(&::StackWalk64)> StackWalk64;
    Base::DelayLoaded<decltype(&::SymFromAddr)> SymFromAddr;
    Base::DelayLoaded<decltype(&::SymGetLineFromAddr64)> SymGetLineFromAddr64;
    Base::DelayLoaded<decltype(&::SymFunctionTableAccess64)> SymFunctionTableAccess64;
    Base::DelayLoaded<decltype(&::SymGetModuleBase64)> SymGetModuleBase64;

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

// SYMBOL_INFO with room for a 255-character name behind it.
struct SymbolRecord {
    SYMBOL_INFO info;
    char name[255];
};

struct FrameModule {
    HMODULE handle = nullptr;
    std::wstring name;
};

FrameModule ModuleOf(DWORD64 address)
{
    FrameModule module;
    if (::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                             reinterpret_cast<LPCWSTR>(static_cast<uintptr_t>(address)), &module.handle)) {
        wchar_t name[1040] = {};
        ::K32GetModuleFileNameExW(::GetCurrentProcess(), module.handle, name, 1040);
        module.name = name;
    }
    return module;
}

void LogFrame(DbgHelp& dbghelp, bool symbols, HANDLE process, uint32_t frame, DWORD64 address)
{
    const FrameModule module = ModuleOf(address);
    const Hex moduleHandle{module.handle};
    const Hex frameAddress{address};
    if (!symbols) {
        crashLog->Error("Stack frame", Field{"frame", frame}, Field{"moduleName", module.name},
                        Field{"moduleHandle", moduleHandle}, Field{"frameAddress", frameAddress});
        return;
    }

    SymbolRecord symbol{};
    symbol.info.SizeOfStruct = sizeof(SYMBOL_INFO);
    symbol.info.MaxNameLen = sizeof(symbol.name);
    DWORD64 symbolDisplacement = 0;
    const bool symbolFound = dbghelp.SymFromAddr(process, address, &symbolDisplacement, &symbol.info) != FALSE;

    IMAGEHLP_LINE64 line{};
    line.SizeOfStruct = sizeof(IMAGEHLP_LINE64);
    DWORD lineDisplacement = 0;
    const bool lineFound = dbghelp.SymGetLineFromAddr64(process, address, &lineDisplacement, &line) != FALSE;

    const char* fileName = lineFound && line.FileName != nullptr ? line.FileName : "";
    const std::string symbolName = symbolFound ? std::string(symbol.info.Name) : std::string();
    const uint32_t lineNumber = line.LineNumber;
    const uint64_t symbolOffset = lineDisplacement;

    if (symbolFound && lineFound) {
        crashLog->Error("Stack frame", Field{"frame", frame}, Field{"moduleName", module.name},
                        Field{"moduleHandle", moduleHandle}, Field{"frameAddress", frameAddress},
                        Field{"Name", symbolName}, Field{"fileName", std::string(fileName)},
                        Field{"LineNumber", lineNumber});
    } else if (symbolFound) {
        crashLog->Error("Stack frame", Field{"frame", frame}, Field{"moduleName", module.name},
                        Field{"moduleHandle", moduleHandle}, Field{"frameAddress", frameAddress},
                        Field{"Name", symbolName});
    } else if (lineFound) {
        crashLog->Error("Stack frame", Field{"frame", frame}, Field{"moduleName", module.name},
                        Field{"moduleHandle", moduleHandle}, Field{"frameAddress", frameAddress},
                        Field{"fileName", std::string(fileName)}, Field{"LineNumber", lineNumber},
                        Field{"symbolOffset", symbolOffset});
    } else {
        crashLog->Error("Stack frame", Field{"frame", frame}, Field{"moduleName", module.name},
                        Field{"moduleHandle", moduleHandle}, Field{"frameAddress", frameAddress});
    }
}

} // namespace

void InstallCrashHandlers()
{
    static INIT_ONCE once = INIT_ONCE_STATIC_INIT;
    ::InitOnceExecuteOnce(
        &once,
        [](PINIT_ONCE, PVOID, PVOID*) -> BOOL {
            std::signal(SIGABRT, OnAbortSignal);
            ::SetUnhandledExceptionFilter(OnUnhandledException);
            return TRUE;
        },
        nullptr, nullptr);
}

void OnAbortSignal(int signum)
{
    crashLog->Error("Abort handler called", Field{"signum", signum});
    throw 0;
}

LONG WINAPI OnUnhandledException(EXCEPTION_POINTERS* exception)
{
    const uint32_t exceptionCode = exception->ExceptionRecord->ExceptionCode;
    crashLog->Error("Unhandled exception handler called", Field{"ExceptionCode", exceptionCode});
    DumpStack(exception);
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

    dbghelp.SymSetOptions(SYMOPT_UNDNAME | SYMOPT_DEFERRED_LOADS | SYMOPT_LOAD_LINES);
    bool symbols = true;
    if (!dbghelp.SymInitialize(process, nullptr, TRUE)) {
        const uint32_t errorCode = ::GetLastError();
        crashLog->Error("Failed to initialise symbols", Field{"errorCode", errorCode});
        symbols = false;
    }

    CONTEXT context = *exception->ContextRecord; // the walk rewrites it
    STACKFRAME64 frame{};
    frame.AddrPC.Offset = context.Rip;
    frame.AddrPC.Mode = AddrModeFlat;
    frame.AddrFrame.Offset = context.Rbp;
    frame.AddrFrame.Mode = AddrModeFlat;
    frame.AddrStack.Offset = context.Rsp;
    frame.AddrStack.Mode = AddrModeFlat;

    const auto functionTableAccess = dbghelp.SymFunctionTableAccess64.Binding().Get<PFUNCTION_TABLE_ACCESS_ROUTINE64>();
    const auto moduleBase = dbghelp.SymGetModuleBase64.Binding().Get<PGET_MODULE_BASE_ROUTINE64>();
    for (uint32_t number = 0;; ++number) {
        if (!dbghelp.StackWalk64(IMAGE_FILE_MACHINE_AMD64, process, thread, &frame, &context, nullptr,
                                 functionTableAccess, moduleBase, nullptr)) {
            crashLog->Error("Finished dumping stack trace. For missing symbols, run \"dbh.exe -n moduleName\" then "
                            "\"base moduleHandle\" and \"addr frameAddress\".");
            return;
        }
        LogFrame(dbghelp, symbols, process, number, frame.AddrPC.Offset);
    }
}

} // namespace Trace
