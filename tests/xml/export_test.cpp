// Writing, entities, and reading back what was written.
#include <random>

#include <gtest/gtest.h>

#include "xml/entities.h"
#include "xml/model.h"
#include "xml/xml_support.h"

using xmltest::dump;

namespace {

class chXmlExport : public xmltest::LeakFree {};

TEST_F(chXmlExport, Table) {
    const struct {
        const char* szText;
        const char* szIndented;
        const char* szCompact;
    } CASES[] = {
        {"<?xml version='1.0'?><r><a>1</a></r>", "<?xml version=\"1.0\"?>\n<r>\n  <a>1</a>\n</r>\n",
         "<?xml version=\"1.0\"?><r><a>1</a></r>"},
        {"<r><!--c--><b><![CDATA[x]]></b></r>", "<r>\n  <!-- c -->\n  <b>\n    <![CDATA[x]]>\n  </b>\n</r>\n",
         "<r><!-- c --><b><![CDATA[x]]></b></r>"},
        {"<r>t<b/></r>", "<r>\n  t\n  <b/>\n</r>\n", "<r>t<b/></r>"},
        {"<r a='&lt;' b='\"'>&gt;</r>", "<r a=\"&lt;\" b=\"&quot;\">&gt;</r>\n",
         "<r a=\"&lt;\" b=\"&quot;\">&gt;</r>"},
        {"", "", ""},
    };
    for (const auto& test : CASES) {
        const chXmlDocument document = chXmlDocument::ParseDocument(test.szText);
        EXPECT_EQ(test.szIndented, document.ExportToText(false));
        EXPECT_EQ(test.szCompact, document.ExportToText(true));
        EXPECT_EQ(test.szCompact, document.ExportChildren(true));
    }
}

TEST_F(chXmlExport, PartsKeepTheirLevel) {
    const chXmlDocument document = chXmlDocument::ParseDocument("<a><b x='1' y='&amp;'><c/><d>t</d></b></a>");
    const chXmlElement b = document["a"]["b"];
    EXPECT_EQ("  <b x=\"1\" y=\"&amp;\">\n    <c/>\n    <d>t</d>\n  </b>\n", b.ExportToText(false));
    EXPECT_EQ(b.ExportToText(false), b.ExportElement(false));
    EXPECT_EQ("    <c/>\n    <d>t</d>\n", b.ExportChildren(false));
    EXPECT_EQ(" x=\"1\" y=\"&amp;\"", b.ExportAttributes());
    chXmlElement(document["a"]).RemoveChildObject(b);
    EXPECT_EQ("<b x=\"1\" y=\"&amp;\">\n  <c/>\n  <d>t</d>\n</b>\n", b.ExportToText(false));
}

TEST_F(chXmlExport, OddContentIsWrittenAsStored) {
    chXmlElement element("a");
    element.AddChildObject(xmlText, "");
    EXPECT_EQ("<a></a>", element.ExportToText(true));
    EXPECT_EQ("<!-- x-->y -->", chXmlObject(xmlComment, "x-->y").ExportToText(true));
    EXPECT_EQ("<![CDATA[]]>]]>", chXmlObject(xmlCData, "]]>").ExportToText(true));
    EXPECT_EQ("&lt;&amp;\n", chXmlObject(xmlText, "<&").ExportToText(false));
    chXmlElement root("r");
    root.AddChildObject(chXmlDocument()).AddChildElement("x");
    EXPECT_EQ("<r>\n    <x/>\n</r>\n", root.ExportToText(false));  // A document inside counts as a level.
}

TEST_F(chXmlExport, Entities) {
    EXPECT_EQ("&quot;&amp;&apos;&lt;&gt;x\xC3\xA9", xmlText2XMLPhrase("\"&'<>x\xC3\xA9"));
    EXPECT_EQ("&lt;", xmlXMLPhrase2Text("&amp;lt;"));
    EXPECT_EQ("&amp;", xmlXMLPhrase2Text("&amp;amp;"));
    EXPECT_EQ("&#65;&LT;&lt&'\"<>", xmlXMLPhrase2Text("&#65;&LT;&lt&&apos;&quot;&lt;&gt;"));
    std::mt19937 random(3);
    for (int i = 0; i < 2000; ++i) {
        std::string szText;
        for (auto n = random() % 80; n > 0; --n)
            szText += random() % 3 ? static_cast<char>(random() % 256) : "\"&'<>"[random() % 5];
        EXPECT_EQ(szText, xmlXMLPhrase2Text(xmlText2XMLPhrase(szText)));
    }
}

// Every length, every position of a special byte, and targets that end anywhere.
TEST_F(chXmlExport, VectorAndPortableEscapingAgree) {
    const auto escaped = [](auto copy, const std::string& szText, std::size_t nRoom) {
        std::string szResult;
        const char* pFrom = szText.data();
        const char* pEnd = pFrom + szText.size();
        while (pFrom != pEnd) {
            std::string szBuffer(nRoom, '.');
            char* pTo = szBuffer.data();
            copy(pFrom, pEnd, pTo, szBuffer.data() + nRoom);
            szResult.append(szBuffer.data(), pTo);
        }
        return szResult;
    };
    // With and without memory behind the text.
    const auto vectorCopy = [](const char*& pFrom, const char* pEnd, char*& pTo, const char* pToEnd) {
        vdx::copyEscaped(pFrom, pEnd, pEnd + (pToEnd - pTo) % 2, pTo, pToEnd);
    };
    for (std::size_t nSize = 0; nSize < 70; ++nSize) {
        for (std::size_t nAt = 0; nAt <= nSize; ++nAt) {
            std::string szText(nSize, '%');
            for (std::size_t n = 0; n < nSize; ++n)
                szText[n] = static_cast<char>(n * 37 + nSize);
            if (nAt < nSize) szText[nAt] = "\"&'<>"[nAt % 5];
            for (const std::size_t nRoom : {32U, 45U, 200U}) {
                ASSERT_EQ(escaped(vdx::copyEscapedPortable, szText, nRoom),
                          escaped(vectorCopy, szText, nRoom));
            }
        }
    }
}

// Compact text reads back as the same tree. Indented text does where no text stands
// beside other nodes.
TEST_F(chXmlExport, ParseExportParseIsAFixpoint) {
    std::mt19937 random(4);
    int nRead = 0;
    for (int i = 0; i < 5000; ++i) {
        const chXmlDocument document = chXmlDocument::ParseDocument(xmltest::randomDocument(random));
        if (!document.hasChildren()) continue;
        const std::string szText = document.ExportToText(true);
        const chXmlDocument again = chXmlDocument::ParseDocument(szText);
        if (szText.find("--  -->") != std::string::npos || !again.hasChildren()) continue;
        ++nRead;
        ASSERT_EQ(dump(again), dump(chXmlDocument::ParseDocument(again.ExportToText(true)))) << szText;
        ASSERT_EQ(szText, again.ExportToText(true));
    }
    EXPECT_GT(nRead, 2000);
}

void fill(chXmlElement element, std::mt19937& random, int nDepth) {
    static constexpr const char* TEXTS[] = {"t", "a<b>&\"'c", "\xE2\x82\xAC 5", "two words", "&lt;"};
    for (auto n = random() % 4; n > 0; --n) {
        element.SetAttributeValue("n" + std::to_string(random() % 9), TEXTS[random() % 5]);
    }
    if (nDepth == 0 || random() % 5 == 0) {
        element.AddChildObject(xmlText, TEXTS[random() % 5]);
        return;
    }
    for (auto n = random() % 5; n > 0; --n) {
        switch (random() % 6) {
            case 0:
                element.AddChildObject(xmlComment, "note");
                break;
            case 1:
                element.AddChildObject(xmlCData, "<x>&");
                break;
            default:
                fill(element.AddChildElement("e" + std::to_string(random() % 9)), random, nDepth - 1);
        }
    }
}

TEST_F(chXmlExport, GeneratedTreesSurviveBothForms) {
    std::mt19937 random(5);
    for (int i = 0; i < 500; ++i) {
        chXmlDocument document;
        fill(document.AddChildElement("top"), random, 5);
        for (const bool bCompact : {true, false}) {
            const std::string szText = document.ExportToText(bCompact);
            const chXmlDocument again = chXmlDocument::ParseDocument(szText);
            ASSERT_EQ(dump(document), dump(again)) << szText;
            ASSERT_EQ(szText, again.ExportToText(bCompact));
        }
        EXPECT_EQ(std::string::npos, document.ExportToText(true).find('\n'));
    }
}

TEST_F(chXmlExport, LongPieces) {
    const std::string szLong(100000, 'x');
    chXmlElement element(szLong);
    element.SetAttributeValue(szLong, szLong + "<");
    EXPECT_EQ("<" + szLong + " " + szLong + "=\"" + szLong + "&lt;\"/>", element.ExportToText(true));
}

}  // namespace
