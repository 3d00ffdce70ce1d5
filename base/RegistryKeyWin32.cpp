#include "base/RegistryKeyWin32.h"

#include "base/Exception.h"
#include "platform/RegistryApi.h"
#include "trace/Log.h"

#include <algorithm>

namespace Base {

namespace {

Trace::Category registryLog("registry");

using Trace::Field;

bool IsNotFound(LSTATUS status)
{
    return status == ERROR_FILE_NOT_FOUND || status == ERROR_NOT_FOUND;
}

uint32_t Code(LSTATUS status)
{
    return static_cast<uint32_t>(status);
}

void ThrowUnlessString(HKEY handle, const std::wstring& name, DWORD size, DWORD type)
{
    if (type != REG_SZ && type != REG_EXPAND_SZ) {
        registryLog->Error("Failed to query STRING", Field{"size", size}, Field{"type", type}, Field{"name", name},
                           Field{"_handle", handle});
        throw Exception("Unable to convert STRING registry value");
    }
}

} // namespace

RegistryKeyWin32::RegistryKeyWin32(HKEY handle) noexcept : handle(handle)
{
}

RegistryKeyWin32::~RegistryKeyWin32()
{
    // The predefined keys are pseudo-handles with the top bit set; closing them would
    // close the process's cached root for everybody else.
    if (handle != nullptr && static_cast<int32_t>(reinterpret_cast<uintptr_t>(handle)) >= 0) {
        Platform::Registry().RegCloseKey(handle);
    }
}

SharedRef<RegistryKeyWin32> RegistryKeyWin32::CreateSubkey(const std::wstring& subkey)
{
    constexpr REGSAM desiredAccess = KEY_WRITE;
    constexpr DWORD options = REG_OPTION_NON_VOLATILE;
    HKEY key = nullptr;
    DWORD disposition = 0;
    const LSTATUS status = Platform::Registry().RegCreateKeyExW(handle, subkey.c_str(), 0, nullptr, options,
                                                                desiredAccess, nullptr, &key, &disposition);
    if (status != ERROR_SUCCESS) {
        registryLog->Error("Failed to create subkey", Field{"errorCode", Code(status)},
                           Field{"desiredAccess", desiredAccess}, Field{"options", options}, Field{"subkey", subkey},
                           Field{"_handle", handle});
        throw ExceptionWin32("Failed to create registry key", Code(status));
    }
    SharedRef<RegistryKeyWin32> created = MakeShared<RegistryKeyWin32>(key);
    registryLog->Debug("Registry Key successfully created key", Field{"dispositionAlways", disposition},
                       Field{"desiredAccess", desiredAccess}, Field{"options", options}, Field{"subkey", subkey},
                       Field{"key", key}, Field{"_handle", handle});
    return created;
}

SharedRef<RegistryKeyWin32> RegistryKeyWin32::OpenSubkey(const std::wstring& subkey, REGSAM desiredAccess)
{
    HKEY key = nullptr;
    const LSTATUS status = Platform::Registry().RegOpenKeyExW(handle, subkey.c_str(), 0, desiredAccess, &key);
    if (status != ERROR_SUCCESS) {
        registryLog->Error("Failed to open subkey", Field{"errorCode", Code(status)},
                           Field{"desiredAccess", desiredAccess}, Field{"subkey", subkey}, Field{"_handle", handle});
        throw ExceptionWin32("Failed to open registry key", Code(status));
    }
    SharedRef<RegistryKeyWin32> opened = MakeShared<RegistryKeyWin32>(key);
    registryLog->Debug("Successfully opened key", Field{"desiredAccess", desiredAccess}, Field{"subkey", subkey},
                       Field{"key", key}, Field{"_handle", handle});
    return opened;
}

bool RegistryKeyWin32::HasSubkey(const std::wstring& subkey)
{
    constexpr REGSAM desiredAccess = KEY_READ;
    HKEY key = nullptr;
    const LSTATUS status = Platform::Registry().RegOpenKeyExW(handle, subkey.c_str(), 0, desiredAccess, &key);
    if (status == ERROR_SUCCESS) {
        Platform::Registry().RegCloseKey(key);
        registryLog->Debug("Found subkey", Field{"desiredAccess", desiredAccess}, Field{"subkey", subkey},
                           Field{"_handle", handle});
        return true;
    }
    if (IsNotFound(status)) {
        registryLog->Debug("Did not find subkey", Field{"desiredAccess", desiredAccess}, Field{"subkey", subkey},
                           Field{"_handle", handle});
        return false;
    }
    // Logged at DEBUG like the other answers of this probe, unlike every other failure.
    registryLog->Debug("Failed to detect subkey", Field{"errorCode", Code(status)},
                       Field{"desiredAccess", desiredAccess}, Field{"subkey", subkey}, Field{"_handle", handle});
    throw ExceptionWin32("Failed to detect registry key", Code(status));
}

void RegistryKeyWin32::SetDword(const std::wstring& name, uint32_t value)
{
    const DWORD data = value;
    const LSTATUS status = Platform::Registry().RegSetValueExW(handle, name.c_str(), 0, REG_DWORD,
                                                               reinterpret_cast<const BYTE*>(&data), sizeof(data));
    if (status != ERROR_SUCCESS) {
        registryLog->Error("Failed to set dword", Field{"errorCode", Code(status)}, Field{"name", name},
                           Field{"value", value}, Field{"_handle", handle});
        throw ExceptionWin32("Failed to set registry value", Code(status));
    }
    registryLog->Debug("Set dword", Field{"name", name}, Field{"value", value}, Field{"_handle", handle});
}

void RegistryKeyWin32::SetQword(const std::wstring& name, uint64_t value)
{
    const ULONGLONG data = value;
    const LSTATUS status = Platform::Registry().RegSetValueExW(handle, name.c_str(), 0, REG_QWORD,
                                                               reinterpret_cast<const BYTE*>(&data), sizeof(data));
    if (status != ERROR_SUCCESS) {
        registryLog->Error("Failed to set qword", Field{"errorCode", Code(status)}, Field{"name", name},
                           Field{"value", value}, Field{"_handle", handle});
        throw ExceptionWin32("Failed to set registry value", Code(status));
    }
    registryLog->Debug("Set qword", Field{"name", name}, Field{"value", value}, Field{"_handle", handle});
}

void RegistryKeyWin32::SetString(const std::wstring& name, const std::wstring& value)
{
    const auto bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
    const LSTATUS status = Platform::Registry().RegSetValueExW(handle, name.c_str(), 0, REG_SZ,
                                                               reinterpret_cast<const BYTE*>(value.c_str()), bytes);
    if (status != ERROR_SUCCESS) {
        registryLog->Error("Failed to set string", Field{"errorCode", Code(status)}, Field{"name", name},
                           Field{"value", value}, Field{"_handle", handle});
        throw ExceptionWin32("Failed to set registry value", Code(status));
    }
    registryLog->Debug("Set string", Field{"name", name}, Field{"value", value}, Field{"_handle", handle});
}

bool RegistryKeyWin32::QueryValueInfo(const std::wstring& name, uint32_t& type, uint32_t& size)
{
    type = 0;
    size = 0;
    DWORD valueType = 0;
    DWORD valueSize = 0;
    const LSTATUS status =
        Platform::Registry().RegQueryValueExW(handle, name.c_str(), nullptr, &valueType, nullptr, &valueSize);
    if (IsNotFound(status)) {
        registryLog->Debug("Did not find VALUE info", Field{"name", name}, Field{"_handle", handle});
        return false;
    }
    if (status != ERROR_SUCCESS) {
        registryLog->Error("Failed to query VALUE info", Field{"errorCode", Code(status)}, Field{"name", name},
                           Field{"_handle", handle});
        throw ExceptionWin32("Unable to query registry value info", Code(status));
    }
    type = valueType;
    size = valueSize;
    return true;
}

bool RegistryKeyWin32::QueryDword(const std::wstring& name, uint32_t& value)
{
    DWORD data = 0;
    DWORD type = 0;
    DWORD size = sizeof(data);
    const LSTATUS status = Platform::Registry().RegQueryValueExW(handle, name.c_str(), nullptr, &type,
                                                                 reinterpret_cast<BYTE*>(&data), &size);
    if (IsNotFound(status)) {
        registryLog->Debug("Did not find DWORD name", Field{"name", name}, Field{"_handle", handle});
        return false;
    }
    if (status != ERROR_SUCCESS) {
        registryLog->Error("Failed to query DWORD", Field{"errorCode", Code(status)}, Field{"name", name},
                           Field{"_handle", handle});
        throw ExceptionWin32("Unable to query DWORD registry value", Code(status));
    }
    if (type != REG_DWORD) {
        registryLog->Error("Failed to query DWORD", Field{"size", size}, Field{"type", type}, Field{"name", name},
                           Field{"_handle", handle});
        throw Exception("Unable to convert DWORD registry value");
    }
    value = data;
    registryLog->Debug("Queried DWORD", Field{"value", value}, Field{"name", name}, Field{"_handle", handle});
    return true;
}

bool RegistryKeyWin32::QueryString(const std::wstring& name, std::wstring& value)
{
    DWORD type = 0;
    DWORD size = 0;
    LSTATUS status = Platform::Registry().RegQueryValueExW(handle, name.c_str(), nullptr, &type, nullptr, &size);
    if (IsNotFound(status)) {
        registryLog->Debug("Did not find STRING name", Field{"name", name}, Field{"_handle", handle});
        return false;
    }
    if (status != ERROR_SUCCESS) {
        registryLog->Error("Failed to query STRING", Field{"errorCode", Code(status)}, Field{"name", name},
                           Field{"_handle", handle});
        throw ExceptionWin32("Unable to query STRING registry value", Code(status));
    }
    ThrowUnlessString(handle, name, size, type);

    std::wstring text;
    DWORD bytes = 0;
    status = ReadStringData(name, size, type, text, bytes);
    if (status != ERROR_SUCCESS) {
        registryLog->Error("Failed to query STRING", Field{"size", size}, Field{"type", type}, Field{"name", name},
                           Field{"_handle", handle});
        throw ExceptionWin32("Unable to query STRING registry value", Code(status));
    }
    // The value may have been replaced by one of another type between the two reads.
    ThrowUnlessString(handle, name, bytes, type);
    // An odd byte count leaves half a character at the end; its missing high byte reads
    // as zero, as the buffer was zero-filled.
    text.resize((static_cast<size_t>(bytes) + 1) / sizeof(wchar_t));
    while (!text.empty() && text.back() == L'\0') {
        text.pop_back();
    }
    value = std::move(text);
    registryLog->Debug("Queried STRING", Field{"value", value}, Field{"name", name}, Field{"_handle", handle});
    return true;
}

LSTATUS RegistryKeyWin32::ReadStringData(const std::wstring& name, DWORD size, DWORD& type, std::wstring& text,
                                         DWORD& bytes)
{
    // A value that grows between the size query and the read answers ERROR_MORE_DATA
    // with its new size; it is read again at that size. Someone rewriting it larger on
    // every attempt would keep this going for ever, so the attempts are bounded.
    constexpr int attempts = 8;
    LSTATUS status = ERROR_MORE_DATA;
    for (int attempt = 0; attempt < attempts && status == ERROR_MORE_DATA; ++attempt) {
        // Rounded up to whole characters, so that a value of an odd byte count (written
        // with a broken length) fits whole.
        text.assign((static_cast<size_t>(size) + 1) / sizeof(wchar_t), L'\0');
        bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
        status = Platform::Registry().RegQueryValueExW(handle, name.c_str(), nullptr, &type,
                                                       reinterpret_cast<BYTE*>(text.data()), &bytes);
        size = bytes;
    }
    return status;
}

std::vector<std::wstring> RegistryKeyWin32::EnumerateValueNames()
{
    std::vector<std::wstring> names;
    std::wstring buffer(256, L'\0');
    for (DWORD index = 0;; ++index) {
        DWORD length = static_cast<DWORD>(buffer.size());
        LSTATUS status = Platform::Registry().RegEnumValueW(handle, index, buffer.data(), &length, nullptr, nullptr,
                                                            nullptr, nullptr);
        while (status == ERROR_MORE_DATA) {
            // Room for the reported length and a terminator. Where the system leaves the
            // length at the capacity it was given instead of the name's own, this still
            // gets there, one character per round; the capacity stays for later names.
            buffer.assign(static_cast<size_t>(length) + 1, L'\0');
            length = static_cast<DWORD>(buffer.size());
            status = Platform::Registry().RegEnumValueW(handle, index, buffer.data(), &length, nullptr, nullptr,
                                                        nullptr, nullptr);
        }
        if (status == ERROR_NO_MORE_ITEMS) {
            return names;
        }
        if (status != ERROR_SUCCESS) {
            registryLog->Error("Failed to enumerate values", Field{"errorCode", Code(status)},
                               Field{"valueIndex", index}, Field{"_handle", handle});
            throw ExceptionWin32("Unable to enum registry value", Code(status));
        }
        std::wstring name(buffer.c_str());
        registryLog->Debug("Enumerated value", Field{"name", name}, Field{"valueIndex", index},
                           Field{"_handle", handle});
        names.push_back(std::move(name));
    }
}

void RegistryKeyWin32::DeleteSubtree(const std::wstring& subkey)
{
    const LSTATUS status = Platform::Registry().RegDeleteTreeW(handle, subkey.c_str());
    if (status != ERROR_SUCCESS && !IsNotFound(status)) {
        registryLog->Error("Failed to delete recursive subkey", Field{"errorCode", Code(status)},
                           Field{"subkey", subkey}, Field{"_handle", handle});
        throw ExceptionWin32("Failed to delete registry key", Code(status));
    }
    registryLog->Debug("Deleted recursive subkey", Field{"subkey", subkey}, Field{"_handle", handle});
}

} // namespace Base
