// The parser against the model, against tables and against hostile texts.
#include <chrono>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "xml/document.h"
#include "xml/model.h"
#include "xml/scan.h"
#include "xml/xml_support.h"

using xmltest::dump;
using xmltest::modelDump;

namespace {

constexpr const char* EMPTY = "(6 '')";

class chXmlParser : public xmltest::LeakFree {};

std::string parsed(const std::string& szText) {
    return dump(chXmlDocument::ParseDocument(szText));
}

TEST_F(chXmlParser, Table) {
    const struct {
        const char* szText;
        const char* szTree;
    } CASES[] = {
        {"", EMPTY},
        {" \r\n\t", EMPTY},
        {"<a/>  hello <b/>", "(6 ''(4 'a')(2 'hello')(4 'b'))"},
        {"<a>  x </a>", "(6 ''(4 'a'(2 '  x')))"},
        {"<!--c-->  x<b/>", "(6 ''(1 'c')(2 '  x')(4 'b'))"},
        {"<a>\v</a>", "(6 ''(4 'a'(2 '\v')))"},
        {"<!--  note  -->", "(6 ''(1 'note'))"},
        {"<!---->", "(6 ''(1 ''))"},
        {"<!-->-->", "(6 ''(1 '>'))"},
        {"<!--->-->", "(6 ''(1 '->'))"},
        {"<![CDATA[ a<b ]]>", "(6 ''(5 'a<b'))"},
        {"<![CDATA[]]]]>", "(6 ''(5 ']]'))"},
        {"<a>&lt;</a>", "(6 ''(4 'a'(2 '<')))"},
        {"<a>&amp;lt;&#65;&nbsp;&</a>", "(6 ''(4 'a'(2 '&lt;&#65;&nbsp;&')))"},
        {"<a></a>   ", "(6 ''(4 'a'))"},
        {"<?xml version=\"1.0\"?><r/>", "(6 ''(3 'xml' [version|1.0])(4 'r'))"},
        {"<a b='1' B=\"2\" c = 'd\"e'/>", "(6 ''(4 'a' [b|2] [c|d\"e]))"},
        {"<a b='1'c='2'/>", "(6 ''(4 'a' [b|1] [c|2]))"},
        {"<a &quot;='&apos;'/>", "(6 ''(4 'a' [\"|']))"},
        {"<a b='<'></a >", "(6 ''(4 'a' [b|<]))"},
        {"<a/ ></a/>", "(6 ''(4 'a/'))"},
    };
    for (const auto& test : CASES) {
        SCOPED_TRACE(test.szText);
        EXPECT_EQ(test.szTree, parsed(test.szText));
        EXPECT_EQ(test.szTree, modelDump(test.szText).value_or("unreadable"));
    }
}

TEST_F(chXmlParser, UnreadableGivesAnEmptyDocument) {
    // clang-format off
    const char* const CASES[] = {
        "x", "<a></a>trailing", "<a>x</A>", "<a><b></a>", "<a>", "</a>", "<a", "<", "<>", "<></>", "</>",
        "<a></a", "<!-- x", "<!-->", "<!--->", "<![CDATA[ x", "<?xml", "<?xml?", "<? ?>", "<a b>", "<a b=c>",
        "<a b=1 c='2'/>", "<a b='x/>", "<a b=\"x>y\"/>", "<a ='1'/>", "<a \"b='1'/>", "<a b c='1'/>",
        "<a=b/>", "<a\"/>", "<a<b/>"};
    // clang-format on
    for (const char* szText : CASES) {
        SCOPED_TRACE(szText);
        EXPECT_EQ(EMPTY, parsed(szText));
        EXPECT_FALSE(modelDump(szText));
    }
}

TEST_F(chXmlParser, AgreesWithTheModel) {
    std::mt19937 random(20240517);
    int nReadable = 0;
    for (int i = 0; i < 30000; ++i) {
        std::string szText = xmltest::randomDocument(random);
        for (auto n = random() % 3; n > 0; --n)
            szText = xmltest::mutated(std::move(szText), random);
        const auto expected = modelDump(szText);
        nReadable += expected.has_value();
        ASSERT_EQ(expected.value_or(EMPTY), parsed(szText)) << szText;
    }
    EXPECT_GT(nReadable, 5000);
    EXPECT_LT(nReadable, 25000);
}

TEST_F(chXmlParser, TruncatedAtEveryByte) {
    const std::string szWhole =
        "<?xml version=\"1.0\"?>\n<r a=\"1\" b='&amp;'><!-- c --><x>t</x> u <![CDATA[d]]><y/></r>\n<!--e-->";
    for (std::size_t n = 0; n <= szWhole.size(); ++n) {
        const std::string szText = szWhole.substr(0, n);
        EXPECT_EQ(modelDump(szText).value_or(EMPTY), parsed(szText)) << szText;
    }
}

TEST_F(chXmlParser, ZeroBytesAreOrdinary) {
    const std::string szText("<a\0b c='\0'>\0</a\0b>", 18);
    EXPECT_EQ(modelDump(szText).value(), parsed(szText));
    EXPECT_EQ(1, chXmlElement(chXmlDocument::ParseDocument(szText).getChild()).GetAttributeCount());
}

TEST_F(chXmlParser, RepeatedNamesKeepOneEntryHoweverMany) {
    for (const int nNames : {30, 31, 32, 33, 200}) {
        std::string szText = "<a";
        std::string szTree = "(6 ''(4 'a'";
        for (int i = 0; i < nNames; ++i)
            szText += " Name" + std::to_string(i) + "='x'";
        for (int i = 0; i < nNames; ++i) {
            szText += " nAME" + std::to_string(i) + "='" + std::to_string(i) + "'";
            szTree += " [Name" + std::to_string(i) + "|" + std::to_string(i) + "]";
        }
        EXPECT_EQ(szTree + "))", parsed(szText + "/>"));
    }
}

// Each would take minutes or a stack if anything were quadratic or recursive.
TEST_F(chXmlParser, LargeTextsAreReadQuickly) {
    const auto repeated = [](std::string_view szPiece, std::size_t nTimes) {
        std::string szText;
        for (; nTimes > 0; --nTimes)
            szText += szPiece;
        return szText;
    };
    std::string szWide = "<a";
    for (int i = 0; i < 100000; ++i)
        szWide += " n" + std::to_string(i) + "='" + std::to_string(i) + "'";
    const struct {
        const char* szLabel;
        std::string szText;
        bool bReadable;
    } CASES[] = {
        {"deep", repeated("<a>", 1000000) + repeated("</a>", 1000000), true},
        {"deep and open", repeated("<a>", 1000000), false},
        {"attributes", szWide + "/>", true},
        {"siblings", "<r>" + repeated("<a/>t", 300000) + "</r>", true},
        {"less-than signs", repeated("<", 2000000), false},
        {"ampersands", "<a>" + repeated("&", 2000000) + "</a>", true},
        {"entities", "<a>" + repeated("&amp;", 500000) + "</a>", true},
        {"comment openings", repeated("<!--", 500000), false},
        {"dashes", "<!--" + repeated("-", 2000000) + ">", true},
        {"greater-than signs in a comment", "<!--" + repeated(">", 2000000) + "-->", true},
        {"white space", "<a>" + repeated(" ", 2000000) + "</a>" + repeated(" ", 2000000), true},
        {"end tags", repeated("</a>", 500000), false},
        {"declarations", repeated("<?a?>", 300000), true},
        {"open declaration", "<?" + repeated("a='>'", 300000), false},
    };
    for (const auto& test : CASES) {
        SCOPED_TRACE(test.szLabel);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(test.bReadable, chXmlDocument::ParseDocument(test.szText).hasChildren());
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    }
}

TEST_F(chXmlParser, DoorsReturnTheRest) {
    chXmlObject content;
    EXPECT_EQ("</x> tail", content.parseContent("<a/>text</x> tail"));
    EXPECT_EQ("(6 ''(4 'a')(2 'text'))", dump(content));
    EXPECT_EQ("left  ", content.parseContent("<!--c--> left  "));
    EXPECT_EQ("left", content.parseContent("<b/> left  "));

    chXmlElement element;
    EXPECT_EQ("<next/> x", element.parseContent("a b='1'>t<c/></a> <next/> x "));
    EXPECT_EQ("(4 'a' [b|1](2 't')(4 'c'))", dump(element));
    chXmlElement empty;
    EXPECT_EQ("rest", empty.parseContent("e/> rest "));
    EXPECT_EQ("(4 'e')", dump(empty));

    chXmlAttributeObject body;
    EXPECT_EQ("", body.parseContent("name a='1' "));
    EXPECT_EQ("", body.parseContent("other A='2' b='3'"));
    EXPECT_EQ("(4 'other' [a|2] [b|3])", dump(body));

    chXmlDeclaration declaration;
    EXPECT_EQ(" rest ", declaration.parseContent("<?xml version='1.0'?> rest "));
    EXPECT_EQ("(3 'xml' [version|1.0])", dump(declaration));
    EXPECT_EQ("", declaration.parseContent("php a='1'?>"));
    EXPECT_EQ("(3 'php' [version|1.0] [a|1])", dump(declaration));
}

TEST_F(chXmlParser, DoorsThrowAPointerIntoTheText) {
    const std::string szText = "<a>good</a><b>bad</c>";
    chXmlObject content;
    try {
        content.parseContent(szText);
        FAIL() << "read";
    } catch (const char* szStopped) {
        EXPECT_STREQ("</c>", szStopped);
        EXPECT_EQ(szText.data() + szText.find("</c>"), szStopped);
    }
    chXmlAttributeObject text = chXmlObject(xmlText, "t");
    EXPECT_THROW(text.parseContent("a b='1'"), const char*);
    EXPECT_EQ("(2 't')", dump(text));
    EXPECT_THROW(chXmlElement().parseContent("a"), const char*);
    EXPECT_THROW(chXmlDeclaration().parseContent("<?a"), const char*);
}

TEST_F(chXmlParser, KeepsWhereItStopped) {
    chXmlDocument::ParseDocument("<a/>0123456789012345678901234567890123456789");
    EXPECT_STREQ("012345678901234567890123456789012345678", vdx::lastUnreadableText());
    chXmlDocument::ParseDocument("<a></b>");
    EXPECT_STREQ("</b>", vdx::lastUnreadableText());
}

// Texts and values of every length around the sizes in which memory is kept, written over
// one another: each time the memory of the former ones serves again.
TEST_F(chXmlParser, LengthsOfTextsAndValues) {
    std::mt19937 random(7);
    for (int nRound = 0; nRound < 400; ++nRound) {
        std::string szText = "<r>";
        std::vector<std::string> bodies;
        for (int i = 0; i < 20; ++i) {
            bodies.emplace_back(1 + random() % (i % 4 ? 300 : 30), static_cast<char>('a' + random() % 26));
            szText += "<n v='" + bodies.back() + "'>" + bodies.back() + "</n>";
        }
        const chXmlObject tree = chXmlDocument::ParseDocument(szText + "</r>").clone();
        chXmlElement element = tree["r"].getChildElement();
        for (std::size_t i = 0; i < bodies.size(); ++i, ++element) {
            ASSERT_EQ(bodies[i], element.GetAttributeValue("v", ""));
            ASSERT_EQ(bodies[i], element.getChild().tagName());
            chXmlElement(element.getParent()).SetOption("n", bodies[i]);
            ASSERT_EQ(bodies[i], tree["r"].getChildElement().getChild().tagName());
            element.SetAttributeValue("v", bodies[bodies.size() - 1 - i]);
            ASSERT_EQ(bodies[bodies.size() - 1 - i], *element.FindAttributeValue("v"));
        }
    }
}

// Each scan's two forms, on every short length, with a byte that ends it and one that
// does not at every place.
TEST_F(chXmlParser, VectorAndPortableScansAgree) {
    const auto compare = [](const std::string& szText) {
        const char* p = szText.data();
        const char* pEnd = p + szText.size();
        bool bVector = false, bPortable = false;
        ASSERT_EQ(vdx::findEitherPortable(p, pEnd, '"', '>', bPortable),
                  vdx::findEither(p, pEnd, '"', '>', bVector));
        ASSERT_EQ(bPortable, bVector);
        bVector = bPortable = false;
        ASSERT_EQ(vdx::findNameEndPortable(p, pEnd, bPortable), vdx::findNameEnd(p, pEnd, bVector));
        ASSERT_EQ(bPortable, bVector);
        ASSERT_EQ(vdx::skipWhitePortable(p, pEnd), vdx::skipWhite(p, pEnd));
    };
    for (std::size_t nSize = 0; nSize < 40; ++nSize) {
        for (std::size_t nEnd = 0; nEnd <= nSize; ++nEnd) {
            for (std::size_t nAmpersand = 0; nAmpersand <= nSize; ++nAmpersand) {
                std::string szText(nSize, nEnd % 2 ? 'x' : '\n');
                if (nAmpersand < nSize) szText[nAmpersand] = '&';
                if (nEnd < nSize) szText[nEnd] = "\">"[nAmpersand % 2];
                compare(szText);
            }
        }
    }
    for (int c = 0; c < 256; ++c)
        compare(std::string(20, static_cast<char>(c)) + "x" + std::string(20, static_cast<char>(c)) + "=");
}

}  // namespace
