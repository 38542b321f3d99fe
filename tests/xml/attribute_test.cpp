// Attributes, options, and the conveniences.
#include <gtest/gtest.h>

#include "xml/xml_support.h"

using xmltest::dump;

namespace {

class chXmlAttributes : public xmltest::LeakFree {};

chXmlElement tree(const std::string& szText) {
    return chXmlDocument::ParseDocument(szText).getChildElement();
}

TEST_F(chXmlAttributes, SetChangesInPlaceOrAppends) {
    chXmlElement element = tree("<a id='1' b='2'/>");
    EXPECT_FALSE(element.SetAttributeValue("ID", "1"));
    EXPECT_TRUE(element.SetAttributeValue("ID", "3"));
    EXPECT_TRUE(element.SetAttributeValue("new", ""));
    EXPECT_FALSE(element.SetAttributeValue("new", ""));
    EXPECT_EQ("(4 'a' [id|3] [b|2] [new|])", dump(element));
    EXPECT_EQ(3, element.GetAttributeCount());
    EXPECT_EQ("2", element.GetAttributeValue("B", "x"));
    EXPECT_EQ("x", element.GetAttributeValue("missing", "x"));
    EXPECT_EQ("x", chXmlElement().GetAttributeValue("a", "x"));
    EXPECT_FALSE(chXmlElement().SetAttributeValue("a", "x"));
    EXPECT_EQ(nullptr, chXmlElement().FindAttributeValue("a"));
}

TEST_F(chXmlAttributes, RemoveByAddress) {
    chXmlElement element = tree("<a x='1' y='1' z='1'/>");
    std::string szOther = "1";
    element.FastRemoveAttributeValue(&szOther);
    element.FastRemoveAttributeValue(nullptr);
    chXmlElement().FastRemoveAttributeValue(&szOther);
    EXPECT_EQ(3, element.GetAttributeCount());
    std::string* pLast = element.FindAttributeValue("z");
    element.FastRemoveAttributeValue(element.FindAttributeValue("y"));
    EXPECT_EQ("(4 'a' [x|1] [z|1])", dump(element));
    EXPECT_EQ(pLast, element.FindAttributeValue("Z"));
    element.FastRemoveAttributeValue(element.FindAttributeValue("x"));
    element.FastRemoveAttributeValue(pLast);
    EXPECT_TRUE(element.GetAttributeData()->empty());
    EXPECT_TRUE(element.SetAttributeValue("w", "2"));
    EXPECT_EQ("(4 'a' [w|2])", dump(element));
}

TEST_F(chXmlAttributes, SearchesByAttributeSkipOtherNodes) {
    const chXmlElement root = tree("<r>t<a k='1'/><!--c--><b K='2'/><c k='1'/>u<d k='1 '/></r>");
    const chXmlElement a = root.FindChildAttribute("K", "1");
    EXPECT_EQ("a", a.tagName());
    EXPECT_EQ("c", a.FindNextAttribute("k", "1").tagName());
    EXPECT_FALSE(a.FindNextAttribute("k", "1").FindNextAttribute("k", "1").hasData());
    EXPECT_EQ("b", root.FindChildAttribute("k", "2").tagName());
    EXPECT_FALSE(root.FindChildAttribute("q", "1").hasData());
    EXPECT_FALSE(chXmlElement().FindChildAttribute("k", "1").hasData());
}

TEST_F(chXmlAttributes, Options) {
    chXmlElement root("settings");
    EXPECT_EQ("0", root.GetOption("port", "0"));
    EXPECT_TRUE(root.SetOption("port", "80"));
    EXPECT_FALSE(root.SetOption("port", "80"));
    EXPECT_EQ("80", root.GetOption("PORT", "0"));
    EXPECT_TRUE(root.SetOption("Port", "<81>"));
    EXPECT_EQ("(4 'settings'(4 'port'(2 '<81>')))", dump(root));

    chXmlElement mixed = tree("<r><empty/><c><!--x-->old</c></r>");
    EXPECT_EQ("d", mixed.GetOption("empty", "d"));
    EXPECT_EQ("d", mixed.GetOption("c", "d"));
    EXPECT_TRUE(mixed.SetOption("empty", ""));
    EXPECT_TRUE(mixed.SetOption("c", "new"));
    EXPECT_EQ("new", mixed.GetOption("c", "d"));
    EXPECT_EQ("(4 'r'(4 'empty'(2 ''))(4 'c'(2 'new')(1 'x')(2 'old')))", dump(mixed));
}

TEST_F(chXmlAttributes, ElementsByName) {
    chXmlElement root("r");
    chXmlElement first = root.AddChildElement("f");
    chXmlElement second = root.AddChildElement("f");
    EXPECT_TRUE(setSoapName(first, " one\t"));
    EXPECT_TRUE(setSoapName(second, "two"));
    EXPECT_FALSE(setSoapName(second, "\r\n two "));
    EXPECT_EQ(dump(second), dump(getChildSoapByName(root, "\ttwo")));
    EXPECT_EQ("one", getChildSoap(root).GetAttributeValue("name", ""));
    EXPECT_FALSE(getChildSoapByName(root, "three").hasData());
    EXPECT_FALSE(getChildSoap(first).hasData());
}

TEST(chVarArgs, TypedValuesAsText) {
    const chVarArgs args(1, -2L, std::uint64_t(18446744073709551615U), " ", 0.1, std::string("s"), true, 'A',
                         std::int64_t(-9223372036854775807) - 1, static_cast<const char*>(nullptr));
    EXPECT_EQ("1-218446744073709551615 0.1strue65-9223372036854775808", print(args));
    EXPECT_EQ(print(args).size(), byteof(args));
    EXPECT_EQ("", print(chVarArgs()));
}

}  // namespace
