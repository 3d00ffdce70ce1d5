#include "etl/XmlReader.h"
#include "etl/FormatError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

// The message of the FormatError that parsing the text throws, or "no error".
std::string ErrorOf(const std::string& text)
{
    try {
        Etl::ParseXml(text);
    } catch (const Etl::FormatError& error) {
        return error.what();
    }
    return "no error";
}

TEST(XmlReader, ReadsElementsAttributesAndTextInDocumentOrder)
{
    const Etl::XmlElement root = Etl::ParseXml("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                               "<root a=\"1\" b='two'>\n"
                                               "  <child name=\"x\"/>\n"
                                               "  <ns:child>text</ns:child>\n"
                                               "</root>\n");
    EXPECT_EQ(root.name, "root");
    EXPECT_EQ(root.line, 2u);
    ASSERT_EQ(root.attributes.size(), 2u);
    EXPECT_EQ(root.attributes[0].name, "a");
    EXPECT_EQ(root.attributes[0].value, "1");
    EXPECT_EQ(root.attributes[1].name, "b");
    EXPECT_EQ(root.attributes[1].value, "two");
    ASSERT_EQ(root.children.size(), 2u);
    EXPECT_EQ(root.children[0].name, "child");
    EXPECT_EQ(root.children[0].line, 3u);
    EXPECT_EQ(*root.children[0].Attribute("name"), "x");
    EXPECT_EQ(root.children[0].Attribute("missing"), nullptr);
    EXPECT_EQ(root.children[1].name, "ns:child");
    EXPECT_EQ(root.children[1].LocalName(), "child");
    EXPECT_EQ(root.children[1].text, "text");
    EXPECT_EQ(root.children[1].line, 4u);
    EXPECT_EQ(root.FirstChild("child"), &root.children[0]);
    EXPECT_EQ(root.FirstChild("other"), nullptr);
    EXPECT_EQ(root.text, "\n  \n  \n");
}

TEST(XmlReader, ResolvesThePredefinedEntitiesAndCharacterReferences)
{
    const Etl::XmlElement root =
        Etl::ParseXml("<r v=\"&lt;&gt;&amp;&apos;&quot;\">&lt;&#65;&#x42;&#x20AC;&#128512;&gt;</r>");
    EXPECT_EQ(*root.Attribute("v"), "<>&'\"");
    EXPECT_EQ(root.text, "<AB\xE2\x82\xAC\xF0\x9F\x98\x80>");
}

TEST(XmlReader, SkipsCommentsAndProcessingInstructionsAndKeepsCData)
{
    const Etl::XmlElement root = Etl::ParseXml("\xEF\xBB\xBF<!-- before --><?pi data?>\n"
                                               "<r><!-- inside <not-an-element> --><?target x?>"
                                               "<![CDATA[<a> & ]] ]]>tail</r>\n"
                                               "<!-- after --><?after?>  \n");
    EXPECT_EQ(root.name, "r");
    EXPECT_TRUE(root.children.empty());
    EXPECT_EQ(root.text, "<a> & ]] tail");
}

TEST(XmlReader, NormalisesLineEndsAndAttributeWhiteSpace)
{
    const Etl::XmlElement root = Etl::ParseXml("<r v=\"a\tb\r\nc\rd\nf&#10;g\">x\r\ny\rz</r>");
    EXPECT_EQ(*root.Attribute("v"), "a b c d f\ng");
    EXPECT_EQ(root.text, "x\ny\nz");
}

TEST(XmlReader, CountsLinesAfterCarriageReturns)
{
    const Etl::XmlElement root = Etl::ParseXml("<r>\r\n<a/>\r<b/>\n\n<c/></r>");
    ASSERT_EQ(root.children.size(), 3u);
    EXPECT_EQ(root.children[0].line, 2u);
    EXPECT_EQ(root.children[1].line, 3u);
    EXPECT_EQ(root.children[2].line, 5u);
}

TEST(XmlReader, ReadsUtf8NamesAndValues)
{
    const Etl::XmlElement root = Etl::ParseXml("<r\xC3\xA9 v=\"\xE6\x97\xA5\"/>");
    EXPECT_EQ(root.name, "r\xC3\xA9");
    EXPECT_EQ(*root.Attribute("v"), "\xE6\x97\xA5");
}

TEST(XmlReader, NamesTheLineOfEachMalformation)
{
    EXPECT_EQ(ErrorOf(""), "XML line 1: no root element");
    EXPECT_EQ(ErrorOf("  \n text"), "XML line 2: text before the root element");
    EXPECT_EQ(ErrorOf("<r/>\n<s/>"), "XML line 2: content after the root element");
    EXPECT_EQ(ErrorOf("<r>\n<a>\n</b>\n</r>"), "XML line 3: end tag \"b\" does not match \"a\" (line 2)");
    EXPECT_EQ(ErrorOf("<r>\n<a>\n"), "XML line 3: element \"a\" (line 2) is not closed");
    EXPECT_EQ(ErrorOf("<r>\n<!-- open"), "XML line 2: unterminated comment");
    EXPECT_EQ(ErrorOf("<r><!-- a -- b --></r>"), "XML line 1: \"--\" inside a comment");
    EXPECT_EQ(ErrorOf("<r>\n<![CDATA[ open</r>"), "XML line 2: unterminated CDATA section");
    EXPECT_EQ(ErrorOf("<r>\n<?pi open</r>"), "XML line 2: unterminated processing instruction");
    EXPECT_EQ(ErrorOf("<r>\n<?xml version=\"1.0\"?></r>"),
              "XML line 2: XML declaration not at the start of the document");
    EXPECT_EQ(ErrorOf("<r>&bogus;</r>"), "XML line 1: unknown entity \"&bogus;\"");
    EXPECT_EQ(ErrorOf("<r>&amp</r>"), "XML line 1: unterminated reference");
    EXPECT_EQ(ErrorOf("<r>&#xZZ;</r>"), "XML line 1: malformed character reference");
    EXPECT_EQ(ErrorOf("<r>&#0;</r>"), "XML line 1: character reference to a character XML does not allow");
    EXPECT_EQ(ErrorOf("<r>&#x110000;</r>"), "XML line 1: character reference to a character XML does not allow");
    EXPECT_EQ(ErrorOf("<r>&#xD800;</r>"), "XML line 1: character reference to a character XML does not allow");
    EXPECT_EQ(ErrorOf("<r a=1/>"), "XML line 1: attribute value must be quoted");
    EXPECT_EQ(ErrorOf("<r a=\"1\" a=\"2\"/>"), "XML line 1: attribute \"a\" repeated");
    EXPECT_EQ(ErrorOf("<r a=\"1\"b=\"2\"/>"), "XML line 1: white space expected between attributes");
    EXPECT_EQ(ErrorOf("<r a/>"), "XML line 1: \"=\" expected after attribute \"a\"");
    EXPECT_EQ(ErrorOf("<r a=\"<\"/>"), "XML line 1: \"<\" in an attribute value");
    EXPECT_EQ(ErrorOf("<r\n a=\"open/>"), "XML line 2: unterminated attribute value");
    EXPECT_EQ(ErrorOf("<r>]]></r>"), "XML line 1: \"]]>\" in character data");
    EXPECT_EQ(ErrorOf("<1/>"), "XML line 1: element name expected");
    EXPECT_EQ(ErrorOf("<r></>"), "XML line 1: element name expected in end tag");
    EXPECT_EQ(ErrorOf("<r x=\"1\"></r x>"), "XML line 1: \">\" expected to end the end tag of \"r\"");
    EXPECT_EQ(ErrorOf("<r/ >"), "XML line 1: \">\" expected to end the start tag of \"r\"");
    EXPECT_EQ(ErrorOf("<r><!ENTITY x \"y\"></r>"), "XML line 1: markup declarations are not allowed inside an element");
}

TEST(XmlReader, RefusesDocumentTypeDeclarations)
{
    EXPECT_EQ(ErrorOf("<?xml version=\"1.0\"?>\n<!DOCTYPE r [<!ENTITY a \"aaaa\">]>\n<r>&a;</r>"),
              "XML line 2: document type declarations are not supported");
}

TEST(XmlReader, RefusesTextThatIsNotUtf8OrNotXmlCharacters)
{
    EXPECT_EQ(ErrorOf("<r>\n\xC3</r>"), "XML line 2: malformed UTF-8");
    EXPECT_EQ(ErrorOf("<r>\xC0\xAF</r>"), "XML line 1: malformed UTF-8");         // overlong "/"
    EXPECT_EQ(ErrorOf("<r>\xED\xA0\x80</r>"), "XML line 1: malformed UTF-8");     // a surrogate
    EXPECT_EQ(ErrorOf("<r>\xF4\x90\x80\x80</r>"), "XML line 1: malformed UTF-8"); // above U+10FFFF
    EXPECT_EQ(ErrorOf("<r>\x01</r>"), "XML line 1: character U+0001 is not allowed in XML");
    EXPECT_EQ(ErrorOf("<r>\xEF\xBF\xBE</r>"), "XML line 1: character U+FFFE is not allowed in XML");
}

std::string Nested(size_t depth)
{
    std::string text;
    for (size_t level = 0; level < depth; ++level) {
        text += "<e>";
    }
    for (size_t level = 0; level < depth; ++level) {
        text += "</e>";
    }
    return text;
}

TEST(XmlReader, BoundsTheNesting)
{
    const Etl::XmlElement root = Etl::ParseXml(Nested(Etl::maxXmlDepth));
    const Etl::XmlElement* deepest = &root;
    size_t depth = 1;
    while (!deepest->children.empty()) {
        deepest = &deepest->children.front();
        ++depth;
    }
    EXPECT_EQ(depth, Etl::maxXmlDepth);
    EXPECT_EQ(ErrorOf(Nested(Etl::maxXmlDepth + 1)), "XML line 1: elements nested deeper than 64 levels");
    // Far deeper than any stack would take if it were followed.
    EXPECT_EQ(ErrorOf(Nested(1000000)), "XML line 1: elements nested deeper than 64 levels");
}

} // namespace
