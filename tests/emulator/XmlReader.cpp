#include "tests/emulator/XmlReader.h"

#include <cctype>
#include <stdexcept>

namespace Testing {

namespace {

class Parser {
public:
    explicit Parser(std::string_view text) : text(text) {}

    std::unique_ptr<XmlElement> Document()
    {
        SkipMisc();
        auto root = Element();
        SkipMisc();
        if (position != text.size()) {
            Fail("content after the root element");
        }
        return root;
    }

private:
    [[noreturn]] void Fail(const char* what) const
    {
        throw std::runtime_error(std::string("XML: ") + what + " at offset " + std::to_string(position));
    }

    bool StartsWith(std::string_view prefix) const { return text.substr(position, prefix.size()) == prefix; }

    void SkipPast(std::string_view terminator)
    {
        const size_t end = text.find(terminator, position);
        if (end == std::string_view::npos) {
            Fail("unterminated construct");
        }
        position = end + terminator.size();
    }

    void SkipSpace()
    {
        while (position < text.size() && std::isspace(static_cast<unsigned char>(text[position]))) {
            ++position;
        }
    }

    // White space, comments, processing instructions and a byte-order mark.
    void SkipMisc()
    {
        if (StartsWith("\xEF\xBB\xBF")) {
            position += 3;
        }
        for (;;) {
            SkipSpace();
            if (StartsWith("<!--")) {
                SkipPast("-->");
            } else if (StartsWith("<?")) {
                SkipPast("?>");
            } else {
                return;
            }
        }
    }

    std::string Name()
    {
        const size_t start = position;
        while (position < text.size() && !std::isspace(static_cast<unsigned char>(text[position])) &&
               text[position] != '=' && text[position] != '>' && text[position] != '/') {
            ++position;
        }
        if (position == start) {
            Fail("name expected");
        }
        return std::string(text.substr(start, position - start));
    }

    static std::string Unescape(std::string_view value)
    {
        static const std::pair<std::string_view, char> entities[] = {
            {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
        std::string result;
        for (size_t index = 0; index < value.size();) {
            bool replaced = false;
            for (const auto& [entity, character] : entities) {
                if (value.substr(index, entity.size()) == entity) {
                    result += character;
                    index += entity.size();
                    replaced = true;
                    break;
                }
            }
            if (!replaced) {
                result += value[index++];
            }
        }
        return result;
    }

    std::string QuotedValue()
    {
        if (position >= text.size() || (text[position] != '"' && text[position] != '\'')) {
            Fail("quoted value expected");
        }
        const char quote = text[position++];
        const size_t end = text.find(quote, position);
        if (end == std::string_view::npos) {
            Fail("unterminated value");
        }
        std::string value = Unescape(text.substr(position, end - position));
        position = end + 1;
        return value;
    }

    std::unique_ptr<XmlElement> Element()
    {
        if (!StartsWith("<")) {
            Fail("element expected");
        }
        ++position;
        auto element = std::make_unique<XmlElement>();
        element->name = Name();
        for (;;) {
            SkipSpace();
            if (StartsWith("/>")) {
                position += 2;
                return element;
            }
            if (StartsWith(">")) {
                ++position;
                break;
            }
            std::string key = Name();
            SkipSpace();
            if (!StartsWith("=")) {
                Fail("'=' expected");
            }
            ++position;
            SkipSpace();
            element->attributes[key] = QuotedValue();
        }
        Content(*element);
        return element;
    }

    void Content(XmlElement& element)
    {
        for (;;) {
            const size_t next = text.find('<', position);
            if (next == std::string_view::npos) {
                Fail("unterminated element");
            }
            position = next;
            if (StartsWith("</")) {
                position += 2;
                if (Name() != element.name) {
                    Fail("mismatched end tag");
                }
                SkipSpace();
                if (!StartsWith(">")) {
                    Fail("'>' expected");
                }
                ++position;
                return;
            }
            if (StartsWith("<!--")) {
                SkipPast("-->");
            } else if (StartsWith("<![CDATA[")) {
                SkipPast("]]>");
            } else if (StartsWith("<?")) {
                SkipPast("?>");
            } else {
                element.children.push_back(Element());
            }
        }
    }

    std::string_view text;
    size_t position = 0;
};

} // namespace

std::string XmlElement::Attribute(const std::string& key) const
{
    const auto found = attributes.find(key);
    return found == attributes.end() ? std::string() : found->second;
}

std::vector<const XmlElement*> XmlElement::Children(std::string_view childName) const
{
    std::vector<const XmlElement*> result;
    for (const auto& child : children) {
        if (child->name == childName) {
            result.push_back(child.get());
        }
    }
    return result;
}

const XmlElement* XmlElement::Find(std::string_view descendantName) const
{
    for (const auto& child : children) {
        if (child->name == descendantName) {
            return child.get();
        }
        if (const XmlElement* found = child->Find(descendantName)) {
            return found;
        }
    }
    return nullptr;
}

std::unique_ptr<XmlElement> ParseXml(std::string_view text)
{
    return Parser(text).Document();
}

} // namespace Testing
