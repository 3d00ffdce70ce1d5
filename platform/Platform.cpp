// Binds every platform table to the system functions (TDH's, which are loaded at run
// time, in SystemTdh.cpp).

#include "CodePageApi.h"
#include "ConsoleApi.h"
#include "ConsumerApi.h"
#include "EtwApi.h"
#include "FileApi.h"
#include "ModuleApi.h"
#include "RegistryApi.h"
#include "RpcApi.h"
#include "TdhApi.h"

namespace Platform {

namespace {

// Each table is a function-local copy of its system binding, so that it is ready
// before any other static initialiser can log or call through it.
template <typename Api> Api& LiveTable(const Api& system)
{
    static Api live = system;
    return live;
}

} // namespace

const EtwApi& SystemEtw()
{
    static const EtwApi system{::StartTraceW,  ::ControlTraceW, ::EnableTraceEx2, ::OpenTraceW,
                               ::ProcessTrace, ::CloseTrace,    ::EventRegister,  ::EventWriteTransfer};
    return system;
}

EtwApi& Etw()
{
    return LiveTable(SystemEtw());
}

ConsumerApi SystemConsumer()
{
    const EtwApi& etw = Etw();
    return ConsumerApi{etw.OpenTraceW, etw.ProcessTrace, etw.CloseTrace};
}

TdhApi& Tdh()
{
    return LiveTable(SystemTdh());
}

const ConsoleApi& SystemConsole()
{
    static const ConsoleApi system{::GetStdHandle,     ::GetConsoleScreenBufferInfo, ::SetConsoleTextAttribute,
                                   ::SetConsoleTitleW, ::SetConsoleCtrlHandler,      ::GetConsoleMode,
                                   ::WriteConsoleW};
    return system;
}

ConsoleApi& Console()
{
    return LiveTable(SystemConsole());
}

const RegistryApi& SystemRegistry()
{
    static const RegistryApi system{::RegCreateKeyExW,  ::RegOpenKeyExW, ::RegGetValueW,   ::RegSetValueExW,
                                    ::RegQueryValueExW, ::RegEnumValueW, ::RegDeleteTreeW, ::RegCloseKey};
    return system;
}

RegistryApi& Registry()
{
    return LiveTable(SystemRegistry());
}

const FileApi& SystemFile()
{
    static const FileApi system{::CreateFileW,   ::WriteFile,    ::DeleteFileW,  ::GetTempPathW,
                                ::FindResourceW, ::LoadResource, ::LockResource, ::SizeofResource};
    return system;
}

FileApi& File()
{
    return LiveTable(SystemFile());
}

const RpcApi& SystemRpc()
{
    static const RpcApi system{::UuidCreate, ::UuidToStringW, ::RpcStringFreeW};
    return system;
}

RpcApi& Rpc()
{
    return LiveTable(SystemRpc());
}

const ModuleApi& SystemModule()
{
    static const ModuleApi system{::LoadLibraryExW, ::GetProcAddress, ::FreeLibrary};
    return system;
}

ModuleApi& Module()
{
    return LiveTable(SystemModule());
}

const CodePageApi& SystemCodePages()
{
    static const CodePageApi system{::GetACP, ::GetConsoleCP};
    return system;
}

CodePageApi& CodePages()
{
    return LiveTable(SystemCodePages());
}

} // namespace Platform
