#pragma once

// A small XML reader for instrumentation manifests: UTF-8 documents with elements,
// attributes, character data, CDATA sections, comments, processing instructions, the five
// predefined entities and numeric character references. Document type declarations (and so
// any entity of a document's own) are refused: a manifest has none, and refusing them keeps
// entity expansion out of reach of a hostile file.
//
// The tree is built in memory; element nesting is bounded (maxXmlDepth), so neither the
// parser's recursion nor the tree's destruction can exhaust the stack.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Etl {

inline constexpr size_t maxXmlDepth = 64;

struct XmlAttribute {
    std::string name;  // as written, with any namespace prefix
    std::string value; // references resolved, white space normalised as XML requires
};

struct XmlElement {
    std::string name; // as written, with any namespace prefix
    std::vector<XmlAttribute> attributes;
    std::vector<XmlElement> children;
    // The character data directly inside this element (CDATA included), in document order,
    // references resolved and line ends normalised to "\n".
    std::string text;
    size_t line = 0; // 1-based line of the start tag

    // The name without its namespace prefix: manifests may or may not qualify their names.
    std::string_view LocalName() const noexcept;
    // The attribute's value, or null when the element has no attribute of that name.
    const std::string* Attribute(std::string_view attributeName) const noexcept;
    // The first child with that local name, or null.
    const XmlElement* FirstChild(std::string_view localName) const noexcept;
};

// Parses a whole document and returns its root element. Throws Etl::FormatError naming the
// line ("XML line 12: ...") when the text is not well-formed XML, is not UTF-8, declares a
// document type, or nests elements deeper than maxXmlDepth.
XmlElement ParseXml(std::string_view document);

} // namespace Etl
