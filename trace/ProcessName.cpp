#include "trace/ProcessName.h"

#include "base/NeverDestroyed.h"
#include "base/TextConversion.h"

#include <windows.h>

namespace Trace {

namespace {

struct ProcessNames {
    std::string narrow;
    std::wstring wide;
};

BOOL CALLBACK FillProcessNames(PINIT_ONCE, PVOID context, PVOID*)
{
    auto& names = *static_cast<ProcessNames*>(context);

    char path[MAX_PATH] = {};
    ::GetModuleFileNameA(nullptr, path, MAX_PATH);
    std::string name(path);
    name.erase(0, name.find_last_of("\\/") + 1);
    names.narrow = name.substr(0, name.find('.'));
    // The wide form is the narrow one converted back from the ANSI code page it was
    // read in, not a second query: a letter the code page lacks then reads the same in
    // the trace file's name and in the events, so both name one and the same program.
    names.wide = Base::AnsiToWide(names.narrow);
    return TRUE;
}

// Never destroyed: the trace lines and events of a message logged at exit still carry
// the names.
const ProcessNames& Names()
{
    static Base::NeverDestroyed<ProcessNames> names;
    static INIT_ONCE once = INIT_ONCE_STATIC_INIT;
    ::InitOnceExecuteOnce(&once, FillProcessNames, &names.Get(), nullptr);
    return *names;
}

} // namespace

const std::string& ProcessNameNarrow()
{
    return Names().narrow;
}

const std::wstring& ProcessNameWide()
{
    return Names().wide;
}

} // namespace Trace
