#pragma once

// Just enough XML for instrumentation manifests: elements, attributes, comments,
// processing instructions and the five predefined entities. Text content is skipped;
// manifests keep everything in attributes.

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Testing {

struct XmlElement {
    std::string name; // with its namespace prefix, if any
    std::map<std::string, std::string> attributes;
    std::vector<std::unique_ptr<XmlElement>> children;

    // The attribute's value, or empty.
    std::string Attribute(const std::string& key) const;
    // Direct children of that name, in document order.
    std::vector<const XmlElement*> Children(std::string_view childName) const;
    // The first descendant (depth first) of that name, or null.
    const XmlElement* Find(std::string_view descendantName) const;
};

// Parses UTF-8 text; throws std::runtime_error on malformed input.
std::unique_ptr<XmlElement> ParseXml(std::string_view text);

} // namespace Testing
