#pragma once

// Properties as schemas nest them (a struct holds its members), and their flattening into
// the one array TDH reports, in which the top-level properties come first and each struct's
// members follow as a contiguous run. Readers of manifests and TraceLogging schemas build the
// tree; FlattenProperties turns it into an EventDescription's property array.

#include "etl/EventDescription.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace Etl {

struct PropertyNode {
    // name, types, flags and the constant count and length; the indices that refer to other
    // properties are filled by FlattenProperties from the sibling positions below.
    PropertyDescription property;
    std::optional<size_t> countSibling;  // position of the earlier sibling holding the count
    std::optional<size_t> lengthSibling; // position of the earlier sibling holding the length
    std::vector<PropertyNode> members;   // for a struct (property.flags has PropertyStruct)
};

// Replaces description.properties and topLevelPropertyCount with the flattened tree and
// indexes the top-level names. Throws Etl::FormatError when the array would need more than
// 65535 entries, or a sibling position does not name an earlier sibling.
void FlattenProperties(const std::vector<PropertyNode>& topLevel, EventDescription& description);

} // namespace Etl
