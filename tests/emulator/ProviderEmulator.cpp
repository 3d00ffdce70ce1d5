#include "tests/emulator/ProviderEmulator.h"

#include "platform/EtwApi.h"

#include <cstring>
#include <stdexcept>

namespace Testing {

namespace {

// The platform table holds plain function pointers, so the thunks find the emulator
// through this one pointer.
ProviderEmulator* installed = nullptr;

WrittenData CopyData(const EVENT_DATA_DESCRIPTOR& descriptor)
{
    WrittenData copy;
    copy.pointer = descriptor.Ptr;
    copy.size = descriptor.Size;
    copy.reserved = descriptor.Reserved;
    if (descriptor.Ptr != 0 && descriptor.Size != 0) {
        const auto* first = reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(descriptor.Ptr));
        copy.bytes.assign(first, first + descriptor.Size);
    }
    return copy;
}

} // namespace

std::string WrittenData::Narrow() const
{
    return std::string(bytes.begin(), bytes.end());
}

std::wstring WrittenData::Wide() const
{
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    return text;
}

ProviderEmulator::ProviderEmulator()
    : sole(installed, *this, "a provider emulator"), eventRegister(Platform::Etw().EventRegister, EventRegisterThunk),
      eventWriteTransfer(Platform::Etw().EventWriteTransfer, EventWriteTransferThunk)
{
}

ProviderEmulator::~ProviderEmulator() = default;

std::vector<USHORT> ProviderEmulator::WrittenIds() const
{
    std::vector<USHORT> ids;
    for (const EventWrite& write : writes) {
        ids.push_back(write.descriptor.Id);
    }
    return ids;
}

void ProviderEmulator::EnableAtRegistration(UCHAR level, ULONGLONG matchAnyKeyword, ULONGLONG matchAllKeyword)
{
    enableAtRegistration = true;
    runningSession = SessionFilter{level, matchAnyKeyword, matchAllKeyword};
}

void ProviderEmulator::Control(ULONG controlCode, UCHAR level, ULONGLONG matchAnyKeyword, ULONGLONG matchAllKeyword)
{
    for (auto registration = registrations.rbegin(); registration != registrations.rend(); ++registration) {
        if (registration->result == ERROR_SUCCESS) {
            registration->callback(&registration->providerId, controlCode, level, matchAnyKeyword, matchAllKeyword,
                                   nullptr, registration->context);
            return;
        }
    }
    throw std::logic_error("no provider is registered");
}

void ProviderEmulator::Enable(UCHAR level, ULONGLONG matchAnyKeyword, ULONGLONG matchAllKeyword)
{
    Control(EVENT_CONTROL_CODE_ENABLE_PROVIDER, level, matchAnyKeyword, matchAllKeyword);
}

void ProviderEmulator::Disable()
{
    Control(EVENT_CONTROL_CODE_DISABLE_PROVIDER, 0, 0, 0);
}

ULONG WINAPI ProviderEmulator::EventRegisterThunk(LPCGUID providerId, PENABLECALLBACK callback, PVOID context,
                                                  PREGHANDLE handle)
{
    return installed->Register(providerId, callback, context, handle);
}

ULONG WINAPI ProviderEmulator::EventWriteTransferThunk(REGHANDLE handle, PCEVENT_DESCRIPTOR descriptor,
                                                       LPCGUID activityId, LPCGUID relatedActivityId, ULONG count,
                                                       PEVENT_DATA_DESCRIPTOR data)
{
    return installed->Write(handle, descriptor, activityId, relatedActivityId, count, data);
}

ULONG ProviderEmulator::Register(LPCGUID providerId, PENABLECALLBACK callback, PVOID context, PREGHANDLE handle)
{
    ProviderRegistration registration;
    registration.providerId = *providerId;
    registration.callback = callback;
    registration.context = context;
    registration.result = registerResult;
    registration.handle = registerResult == ERROR_SUCCESS ? nextHandle++ : 0;
    {
        std::lock_guard<std::mutex> hold(recording);
        registrations.push_back(registration);
    }
    *handle = registration.handle;
    if (registration.result == ERROR_SUCCESS && enableAtRegistration && callback != nullptr) {
        callback(providerId, EVENT_CONTROL_CODE_ENABLE_PROVIDER, runningSession.level, runningSession.matchAnyKeyword,
                 runningSession.matchAllKeyword, nullptr, context);
    }
    return registration.result;
}

ULONG ProviderEmulator::Write(REGHANDLE handle, PCEVENT_DESCRIPTOR descriptor, LPCGUID activityId,
                              LPCGUID relatedActivityId, ULONG count, PEVENT_DATA_DESCRIPTOR data)
{
    EventWrite write;
    write.handle = handle;
    write.descriptor = *descriptor;
    write.hasActivityId = activityId != nullptr;
    write.hasRelatedActivityId = relatedActivityId != nullptr;
    write.count = count;
    for (ULONG index = 0; index < count; ++index) {
        write.data.push_back(CopyData(data[index]));
    }
    write.result = writeResult;
    std::lock_guard<std::mutex> hold(recording);
    writes.push_back(write);
    return write.result;
}

} // namespace Testing
