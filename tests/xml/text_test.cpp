// Reading and writing: tables, and hostile texts. The fuzzer compares with the model, the vector forms with
// the portable ones, and reads what is written.
#include <utility>

#include "support/calls.h"
#include "xml/document.h"
#include "xml/xml_support.h"

using namespace xmltest;

namespace {

class chXmlParser : public LeakFree {};
class chXmlExport : public LeakFree {};

std::string parsed(const std::string& szText) {
    return dump(chXmlDocument::ParseDocument(szText));
}

// Each rule and oddity of the contract. What cannot be read is the fuzz target's to show.
TEST_F(chXmlParser, Table) {
    const std::pair<const char*, const char*> CASES[] = {
        {" \r\n\t", ""},
        {"<a/>  hello <b/>", "(4 'a')(2 'hello')(4 'b')"},
        {"<a>  x </a><a>\v</a><!--c-->  x<b/>", "(4 'a'(2 '  x'))(4 'a'(2 '\v'))(1 'c')(2 '  x')(4 'b')"},
        {"\xEF\xBB\xBF<a></a>   ", "(2 '\xEF\xBB\xBF')(4 'a')"},
        {"<!--  note  --><!-->--><!--->-->", "(1 'note')(1 '>')(1 '->')"},
        {"<![CDATA[ a<&lt; ]]><![CDATA[]]]]>", "(5 'a<&lt;')(5 ']]')"},
        {"<a>&lt;&amp;lt;&amp;amp;&#65;&LT;&lt&</a>", "(4 'a'(2 '<&lt;&amp;&#65;&LT;&lt&'))"},
        {"<?xml version=\"1.0\"?><r/>", "(3 'xml' [version|1.0])(4 'r')"},
        {"<a b='1' B=\"2\"c = 'd\"e'/>", "(4 'a' [b|2] [c|d\"e])"},
        {"<a &quot;='&apos;<'></a >", "(4 'a' [\"|'<])"},
        {"<a/ ></a/>", "(4 'a/')"},
        {"<a b='1>c='2'/>", ""},
    };
    for (const auto& [szText, szChildren] : CASES) {
        EXPECT_EQ(std::string("(6 ''") + szChildren + ")", parsed(szText)) << szText;
    }
    EXPECT_EQ("(6 '')", parsed("<a/>0123456789012345678901234567890123456789"));
    EXPECT_STREQ("012345678901234567890123456789012345678", vdx::lastUnreadableText());
}

// Each would take minutes or a stack if anything were quadratic or recursive.
TEST_F(chXmlParser, LargeTextsAreReadQuickly) {
    std::string szAttributes;
    for (int i = 0; i < 100000; ++i)
        szAttributes += " n" + std::to_string(i) + "=''";
    vdxtest::expectMs(0, 60000, [&] {
        for (const std::string& szInside :
             {"<a" + szAttributes + "/>", repeated("<a/>t", 300000), repeated("&", 2000000),
              repeated("&amp;", 500000), "<!--" + repeated("-", 2000000) + ">",
              "<!--" + repeated(">", 2000000) + "-->", repeated("<?a?>", 300000),
              "<a>" + repeated(" ", 2000000) + "</a>" + repeated(" ", 2000000)})
            EXPECT_TRUE(tree("<r>" + szInside + "</r>").hasChildren()) << szInside.substr(0, 20);
        EXPECT_EQ("(6 '')", parsed(repeated("<a>", 1000000)));
        EXPECT_EQ("(6 '')", parsed("<?" + repeated("a='>'", 300000)));
    });
}

// What a door gives back, or "thrown" and the place; and what its handle holds then.
std::string through(chXmlObject& handle, const std::string& szText) try {
    const std::string szRest = handle.parseContent(szText);
    return szRest + " " + dump(handle);
} catch (const char* szStopped) {
    return "thrown " + szText.substr(static_cast<std::size_t>(szStopped - szText.data())) + " " +
           dump(handle);
}

TEST_F(chXmlParser, Doors) {
    chXmlObject content, other;
    EXPECT_EQ("</x> tail (6 ''(4 'a')(2 'text'))", through(content, "<a/>text</x> tail"));
    EXPECT_EQ("left   (6 ''(4 'a')(2 'text')(1 'c'))", through(content, "<!--c--> left  "));
    EXPECT_EQ("left (6 ''(4 'b'))", through(other, "<b/> left  "));
    EXPECT_EQ("thrown </c> (6 ''(4 'b')(4 'a'(2 'x'))(4 'b'))", through(other, "<a>x</a><b></c>"));
    chXmlElement element, empty, open;
    EXPECT_EQ("<next/> x (4 'a' [b|1](2 't')(4 'c'))", through(element, "a b='1'>t<c/></a> <next/> x "));
    EXPECT_EQ("rest (4 'e')", through(empty, "e/> rest "));
    EXPECT_EQ("thrown a =x (4 'a')", through(open, "a =x"));  // That it does not end is what is wrong.
    chXmlAttributeObject body, text = chXmlObject(xmlText, "t");
    EXPECT_EQ(" (4 'name' [a|1])", through(body, "name a='1' "));
    EXPECT_EQ(" (4 'other' [a|2] [b|3])", through(body, "other A='2' b='3'"));
    EXPECT_EQ("thrown a b='1' (2 't')", through(text, "a b='1'"));
    chXmlDeclaration declaration;
    EXPECT_EQ(" rest  (3 'xml' [version|1.0])", through(declaration, "<?xml version='1.0'?> rest "));
    EXPECT_EQ(" (3 'php' [version|1.0] [a|1])", through(declaration, "php a='1'?>"));
    EXPECT_EQ("thrown a (3 'php' [version|1.0] [a|1])", through(declaration, "<?a"));
    EXPECT_TRUE(chXmlDeclaration(declaration).hasData() && !chXmlDeclaration(chXmlObject(element)).hasData());
}

TEST_F(chXmlExport, EveryKindIndentedCompactAndInParts) {
    const chXmlDocument document = chXmlDocument::ParseDocument(
        "<?xml v='1'?><!--c--><r a='&lt;' b='\"'><a>1</a><b x='&amp;'><![CDATA[<]]><d>&gt;</d></b>t</r>");
    EXPECT_EQ(
        "<?xml v=\"1\"?><!-- c --><r a=\"&lt;\" b=\"&quot;\"><a>1</a><b x=\"&amp;\"><![CDATA[<]]>"
        "<d>&gt;</d></b>t</r>",
        document.ExportToText(true));
    EXPECT_EQ(document.ExportToText(true), document.ExportChildren(true));
    const std::string szB = "  <b x=\"&amp;\">\n    <![CDATA[<]]>\n    <d>&gt;</d>\n  </b>\n";
    EXPECT_EQ("<?xml v=\"1\"?>\n<!-- c -->\n<r a=\"&lt;\" b=\"&quot;\">\n  <a>1</a>\n" + szB + "  t\n</r>\n",
              document.ExportToText(false));
    const chXmlElement r = document["r"], b = r["b"];
    EXPECT_EQ(szB + szB, b.ExportToText(false) + b.ExportElement(false));
    EXPECT_EQ("    <![CDATA[<]]>\n    <d>&gt;</d>\n", b.ExportChildren(false));
    EXPECT_EQ(" a=\"&lt;\" b=\"&quot;\"", r.ExportAttributes());
}

TEST_F(chXmlExport, OddContentIsWrittenAsStored) {
    chXmlElement element("a b");
    element.AddChildObject(xmlText, "");
    const std::string szLong(100000, 'x');  // More than the blocks of memory in which a text is gathered.
    element.SetAttributeValue(szLong + "<", szLong + "'");
    EXPECT_EQ("<a b " + szLong + "&lt;=\"" + szLong + "&apos;\"></a b>", element.ExportToText(true));
    EXPECT_EQ("&quot;&amp;&apos;&lt;&gt;x\xC3\xA9", xmlText2XMLPhrase("\"&'<>x\xC3\xA9"));
    EXPECT_EQ("<!-- x-->" + szLong + " -->", chXmlObject(xmlComment, "x-->" + szLong).ExportToText(true));
    EXPECT_EQ("<![CDATA[]]>]]>", chXmlObject(xmlCData, "]]>").ExportToText(true));
    chXmlElement root("r");
    root.AddChildObject(chXmlDocument()).AddChildElement("x");
    EXPECT_EQ("<r>\n    <x/>\n</r>\n", root.ExportToText(false));  // A document inside counts as a level.
}

}  // namespace
