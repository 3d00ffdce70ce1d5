#include "viewer/PropertyReader.h"

#include "base/TextUtilities.h"
#include "platform/TdhApi.h"

#include <tdh.h>

#include <climits>
#include <cstring>
#include <cwctype>
#include <iostream>

namespace Viewer {

namespace {

PROPERTY_DATA_DESCRIPTOR Describe(const wchar_t* name)
{
    PROPERTY_DATA_DESCRIPTOR descriptor{};
    descriptor.PropertyName = reinterpret_cast<ULONGLONG>(name);
    descriptor.ArrayIndex = ULONG_MAX; // a top-level property, not an array element
    return descriptor;
}

std::wstring Utf16Text(const std::vector<uint8_t>& bytes)
{
    // The size includes the terminator; an odd or empty size leaves out the stray byte.
    const size_t count = bytes.empty() ? 0 : (bytes.size() - 1) / 2;
    std::wstring text(count, L'\0');
    std::memcpy(text.data(), bytes.data(), count * sizeof(wchar_t));
    return text;
}

std::wstring Utf8Text(const std::vector<uint8_t>& bytes)
{
    if (bytes.empty()) {
        return {};
    }
    const char* data = reinterpret_cast<const char*>(bytes.data());
    const int byteCount = static_cast<int>(bytes.size());
    const int length = ::MultiByteToWideChar(CP_UTF8, 0, data, byteCount, nullptr, 0);
    if (length <= 0) {
        return {};
    }
    std::wstring text(static_cast<size_t>(length), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, data, byteCount, text.data(), length);
    if (text.back() == L'\0') {
        text.pop_back();
    }
    return text;
}

ULONG QuerySize(EVENT_RECORD* event, PROPERTY_DATA_DESCRIPTOR& descriptor, ULONG& size)
{
    return Platform::Tdh().TdhGetPropertySize(event, 0, nullptr, 1, &descriptor, &size);
}

// A number is read only when TDH reports exactly its width: bytes of any other count are
// not this number, whatever a template says, so the value stays as the caller set it.
template <typename Number> ULONG ReadNumberProperty(const EVENT_RECORD& record, const wchar_t* name, Number& value)
{
    EVENT_RECORD* event = const_cast<EVENT_RECORD*>(&record);
    PROPERTY_DATA_DESCRIPTOR descriptor = Describe(name);
    ULONG size = 0;
    ULONG status = QuerySize(event, descriptor, size);
    if (status != ERROR_SUCCESS || size != sizeof(Number)) {
        return status;
    }
    Number read = 0;
    status = Platform::Tdh().TdhGetProperty(event, 0, nullptr, 1, &descriptor, size, reinterpret_cast<PBYTE>(&read));
    if (status == ERROR_SUCCESS) {
        value = read;
    }
    return status;
}

std::wstring Trim(std::wstring text)
{
    while (!text.empty() && std::iswspace(text.back())) {
        text.pop_back();
    }
    size_t start = 0;
    while (start < text.size() && (text[start] == L'\0' || std::iswspace(text[start]))) {
        ++start;
    }
    return text.substr(start);
}

} // namespace

ULONG ReadPropertyBytes(const EVENT_RECORD& record, const wchar_t* name, std::vector<uint8_t>& bytes)
{
    EVENT_RECORD* event = const_cast<EVENT_RECORD*>(&record);
    PROPERTY_DATA_DESCRIPTOR descriptor = Describe(name);
    ULONG size = 0;
    ULONG status = QuerySize(event, descriptor, size);
    if (status != ERROR_SUCCESS) {
        return status;
    }
    std::vector<uint8_t> buffer(size, 0);
    status = Platform::Tdh().TdhGetProperty(event, 0, nullptr, 1, &descriptor, size, buffer.data());
    if (status == ERROR_SUCCESS) {
        bytes = std::move(buffer);
    }
    return status;
}

ULONG ReadTextProperty(const EVENT_RECORD& record, const wchar_t* name, std::wstring& text)
{
    std::vector<uint8_t> bytes;
    const ULONG status = ReadPropertyBytes(record, name, bytes);
    if (status == ERROR_SUCCESS) {
        text = Trim(record.EventHeader.EventDescriptor.Version == 2 ? Utf8Text(bytes) : Utf16Text(bytes));
    }
    return status;
}

ULONG ReadAnsiProperty(const EVENT_RECORD& record, const wchar_t* name, std::string& text)
{
    std::vector<uint8_t> bytes;
    const ULONG status = ReadPropertyBytes(record, name, bytes);
    if (status == ERROR_SUCCESS) {
        if (!bytes.empty() && bytes.back() == 0) {
            bytes.pop_back();
        }
        text.assign(bytes.begin(), bytes.end());
    }
    return status;
}

ULONG ReadUInt32Property(const EVENT_RECORD& record, const wchar_t* name, uint32_t& value)
{
    return ReadNumberProperty(record, name, value);
}

ULONG ReadUInt16Property(const EVENT_RECORD& record, const wchar_t* name, uint16_t& value)
{
    return ReadNumberProperty(record, name, value);
}

void PrintTextProperty(const EVENT_RECORD& record, const wchar_t* name)
{
    std::wstring text;
    if (ReadTextProperty(record, name, text) == ERROR_SUCCESS) {
        std::wcout << Base::EscapeNonPrintable(text, true);
    }
}

} // namespace Viewer
