// Handles and the tree: ownership, navigation, building, copying.
#include <type_traits>

#include <gtest/gtest.h>

#include "xml/xml_support.h"

using xmltest::dump;

namespace {

// A handle is its table of one operation and a pointer, whatever its class.
static_assert(sizeof(chXmlObject) == 2 * sizeof(void*) && sizeof(chXmlElement) == sizeof(chXmlObject));
static_assert(sizeof(chXmlDeclaration) == sizeof(chXmlObject) &&
              sizeof(chXmlDocument) == sizeof(chXmlObject));
static_assert(!std::has_virtual_destructor_v<chXmlObject> && !std::is_polymorphic_v<baseDymicAlloc>);
static_assert(std::has_virtual_destructor_v<dataXmlBase> && std::is_base_of_v<dataXmlBase, dataXmlElement>);
static_assert(xmlComment == 1 && xmlText == 2 && xmlDeclaration == 3 && xmlElement == 4 && xmlCData == 5 &&
              xmlDocument == 6 && sizeof(xmlType) == 4);

class chXmlNode : public xmltest::LeakFree {};

chXmlElement tree(const std::string& szText) {
    return chXmlDocument::ParseDocument(szText).getChildElement();
}

TEST_F(chXmlNode, KindsOutsideTheTableGiveAnEmptyHandle) {
    for (const unsigned int nType : {0U, 7U, 0x7FFFFFFFU}) {
        const chXmlObject handle(static_cast<xmlType>(nType), "x");
        EXPECT_FALSE(handle.hasData());
        EXPECT_EQ(xmlNone, handle.type());
        EXPECT_EQ("", handle.tagName());
    }
    for (unsigned int nType = 1; nType <= 6; ++nType) {
        const chXmlObject handle(static_cast<xmlType>(nType), "x");
        EXPECT_EQ(nType, handle.type());
        EXPECT_EQ("x", handle.tagName());
    }
}

TEST_F(chXmlNode, EmptyHandlesAnswerNone) {
    chXmlElement empty;
    EXPECT_FALSE(empty.hasChildren());
    EXPECT_EQ(0, empty.getLevel());
    EXPECT_FALSE(empty.getParent().hasData());
    EXPECT_FALSE(empty.getChild().hasData());
    EXPECT_FALSE(empty["a"].hasData());
    EXPECT_FALSE(empty.clone().hasData());
    EXPECT_FALSE((++empty).hasData());
    EXPECT_EQ("", empty.ExportToText(false));
    empty.RemoveChildObject(empty);
    EXPECT_FALSE(empty.AddChildObject(chXmlObject()).hasData());
    EXPECT_EQ(nullptr, empty.GetAttributeData());
    EXPECT_EQ(0, empty.GetAttributeCount());
}

TEST_F(chXmlNode, ATreeStartsFromAnEmptyHandle) {
    chXmlObject top;
    const chXmlElement a = top.AddChildElement("a");
    EXPECT_EQ(xmlDocument, top.type());
    EXPECT_EQ(0, a.getLevel());
    EXPECT_EQ("(6 ''(4 'a'))", dump(top));
    chXmlAttributeObject asAttributes = top;  // Without room for attributes.
    EXPECT_FALSE(asAttributes.SetAttributeValue("n", "v"));
    EXPECT_EQ(0, asAttributes.GetAttributeCount());
    chXmlAttributeObject document = chXmlDocument();
    EXPECT_TRUE(document.SetAttributeValue("n", "v"));
}

TEST_F(chXmlNode, Levels) {
    const chXmlDocument document = chXmlDocument::ParseDocument("<a><b><c/></b></a>");
    const chXmlElement c = document["a"]["b"]["c"];
    EXPECT_EQ(2, c.getLevel());
    EXPECT_EQ(0, document.getLevel());
    const chXmlObject kept = c.getParent().getParent();
    chXmlDocument(document).RemoveChildObject(kept);
    EXPECT_EQ(2, c.getLevel());
    EXPECT_EQ(0, kept.getLevel());
    EXPECT_FALSE(document.hasChildren());
}

TEST_F(chXmlNode, Navigation) {
    const chXmlElement root = tree("<r>t<Alpha i='1'/><!--c--><beta/>u<alpha i='2'/><betb/></r>");
    std::string szKinds;
    for (chXmlObject child = root.getChild(); child.hasData(); ++child)
        szKinds += std::to_string(child.type());
    EXPECT_EQ("2414244", szKinds);
    std::string szNames;
    for (chXmlElement child = root.getChildElement(); child.hasData(); ++child)
        szNames += child.tagName() + " ";
    EXPECT_EQ("Alpha beta alpha betb ", szNames);
    EXPECT_EQ("1", root["ALPHA"].GetAttributeValue("i", ""));
    EXPECT_EQ("2", root["alpha"].FindNextElement("aLPHA").GetAttributeValue("i", ""));
    EXPECT_FALSE(root["alpha"].FindNextElement("alpha").FindNextElement("alpha").hasData());
    EXPECT_EQ("beta", root.getChild().getNextElement().getNextElement().tagName());
    EXPECT_FALSE(root["bet"].hasData());
    EXPECT_FALSE(chXmlElement(root.getChild()).hasData());
}

TEST_F(chXmlNode, NamesFoldAsciiLettersOnly) {
    const struct {
        const char* szLeft;
        const char* szRight;
        bool bSame;
    } CASES[] = {{"", "", true},
                 {"a", "A", true},
                 {"a", "ab", false},
                 {"@", "`", false},
                 {"[x", "{x", false},
                 {"k1", "K1", true},
                 {"ab@", "AB`", false},
                 {"aBcDeFgH", "AbCdEfGh", true},
                 {"abcdefg@", "abcdefg`", false},
                 {"Xabcdefgh@", "xabcdefgh`", false},
                 {"Xabcdefgh", "xabcdefgH", true},
                 {"Yabcdefghijklmnop", "Xabcdefghijklmnop", false},
                 {"\xC3\x89", "\xC3\xA9", false}};
    for (const auto& test : CASES) {
        EXPECT_EQ(test.bSame, sameXmlKeyName(test.szLeft, test.szRight)) << test.szLeft;
        chXmlElement parent("p");
        parent.AddChildElement(test.szLeft);
        EXPECT_EQ(test.bSame, parent[test.szRight].hasData()) << test.szLeft;
    }
}

TEST_F(chXmlNode, RemoveLinksTheNeighbours) {
    const chXmlElement root = tree("<r><a/><b/><c/></r>");
    for (const char* szName : {"b", "a", "c"}) {
        chXmlElement child = root[szName];
        chXmlElement(root).RemoveChildObject(child);
        EXPECT_FALSE(child.getParent().hasData());
        EXPECT_FALSE((++child).hasData());
        chXmlElement(root).RemoveChildObject(child);
    }
    EXPECT_FALSE(root.hasChildren());
    chXmlElement again(root);
    EXPECT_EQ("z", again.AddChildElement("z").tagName());
    EXPECT_EQ("(4 'r'(4 'z'))", dump(root));
    chXmlElement stranger("s");
    again.RemoveChildObject(stranger);  // A root, held twice below.
    const chXmlElement second = stranger;
    again.RemoveChildObject(stranger);
    EXPECT_EQ("s", second.tagName());
}

TEST_F(chXmlNode, AChildHasOnePlace) {
    chXmlElement a("a"), b("b");
    chXmlElement c = a.AddChildElement("c");
    b.AddChildElement("x");
    testing::internal::CaptureStderr();
    b.AddChildObject(c);  // Has a parent.
    a.AddChildObject(a);  // Itself.
    c.AddChildObject(a);  // An ancestor.
    EXPECT_NE("", testing::internal::GetCapturedStderr());
    EXPECT_EQ("(4 'a'(4 'c'))(4 'b'(4 'x'))", dump(a) + dump(b));
    a.RemoveChildObject(c);
    b.AddChildObject(c);
    EXPECT_EQ("(4 'a')(4 'b'(4 'x')(4 'c'))", dump(a) + dump(b));
}

TEST_F(chXmlNode, SubtreesOutliveTheirTree) {
    chXmlElement kept;
    {
        const chXmlDocument document = chXmlDocument::ParseDocument("<a><b><c>t</c></b><d/></a>");
        kept = document["a"]["b"];
    }
    EXPECT_FALSE(kept.getParent().hasData());
    EXPECT_FALSE(kept.getNextElement().hasData());
    EXPECT_EQ("(4 'b'(4 'c'(2 't')))", dump(kept));
}

TEST_F(chXmlNode, AssignmentFromInsideItsOwnTree) {
    chXmlObject handle = tree("<a><b><c/></b></a>");
    handle = handle.getChild();
    EXPECT_EQ("(4 'b'(4 'c'))", dump(handle));
    const chXmlObject& same = handle;
    handle = same;
    EXPECT_EQ("(4 'b'(4 'c'))", dump(handle));
    chXmlObject& self = handle;
    handle = std::move(self);
    EXPECT_TRUE(handle.hasData());
    const chXmlObject moved = std::move(handle);
    EXPECT_EQ("b", moved.tagName());
}

TEST_F(chXmlNode, CloneSharesNothing) {
    chXmlElement source = tree("<a x='1'>t<b y='2'><!--c--></b><![CDATA[d]]></a>");
    const chXmlElement copy = source.clone();
    EXPECT_EQ(dump(source), dump(copy));
    EXPECT_EQ(source.ExportToText(true), copy.ExportToText(true));
    source["b"].SetAttributeValue("y", "3");
    source.AddChildElement("e");
    EXPECT_EQ("(4 'a' [x|1](2 't')(4 'b' [y|2](1 'c'))(5 'd'))", dump(copy));
    EXPECT_FALSE(copy.getParent().hasData());
    const chXmlElement inner = copy["b"].clone();
    EXPECT_EQ("(4 'b' [y|2](1 'c'))", dump(inner));
}

// Built, copied, written, read and released on an ordinary stack.
TEST_F(chXmlNode, AMillionLevels) {
    constexpr int LEVELS = 1000000;
    chXmlDocument document;
    chXmlObject at = document;
    for (int i = 0; i < LEVELS; ++i)
        at = at.AddChildElement("a");
    at.AddChildObject(xmlText, "t");
    EXPECT_EQ(LEVELS - 1, at.getLevel());
    const chXmlObject copy = document.clone();
    const std::string szText = copy.ExportToText(true);
    EXPECT_EQ(7U * LEVELS + 1, szText.size());
    EXPECT_EQ(szText, chXmlDocument::ParseDocument(szText).ExportToText(true));
}

TEST_F(chXmlNode, NodesCountInTheLeakReport) {
    const auto before = leaked();
    chXmlElement root = tree("<a x='1'><b/>t</a>");
    EXPECT_EQ(before + 3, leaked());
    const chXmlElement copy = root.clone();
    EXPECT_EQ(before + 6, leaked());
    root = chXmlElement();
    EXPECT_EQ(before + 3, leaked());
}

}  // namespace
