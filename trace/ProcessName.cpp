#include "trace/ProcessName.h"

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

    char narrowPath[MAX_PATH] = {};
    ::GetModuleFileNameA(nullptr, narrowPath, MAX_PATH);
    std::string narrow(narrowPath);
    narrow.erase(0, narrow.find_last_of("\\/") + 1);
    names.narrow = narrow.substr(0, narrow.find('.'));

    wchar_t widePath[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, widePath, MAX_PATH);
    std::wstring wide(widePath);
    wide.erase(0, wide.find_last_of(L"\\/") + 1);
    names.wide = wide.substr(0, wide.find(L'.'));
    return TRUE;
}

const ProcessNames& Names()
{
    static ProcessNames names;
    static INIT_ONCE once = INIT_ONCE_STATIC_INIT;
    ::InitOnceExecuteOnce(&once, FillProcessNames, &names, nullptr);
    return names;
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
