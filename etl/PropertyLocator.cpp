#include "etl/PropertyLocator.h"

#include "etl/ByteCursor.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <vector>

namespace Etl {

namespace {

// Structs inside structs deeper than this are refused rather than followed, so a description
// whose struct indices loop cannot recurse without end.
constexpr unsigned maxStructDepth = 32;

// LocateElements lists at most this many empty elements of one array.
constexpr uint64_t maxListedElements = 0x10000;

struct Extent {
    size_t offset = 0;
    size_t size = 0;
};

// Where the items of one sequence (the top-level properties, or one struct instance's
// members) lie, so that a length or count can be read from an earlier item. On the stack for
// the usual widths.
class SequenceExtents {
public:
    explicit SequenceExtents(size_t count)
    {
        if (count > local.size()) {
            overflow.resize(count);
        }
    }
    Extent& operator[](size_t index) { return overflow.empty() ? local[index] : overflow[index]; }

private:
    std::array<Extent, 64> local{};
    std::vector<Extent> overflow;
};

// What a measurement reports about the elements of the property it measures: where one of
// them lies, or where each lies.
struct Elements {
    std::optional<size_t> wanted;
    Extent found;
    std::vector<PropertyLocation>* all = nullptr;
};

struct Sequence {
    size_t first = 0; // flat index of the first item
    SequenceExtents* extents = nullptr;
    size_t measured = 0; // items whose extents are known
};

class Walker {
public:
    Walker(const Event& event, const EventDescription& description)
        : data(event.userData), pointerSize(event.pointerSize), properties(description.properties)
    {
    }

    // Walks the top-level properties up to target and locates it, or one of its elements, or
    // (with all) every element.
    PropertyLocation Locate(size_t target, uint32_t arrayIndex, std::vector<PropertyLocation>* all = nullptr)
    {
        return LocateInSequence(0, 0, 0, target, arrayIndex, all);
    }

    // Locates the member at that position of the struct instance that starts at offset.
    PropertyLocation LocateMember(const PropertyDescription& structure, size_t offset, size_t member,
                                  uint32_t arrayIndex)
    {
        if (size_t{structure.structStartIndex} + structure.structMemberCount > properties.size()) {
            return PropertyLocation{StatusNotSupported, 0, 0};
        }
        return LocateInSequence(structure.structStartIndex, offset, 1, member, arrayIndex, nullptr);
    }

private:
    // Walks the items of one sequence (the top-level properties from flat index 0, or one struct
    // instance's members), starting at offset, up to the item at position target.
    PropertyLocation LocateInSequence(size_t first, size_t offset, unsigned depth, size_t target, uint32_t arrayIndex,
                                      std::vector<PropertyLocation>* all)
    {
        SequenceExtents extents(target + 1);
        Sequence sequence{first, &extents, 0};
        for (size_t index = 0; index <= target; ++index) {
            Elements elements;
            if (index == target) {
                elements.all = all;
                if (arrayIndex != allElements) {
                    elements.wanted = arrayIndex;
                }
            }
            size_t size = 0;
            const uint32_t status = MeasureProperty(first + index, offset, sequence, depth, elements, size);
            if (status != StatusSuccess) {
                return PropertyLocation{status, 0, 0};
            }
            if (index == target) {
                const Extent found = elements.wanted ? elements.found : Extent{offset, size};
                return PropertyLocation{StatusSuccess, static_cast<uint32_t>(found.offset),
                                        static_cast<uint32_t>(found.size)};
            }
            extents[index] = Extent{offset, size};
            sequence.measured = index + 1;
            offset += size;
        }
        return PropertyLocation{StatusNotFound, 0, 0};
    }

    size_t Remaining(size_t offset) const { return offset <= data.size() ? data.size() - offset : 0; }

    // The unsigned value of an earlier item of the same sequence: a length or a count.
    uint32_t ReferencedValue(size_t flatIndex, const Sequence& sequence, uint64_t& value) const
    {
        if (flatIndex < sequence.first || flatIndex - sequence.first >= sequence.measured) {
            return StatusNotSupported;
        }
        const Extent extent = (*sequence.extents)[flatIndex - sequence.first];
        ByteCursor cursor(data.subspan(extent.offset, extent.size));
        switch (extent.size) {
        case 1:
            value = cursor.U8();
            return StatusSuccess;
        case 2:
            value = cursor.U16();
            return StatusSuccess;
        case 4:
            value = cursor.U32();
            return StatusSuccess;
        case 8:
            value = cursor.U64();
            return StatusSuccess;
        default:
            return StatusNotSupported;
        }
    }

    // The size of the property at flat index, all its elements, starting at offset. With
    // wanted, also where that element lies.
    uint32_t MeasureProperty(size_t index, size_t offset, const Sequence& sequence, unsigned depth, Elements& elements,
                             size_t& size)
    {
        const PropertyDescription& property = properties[index];
        uint64_t count = property.count;
        size_t prefix = 0;
        if ((property.flags & PropertyParamCount) != 0) {
            if (const uint32_t status = ReferencedValue(property.count, sequence, count); status != StatusSuccess) {
                return status;
            }
        } else if ((property.flags & PropertyCountInData) != 0) {
            ByteCursor cursor(data.subspan(std::min(offset, data.size())));
            count = cursor.U16();
            if (!cursor.Ok()) {
                return StatusInvalidEventData;
            }
            prefix = 2;
        }
        std::optional<uint64_t> length;
        if ((property.flags & PropertyParamLength) != 0) {
            uint64_t value = 0;
            if (const uint32_t status = ReferencedValue(property.length, sequence, value); status != StatusSuccess) {
                return status;
            }
            length = value;
        } else if ((property.flags & PropertyParamFixedLength) != 0 || property.length != 0) {
            length = property.length;
        }
        if (elements.wanted && *elements.wanted >= count) {
            return statusBadArrayIndex;
        }
        size = prefix;
        for (uint64_t item = 0; item < count; ++item) {
            size_t itemSize = 0;
            const uint32_t status = MeasureElement(property, offset + size, length, depth, itemSize);
            if (status != StatusSuccess) {
                return status;
            }
            if (elements.wanted && item == *elements.wanted) {
                elements.found = Extent{offset + size, itemSize};
            }
            if (elements.all != nullptr) {
                elements.all->push_back(PropertyLocation{StatusSuccess, static_cast<uint32_t>(offset + size),
                                                         static_cast<uint32_t>(itemSize)});
            }
            size += itemSize;
            if (itemSize == 0) {
                // Every later element is empty too: nothing it could differ on has moved.
                if (elements.wanted && *elements.wanted > item) {
                    elements.found = Extent{offset + size, 0};
                }
                if (elements.all != nullptr) {
                    // A count read from the data may be huge; empty elements are not worth memory.
                    const size_t listed = static_cast<size_t>(std::min<uint64_t>(count, maxListedElements));
                    elements.all->resize(std::max(listed, elements.all->size()),
                                         PropertyLocation{StatusSuccess, static_cast<uint32_t>(offset + size), 0});
                }
                break;
            }
        }
        return StatusSuccess;
    }

    // Measures a struct instance: its members in order, lengths and counts among them.
    uint32_t MeasureStruct(const PropertyDescription& property, size_t offset, unsigned depth, size_t& size)
    {
        if (depth >= maxStructDepth ||
            size_t{property.structStartIndex} + property.structMemberCount > properties.size()) {
            return StatusNotSupported;
        }
        SequenceExtents extents(property.structMemberCount);
        Sequence sequence{property.structStartIndex, &extents, 0};
        size_t at = offset;
        for (size_t member = 0; member < property.structMemberCount; ++member) {
            Elements unused;
            size_t memberSize = 0;
            const uint32_t status =
                MeasureProperty(property.structStartIndex + member, at, sequence, depth + 1, unused, memberSize);
            if (status != StatusSuccess) {
                return status;
            }
            extents[member] = Extent{at, memberSize};
            sequence.measured = member + 1;
            at += memberSize;
        }
        size = at - offset;
        return StatusSuccess;
    }

    // count units of unitSize bytes; compared by division so that no product can wrap.
    uint32_t Fixed(size_t offset, uint64_t count, size_t& size, size_t unitSize = 1) const
    {
        if (count > Remaining(offset) / unitSize) {
            return StatusInvalidEventData;
        }
        size = static_cast<size_t>(count) * unitSize;
        return StatusSuccess;
    }

    // A string without a fixed length ends after its terminator; one that has none before the
    // end of the data takes the rest of it.
    uint32_t Terminated(size_t offset, size_t unit, size_t& size) const
    {
        const size_t remaining = Remaining(offset);
        if (remaining == 0) {
            return StatusInvalidEventData;
        }
        for (size_t at = 0; at + unit <= remaining; at += unit) {
            bool zero = true;
            for (size_t byte = 0; byte < unit; ++byte) {
                zero = zero && data[offset + at + byte] == 0;
            }
            if (zero) {
                size = at + unit;
                return StatusSuccess;
            }
        }
        size = remaining;
        return StatusSuccess;
    }

    // A 16-bit (or, for hex dumps, 32-bit) byte count followed by that many bytes.
    uint32_t Counted(size_t offset, size_t prefixWidth, bool bigEndian, size_t& size) const
    {
        ByteCursor cursor(data.subspan(std::min(offset, data.size())));
        uint64_t count = 0;
        if (prefixWidth == 4) {
            count = cursor.U32();
        } else {
            const uint16_t value = cursor.U16();
            count = bigEndian ? static_cast<uint16_t>(value >> 8 | value << 8) : value;
        }
        if (!cursor.Ok()) {
            return StatusInvalidEventData;
        }
        if (const uint32_t status = Fixed(offset + prefixWidth, count, size); status != StatusSuccess) {
            return status;
        }
        size += prefixWidth;
        return StatusSuccess;
    }

    // A SID: revision, sub-authority count, 6-byte authority, then 4 bytes per sub-authority.
    uint32_t Sid(size_t offset, size_t& size) const
    {
        if (Remaining(offset) < 2) {
            return StatusInvalidEventData;
        }
        return Fixed(offset, 8 + 4 * uint64_t{data[offset + 1]}, size);
    }

    uint32_t MeasureElement(const PropertyDescription& property, size_t offset, std::optional<uint64_t> length,
                            unsigned depth, size_t& size)
    {
        if (property.IsStruct()) {
            return MeasureStruct(property, offset, depth, size);
        }
        switch (property.inType) {
        case InUnicodeString:
            return length ? Fixed(offset, *length, size, 2) : Terminated(offset, 2, size);
        case InAnsiString:
            return length ? Fixed(offset, *length, size) : Terminated(offset, 1, size);
        case InInt8:
        case InUInt8:
        case InAnsiChar:
            return Fixed(offset, 1, size);
        case InInt16:
        case InUInt16:
        case InUnicodeChar:
            return Fixed(offset, 2, size);
        case InInt32:
        case InUInt32:
        case InHexInt32:
        case InFloat:
        case InBoolean:
            return Fixed(offset, 4, size);
        case InInt64:
        case InUInt64:
        case InHexInt64:
        case InDouble:
        case InFileTime:
            return Fixed(offset, 8, size);
        case InGuid:
        case InSystemTime:
            return Fixed(offset, 16, size);
        case InPointer:
        case InSizeT:
            return Fixed(offset, pointerSize, size);
        case InBinary:
            // A manifest gives the length; without one the field takes the rest of the data.
            return Fixed(offset, length ? *length : Remaining(offset), size);
        case InSid:
            return Sid(offset, size);
        case InManifestCountedString:
        case InManifestCountedAnsiString:
        case InManifestCountedBinary:
        case InCountedString:
        case InCountedAnsiString:
            return Counted(offset, 2, false, size);
        case InReversedCountedString:
        case InReversedCountedAnsiString:
            return Counted(offset, 2, true, size);
        case InHexDump:
            return Counted(offset, 4, false, size);
        case InNonNullTerminatedString:
            return length ? Fixed(offset, *length, size, 2) : Fixed(offset, Remaining(offset) / 2, size, 2);
        case InNonNullTerminatedAnsiString:
            return Fixed(offset, length ? *length : Remaining(offset), size);
        case InWbemSid: {
            // TOKEN_USER: a SID pointer and the attributes, each as wide as a pointer; then the SID.
            size_t sidSize = 0;
            if (const uint32_t status = Sid(offset + 2 * size_t{pointerSize}, sidSize); status != StatusSuccess) {
                return status;
            }
            size = 2 * size_t{pointerSize} + sidSize;
            return StatusSuccess;
        }
        default:
            return StatusNotSupported;
        }
    }

    std::span<const uint8_t> data;
    unsigned pointerSize;
    const std::vector<PropertyDescription>& properties;
};

} // namespace

PropertyLocation LocatePropertyAt(const Event& event, const EventDescription& description, size_t index,
                                  uint32_t arrayIndex)
{
    if (index >= description.topLevelPropertyCount || index >= description.properties.size()) {
        return PropertyLocation{StatusNotFound, 0, 0};
    }
    return Walker(event, description).Locate(index, arrayIndex);
}

uint32_t LocateElements(const Event& event, const EventDescription& description, size_t index,
                        std::vector<PropertyLocation>& elements)
{
    elements.clear();
    if (index >= description.topLevelPropertyCount || index >= description.properties.size()) {
        return StatusNotFound;
    }
    const uint32_t status = Walker(event, description).Locate(index, allElements, &elements).status;
    if (status != StatusSuccess) {
        elements.clear();
    }
    return status;
}

PropertyLocation LocateProperty(const Event& event, const EventDescription& description, std::u16string_view name,
                                uint32_t arrayIndex)
{
    const size_t index = description.FindTopLevelProperty(name);
    if (index == EventDescription::npos) {
        return PropertyLocation{StatusNotFound, 0, 0};
    }
    return LocatePropertyAt(event, description, index, arrayIndex);
}

PropertyLocation LocateStructMember(const Event& event, const EventDescription& description,
                                    std::u16string_view structName, uint32_t structElement,
                                    std::u16string_view memberName, uint32_t memberArrayIndex)
{
    const size_t index = description.FindTopLevelProperty(structName);
    if (index == EventDescription::npos || index >= description.properties.size()) {
        return PropertyLocation{StatusNotFound, 0, 0};
    }
    const PropertyDescription& structure = description.properties[index];
    if (!structure.IsStruct()) {
        return PropertyLocation{StatusNotFound, 0, 0};
    }
    // The single instance of a struct that is no array is its element 0.
    const uint32_t element = structElement == allElements && !structure.IsArray() ? allElements : structElement;
    if (element == allElements && structure.IsArray()) {
        return PropertyLocation{statusBadArrayIndex, 0, 0};
    }
    const PropertyLocation instance = LocatePropertyAt(event, description, index, element);
    if (instance.status != StatusSuccess) {
        return instance;
    }
    const size_t end =
        std::min(description.properties.size(), size_t{structure.structStartIndex} + structure.structMemberCount);
    for (size_t member = structure.structStartIndex; member < end; ++member) {
        if (description.properties[member].name == memberName) {
            return Walker(event, description)
                .LocateMember(structure, instance.offset, member - structure.structStartIndex, memberArrayIndex);
        }
    }
    return PropertyLocation{StatusNotFound, 0, 0};
}

} // namespace Etl
