#include "etl/PropertyTree.h"

#include "etl/FormatError.h"

#include <deque>
#include <string>

namespace Etl {

namespace {

constexpr size_t maxProperties = 0xFFFF;

uint16_t SiblingIndex(size_t firstIndex, size_t position, size_t sibling)
{
    if (sibling >= position) {
        throw FormatError("a length or count refers to a property that does not come before it");
    }
    return static_cast<uint16_t>(firstIndex + sibling);
}

// Appends one run of siblings starting at the array's end, and queues their structs.
void AppendRun(const std::vector<PropertyNode>& run, std::vector<PropertyDescription>& out,
               std::deque<std::pair<size_t, const PropertyNode*>>& structs)
{
    const size_t first = out.size();
    if (first + run.size() > maxProperties) {
        throw FormatError("more than " + std::to_string(maxProperties) + " properties in one event");
    }
    for (size_t position = 0; position < run.size(); ++position) {
        const PropertyNode& node = run[position];
        PropertyDescription property = node.property;
        if (node.countSibling) {
            property.flags |= PropertyParamCount;
            property.count = SiblingIndex(first, position, *node.countSibling);
        }
        if (node.lengthSibling) {
            property.flags |= PropertyParamLength;
            property.length = SiblingIndex(first, position, *node.lengthSibling);
        }
        out.push_back(std::move(property));
        if (node.property.IsStruct()) {
            structs.emplace_back(first + position, &node);
        }
    }
}

} // namespace

void FlattenProperties(const std::vector<PropertyNode>& topLevel, EventDescription& description)
{
    std::vector<PropertyDescription> properties;
    std::deque<std::pair<size_t, const PropertyNode*>> structs;
    AppendRun(topLevel, properties, structs);
    // Breadth first: every struct's members become one run at the end of the array.
    while (!structs.empty()) {
        const auto [index, node] = structs.front();
        structs.pop_front();
        properties[index].structStartIndex = static_cast<uint16_t>(properties.size());
        properties[index].structMemberCount = static_cast<uint16_t>(node->members.size());
        AppendRun(node->members, properties, structs);
    }
    description.properties = std::move(properties);
    description.topLevelPropertyCount = topLevel.size();
    description.IndexNames();
}

} // namespace Etl
