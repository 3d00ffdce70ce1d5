// The system's Trace Data Helper, bound at run time from System32 only.
//
// tdh.dll is not among the DLLs that Windows lists under KnownDLLs, so an import of it
// in the executable would be looked for first in the program's own folder: anyone who
// can write there could plant a tdh.dll and have it run in an administrator's process.
// Each function is bound instead, on its first call, through the delay-loaded-module
// facility with its System32 search (LOAD_LIBRARY_SEARCH_SYSTEM32), which looks nowhere
// else. A binding that failed stays failed; its calls then answer ERROR_MOD_NOT_FOUND
// (no tdh.dll in System32) or ERROR_PROC_NOT_FOUND (a tdh.dll without the function),
// which the viewer handles like any other TDH failure.

#include "TdhApi.h"
#include "base/DelayLoad.h"

namespace Platform {

namespace {

constexpr wchar_t tdhPath[] = L"tdh.dll";

struct TdhBindings {
    Base::DelayLoaded<TdhLoadManifestFunction> loadManifest;
    Base::DelayLoaded<decltype(&::TdhGetEventInformation)> getEventInformation;
    Base::DelayLoaded<decltype(&::TdhGetPropertySize)> getPropertySize;
    Base::DelayLoaded<decltype(&::TdhGetProperty)> getProperty;
};

TdhBindings& Bindings()
{
    static TdhBindings bindings;
    return bindings;
}

// Binds on first use; 0 when the function can be called, else the code to answer.
template <typename Function> ULONG Bind(Base::DelayLoaded<Function>& binding, const char* name)
{
    if (binding.Bind(tdhPath, name, Base::SearchSystem32)) {
        return ERROR_SUCCESS;
    }
    return binding.Binding().Module() != nullptr ? ERROR_PROC_NOT_FOUND : ERROR_MOD_NOT_FOUND;
}

ULONG WINAPI BoundLoadManifest(PWSTR manifest)
{
    TdhBindings& bindings = Bindings();
    const ULONG unavailable = Bind(bindings.loadManifest, "TdhLoadManifest");
    return unavailable != ERROR_SUCCESS ? unavailable : bindings.loadManifest(manifest);
}

ULONG WINAPI BoundGetEventInformation(PEVENT_RECORD event, ULONG contextCount, PTDH_CONTEXT context,
                                      PTRACE_EVENT_INFO buffer, ULONG* bufferSize)
{
    TdhBindings& bindings = Bindings();
    const ULONG unavailable = Bind(bindings.getEventInformation, "TdhGetEventInformation");
    return unavailable != ERROR_SUCCESS
               ? unavailable
               : bindings.getEventInformation(event, contextCount, context, buffer, bufferSize);
}

ULONG WINAPI BoundGetPropertySize(PEVENT_RECORD event, ULONG contextCount, PTDH_CONTEXT context, ULONG descriptorCount,
                                  PPROPERTY_DATA_DESCRIPTOR descriptors, ULONG* propertySize)
{
    TdhBindings& bindings = Bindings();
    const ULONG unavailable = Bind(bindings.getPropertySize, "TdhGetPropertySize");
    return unavailable != ERROR_SUCCESS
               ? unavailable
               : bindings.getPropertySize(event, contextCount, context, descriptorCount, descriptors, propertySize);
}

ULONG WINAPI BoundGetProperty(PEVENT_RECORD event, ULONG contextCount, PTDH_CONTEXT context, ULONG descriptorCount,
                              PPROPERTY_DATA_DESCRIPTOR descriptors, ULONG bufferSize, PBYTE buffer)
{
    TdhBindings& bindings = Bindings();
    const ULONG unavailable = Bind(bindings.getProperty, "TdhGetProperty");
    return unavailable != ERROR_SUCCESS
               ? unavailable
               : bindings.getProperty(event, contextCount, context, descriptorCount, descriptors, bufferSize, buffer);
}

} // namespace

const TdhApi& SystemTdh()
{
    static const TdhApi system{BoundLoadManifest, BoundGetEventInformation, BoundGetPropertySize, BoundGetProperty};
    return system;
}

} // namespace Platform
