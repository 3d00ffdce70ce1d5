#include "session/RebootLoggingStatus.h"

#include "platform/RegistryApi.h"
#include "session/RegistryKeyHandle.h"
#include "session/SessionIdentity.h"
#include "trace/EtwWriter.h"

#include <windows.h>

#include <objbase.h>

namespace Session {

namespace {

// StringFromGUID2's form: upper case, in braces, 38 characters and the terminator.
constexpr int guidTextUnits = 39;

std::wstring UpperCaseBracedGuid(const GUID& guid)
{
    wchar_t text[guidTextUnits] = {};
    ::StringFromGUID2(guid, text, guidTextUnits);
    return text;
}

LSTATUS OpenForReading(HKEY parent, const std::wstring& subkey, UniqueRegistryKey& key)
{
    return Platform::Registry().RegOpenKeyExW(parent, subkey.c_str(), 0, KEY_READ, key.Put());
}

// The Status value as a 32-bit number, stored as REG_DWORD or as binary data; a missing
// value is no failure and counts as 0.
LSTATUS ReadStatus(HKEY key, uint32_t& status)
{
    DWORD value = 0;
    DWORD size = sizeof(value);
    const LSTATUS result = Platform::Registry().RegGetValueW(
        key, nullptr, L"Status", RRF_RT_REG_DWORD | RRF_RT_REG_BINARY, nullptr, &value, &size);
    status = result == ERROR_SUCCESS ? value : 0;
    return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
}

RebootLoggingStatus Failure(RebootLoggingState state, const wchar_t* what, LSTATUS error)
{
    const auto code = static_cast<uint32_t>(error);
    return {std::wstring(what) + L" Error " + std::to_wstring(code) + L".", code, state};
}

} // namespace

RebootLoggingStatus ReadRebootLoggingStatus(const std::wstring& loggerName)
{
    if (loggerName.empty()) {
        // No definition can be named by an empty name; the path would be the parent key.
        return {L"Disabled.", 0, RebootLoggingState::Disabled};
    }
    UniqueRegistryKey sessionKey;
    LSTATUS result = OpenForReading(HKEY_LOCAL_MACHINE, AutologgerSessionPath(loggerName), sessionKey);
    if (result == ERROR_FILE_NOT_FOUND) {
        return {L"Disabled.", 0, RebootLoggingState::Disabled};
    }
    if (result != ERROR_SUCCESS) {
        return Failure(RebootLoggingState::SessionKeyUnreadable, L"The auto-logger session key is missing.", result);
    }
    UniqueRegistryKey providerKey;
    result = OpenForReading(sessionKey.Get(), UpperCaseBracedGuid(Trace::ProviderGuid), providerKey);
    if (result != ERROR_SUCCESS) {
        return Failure(RebootLoggingState::ProviderKeyUnreadable, L"The auto-logger provider key is missing.", result);
    }

    uint32_t sessionStatus = 0;
    result = ReadStatus(sessionKey.Get(), sessionStatus);
    if (result != ERROR_SUCCESS) {
        return Failure(RebootLoggingState::SessionStatusUnreadable,
                       L"The auto-logger session status could not be queried.", result);
    }
    uint32_t providerStatus = 0;
    result = ReadStatus(providerKey.Get(), providerStatus);
    if (result != ERROR_SUCCESS) {
        return Failure(RebootLoggingState::ProviderStatusUnreadable,
                       L"The auto-logger provider status could not be queried.", result);
    }

    if (sessionStatus == 0 && providerStatus == 0) {
        return {L"Enabled.", 0, RebootLoggingState::Enabled, 0, 0};
    }
    return {L"The auto-logger failed. Session status is " + std::to_wstring(sessionStatus) +
                L" and provider status is " + std::to_wstring(providerStatus) + L".",
            ERROR_UNIDENTIFIED_ERROR, RebootLoggingState::Failed, sessionStatus, providerStatus};
}

} // namespace Session
