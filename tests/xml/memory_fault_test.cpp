// Memory that ends: each allocation failing in turn, and no more memory to map.
#include <filesystem>
#include <functional>
#include <new>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "xml/cell_pool.h"
#include "xml/failing_calls.h"
#include "xml/xml_support.h"

using xmltest::dump;

namespace {

class chXmlMemoryFaults : public xmltest::LeakFree {};

const std::string LONG = "longer than what a string holds without the heap";

std::string manyAttributes() {
    std::string szText = "<root><!--" + LONG + "--><a";
    for (int i = 0; i < 40; ++i)
        szText += " attribute" + std::to_string(i) + "='" + LONG + " &amp; more'";
    return szText + ">" + LONG + " &lt;</a><option>" + std::string(20000, 'o') + "</option><![CDATA[" + LONG +
           "]]></root>";
}

// Whether the work runs out of memory after that many allocations. Each time a new thread
// does it: one that has no memory of its own yet.
bool runsOut(long nAllocations, const std::function<void()>& work) {
    bool bFailed = false;
    std::thread([&] {
        xmltest::setAllocationsLeft(nAllocations);
        try {
            work();
        } catch (const std::bad_alloc&) {
            bFailed = true;
        }
        xmltest::setAllocationsLeft(-1);
    }).join();
    return bFailed;
}

// Does the work again and again, each time with one allocation more, until none fails.
// Whatever fails leaves the tree as it was, unless told otherwise, and nothing behind.
void failEachAllocation(const char* szWork, long nAtLeast, const std::function<void(chXmlElement&)>& work,
                        bool bUnchanged = true) {
    SCOPED_TRACE(szWork);
    const chXmlElement whole = chXmlDocument::ParseDocument(manyAttributes()).getChildElement();
    for (long n = 0;; ++n) {
        chXmlElement tree = whole.clone();
        if (!runsOut(n, [&] { work(tree); })) {
            EXPECT_GE(n, nAtLeast);
            return;
        }
        ASSERT_LT(n, 1000);
        if (bUnchanged) {
            ASSERT_EQ(dump(whole), dump(tree)) << n;
        }
    }
}

TEST_F(chXmlMemoryFaults, EachAllocationFailingInTurn) {
    const std::string szText = manyAttributes(), szName(300, 'n'), szBody(300, 'b');
    failEachAllocation("parse", 50, [&](chXmlElement&) { chXmlDocument::ParseDocument(szText); });
    failEachAllocation("clone", 40, [](chXmlElement& tree) { tree.clone(); });
    failEachAllocation("export", 2, [](chXmlElement& tree) { tree.ExportToText(false); });
    failEachAllocation("add", 1, [&](chXmlElement& tree) { tree.AddChildElement(szName); });
    failEachAllocation("new attribute", 2,
                       [&](chXmlElement& tree) { tree.SetAttributeValue(szName, szBody); });
    failEachAllocation("other value", 1, [&](chXmlElement& tree) {
        chXmlElement(tree["a"]).SetAttributeValue("attribute7", szText);
    });
    failEachAllocation("new option", 2, [&](chXmlElement& tree) { tree.SetOption(szName, szBody); });
    failEachAllocation("other option", 1, [&](chXmlElement& tree) { tree.SetOption("option", szText); });
    failEachAllocation(
        "first text", 1,
        [&](chXmlElement& tree) {
            chXmlElement(tree["a"]).RemoveChildObject(tree["a"].getChild());
            tree.SetOption("a", szBody);
        },
        false);
    failEachAllocation(
        "door", 50, [&](chXmlElement& tree) { tree.chXmlObject::parseContent(szText); }, false);
    failEachAllocation("entities", 1, [&](chXmlElement&) { xmlXMLPhrase2Text(xmlText2XMLPhrase(szText)); });
}

// A load that fails for memory changes neither the document nor the path; a save that
// does touches no file.
TEST_F(chXmlMemoryFaults, Files) {
    const TempDir dir;
    const std::string szOther = dir.write("other", manyAttributes()), szPath = dir.write("f", "<former/>");
    chXmlFile file(szPath);
    long n = 0;
    for (bool bSaved = false; !bSaved; ++n) {
        EXPECT_FALSE(runsOut(n, [&] { bSaved = file.SaveToFile(""); }));
        ASSERT_EQ(bSaved ? "<former/>\n" : "<former/>", TempDir::read(szPath)) << n;
        ASSERT_FALSE(std::filesystem::exists(szPath + ".new") || std::filesystem::exists(szPath + ".old"))
            << n;
    }
    EXPECT_GT(n, 3);
    n = 0;
    for (bool bLoaded = false; !bLoaded; ++n) {
        ASSERT_LT(n, 1000);
        if (runsOut(n, [&] { bLoaded = file.LoadFromFile(szOther); })) {
            ASSERT_TRUE(file.SaveToFile(""));
            ASSERT_EQ("<former/>\n", TempDir::read(szPath)) << n;
        } else {
            ASSERT_EQ(bLoaded, file.hasChildren()) << n;  // Else the file could not be read.
            ASSERT_TRUE(bLoaded || file.LoadFromFile(szPath));
        }
        ASSERT_EQ(manyAttributes(), TempDir::read(szOther));
    }
    EXPECT_GT(n, 50);
}

TEST_F(chXmlMemoryFaults, NoMoreMemoryToMap) {
    if (vdx::CELLS_FROM_HEAP) GTEST_SKIP() << "cells come from the heap here";
    std::string szText = "<r>";
    for (int i = 0; i < 5000; ++i)
        szText += "<a b='c'/>t";
    szText += "</r>";
    struct Kept {  // A class of its own: clang doubts containers of handles.
        chXmlDocument document;
    };
    std::vector<Kept> documents;
    xmltest::setMappingFails(true);
    EXPECT_THROW(for (;;) documents.push_back({chXmlDocument::ParseDocument(szText)}), std::bad_alloc);
    xmltest::setMappingFails(false);
    const chXmlDocument document = chXmlDocument::ParseDocument(szText);
    EXPECT_EQ(szText.size(), document.ExportToText(true).size());
}

}  // namespace
