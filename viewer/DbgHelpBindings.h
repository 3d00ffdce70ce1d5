#pragma once

// The viewer's functions of "dbghelp.dll", each bound on first use from the system
// directory and never retried after a failure. The library is loaded only when a
// command asks for call stacks.

#include "base/DelayLoad.h"

#include <windows.h>

#include <dbghelp.h>

namespace Viewer {

struct DbgHelp {
    Base::DelayLoaded<decltype(&::SymGetOptions)> SymGetOptions;
    Base::DelayLoaded<decltype(&::SymSetOptions)> SymSetOptions;
    Base::DelayLoaded<decltype(&::SymInitialize)> SymInitialize;
    Base::DelayLoaded<decltype(&::SymRegisterCallback64)> SymRegisterCallback64;
    Base::DelayLoaded<decltype(&::SymLoadModuleEx)> SymLoadModuleEx;
    Base::DelayLoaded<decltype(&::SymFromAddr)> SymFromAddr;
    Base::DelayLoaded<decltype(&::SymGetLineFromAddr64)> SymGetLineFromAddr64;
};

// The process-wide bindings.
DbgHelp& DbgHelpBindings();

extern const wchar_t DbgHelpPath[]; // L"dbghelp.dll"

// Traces the outcome of a first binding attempt (all at verbose level):
// "Module [%s] method [%S] loaded successfully", "Module [%s] loaded, but could not
// locate method [%S] with error [%lu]" or "Failed to load module [%s] with error [%lu]".
// The error is the code of the stored failure.
void TraceBindOutcome(const Base::DelayLoadedMethod& binding, const char* name, bool bound);

// Binds one function by its export name; true when it can be called. Only the first
// attempt reaches the library and is traced; later ones answer from the binding.
template <typename Function> bool BindDbgHelp(Base::DelayLoaded<Function>& binding, const char* name)
{
    const bool firstAttempt = !binding.Binding().Failed() && binding.Binding().Method() == nullptr;
    const bool bound = binding.Bind(DbgHelpPath, name, Base::SearchSystem32);
    if (firstAttempt) {
        TraceBindOutcome(binding.Binding(), name, bound);
    }
    return bound;
}

} // namespace Viewer
