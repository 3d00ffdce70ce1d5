#include "tests/emulator/TdhEmulator.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace Testing {

namespace {

TdhEmulator* active = nullptr;

std::string GuidBytes(const GUID& guid)
{
    return std::string(reinterpret_cast<const char*>(&guid), sizeof(GUID));
}

// Appends a terminated UTF-16 string to the information block; its offset, 0 for none.
ULONG AppendString(std::vector<uint8_t>& block, const std::wstring& text)
{
    if (text.empty()) {
        return 0;
    }
    const ULONG offset = static_cast<ULONG>(block.size());
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.c_str());
    block.insert(block.end(), bytes, bytes + (text.size() + 1) * sizeof(wchar_t));
    return offset;
}

std::vector<uint8_t> BuildInformation(const EventSchema& schema)
{
    const size_t count = schema.properties.size();
    const size_t fixed = std::max(sizeof(TRACE_EVENT_INFO), offsetof(TRACE_EVENT_INFO, EventPropertyInfoArray) +
                                                                count * sizeof(EVENT_PROPERTY_INFO));
    std::vector<uint8_t> block(fixed, 0);
    TRACE_EVENT_INFO header{};
    header.ProviderGuid = schema.provider;
    header.EventDescriptor = schema.descriptor;
    header.DecodingSource = DecodingSourceXMLFile;
    header.ProviderNameOffset = AppendString(block, schema.providerName);
    header.LevelNameOffset = AppendString(block, schema.levelName);
    header.ChannelNameOffset = AppendString(block, schema.channelName);
    header.TaskNameOffset = AppendString(block, schema.taskName);
    header.OpcodeNameOffset = AppendString(block, schema.opcodeName);
    header.EventMessageOffset = AppendString(block, schema.message);
    header.PropertyCount = static_cast<ULONG>(count);
    header.TopLevelPropertyCount = static_cast<ULONG>(count);
    std::vector<EVENT_PROPERTY_INFO> properties(count);
    for (size_t index = 0; index < count; ++index) {
        EVENT_PROPERTY_INFO& property = properties[index];
        property = EVENT_PROPERTY_INFO{};
        property.NameOffset = AppendString(block, schema.properties[index].name);
        property.nonStructType.InType = schema.properties[index].inType;
        property.nonStructType.OutType = schema.properties[index].outType;
        property.count = 1;
    }
    std::memcpy(block.data(), &header, offsetof(TRACE_EVENT_INFO, EventPropertyInfoArray));
    if (count > 0) {
        std::memcpy(block.data() + offsetof(TRACE_EVENT_INFO, EventPropertyInfoArray), properties.data(),
                    count * sizeof(EVENT_PROPERTY_INFO));
    }
    return block;
}

// Bytes a property of the type takes at the start of the remaining data.
ULONG Measure(USHORT inType, const uint8_t* data, size_t remaining, size_t pointerSize, size_t& size)
{
    size_t fixed = 0;
    switch (inType) {
    case InUnicodeString:
        for (size_t at = 0; at + 1 < remaining; at += 2) {
            if (data[at] == 0 && data[at + 1] == 0) {
                size = at + 2;
                return ERROR_SUCCESS;
            }
        }
        size = remaining;
        return remaining == 0 ? ERROR_EVT_INVALID_EVENT_DATA : ERROR_SUCCESS;
    case InAnsiString:
        for (size_t at = 0; at < remaining; ++at) {
            if (data[at] == 0) {
                size = at + 1;
                return ERROR_SUCCESS;
            }
        }
        size = remaining;
        return remaining == 0 ? ERROR_EVT_INVALID_EVENT_DATA : ERROR_SUCCESS;
    case InInt8:
    case InUInt8:
        fixed = 1;
        break;
    case InInt16:
    case InUInt16:
        fixed = 2;
        break;
    case InInt32:
    case InUInt32:
    case InHexInt32:
    case InBoolean:
        fixed = 4;
        break;
    case InInt64:
    case InUInt64:
    case InHexInt64:
    case InFileTime:
        fixed = 8;
        break;
    case InGuid:
        fixed = 16;
        break;
    case InSid:
        // Revision, sub-authority count, six bytes of authority, then the sub-authorities.
        if (remaining < 8) {
            return ERROR_EVT_INVALID_EVENT_DATA;
        }
        fixed = 8 + 4 * static_cast<size_t>(data[1]);
        break;
    case InPointer:
        fixed = pointerSize;
        break;
    default:
        return ERROR_NOT_SUPPORTED;
    }
    size = fixed;
    return fixed > remaining ? ERROR_EVT_INVALID_EVENT_DATA : ERROR_SUCCESS;
}

size_t PointerSize(const EVENT_RECORD& record)
{
    return (record.EventHeader.Flags & EVENT_HEADER_FLAG_32_BIT_HEADER) != 0 ? 4 : 8;
}

} // namespace

TdhEmulator::TdhEmulator() : sole(active, *this, "a TdhEmulator"), tdh(Platform::Tdh())
{
    Add(SystemProviderSchemas());
    tdh->TdhLoadManifest = LoadManifestThunk;
    tdh->TdhGetEventInformation = GetEventInformationThunk;
    tdh->TdhGetPropertySize = GetPropertySizeThunk;
    tdh->TdhGetProperty = GetPropertyThunk;
}

TdhEmulator::~TdhEmulator() = default;

void TdhEmulator::AddManifest(std::string_view xml)
{
    Add(ParseManifest(xml));
}

void TdhEmulator::Add(std::vector<EventSchema> schemas)
{
    for (EventSchema& schema : schemas) {
        const Key key{GuidBytes(schema.provider), schema.descriptor.Id, schema.descriptor.Version};
        Described entry{schema, BuildInformation(schema)};
        described.insert_or_assign(key, std::move(entry));
    }
}

const TdhEmulator::Described* TdhEmulator::Find(const EVENT_RECORD& record) const
{
    const EVENT_DESCRIPTOR& descriptor = record.EventHeader.EventDescriptor;
    const std::string provider = GuidBytes(record.EventHeader.ProviderId);
    if (const auto found = described.find(Key{provider, descriptor.Id, descriptor.Version}); found != described.end()) {
        return &found->second;
    }
    return nullptr;
}

ULONG TdhEmulator::EventInformationSize(const EVENT_RECORD& record) const
{
    const Described* entry = Find(record);
    return entry == nullptr ? 0 : static_cast<ULONG>(entry->information.size());
}

ULONG TdhEmulator::LoadManifest(const wchar_t* path)
{
    ManifestLoad load;
    load.path = path != nullptr ? path : L"";
    if (loadManifestFailure != 0) {
        load.result = loadManifestFailure;
    } else {
        std::ifstream file(std::filesystem::path(load.path), std::ios::binary);
        if (!file) {
            load.result = ERROR_FILE_NOT_FOUND;
        } else {
            load.text.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
            try {
                AddManifest(load.text);
            } catch (const std::runtime_error&) {
                load.result = ERROR_XML_PARSE_ERROR;
            }
        }
    }
    manifestLoads.push_back(load);
    return load.result;
}

ULONG TdhEmulator::GetEventInformation(const EVENT_RECORD& record, TRACE_EVENT_INFO* buffer, ULONG* bufferSize)
{
    ++eventInformationCalls;
    if (eventInformationFailure != 0) {
        return eventInformationFailure;
    }
    if (bufferSize == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const Described* entry = Find(record);
    if (entry == nullptr) {
        return ERROR_NOT_FOUND;
    }
    const ULONG needed = static_cast<ULONG>(entry->information.size());
    if (buffer == nullptr || *bufferSize < needed) {
        *bufferSize = needed;
        ++insufficientBufferAnswers;
        return ERROR_INSUFFICIENT_BUFFER;
    }
    std::memcpy(buffer, entry->information.data(), needed);
    *bufferSize = needed;
    return ERROR_SUCCESS;
}

ULONG TdhEmulator::Locate(const EVENT_RECORD& record, const PROPERTY_DATA_DESCRIPTOR* descriptors, ULONG count,
                          size_t& offset, ULONG& size) const
{
    if (count != 1 || descriptors == nullptr || descriptors[0].PropertyName == 0) {
        return ERROR_INVALID_PARAMETER;
    }
    const Described* entry = Find(record);
    if (entry == nullptr) {
        return ERROR_NOT_FOUND;
    }
    const std::wstring_view name(reinterpret_cast<const wchar_t*>(descriptors[0].PropertyName));
    const auto* data = static_cast<const uint8_t*>(record.UserData);
    const size_t length = data == nullptr ? 0 : record.UserDataLength;
    size_t at = 0;
    for (const PropertySchema& property : entry->schema.properties) {
        size_t propertySize = 0;
        const ULONG status = Measure(property.inType, data + at, length - at, PointerSize(record), propertySize);
        if (property.name == name) {
            if (const auto found = sizeOverrides.find(property.name); found != sizeOverrides.end()) {
                offset = at;
                size = found->second;
                return ERROR_SUCCESS;
            }
            if (status != ERROR_SUCCESS) {
                return status;
            }
            offset = at;
            size = static_cast<ULONG>(propertySize);
            return ERROR_SUCCESS;
        }
        if (status != ERROR_SUCCESS) {
            return status;
        }
        at += propertySize;
    }
    return ERROR_NOT_FOUND;
}

ULONG TdhEmulator::GetPropertySize(const EVENT_RECORD& record, ULONG count, const PROPERTY_DATA_DESCRIPTOR* descriptors,
                                   ULONG* size) const
{
    if (propertySizeFailure != 0) {
        return propertySizeFailure;
    }
    if (size == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    size_t offset = 0;
    return Locate(record, descriptors, count, offset, *size);
}

ULONG TdhEmulator::GetProperty(const EVENT_RECORD& record, ULONG count, const PROPERTY_DATA_DESCRIPTOR* descriptors,
                               ULONG bufferSize, BYTE* buffer) const
{
    if (propertyFailure != 0) {
        return propertyFailure;
    }
    size_t offset = 0;
    ULONG size = 0;
    if (const ULONG status = Locate(record, descriptors, count, offset, size); status != ERROR_SUCCESS) {
        return status;
    }
    if (buffer == nullptr || bufferSize < size) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    const auto* data = static_cast<const uint8_t*>(record.UserData);
    const size_t available = data == nullptr || offset >= record.UserDataLength ? 0 : record.UserDataLength - offset;
    const size_t copied = std::min<size_t>(size, available);
    if (copied > 0) {
        std::memcpy(buffer, data + offset, copied);
    }
    std::memset(buffer + copied, 0, size - copied);
    return ERROR_SUCCESS;
}

ULONG WINAPI TdhEmulator::LoadManifestThunk(PWSTR manifest)
{
    return active->LoadManifest(manifest);
}

ULONG WINAPI TdhEmulator::GetEventInformationThunk(PEVENT_RECORD event, ULONG, PTDH_CONTEXT, PTRACE_EVENT_INFO buffer,
                                                   ULONG* bufferSize)
{
    return event == nullptr ? ERROR_INVALID_PARAMETER : active->GetEventInformation(*event, buffer, bufferSize);
}

ULONG WINAPI TdhEmulator::GetPropertySizeThunk(PEVENT_RECORD event, ULONG, PTDH_CONTEXT, ULONG descriptorCount,
                                               PPROPERTY_DATA_DESCRIPTOR descriptors, ULONG* propertySize)
{
    return event == nullptr ? ERROR_INVALID_PARAMETER
                            : active->GetPropertySize(*event, descriptorCount, descriptors, propertySize);
}

ULONG WINAPI TdhEmulator::GetPropertyThunk(PEVENT_RECORD event, ULONG, PTDH_CONTEXT, ULONG descriptorCount,
                                           PPROPERTY_DATA_DESCRIPTOR descriptors, ULONG bufferSize, PBYTE buffer)
{
    return event == nullptr ? ERROR_INVALID_PARAMETER
                            : active->GetProperty(*event, descriptorCount, descriptors, bufferSize, buffer);
}

} // namespace Testing
