#include "viewer/DbgHelpBindings.h"

#include "trace/DebugTrace.h"
#include "viewer/ViewerReset.h"

#include <cstdlib>
#include <string>

namespace Viewer {

const wchar_t DbgHelpPath[] = L"dbghelp.dll";

DbgHelp& DbgHelpBindings()
{
    static DbgHelp bindings;
    return bindings;
}

namespace {

// The binding keeps only the failure's text; the system's error text of a Win32 failure
// ends in " (Err N)", which gives the code back. 0 when the text has none.
DWORD FailureCode(const Base::DelayLoadedMethod& binding)
{
    if (!binding.Failed()) {
        return 0;
    }
    const std::string text = binding.Error().what();
    const size_t marker = text.rfind("(Err ");
    return marker == std::string::npos ? 0 : std::strtoul(text.c_str() + marker + 5, nullptr, 10);
}

} // namespace

void TraceBindOutcome(const Base::DelayLoadedMethod& binding, const char* name, bool bound)
{
    const DWORD error = FailureCode(binding);
    if (bound) {
        Trace::TraceVerbose(L"Module [%s] method [%S] loaded successfully", DbgHelpPath, name);
    } else if (binding.Module() != nullptr) {
        Trace::TraceVerbose(L"Module [%s] loaded, but could not locate method [%S] with error [%lu]", DbgHelpPath, name,
                            error);
    } else {
        Trace::TraceVerbose(L"Failed to load module [%s] with error [%lu]", DbgHelpPath, error);
    }
}

void Reset::ReleaseDbgHelp()
{
    DbgHelp& dbghelp = DbgHelpBindings();
    dbghelp.SymGetOptions.Reset();
    dbghelp.SymSetOptions.Reset();
    dbghelp.SymInitialize.Reset();
    dbghelp.SymRegisterCallback64.Reset();
    dbghelp.SymLoadModuleEx.Reset();
    dbghelp.SymFromAddr.Reset();
    dbghelp.SymGetLineFromAddr64.Reset();
}

} // namespace Viewer
