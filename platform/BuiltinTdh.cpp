#include "platform/BuiltinTdh.h"

#include "base/UniqueHandle.h"
#include "etl/Decoder.h"
#include "etl/FormatError.h"
#include "etl/PropertyLocator.h"
#include "platform/EtlRecord.h"
#include "platform/EventInformationBlock.h"

#include <climits>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

namespace Platform {

namespace {

struct BuiltinState {
    Etl::Decoder decoder;
    // TRACE_EVENT_INFO blocks of manifest and system-provider events, built once each: their
    // descriptions live as long as the decoder. TraceLogging descriptions do not, so theirs
    // are built into the scratch block on every call.
    std::unordered_map<const Etl::EventDescription*, std::vector<uint8_t>> blocks;
    std::vector<uint8_t> scratch;
    Etl::Event event; // reused: converting a record allocates nothing once it has met its widest
    std::u16string name;
    std::u16string member;
};

BuiltinState& State()
{
    static BuiltinState state;
    return state;
}

// The record as the decoder reads it, with a pointer-size context applied.
Etl::Event& EventOf(const EVENT_RECORD& record, ULONG contextCount, const TDH_CONTEXT* context)
{
    Etl::Event& event = State().event;
    EventFromRecord(record, event);
    for (ULONG index = 0; context != nullptr && index < contextCount; ++index) {
        if (context[index].ParameterType == TDH_CONTEXT_POINTERSIZE &&
            (context[index].ParameterValue == 4 || context[index].ParameterValue == 8)) {
            event.pointerSize = static_cast<unsigned>(context[index].ParameterValue);
        }
    }
    return event;
}

const std::vector<uint8_t>& InformationBlock(const Etl::EventDescription& description)
{
    BuiltinState& state = State();
    if (description.source == Etl::DecodingSource::TraceLogging) {
        BuildEventInformation(description, state.scratch);
        return state.scratch;
    }
    auto [entry, added] = state.blocks.try_emplace(&description);
    if (added) {
        BuildEventInformation(description, entry->second);
    }
    return entry->second;
}

std::string ReadWholeFile(const wchar_t* path, ULONG& error)
{
    Base::UniqueKernelHandle file(::CreateFileW(path, GENERIC_READ,
                                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        error = ::GetLastError();
        return {};
    }
    LARGE_INTEGER size{};
    if (!::GetFileSizeEx(file.Get(), &size)) {
        error = ::GetLastError();
        return {};
    }
    // A manifest is a few kilobytes; anything near this size is not one.
    constexpr LONGLONG largestManifest = 64ll * 1024 * 1024;
    if (size.QuadPart > largestManifest) {
        error = ERROR_FILE_TOO_LARGE;
        return {};
    }
    std::string bytes(static_cast<size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    if (!::ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr)) {
        error = ::GetLastError();
        return {};
    }
    if (read != bytes.size()) {
        // The file shrank between the size query and the read.
        error = ERROR_HANDLE_EOF;
        return {};
    }
    error = ERROR_SUCCESS;
    return bytes;
}

ULONG WINAPI LoadManifest(PWSTR path)
{
    if (path == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    ULONG error = ERROR_SUCCESS;
    const std::string xml = ReadWholeFile(path, error);
    if (error != ERROR_SUCCESS) {
        return error;
    }
    try {
        State().decoder.LoadManifest(xml);
    } catch (const Etl::FormatError&) {
        return ERROR_XML_PARSE_ERROR;
    }
    return ERROR_SUCCESS;
}

ULONG WINAPI GetEventInformation(PEVENT_RECORD record, ULONG contextCount, PTDH_CONTEXT context,
                                 PTRACE_EVENT_INFO buffer, PULONG bufferSize)
{
    if (record == nullptr || bufferSize == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const Etl::EventDescription* description = State().decoder.Describe(EventOf(*record, contextCount, context));
    if (description == nullptr) {
        return ERROR_NOT_FOUND;
    }
    const std::vector<uint8_t>& block = InformationBlock(*description);
    const ULONG needed = static_cast<ULONG>(block.size());
    if (buffer == nullptr || *bufferSize < needed) {
        *bufferSize = needed;
        return ERROR_INSUFFICIENT_BUFFER;
    }
    std::memcpy(buffer, block.data(), block.size());
    *bufferSize = needed;
    return ERROR_SUCCESS;
}

// The name a descriptor points to, as the decoder spells it.
void DescriptorName(const PROPERTY_DATA_DESCRIPTOR& descriptor, std::u16string& name)
{
    name.clear();
    for (const auto* unit = reinterpret_cast<const wchar_t*>(descriptor.PropertyName); *unit != L'\0'; ++unit) {
        name.push_back(static_cast<char16_t>(*unit));
    }
}

uint32_t ElementIndex(const PROPERTY_DATA_DESCRIPTOR& descriptor)
{
    return descriptor.ArrayIndex == ULONG_MAX ? Etl::allElements : descriptor.ArrayIndex;
}

// Where the property the descriptors name lies in the record's user data: one descriptor for a
// top-level property, two for a member of a top-level struct (TDH's structs hold no structs).
Etl::PropertyLocation Locate(const EVENT_RECORD* record, ULONG contextCount, const TDH_CONTEXT* context,
                             ULONG descriptorCount, const PROPERTY_DATA_DESCRIPTOR* descriptors)
{
    if (record == nullptr || descriptors == nullptr || descriptorCount == 0) {
        return {ERROR_INVALID_PARAMETER, 0, 0};
    }
    for (ULONG index = 0; index < descriptorCount; ++index) {
        if (descriptors[index].PropertyName == 0) {
            return {ERROR_INVALID_PARAMETER, 0, 0};
        }
    }
    if (descriptorCount > 2) {
        return {ERROR_NOT_SUPPORTED, 0, 0};
    }
    Etl::Event& event = EventOf(*record, contextCount, context);
    const Etl::EventDescription* description = State().decoder.Describe(event);
    if (description == nullptr) {
        return {ERROR_NOT_FOUND, 0, 0};
    }
    std::u16string& name = State().name;
    DescriptorName(descriptors[0], name);
    if (descriptorCount == 1) {
        return Etl::LocateProperty(event, *description, name, ElementIndex(descriptors[0]));
    }
    std::u16string& member = State().member;
    DescriptorName(descriptors[1], member);
    return Etl::LocateStructMember(event, *description, name, ElementIndex(descriptors[0]), member,
                                   ElementIndex(descriptors[1]));
}

ULONG WINAPI GetPropertySize(PEVENT_RECORD record, ULONG contextCount, PTDH_CONTEXT context, ULONG descriptorCount,
                             PPROPERTY_DATA_DESCRIPTOR descriptors, PULONG propertySize)
{
    if (propertySize == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const Etl::PropertyLocation location = Locate(record, contextCount, context, descriptorCount, descriptors);
    if (location.status == ERROR_SUCCESS) {
        *propertySize = location.size;
    }
    return location.status;
}

ULONG WINAPI GetProperty(PEVENT_RECORD record, ULONG contextCount, PTDH_CONTEXT context, ULONG descriptorCount,
                         PPROPERTY_DATA_DESCRIPTOR descriptors, ULONG bufferSize, PBYTE buffer)
{
    const Etl::PropertyLocation location = Locate(record, contextCount, context, descriptorCount, descriptors);
    if (location.status != ERROR_SUCCESS) {
        return location.status;
    }
    if (buffer == nullptr || bufferSize < location.size) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    if (location.size > 0) {
        std::memcpy(buffer, static_cast<const uint8_t*>(record->UserData) + location.offset, location.size);
    }
    return ERROR_SUCCESS;
}

} // namespace

const TdhApi& BuiltinTdh()
{
    static const TdhApi builtin{LoadManifest, GetEventInformation, GetPropertySize, GetProperty};
    return builtin;
}

} // namespace Platform
