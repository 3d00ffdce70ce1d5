#pragma once

// Last words of a crashing process: an abort-signal handler and an unhandled-exception
// filter that log at ERROR in category "crash_handler" and walk the faulting stack, so
// that the last trace lines (console, trace file, ETW) say where the process died.

#include <windows.h>

namespace Trace {

// Installs OnAbortSignal for SIGABRT (signal) and OnUnhandledException as the
// unhandled-exception filter, once per process; whatever was installed before is
// replaced and never put back. EnsureConfigured calls it unless told SkipCrashHandlers.
void InstallCrashHandlers();

// SIGABRT: logs "Abort handler called" with signum, then throws a plain int 0 on
// purpose, so that the handler never returns into the aborting code.
void OnAbortSignal(int signum);

// Logs "Unhandled exception handler called" with ExceptionCode and dumps the stack.
// Returns EXCEPTION_CONTINUE_SEARCH so that the system's crash processing still runs;
// never throws into it.
LONG WINAPI OnUnhandledException(EXCEPTION_POINTERS* exception);

// Logs one "Stack frame" line per frame, walking from a copy of the exception's context
// (the exception itself is left as it was), then a closing hint for resolving frames by
// hand. Every line carries frame, moduleName, moduleHandle and frameAddress; Name,
// fileName and LineNumber follow where dbghelp.dll knows them. When one of the seven
// dbghelp functions cannot be bound it logs only that it failed to load dbghelp.dll;
// when the symbol handler cannot initialise, the frames come without symbols.
void DumpStack(EXCEPTION_POINTERS* exception);

} // namespace Trace
