#pragma once

// An emulator of the ETW controller (StartTraceW, ControlTraceW, EnableTraceEx2) for
// tests. Wine only stubs these functions, so a test that wants a session to start, be
// found, report its numbers and stop installs this object behind Platform::Etw().
//
// While it lives, those three entries of the table are its own; destruction puts the
// previous entries back and leaves the rest of the table alone, so the consumer and
// provider emulators may run beside it. One controller emulator at a time per process.
//
// The documented contract, as emulated:
// - Sessions are keyed by name, compared without case. StartTraceW of a name (or of a
//   non-null Wnode.Guid) that already runs fails with ERROR_ALREADY_EXISTS and stores
//   handle 0. On success it copies the session name to LoggerNameOffset, stores the
//   handle in the caller's variable and in Wnode.HistoricalContext.
// - A block shorter than EVENT_TRACE_PROPERTIES fails with ERROR_BAD_LENGTH, and so does
//   a StartTraceW block without room for the session name behind LoggerNameOffset. A
//   non-zero name offset inside the structure or beyond Wnode.BufferSize, or a log file
//   name without a terminator inside the block, fails with ERROR_INVALID_PARAMETER, as do
//   null arguments, an unknown control code and both circular and sequential file modes.
// - ControlTraceW needs both name offsets set, as the documented contract asks of the
//   caller: a block with either offset 0 fails with ERROR_INVALID_PARAMETER. It finds
//   the session by name when a name is given (the handle is then ignored) and by handle
//   otherwise; no such session gives ERROR_WMI_INSTANCE_NOT_FOUND. QUERY, FLUSH and
//   UPDATE leave it running, STOP removes it; each then fills the block as the system
//   does: the settings, the counters, Wnode.HistoricalContext = the handle, and the two
//   names at the caller's offsets, which stay as they were. A name's area ends at the
//   other name's offset when that lies behind it, else at the block's end; a name that
//   does not fit its area gets the settings without names and ERROR_MORE_DATA (a STOP
//   has still stopped).
// - EnableTraceEx2 with handle 0, a null provider, a control code above 2, parameters of
//   a version other than 1 or 2, or a handle of no running session fails with
//   ERROR_INVALID_PARAMETER. Enabling records the provider on the session (a second
//   enable replaces the first), disabling removes it, capture-state counts.
//
// Every call is recorded in order with what it was given and what it returned. Any call
// can be made to fail with a chosen code by its kind and ordinal; such a call changes
// nothing. Calls may come from any thread (LIVE's control handler stops its session
// from a thread of the system's); the emulator serialises them.

#include "tests/support/ScopedEntry.h"
#include "tests/support/SoleInstance.h"

#include <windows.h>

#include <evntrace.h>

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Testing {

enum class ControllerCallKind { StartTrace, ControlTrace, EnableTrace };

// One call as the product made it.
struct ControllerCall {
    ControllerCallKind kind = ControllerCallKind::StartTrace;
    // StartTrace: the handle stored for the caller (0 after a failure); ControlTrace and
    // EnableTrace: the handle passed.
    TRACEHANDLE handle = 0;
    bool hasName = false; // StartTrace, ControlTrace: a name was passed (not null)
    std::wstring name;
    ULONG controlCode = 0; // ControlTrace: EVENT_TRACE_CONTROL_*; EnableTrace: EVENT_CONTROL_CODE_*
    // StartTrace, ControlTrace: the block as it came in, Wnode.BufferSize bytes (none for
    // a null block or one shorter than the structure).
    std::vector<uint8_t> properties;
    // EnableTrace only.
    GUID provider{};
    UCHAR level = 0;
    ULONGLONG matchAnyKeyword = 0;
    ULONGLONG matchAllKeyword = 0;
    ULONG timeout = 0;
    std::optional<ENABLE_TRACE_PARAMETERS> parameters; // empty when none was passed
    ULONG result = 0;
};

// One line per call for comparing whole call sequences, e.g.
//   StartTrace "Kestrova Diagnostics Log" -> 0
//   ControlTrace query "Kestrova Diagnostics Log" handle=0 -> 4201
//   ControlTrace stop handle=H -> 0
//   EnableTrace {6e2b9c41-...} enable level 18 any 0x0 all 0x0 timeout 0 property 2 handle=H -> 0
// where handle=H stands for any non-zero handle and a capture-state or disable call
// without parameters says "no parameters" instead of the property.
std::string DescribeCall(const ControllerCall& call);
std::vector<std::string> DescribeCalls(const std::vector<ControllerCall>& calls);

// A provider as a session has it enabled.
struct EnabledProvider {
    GUID provider{};
    UCHAR level = 0;
    ULONGLONG matchAnyKeyword = 0;
    ULONGLONG matchAllKeyword = 0;
    ULONG enableProperty = 0; // 0 when no parameters were passed
};

// A running session. `settings` holds what a query reports: the session's
// EVENT_TRACE_PROPERTIES with Wnode.Guid, Wnode.ClientContext, the buffer, file and mode
// fields and the counters (EventsLost, BuffersWritten, LogBuffersLost...). Its name
// offsets are not used; the names are the two strings.
struct EmulatedSession {
    std::wstring name;
    std::wstring logFileName; // empty for a real-time session
    TRACEHANDLE handle = 0;   // assigned by the emulator
    EVENT_TRACE_PROPERTIES settings{};
    std::vector<EnabledProvider> providers; // in the order they were first enabled
    ULONG captureStateRequests = 0;

    // The provider's entry, or null.
    const EnabledProvider* Provider(const GUID& provider) const;
};

class ControllerEmulator {
public:
    // Throws std::logic_error if another one is installed.
    ControllerEmulator();
    ControllerEmulator(const ControllerEmulator&) = delete;
    ControllerEmulator& operator=(const ControllerEmulator&) = delete;
    ~ControllerEmulator();

    // A session that runs without this process having started it (another run of the
    // program, the auto-logger at boot). Its handle is assigned and returned; the
    // settings' Wnode.HistoricalContext follows it.
    TRACEHANDLE AddSession(EmulatedSession session);

    // A copy of the running session of that name (without case), or nothing. For other
    // emulators too: a real-time consumer opened by LoggerName asks this whether its
    // session runs and with which LogFileMode.
    std::optional<EmulatedSession> FindSession(const std::wstring& name) const;

    // Changes a running session in place, e.g. its counters; false when none runs.
    bool UpdateSession(const std::wstring& name, const std::function<void(EmulatedSession&)>& change);

    // Names of the running sessions, in start order.
    std::vector<std::wstring> SessionNames() const;

    // The ordinal-th call (1-based) of that kind returns the code and changes nothing.
    void FailCall(ControllerCallKind kind, size_t ordinal, ULONG code);

    // Runs after a QUERY/STOP/FLUSH/UPDATE has filled a caller's block successfully, with
    // that block and its Wnode.BufferSize, so that a test can hand the product a reply
    // the system might give (odd offsets, unterminated names).
    void AfterFill(std::function<void(EVENT_TRACE_PROPERTIES& properties, ULONG size)> edit);

    // Every call so far, in order (a copy, safe while other threads call in).
    std::vector<ControllerCall> Calls() const;
    void ClearCalls();

private:
    static ULONG WINAPI StartTraceThunk(PTRACEHANDLE handle, LPCWSTR name, PEVENT_TRACE_PROPERTIES properties);
    static ULONG WINAPI ControlTraceThunk(TRACEHANDLE handle, LPCWSTR name, PEVENT_TRACE_PROPERTIES properties,
                                          ULONG controlCode);
    static ULONG WINAPI EnableTraceThunk(TRACEHANDLE handle, LPCGUID provider, ULONG controlCode, UCHAR level,
                                         ULONGLONG matchAnyKeyword, ULONGLONG matchAllKeyword, ULONG timeout,
                                         PENABLE_TRACE_PARAMETERS parameters);

    ULONG Start(PTRACEHANDLE handle, LPCWSTR name, PEVENT_TRACE_PROPERTIES properties);
    ULONG Control(TRACEHANDLE handle, LPCWSTR name, PEVENT_TRACE_PROPERTIES properties, ULONG controlCode);
    ULONG Enable(TRACEHANDLE handle, const GUID& provider, ULONG controlCode, UCHAR level, ULONGLONG matchAnyKeyword,
                 ULONGLONG matchAllKeyword, PENABLE_TRACE_PARAMETERS parameters);

    // The injected code of the call being recorded, or 0.
    ULONG InjectedFailure(ControllerCallKind kind);
    ULONG Fill(const EmulatedSession& session, EVENT_TRACE_PROPERTIES& properties) const;
    std::vector<EmulatedSession>::iterator FindByName(const std::wstring& name);
    std::vector<EmulatedSession>::iterator FindByHandle(TRACEHANDLE handle);
    std::vector<EmulatedSession>::const_iterator FindByName(const std::wstring& name) const;
    TRACEHANDLE NextHandle();

    mutable std::recursive_mutex lock;
    std::vector<EmulatedSession> sessions;
    std::vector<ControllerCall> calls;
    std::map<ControllerCallKind, size_t> callCounts;
    std::map<std::pair<ControllerCallKind, size_t>, ULONG> failures;
    std::function<void(EVENT_TRACE_PROPERTIES&, ULONG)> afterFill;
    TRACEHANDLE lastHandle = 0x0000534553530000ull; // "SESS", recognisable in a debugger

    // Last, so that the calls are taken only once the state above exists and are
    // given back before it goes.
    SoleInstance<ControllerEmulator> sole;
    ScopedEntry<decltype(&::StartTraceW)> startTrace;
    ScopedEntry<decltype(&::ControlTraceW)> controlTrace;
    ScopedEntry<decltype(&::EnableTraceEx2)> enableTrace;
};

} // namespace Testing
