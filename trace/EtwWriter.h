#pragma once

// The product's ETW provider "Kestrova-Diagnostics": registration, the enable state a
// listening session asks for, and the writers of the operational and debug events.
// The descriptors follow the instrumentation manifest carried in resources/.

#include "trace/LogLevel.h"

#include <windows.h>

#include <evntprov.h>

#include <string>
#include <string_view>

namespace Trace {

// {6E2B9C41-7A3D-4F15-8C62-3D9A1B7E5F04}
extern const GUID ProviderGuid;

// Enable bits, one per event family; the bit number indexes EventDescriptors.
enum EventBit : uint32_t {
    DebugDebugEvent = 0,       // 2000, not written by this system
    DebugExitEvent = 1,        // 2001, TraceExit
    DebugEnterEvent = 2,       // 2002, TraceEnter
    DebugVerboseEvent = 3,     // 2003, TraceVerbose
    DebugInfoEvent = 4,        // 2004, TraceInfo
    DebugWarningEvent = 5,     // 2005, TraceWarning
    DebugErrorEvent = 6,       // 2006, TraceError
    OperationalDebugEvent = 7, // 2010, DEBUG and beyond
    OperationalVerboseEvent = 8,
    OperationalInfoEvent = 9,
    OperationalWarningEvent = 10,
    OperationalErrorEvent = 11, // 2014, FATAL and ERROR alike
    EventBitCount = 12,
};

extern const EVENT_DESCRIPTOR EventDescriptors[EventBitCount];

// The families the listening sessions want, recomputed by the enable callback.
uint32_t ProviderEnableBits();

// What the enable callback last recorded: cleared by a disable, replaced by an enable.
// Read member by member without a lock; only the bits decide what is written.
struct ProviderEnableState {
    bool enabled = false;
    UCHAR level = 0; // 0 lets every level through
    ULONGLONG matchAnyKeyword = 0;
    ULONGLONG matchAllKeyword = 0;
};
ProviderEnableState EnableState();
bool IsEventEnabled(EventBit bit);

// The operational event a trace level becomes.
EventBit OperationalEventBit(LogLevel level);

// Registers the provider with EventRegister: 0 at once when a registration handle is
// already held, else EventRegister's result. A failed registration leaves no handle, so
// a later call tries again. There is no unregistration: the handle lives until exit.
ULONG RegisterProvider();

// The provider's enable callback, as EventRegister is given it; context is the
// provider's own state. Disable (0) clears the recorded filter and every enable bit;
// enable (1) records the session's level and keywords and sets the bit of each family
// whose descriptor passes them. A capture-state request (2) and any other code change
// nothing: the provider keeps no state to write again, and such a request carries no
// new filter.
void NTAPI ProviderEnableCallback(LPCGUID sourceId, ULONG controlCode, UCHAR level, ULONGLONG matchAnyKeyword,
                                  ULONGLONG matchAllKeyword, PEVENT_FILTER_DESCRIPTOR filterData,
                                  PVOID context) noexcept;

// Overwrites data[0] with the provider-traits slot (this provider has no traits blob:
// null pointer, size 0, type 0) and writes the event with EventWriteTransfer: the
// registration handle, no activity ids, count data descriptors including data[0].
// The other descriptors are the caller's. Returns EventWriteTransfer's result, which
// every caller ignores: a lost diagnostic event is not worth failing for.
ULONG WriteEvent(const EVENT_DESCRIPTOR& descriptor, ULONG count, EVENT_DATA_DESCRIPTOR* data);

// Events 2010-2014, version 2, unless no session wants the level's event: ProcessName,
// Name (category), Message, Arguments (the field text, empty without fields) and Stack
// (empty), as 8-bit strings whose sizes include the terminator. A null message is sent
// as "NULL". FATAL and ERROR both become 2014; DEBUG and anything beyond, 2010.
void WriteOperationalEvent(LogLevel level, const std::string& category, std::string_view message,
                           const std::string& fieldText);

// Events 2000-2006 (the bit chooses), unless no session wants it: the process name and
// the text as UTF-16 strings, sizes (length + 1) * 2. An empty process name (not yet
// known) is sent as "NULL".
void WriteDebugTraceEvent(EventBit bit, const std::wstring& processName, const wchar_t* text);

} // namespace Trace
