#include "platform/EventInformationBlock.h"

#include "platform/EtlRecord.h"

#include <windows.h>

#include <evntcons.h>
#include <tdh.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace Platform {

namespace {

static_assert(sizeof(char16_t) == sizeof(wchar_t), "UTF-16 names are copied into wide-character fields");

ULONG Append(std::vector<uint8_t>& block, const std::u16string& text)
{
    if (text.empty()) {
        return 0;
    }
    const ULONG offset = static_cast<ULONG>(block.size());
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.c_str());
    block.insert(block.end(), bytes, bytes + (text.size() + 1) * sizeof(char16_t));
    return offset;
}

ULONG AppendKeywordNames(std::vector<uint8_t>& block, const std::vector<std::u16string>& names)
{
    if (names.empty()) {
        return 0;
    }
    const ULONG offset = static_cast<ULONG>(block.size());
    for (const std::u16string& name : names) {
        Append(block, name);
    }
    block.insert(block.end(), sizeof(char16_t), 0); // the empty string that ends the list
    return offset;
}

EVENT_PROPERTY_INFO PropertyInformation(const Etl::PropertyDescription& property, size_t index,
                                        std::vector<uint8_t>& block)
{
    EVENT_PROPERTY_INFO information{};
    // The decoder's own "count in the data" mark has no TDH flag. Such an array's count is
    // variable, so it is described as one whose count another property holds; no property
    // does, so the index names the array itself, and its elements are found by ArrayIndex
    // until TdhGetProperty refuses the index.
    information.Flags = static_cast<PROPERTY_FLAGS>(property.flags & ~Etl::PropertyCountInData);
    const bool countInData = (property.flags & Etl::PropertyCountInData) != 0;
    if (countInData) {
        information.Flags = static_cast<PROPERTY_FLAGS>(information.Flags | PropertyParamCount);
    }
    information.NameOffset = Append(block, property.name);
    if (property.IsStruct()) {
        information.structType.StructStartIndex = property.structStartIndex;
        information.structType.NumOfStructMembers = property.structMemberCount;
    } else {
        information.nonStructType.InType = property.inType;
        information.nonStructType.OutType = property.outType;
        information.nonStructType.MapNameOffset = Append(block, property.mapName);
    }
    information.count = countInData ? static_cast<USHORT>(index) : property.count;
    information.length = property.length;
    information.Reserved = property.tags & 0x0FFFFFFF;
    return information;
}

} // namespace

void BuildEventInformation(const Etl::EventDescription& description, std::vector<uint8_t>& block)
{
    const size_t count = description.properties.size();
    const size_t arrayOffset = offsetof(TRACE_EVENT_INFO, EventPropertyInfoArray);
    const size_t fixed = std::max(sizeof(TRACE_EVENT_INFO), arrayOffset + count * sizeof(EVENT_PROPERTY_INFO));
    block.assign(fixed, 0);

    TRACE_EVENT_INFO header{};
    header.ProviderGuid = ToGuid(description.provider);
    header.EventDescriptor.Id = description.descriptor.id;
    header.EventDescriptor.Version = description.descriptor.version;
    header.EventDescriptor.Channel = description.descriptor.channel;
    header.EventDescriptor.Level = description.descriptor.level;
    header.EventDescriptor.Opcode = description.descriptor.opcode;
    header.EventDescriptor.Task = description.descriptor.task;
    header.EventDescriptor.Keyword = description.descriptor.keyword;
    header.DecodingSource = static_cast<DECODING_SOURCE>(description.source);
    header.ProviderNameOffset = Append(block, description.providerName);
    header.LevelNameOffset = Append(block, description.levelName);
    header.ChannelNameOffset = Append(block, description.channelName);
    header.KeywordsNameOffset = AppendKeywordNames(block, description.keywordNames);
    header.TaskNameOffset = Append(block, description.taskName);
    header.OpcodeNameOffset = Append(block, description.opcodeName);
    header.EventMessageOffset = Append(block, description.message);
    header.ActivityIDNameOffset = Append(block, description.eventName);
    header.PropertyCount = static_cast<ULONG>(count);
    header.TopLevelPropertyCount = static_cast<ULONG>(description.topLevelPropertyCount);
    header.Flags = static_cast<TEMPLATE_FLAGS>((description.tags & 0x0FFFFFFF) << 4);

    std::vector<EVENT_PROPERTY_INFO> properties;
    properties.reserve(count);
    for (size_t index = 0; index < count; ++index) {
        properties.push_back(PropertyInformation(description.properties[index], index, block));
    }
    std::memcpy(block.data(), &header, arrayOffset);
    if (count > 0) {
        std::memcpy(block.data() + arrayOffset, properties.data(), count * sizeof(EVENT_PROPERTY_INFO));
    }
}

} // namespace Platform
