// Handles and the tree: ownership, navigation, building, copying, attributes and options.
#include <type_traits>

#include "support/calls.h"
#include "xml/names.h"
#include "xml/xml_support.h"

using namespace xmltest;

namespace {

// A handle is its table of one operation and a pointer, whatever its class.
static_assert(sizeof(chXmlObject) == 2 * sizeof(void*) && sizeof(chXmlElement) == sizeof(chXmlObject));
static_assert(!std::has_virtual_destructor_v<chXmlObject> && !std::is_polymorphic_v<baseDymicAlloc>);
static_assert(std::has_virtual_destructor_v<dataXmlBase> && std::is_base_of_v<dataXmlBase, dataXmlElement>);
static_assert(sizeof(xmlType) == 4);

class chXmlTree : public LeakFree {};

TEST_F(chXmlTree, KindsAndWhichHaveAttributes) {
    for (const unsigned int nType : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 0x7FFFFFFFU}) {
        const bool bKind = nType >= 1 && nType <= 6;
        chXmlAttributeObject handle = chXmlObject(static_cast<xmlType>(nType), "x");
        EXPECT_EQ(bKind ? std::to_string(nType) + "x" : "0",
                  std::to_string(handle.type()) + handle.tagName());
        EXPECT_EQ(nType == 3 || nType == 4 || nType == 6, handle.SetAttributeValue("n", "v")) << nType;
    }
}

TEST_F(chXmlTree, EmptyHandlesAnswerNone) {
    chXmlElement empty;
    empty.RemoveChildObject(empty);
    empty.FastRemoveAttributeValue(nullptr);
    EXPECT_EQ("x", empty.GetAttributeValue("a", "x") + empty.ExportToText(false) + empty.tagName());
    EXPECT_EQ("", empty.ExportElement(true) + empty.ExportChildren(true) + empty.ExportAttributes());
    EXPECT_FALSE(empty.hasChildren() || empty.SetAttributeValue("a", "x") || empty.FindAttributeValue("a"));
    EXPECT_FALSE(empty.GetAttributeData() || empty.GetAttributeCount() || empty.getLevel() || empty.type());
    for (const chXmlObject& none : std::initializer_list<chXmlObject>{
             empty.getParent(), empty.getChild(), empty.getChildElement(), empty.getNextElement(), empty["a"],
             empty.FindNextElement("a"), empty.FindChildAttribute("a", ""), empty.FindNextAttribute("a", ""),
             empty.clone(), ++empty, empty.AddChildObject(chXmlObject()), empty})
        EXPECT_FALSE(none.hasData());
}

TEST_F(chXmlTree, Navigation) {
    const chXmlElement root = tree("<r>t<Alpha i='1'/><!--c--><beta I='2'/>u<alpha i='2'/><betb i='1'/></r>");
    std::string szFound;
    for (chXmlObject child = root.getChild(); child.hasData(); ++child)
        szFound += std::to_string(child.type());
    for (chXmlElement child = root.getChildElement(); child.hasData(); ++child)
        szFound += " " + child.tagName();
    EXPECT_EQ("2414244 Alpha beta alpha betb", szFound);
    const chXmlElement first = root["ALPHA"], second = first.FindNextElement("aLPHA");
    EXPECT_EQ("12", first.GetAttributeValue("I", "") + second.GetAttributeValue("i", ""));
    EXPECT_EQ("beta", root.getChild().getNextElement().getNextElement().tagName());
    EXPECT_EQ("beta", root.FindChildAttribute("i", "2").tagName());
    EXPECT_EQ("betb", first.FindNextAttribute("I", "1").tagName());
    EXPECT_FALSE(second.FindNextElement("alpha").hasData() || second.FindNextAttribute("i", "2").hasData());
    EXPECT_FALSE(root["bet"].hasData() || root.FindChildAttribute("i", "1 ").hasData());
    EXPECT_FALSE(chXmlElement(root.getChild()).hasData());  // A text.
}

// Every pair of bytes, at places that the comparison reaches on different ways, the other bytes the same or
// in the other case.
TEST_F(chXmlTree, NamesFoldAsciiLettersOnly) {
    const auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? c + 'a' - 'A' : c; };
    for (const std::size_t nSize : {1U, 2U, 3U, 4U, 7U, 8U, 9U, 17U}) {
        for (std::size_t i = 0; i < 6 * 65536; ++i) {
            const std::size_t nAt = (nSize - 1) * (i / 65536 % 3) / 2;
            std::string szLeft(nSize, 'x'), szRight(nSize, i / 65536 < 3 ? 'x' : 'X');
            szLeft[nAt] = static_cast<char>(i / 256);
            szRight[nAt] = static_cast<char>(i);
            const bool bSame = fold(szLeft[nAt]) == fold(szRight[nAt]);
            ASSERT_EQ(bSame, sameXmlKeyName(szLeft, szRight)) << szLeft << " " << szRight;
            ASSERT_TRUE(!bSame || vdx::hashName(szLeft) == vdx::hashName(szRight)) << szLeft;
        }
    }
    EXPECT_TRUE(sameXmlKeyName("", "") && !sameXmlKeyName("a", "ab"));
}

TEST_F(chXmlTree, AChildLeavesBetweenItsNeighbours) {
    chXmlElement root = tree("<r><a/><b/><c/></r>");
    for (const std::string szName : {"b", "a", "c"}) {
        chXmlElement child = root[szName], held = child;
        root.RemoveChildObject(child);
        root.RemoveChildObject(child);  // Has no parent any more.
        EXPECT_FALSE(root[szName].hasData() || held.getParent().hasData() || (++child).hasData());
        root.AddChildElement("new" + szName);
    }
    EXPECT_EQ("(4 'r'(4 'newb')(4 'newa')(4 'newc'))", dump(root));
}

TEST_F(chXmlTree, AChildHasOnePlace) {
    chXmlElement a("a"), b("b"), c = a.AddChildElement("c");
    const std::string szWarnings = vdxtest::printedBy([&] {
        b.AddChildObject(c);  // Has a parent.
        a.AddChildObject(a);  // Itself.
        c.AddChildObject(a);  // An ancestor.
    });
    EXPECT_EQ(3, std::count(szWarnings.begin(), szWarnings.end(), '\n')) << szWarnings;
    EXPECT_NE(std::string::npos, szWarnings.find("AddChildObject: the child has a place in a tree already"));
    EXPECT_EQ("(4 'a'(4 'c'))(4 'b')", dump(a) + dump(b));
}

TEST_F(chXmlTree, SubtreesOutliveTheirTree) {
    chXmlObject handle = chXmlDocument::ParseDocument("<a><b><c>t</c></b><d/></a>");
    const chXmlElement c = handle["a"]["b"]["c"];
    EXPECT_TRUE(c.getLevel() == 2 && handle["a"].getLevel() == 0 && handle.getLevel() == 0);
    handle = handle["a"]["b"];  // From inside its own tree.
    EXPECT_FALSE(c.getLevel() != 1 || handle.getParent().hasData() || handle.getNextElement().hasData());
    chXmlObject& self = handle;
    handle = self;
    handle = std::move(self);
    const chXmlObject moved = std::move(handle);
    EXPECT_EQ("(4 'b'(4 'c'(2 't')))", dump(moved));
}

TEST_F(chXmlTree, ClonesShareNothingAndCountInTheLeakReport) {
    const auto nBefore = nodesAlive();
    chXmlElement source = tree("<a x='1'>t<b y='2'><!--c--></b><![CDATA[d]]></a>");
    const chXmlElement copy = source.clone(), inner = copy["b"].clone();
    EXPECT_EQ(nBefore + 12, nodesAlive());
    source["b"].SetAttributeValue("y", "3");
    source.AddChildElement("e");
    EXPECT_EQ("(4 'a' [x|1](2 't')(4 'b' [y|2](1 'c'))(5 'd'))", dump(copy));
    EXPECT_EQ("()(4 'b' [y|2](1 'c'))", dump(inner.getParent()) + dump(inner));
    source = chXmlElement();
    EXPECT_EQ(nBefore + 7, nodesAlive());
}

// Built from an empty handle, copied, written, read and released, on an ordinary stack.
TEST_F(chXmlTree, AMillionLevels) {
    constexpr int LEVELS = 1000000;
    chXmlAttributeObject document;
    chXmlObject at = document.AddChildElement("a");
    for (int i = 1; i < LEVELS; ++i)
        at = at.AddChildElement("a");
    EXPECT_EQ(LEVELS - 1, at.getLevel());
    EXPECT_EQ(std::string(2 * (LEVELS - 1), ' ') + "<a/>\n", at.ExportToText(false));
    EXPECT_EQ(xmlDocument, document.type());
    EXPECT_FALSE(document.SetAttributeValue("n", "v"));  // Such a document has no room for it.
    const std::string szText = document.clone().ExportToText(true);
    EXPECT_EQ(7U * LEVELS - 3, szText.size());
    EXPECT_EQ(szText, chXmlDocument::ParseDocument(szText).ExportToText(true));
}

TEST_F(chXmlTree, AttributesChangeInPlaceAndGoByAddress) {
    chXmlElement element = tree("<a id='1' b='1'/>");
    EXPECT_TRUE(!element.SetAttributeValue("ID", "1") && element.SetAttributeValue("ID", "3"));
    EXPECT_TRUE(element.SetAttributeValue("new", "") && !element.SetAttributeValue("new", ""));
    EXPECT_EQ("(4 'a' [id|3] [b|1] [new|])x", dump(element) + element.GetAttributeValue("missing", "x"));
    std::string szOther = "1";  // Content selects nothing.
    std::string* const pB = element.FindAttributeValue("B");
    element.FastRemoveAttributeValue(&szOther);
    EXPECT_EQ(pB, element.FindAttributeValue("b"));
    for (std::string* pGone : {static_cast<std::string*>(nullptr), pB, pB})
        element.FastRemoveAttributeValue(pGone);
    EXPECT_EQ("(4 'a' [id|3] [new|])", dump(element));
    EXPECT_EQ(2, element.GetAttributeCount());
}

TEST_F(chXmlTree, Options) {
    chXmlElement root = tree("<r><empty/><c><!--x-->old</c></r>");
    EXPECT_EQ("01", root.GetOption("port", "0") + root.GetOption("c", "1"));
    EXPECT_TRUE(root.SetOption("port", "80") && !root.SetOption("port", "80"));
    EXPECT_EQ("80", root.GetOption("PORT", "0"));
    EXPECT_TRUE(root.SetOption("Port", "<81>") && root.SetOption("empty", "") && root.SetOption("c", "new"));
    EXPECT_EQ("new", root.GetOption("empty", "d") + root.GetOption("c", "d"));
    root["empty"].AddChildElement("x");
    EXPECT_EQ("(4 'r'(4 'empty'(2 '')(4 'x'))(4 'c'(2 'new')(1 'x')(2 'old'))(4 'port'(2 '<81>')))",
              dump(root));
}

TEST_F(chXmlTree, ElementsByName) {
    chXmlElement root("r"), first = root.AddChildElement("f"), second = root.AddChildElement("f");
    EXPECT_TRUE(setSoapName(first, " one\t") && setSoapName(second, "two"));
    EXPECT_FALSE(setSoapName(second, "\r\n two ") || getChildSoapByName(root, "three").hasData());
    EXPECT_EQ("(4 'f' [name|two])", dump(getChildSoapByName(root, "\ttwo")));
    EXPECT_EQ("(4 'f' [name|one])()", dump(getChildSoap(root)) + dump(getChildSoap(first)));
}

TEST(chVarArgs, TypedValuesAsText) {
    const chVarArgs args(1, -2L, std::uint64_t(18446744073709551615U), " ", 0.1, std::string("s"), true, 'A',
                         std::int64_t(-9223372036854775807) - 1, static_cast<const char*>(nullptr));
    EXPECT_EQ("1-218446744073709551615 0.1strue65-9223372036854775808", print(args));
    EXPECT_EQ(print(args).size(), byteof(args));
}

}  // namespace
