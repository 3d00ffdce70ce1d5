#pragma once

// Finds a property's bytes in an event's user data by walking the description from the start,
// as TdhGetPropertySize and TdhGetProperty do: strings by their terminator, pointers by the
// record's pointer size, fixed sizes, lengths and counts that are constants or the values of
// earlier properties, counted data with its prefix, SIDs by their own length, structs member
// by member. Every read is checked against the end of the user data; nothing past it is ever
// read. Nothing is allocated unless a struct or template has more than 64 members.

#include "etl/DecodeStatus.h"
#include "etl/Event.h"
#include "etl/EventDescription.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace Etl {

struct PropertyLocation {
    uint32_t status = StatusSuccess; // a DecodeStatus
    uint32_t offset = 0;             // bytes from the start of the user data; 0 after a failure
    uint32_t size = 0;               // bytes; 0 after a failure
};

// Pass as arrayIndex to locate a whole property (every element of an array).
inline constexpr uint32_t allElements = 0xFFFFFFFF;

// Status for an array index beyond the array (ERROR_INVALID_PARAMETER).
inline constexpr uint32_t statusBadArrayIndex = 87;

// The top-level property of that name (case-sensitive). Answers:
// - StatusSuccess with the offset and size (the size of an unterminated string is the rest
//   of the data; a variable-length array's size includes its 16-bit count);
// - StatusNotFound when the description has no top-level property of that name;
// - StatusInvalidEventData when the data ends before the property, or before an earlier
//   property it must be walked past, ends;
// - StatusNotSupported when a property on the way has a data type the walk cannot measure;
// - statusBadArrayIndex when arrayIndex is not allElements and not below the element count.
PropertyLocation LocateProperty(const Event& event, const EventDescription& description, std::u16string_view name,
                                uint32_t arrayIndex = allElements);

// The same for the top-level property at that index of description.properties.
PropertyLocation LocatePropertyAt(const Event& event, const EventDescription& description, size_t index,
                                  uint32_t arrayIndex = allElements);

// Where each element of the top-level property at that index lies, in order (one element for
// a property that is not an array, none for an empty array); the status as LocateProperty's.
// elements is empty after a failure. One walk, however many elements. Empty elements (of a
// struct without members, or of length 0) are listed up to 65536 of them.
uint32_t LocateElements(const Event& event, const EventDescription& description, size_t index,
                        std::vector<PropertyLocation>& elements);

// A member of a top-level struct property, as TdhGetProperty finds one through two
// PROPERTY_DATA_DESCRIPTORs: the struct by name and, when it is an array, the element
// (allElements for a struct that is no array, which then means its one instance); then the
// member by name among that struct's members, and memberArrayIndex as in LocateProperty. The
// answers are LocateProperty's; statusBadArrayIndex also for a struct array without an element.
PropertyLocation LocateStructMember(const Event& event, const EventDescription& description,
                                    std::u16string_view structName, uint32_t structElement,
                                    std::u16string_view memberName, uint32_t memberArrayIndex = allElements);

} // namespace Etl
