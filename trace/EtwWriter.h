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
bool IsEventEnabled(EventBit bit);

// The operational event a trace level becomes.
EventBit OperationalEventBit(LogLevel level);

// Registers the provider once (0 if already registered), else EventRegister's result.
ULONG RegisterProvider();

// The provider's enable callback, as EventRegister is given it.
void NTAPI ProviderEnableCallback(LPCGUID sourceId, ULONG controlCode, UCHAR level, ULONGLONG matchAnyKeyword,
                                  ULONGLONG matchAllKeyword, PEVENT_FILTER_DESCRIPTOR filterData, PVOID context);

// Fills data descriptor 0 (no provider traits: null, size 0, type 0) and writes the
// event; the other descriptors are the caller's. Callers ignore the result.
ULONG WriteEvent(const EVENT_DESCRIPTOR& descriptor, ULONG count, EVENT_DATA_DESCRIPTOR* data);

// Events 2010-2014, version 2: ProcessName, Name, Message, Arguments, Stack as UTF-8
// strings with their terminators. Returns at once when no session wants the level.
void WriteOperationalEvent(LogLevel level, const std::string& category, std::string_view message,
                           const std::string& fieldText);

// Events 2001-2006: ProcessName and the message as UTF-16 strings with terminators.
void WriteDebugTraceEvent(EventBit bit, const std::wstring& processName, const wchar_t* text);

} // namespace Trace
