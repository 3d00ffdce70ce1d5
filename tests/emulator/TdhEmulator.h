#pragma once

// An emulator of the Trace Data Helper for tests (Wine only stubs tdh.dll).
//
// While it lives, the four entries of Platform::Tdh() are its own. TdhLoadManifest
// records the path it was handed, reads that file and parses it as an instrumentation
// manifest, so that the events TDH describes afterwards are those of the manifest the
// product really extracted. TdhGetEventInformation builds a real TRACE_EVENT_INFO
// (property array, name offsets, in- and out-types, level name, task, opcode, channel,
// message) and honours the size protocol; TdhGetPropertySize and TdhGetProperty find a
// top-level property in the user data by walking the template (strings by terminator,
// pointers by the header's pointer size).
//
// Answers, as Windows gives them: ERROR_NOT_FOUND for an event or property nobody
// described (so product events are undescribed until a manifest is loaded);
// ERROR_INSUFFICIENT_BUFFER with the needed size; ERROR_EVT_INVALID_EVENT_DATA when the
// user data ends before the property does. A string with no terminator before the end of
// the data takes the rest of it. Built in: Winlogon 811/812 and Kernel-Process 1-6, each
// version with its own layout.
//
// One emulator at a time per process; destruction puts the previous entries back.

#include "platform/TdhApi.h"
#include "tests/emulator/EventSchema.h"
#include "tests/support/ScopedApi.h"
#include "tests/support/SoleInstance.h"

#include <windows.h>

#include <evntcons.h>
#include <tdh.h>

#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace Testing {

class TdhEmulator {
public:
    // Throws std::logic_error if another one is installed.
    TdhEmulator();
    TdhEmulator(const TdhEmulator&) = delete;
    TdhEmulator& operator=(const TdhEmulator&) = delete;
    ~TdhEmulator();

    // Adds the events of a manifest without a file, as a test's own variant provider.
    void AddManifest(std::string_view xml);

    // Every TdhLoadManifest call: the path, and the file's bytes at the time of the call
    // (empty when it could not be read).
    struct ManifestLoad {
        std::wstring path;
        std::string text;
        ULONG result = 0;
    };
    const std::vector<ManifestLoad>& ManifestLoads() const noexcept { return manifestLoads; }

    // Makes every later call of that function return the code without doing anything
    // (0 restores the normal answers).
    void FailLoadManifest(ULONG code) noexcept { loadManifestFailure = code; }
    void FailGetEventInformation(ULONG code) noexcept { eventInformationFailure = code; }
    void FailGetPropertySize(ULONG code) noexcept { propertySizeFailure = code; }
    void FailGetProperty(ULONG code) noexcept { propertyFailure = code; }

    // Makes TdhGetPropertySize answer this size for the named property, whatever the
    // data holds (a provider whose layout disagrees with its template). TdhGetProperty
    // then copies that many bytes, zero beyond the end of the data.
    void OverridePropertySize(const std::wstring& name, ULONG size) { sizeOverrides[name] = size; }

    // TdhGetEventInformation calls, and those answered ERROR_INSUFFICIENT_BUFFER.
    size_t EventInformationCalls() const noexcept { return eventInformationCalls; }
    size_t InsufficientBufferAnswers() const noexcept { return insufficientBufferAnswers; }

    // The TRACE_EVENT_INFO size the event needs, or 0 when it is not described.
    ULONG EventInformationSize(const EVENT_RECORD& record) const;

private:
    static ULONG WINAPI LoadManifestThunk(PWSTR manifest);
    static ULONG WINAPI GetEventInformationThunk(PEVENT_RECORD event, ULONG contextCount, PTDH_CONTEXT context,
                                                 PTRACE_EVENT_INFO buffer, ULONG* bufferSize);
    static ULONG WINAPI GetPropertySizeThunk(PEVENT_RECORD event, ULONG contextCount, PTDH_CONTEXT context,
                                             ULONG descriptorCount, PPROPERTY_DATA_DESCRIPTOR descriptors,
                                             ULONG* propertySize);
    static ULONG WINAPI GetPropertyThunk(PEVENT_RECORD event, ULONG contextCount, PTDH_CONTEXT context,
                                         ULONG descriptorCount, PPROPERTY_DATA_DESCRIPTOR descriptors, ULONG bufferSize,
                                         PBYTE buffer);

    struct Described {
        EventSchema schema;
        std::vector<uint8_t> information; // the TRACE_EVENT_INFO, built once
    };
    using Key = std::tuple<std::string, USHORT, UCHAR>; // provider bytes, id, version

    void Add(std::vector<EventSchema> schemas);
    const Described* Find(const EVENT_RECORD& record) const;
    ULONG Locate(const EVENT_RECORD& record, const PROPERTY_DATA_DESCRIPTOR* descriptors, ULONG count, size_t& offset,
                 ULONG& size) const;

    ULONG LoadManifest(const wchar_t* path);
    ULONG GetEventInformation(const EVENT_RECORD& record, TRACE_EVENT_INFO* buffer, ULONG* bufferSize);
    ULONG GetPropertySize(const EVENT_RECORD& record, ULONG count, const PROPERTY_DATA_DESCRIPTOR* descriptors,
                          ULONG* size) const;
    ULONG GetProperty(const EVENT_RECORD& record, ULONG count, const PROPERTY_DATA_DESCRIPTOR* descriptors,
                      ULONG bufferSize, BYTE* buffer) const;

    std::map<Key, Described> described;
    std::vector<ManifestLoad> manifestLoads;
    std::map<std::wstring, ULONG> sizeOverrides;
    ULONG loadManifestFailure = 0;
    ULONG eventInformationFailure = 0;
    ULONG propertySizeFailure = 0;
    ULONG propertyFailure = 0;
    size_t eventInformationCalls = 0;
    size_t insufficientBufferAnswers = 0;

    // Last, so that the calls are taken only once the state above exists and are
    // given back before it goes.
    SoleInstance<TdhEmulator> sole;
    ScopedApi<Platform::TdhApi> tdh;
};

} // namespace Testing
