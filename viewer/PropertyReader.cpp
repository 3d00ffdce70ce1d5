#include "viewer/PropertyReader.h"

#include "base/TextUtilities.h"
#include "viewer/DecodingTdh.h"

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

// The bytes of the property being read, kept from read to read: an event reads several
// properties, and a buffer that only grows stops allocating once it has met the largest.
// Used only on the thread that runs ProcessTrace, as the event-information buffer is.
std::vector<uint8_t>& PropertyScratch()
{
    static std::vector<uint8_t> bytes;
    return bytes;
}

// The text converters write into the caller's string, whose capacity is kept too.
void Utf16Text(const std::vector<uint8_t>& bytes, std::wstring& text)
{
    // The size includes the terminator; an odd or empty size leaves out the stray byte.
    const size_t count = bytes.empty() ? 0 : (bytes.size() - 1) / 2;
    text.resize(count);
    std::memcpy(text.data(), bytes.data(), count * sizeof(wchar_t));
}

void Utf8Text(const std::vector<uint8_t>& bytes, std::wstring& text)
{
    text.clear();
    if (bytes.empty() || bytes.size() > INT_MAX) {
        return;
    }
    // UTF-8 never takes fewer bytes than UTF-16 takes units, so the byte count is room
    // enough and no sizing call is needed.
    text.resize(bytes.size());
    const int length =
        ::MultiByteToWideChar(CP_UTF8, 0, reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()),
                              text.data(), static_cast<int>(text.size()));
    text.resize(length > 0 ? static_cast<size_t>(length) : 0);
    if (!text.empty() && text.back() == L'\0') {
        text.pop_back();
    }
}

ULONG QuerySize(EVENT_RECORD* event, PROPERTY_DATA_DESCRIPTOR& descriptor, ULONG& size)
{
    return DecodingTdh().TdhGetPropertySize(event, 0, nullptr, 1, &descriptor, &size);
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
    status = DecodingTdh().TdhGetProperty(event, 0, nullptr, 1, &descriptor, size, reinterpret_cast<PBYTE>(&read));
    if (status == ERROR_SUCCESS) {
        value = read;
    }
    return status;
}

// In place, so that the string keeps its capacity.
void Trim(std::wstring& text)
{
    while (!text.empty() && std::iswspace(text.back())) {
        text.pop_back();
    }
    size_t start = 0;
    while (start < text.size() && (text[start] == L'\0' || std::iswspace(text[start]))) {
        ++start;
    }
    text.erase(0, start);
}

// The property's bytes into the buffer: its size first, then the bytes, zero-filled
// beforehand. On failure the buffer's contents are undefined.
ULONG ReadInto(const EVENT_RECORD& record, const wchar_t* name, std::vector<uint8_t>& bytes)
{
    EVENT_RECORD* event = const_cast<EVENT_RECORD*>(&record);
    PROPERTY_DATA_DESCRIPTOR descriptor = Describe(name);
    ULONG size = 0;
    const ULONG status = QuerySize(event, descriptor, size);
    if (status != ERROR_SUCCESS) {
        return status;
    }
    bytes.assign(size, 0);
    return DecodingTdh().TdhGetProperty(event, 0, nullptr, 1, &descriptor, size, bytes.data());
}

} // namespace

ULONG ReadPropertyBytes(const EVENT_RECORD& record, const wchar_t* name, std::vector<uint8_t>& bytes)
{
    std::vector<uint8_t>& scratch = PropertyScratch();
    const ULONG status = ReadInto(record, name, scratch);
    if (status == ERROR_SUCCESS) {
        bytes.assign(scratch.begin(), scratch.end());
    }
    return status;
}

ULONG ReadTextProperty(const EVENT_RECORD& record, const wchar_t* name, std::wstring& text)
{
    std::vector<uint8_t>& bytes = PropertyScratch();
    const ULONG status = ReadInto(record, name, bytes);
    if (status == ERROR_SUCCESS) {
        if (record.EventHeader.EventDescriptor.Version == 2) {
            Utf8Text(bytes, text);
        } else {
            Utf16Text(bytes, text);
        }
        Trim(text);
    }
    return status;
}

ULONG ReadAnsiProperty(const EVENT_RECORD& record, const wchar_t* name, std::string& text)
{
    std::vector<uint8_t>& bytes = PropertyScratch();
    const ULONG status = ReadInto(record, name, bytes);
    if (status == ERROR_SUCCESS) {
        const size_t length = !bytes.empty() && bytes.back() == 0 ? bytes.size() - 1 : bytes.size();
        text.assign(reinterpret_cast<const char*>(bytes.data()), length);
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
    // Reused like the bytes: printing a property allocates nothing once it has grown.
    static std::wstring text;
    if (ReadTextProperty(record, name, text) == ERROR_SUCCESS) {
        Base::WriteEscapedNonPrintable(std::wcout, text, true);
    }
}

} // namespace Viewer
