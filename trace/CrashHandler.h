#pragma once

// Last words of a crashing process: an abort-signal handler and an unhandled-exception
// filter that log in category "crash_handler" and walk the faulting stack.

#include <windows.h>

namespace Trace {

// Installs both handlers, once per process.
void InstallCrashHandlers();

// SIGABRT: logs "Abort handler called" with signum, then throws a plain int 0 on
// purpose, so that the handler never returns into the aborting code.
void OnAbortSignal(int signum);

// Logs "Unhandled exception handler called" with ExceptionCode, dumps the stack and
// returns EXCEPTION_CONTINUE_SEARCH so that the system's crash processing still runs.
LONG WINAPI OnUnhandledException(EXCEPTION_POINTERS* exception);

// Logs one "Stack frame" line per frame from the exception's context, symbolised where
// dbghelp.dll can, then a closing hint for resolving the rest by hand.
void DumpStack(EXCEPTION_POINTERS* exception);

} // namespace Trace
