#pragma once

// An emulator of the ETW provider side (EventRegister, EventWriteTransfer) for tests.
//
// Wine accepts registrations and writes but no session ever enables a provider, so the
// enable callback never runs there. While an emulator object lives, those two entries
// of Platform::Etw() are its own: it records every registration and every write (the
// descriptor and a copy of each data descriptor's bytes, taken during the call, since
// the writer's buffers die when it returns) and plays the part of a session by invoking
// the registered enable callback. Destruction puts the previous two entries back and
// leaves the rest of the table alone, so other emulators may run beside it.
//
// One emulator at a time per process. Events may be written from any thread; read the
// records once the writers are done. The enable callback is invoked synchronously on
// the thread that calls Control, whereas the system calls it on a thread of its own.

#include "tests/support/ScopedEntry.h"
#include "tests/support/SoleInstance.h"

#include <windows.h>

#include <evntprov.h>
#include <evntrace.h> // the control codes of the enable callback

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace Testing {

struct ProviderRegistration {
    GUID providerId{};
    PENABLECALLBACK callback = nullptr;
    PVOID context = nullptr;
    ULONG result = 0;     // what EventRegister returned
    REGHANDLE handle = 0; // what it stored in the caller's handle; 0 after a failure
};

struct WrittenData {
    ULONGLONG pointer = 0;      // the address as given; only its being null is meaningful
    ULONG size = 0;             // bytes
    ULONG reserved = 0;         // the descriptor type lives in its low byte (2 = provider metadata)
    std::vector<uint8_t> bytes; // copy of `size` bytes from `pointer`; empty for a null pointer

    // The bytes as text, terminators included, for comparing payload strings.
    std::string Narrow() const;
    std::wstring Wide() const;
};

struct EventWrite {
    REGHANDLE handle = 0;
    EVENT_DESCRIPTOR descriptor{};
    bool hasActivityId = false;
    bool hasRelatedActivityId = false;
    ULONG count = 0; // data descriptors passed, descriptor 0 included
    std::vector<WrittenData> data;
    ULONG result = 0; // what EventWriteTransfer returned
};

class ProviderEmulator {
public:
    // Installs the emulator; throws std::logic_error if another one is installed.
    ProviderEmulator();
    ProviderEmulator(const ProviderEmulator&) = delete;
    ProviderEmulator& operator=(const ProviderEmulator&) = delete;
    ~ProviderEmulator();

    const std::vector<ProviderRegistration>& Registrations() const noexcept { return registrations; }
    const std::vector<EventWrite>& Writes() const noexcept { return writes; }
    void ClearWrites() noexcept { writes.clear(); }

    // Ids of the written events, in order.
    std::vector<USHORT> WrittenIds() const;

    // Makes every later call of that function return the code (0 restores success). A
    // failing EventRegister stores handle 0 and calls no callback; a failing write is
    // still recorded.
    void FailEventRegister(ULONG code) noexcept { registerResult = code; }
    void FailEventWriteTransfer(ULONG code) noexcept { writeResult = code; }

    // A session that already runs when the provider registers: EventRegister calls the
    // callback with an enable notification before it returns, as the system does.
    void EnableAtRegistration(UCHAR level, ULONGLONG matchAnyKeyword, ULONGLONG matchAllKeyword);

    // Invokes the enable callback of the latest successful registration with the
    // control code (0 disable, 1 enable, 2 capture state), level and keywords. Throws
    // std::logic_error when nothing is registered.
    void Control(ULONG controlCode, UCHAR level, ULONGLONG matchAnyKeyword, ULONGLONG matchAllKeyword);
    void Enable(UCHAR level, ULONGLONG matchAnyKeyword, ULONGLONG matchAllKeyword = 0);
    void Disable();

private:
    static ULONG WINAPI EventRegisterThunk(LPCGUID providerId, PENABLECALLBACK callback, PVOID context,
                                           PREGHANDLE handle);
    static ULONG WINAPI EventWriteTransferThunk(REGHANDLE handle, PCEVENT_DESCRIPTOR descriptor, LPCGUID activityId,
                                                LPCGUID relatedActivityId, ULONG count, PEVENT_DATA_DESCRIPTOR data);

    ULONG Register(LPCGUID providerId, PENABLECALLBACK callback, PVOID context, PREGHANDLE handle);
    ULONG Write(REGHANDLE handle, PCEVENT_DESCRIPTOR descriptor, LPCGUID activityId, LPCGUID relatedActivityId,
                ULONG count, PEVENT_DATA_DESCRIPTOR data);

    struct SessionFilter {
        UCHAR level = 0;
        ULONGLONG matchAnyKeyword = 0;
        ULONGLONG matchAllKeyword = 0;
    };

    std::mutex recording; // guards registrations and writes while calls come in
    std::vector<ProviderRegistration> registrations;
    std::vector<EventWrite> writes;
    ULONG registerResult = 0;
    ULONG writeResult = 0;
    REGHANDLE nextHandle = 0x4B45530000000001ull; // recognisable in a debugger
    bool enableAtRegistration = false;
    SessionFilter runningSession;

    // Last, so that the calls are taken only once the state above exists and are
    // given back before it goes.
    SoleInstance<ProviderEmulator> sole;
    ScopedEntry<decltype(&::EventRegister)> eventRegister;
    ScopedEntry<decltype(&::EventWriteTransfer)> eventWriteTransfer;
};

} // namespace Testing
