#include "etl/XmlReader.h"

#include "etl/FormatError.h"
#include "etl/NumberText.h"
#include "etl/TextEncoding.h"

#include <algorithm>
#include <cstdint>

namespace Etl {

namespace {

bool IsSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool IsNameStart(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || byte == '_' || byte == ':' || byte >= 0x80;
}

bool IsNameChar(char c)
{
    return IsNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

// The characters XML allows in a document (its Char production).
bool IsXmlChar(char32_t c)
{
    return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD) ||
           (c >= 0x10000 && c <= 0x10FFFF);
}

class Parser {
public:
    explicit Parser(std::string_view text) : text(text) {}

    XmlElement Document()
    {
        CheckCharacters();
        if (StartsWith("\xEF\xBB\xBF")) {
            position += 3;
        }
        if (StartsWith("<?xml") && position + 5 < text.size() && IsSpace(text[position + 5])) {
            SkipPast("?>", "unterminated XML declaration");
        }
        SkipMisc();
        if (AtEnd() || text[position] != '<') {
            Fail(AtEnd() ? "no root element" : "text before the root element");
        }
        XmlElement root = Element(1);
        SkipMisc();
        if (!AtEnd()) {
            Fail("content after the root element");
        }
        return root;
    }

private:
    [[noreturn]] void Fail(const std::string& what) const { FailAt(position, what); }

    [[noreturn]] void FailAt(size_t at, const std::string& what) const
    {
        throw FormatError("XML line " + std::to_string(LineAt(at)) + ": " + what);
    }

    // Lines end at "\n", "\r\n" or a lone "\r". Counted on from the last answer, since
    // the parser asks at positions that mostly only grow.
    size_t LineAt(size_t at) const
    {
        const size_t end = std::min(at, text.size());
        if (end < countedTo) {
            countedTo = 0;
            countedLine = 1;
        }
        for (; countedTo < end; ++countedTo) {
            const char c = text[countedTo];
            if (c == '\n' || (c == '\r' && (countedTo + 1 >= text.size() || text[countedTo + 1] != '\n'))) {
                ++countedLine;
            }
        }
        return countedLine;
    }

    bool AtEnd() const { return position >= text.size(); }
    bool StartsWith(std::string_view prefix) const { return text.substr(position, prefix.size()) == prefix; }

    // The whole document is UTF-8 made of XML characters, checked once so that the rest of
    // the parser can work on bytes.
    void CheckCharacters() const
    {
        for (size_t at = 0; at < text.size();) {
            char32_t codePoint = 0;
            const size_t length = DecodeUtf8(text, at, codePoint);
            if (length == 0) {
                FailAt(at, "malformed UTF-8");
            }
            if (!IsXmlChar(codePoint)) {
                FailAt(at, "character U+" + Hex(codePoint) + " is not allowed in XML");
            }
            at += length;
        }
    }

    static std::string Hex(char32_t value)
    {
        static const char digits[] = "0123456789ABCDEF";
        std::string out;
        do {
            out.insert(out.begin(), digits[value & 0xF]);
            value >>= 4;
        } while (value != 0);
        while (out.size() < 4) {
            out.insert(out.begin(), '0');
        }
        return out;
    }

    void SkipSpace()
    {
        while (!AtEnd() && IsSpace(text[position])) {
            ++position;
        }
    }

    void SkipPast(std::string_view terminator, const char* unterminated)
    {
        const size_t end = text.find(terminator, position);
        if (end == std::string_view::npos) {
            Fail(unterminated);
        }
        position = end + terminator.size();
    }

    void Comment()
    {
        const size_t start = position;
        position += 4; // "<!--"
        const size_t dashes = text.find("--", position);
        if (dashes == std::string_view::npos) {
            FailAt(start, "unterminated comment");
        }
        if (dashes + 2 >= text.size() || text[dashes + 2] != '>') {
            FailAt(dashes, "\"--\" inside a comment");
        }
        position = dashes + 3;
    }

    void ProcessingInstruction()
    {
        const size_t start = position;
        position += 2; // "<?"
        const std::string target = Name("processing instruction target expected");
        if (target.size() == 3 && (target[0] | 0x20) == 'x' && (target[1] | 0x20) == 'm' && (target[2] | 0x20) == 'l') {
            FailAt(start, "XML declaration not at the start of the document");
        }
        const size_t end = text.find("?>", position);
        if (end == std::string_view::npos) {
            FailAt(start, "unterminated processing instruction");
        }
        position = end + 2;
    }

    // White space, comments and processing instructions outside the root element.
    void SkipMisc()
    {
        for (;;) {
            SkipSpace();
            if (StartsWith("<!--")) {
                Comment();
            } else if (StartsWith("<?")) {
                ProcessingInstruction();
            } else if (StartsWith("<!DOCTYPE")) {
                Fail("document type declarations are not supported");
            } else {
                return;
            }
        }
    }

    std::string Name(const char* expected)
    {
        const size_t start = position;
        if (AtEnd() || !IsNameStart(text[position])) {
            Fail(expected);
        }
        while (!AtEnd() && IsNameChar(text[position])) {
            ++position;
        }
        return std::string(text.substr(start, position - start));
    }

    // "&...;" at position, appended to out as UTF-8.
    void Reference(std::string& out)
    {
        const size_t start = position;
        const size_t end = text.find(';', position);
        if (end == std::string_view::npos || end - start > 12) {
            FailAt(start, "unterminated reference");
        }
        const std::string_view body = text.substr(start + 1, end - start - 1);
        position = end + 1;
        static const std::pair<std::string_view, char> predefined[] = {
            {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"apos", '\''}, {"quot", '"'}};
        for (const auto& [name, character] : predefined) {
            if (body == name) {
                out.push_back(character);
                return;
            }
        }
        if (body.size() < 2 || body[0] != '#') {
            FailAt(start, "unknown entity \"&" + std::string(body) + ";\"");
        }
        const bool hex = body[1] == 'x';
        uint64_t value = 0;
        if (!ParseUnsigned(body.substr(hex ? 2 : 1), hex ? 16 : 10, UINT32_MAX, value)) {
            FailAt(start, "malformed character reference");
        }
        if (value > 0x10FFFF || !IsXmlChar(static_cast<char32_t>(value))) {
            FailAt(start, "character reference to a character XML does not allow");
        }
        AppendUtf8(out, static_cast<char32_t>(value));
    }

    // A line end in character data: "\r\n" and a lone "\r" read as "\n".
    bool LineEnd(std::string& out, char replacement)
    {
        if (text[position] == '\r') {
            position += position + 1 < text.size() && text[position + 1] == '\n' ? 2 : 1;
            out.push_back(replacement);
            return true;
        }
        return false;
    }

    std::string AttributeValue()
    {
        if (AtEnd() || (text[position] != '"' && text[position] != '\'')) {
            Fail("attribute value must be quoted");
        }
        const size_t start = position;
        const char quote = text[position++];
        std::string value;
        for (;;) {
            if (AtEnd()) {
                FailAt(start, "unterminated attribute value");
            }
            const char c = text[position];
            if (c == quote) {
                ++position;
                return value;
            }
            if (c == '<') {
                Fail("\"<\" in an attribute value");
            }
            if (c == '&') {
                Reference(value);
            } else if (!LineEnd(value, ' ')) {
                // Literal white space in an attribute value reads as a space.
                value.push_back(c == '\t' || c == '\n' ? ' ' : c);
                ++position;
            }
        }
    }

    void Attributes(XmlElement& element)
    {
        for (;;) {
            const bool spaced = !AtEnd() && IsSpace(text[position]);
            SkipSpace();
            if (AtEnd() || text[position] == '>' || text[position] == '/') {
                return;
            }
            if (!spaced) {
                Fail("white space expected between attributes");
            }
            XmlAttribute attribute;
            attribute.name = Name("attribute name expected");
            SkipSpace();
            if (AtEnd() || text[position] != '=') {
                Fail("\"=\" expected after attribute \"" + attribute.name + "\"");
            }
            ++position;
            SkipSpace();
            attribute.value = AttributeValue();
            if (element.Attribute(attribute.name) != nullptr) {
                Fail("attribute \"" + attribute.name + "\" repeated");
            }
            element.attributes.push_back(std::move(attribute));
        }
    }

    void CData(std::string& out)
    {
        const size_t start = position;
        position += 9; // "<![CDATA["
        const size_t end = text.find("]]>", position);
        if (end == std::string_view::npos) {
            FailAt(start, "unterminated CDATA section");
        }
        while (position < end) {
            if (!LineEnd(out, '\n')) {
                out.push_back(text[position++]);
            }
        }
        position = end + 3;
    }

    void Content(XmlElement& element, size_t depth)
    {
        for (;;) {
            if (AtEnd()) {
                Fail("element \"" + element.name + "\" (line " + std::to_string(element.line) + ") is not closed");
            }
            const char c = text[position];
            if (c == '&') {
                Reference(element.text);
            } else if (c != '<') {
                if (StartsWith("]]>")) {
                    Fail("\"]]>\" in character data");
                }
                if (!LineEnd(element.text, '\n')) {
                    element.text.push_back(c);
                    ++position;
                }
            } else if (StartsWith("</")) {
                return;
            } else if (StartsWith("<!--")) {
                Comment();
            } else if (StartsWith("<![CDATA[")) {
                CData(element.text);
            } else if (StartsWith("<?")) {
                ProcessingInstruction();
            } else if (StartsWith("<!")) {
                Fail("markup declarations are not allowed inside an element");
            } else {
                element.children.push_back(Element(depth + 1));
            }
        }
    }

    XmlElement Element(size_t depth)
    {
        if (depth > maxXmlDepth) {
            Fail("elements nested deeper than " + std::to_string(maxXmlDepth) + " levels");
        }
        XmlElement element;
        element.line = LineAt(position);
        ++position; // "<"
        element.name = Name("element name expected");
        Attributes(element);
        if (StartsWith("/>")) {
            position += 2;
            return element;
        }
        if (AtEnd() || text[position] != '>') {
            Fail("\">\" expected to end the start tag of \"" + element.name + "\"");
        }
        ++position;
        Content(element, depth);
        position += 2; // "</"
        const size_t nameAt = position;
        const std::string closing = Name("element name expected in end tag");
        if (closing != element.name) {
            FailAt(nameAt, "end tag \"" + closing + "\" does not match \"" + element.name + "\" (line " +
                               std::to_string(element.line) + ")");
        }
        SkipSpace();
        if (AtEnd() || text[position] != '>') {
            Fail("\">\" expected to end the end tag of \"" + element.name + "\"");
        }
        ++position;
        return element;
    }

    std::string_view text;
    size_t position = 0;
    mutable size_t countedTo = 0;
    mutable size_t countedLine = 1;
};

} // namespace

std::string_view XmlElement::LocalName() const noexcept
{
    const size_t colon = name.find(':');
    return colon == std::string::npos ? std::string_view(name) : std::string_view(name).substr(colon + 1);
}

const std::string* XmlElement::Attribute(std::string_view attributeName) const noexcept
{
    for (const XmlAttribute& attribute : attributes) {
        if (attribute.name == attributeName) {
            return &attribute.value;
        }
    }
    return nullptr;
}

const XmlElement* XmlElement::FirstChild(std::string_view localName) const noexcept
{
    for (const XmlElement& child : children) {
        if (child.LocalName() == localName) {
            return &child;
        }
    }
    return nullptr;
}

XmlElement ParseXml(std::string_view document)
{
    return Parser(document).Document();
}

} // namespace Etl
