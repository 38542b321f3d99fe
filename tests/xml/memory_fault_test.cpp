// Each allocation failing in turn.
#include <new>

#include <gtest/gtest.h>

#include "xml/failing_new.h"
#include "xml/xml_support.h"

namespace {

class chXmlMemoryFaults : public xmltest::LeakFree {};

// Whatever allocation fails: std::bad_alloc comes out, and nothing stays behind.
TEST_F(chXmlMemoryFaults, EachAllocationFailingInTurn) {
    std::string szText = "<root><!--" + std::string(60, 'c') + "--><a";
    for (int i = 0; i < 40; ++i)
        szText += " attribute" + std::to_string(i) + "='value that needs the heap &amp; more'";
    szText += ">text that is longer than a short one &lt;</a><![CDATA[cdata that is longer, too]]></root>";
    const chXmlDocument whole = chXmlDocument::ParseDocument(szText);
    const std::string szExpected = whole.ExportToText(true);
    const auto failing = [&](long nAllocations, auto work) {
        xmltest::setAllocationsLeft(nAllocations);
        bool bFailed = false;
        try {
            work();
        } catch (const std::bad_alloc&) {
            bFailed = true;
        }
        xmltest::setAllocationsLeft(-1);
        return bFailed;
    };
    const auto nBefore = leaked();
    long n = 0;
    while (failing(n, [&] { chXmlDocument::ParseDocument(szText); })) {
        ASSERT_EQ(nBefore, leaked()) << n;
        ASSERT_LT(++n, 1000);
    }
    EXPECT_GT(n, 80);
    for (n = 0; failing(n, [&] { whole.clone(); }); ++n)
        ASSERT_EQ(nBefore, leaked()) << n;
    EXPECT_GT(n, 40);
    for (n = 0; failing(n, [&] { whole.ExportToText(false); }); ++n)
        ASSERT_LT(n, 100);
    EXPECT_EQ(szExpected, whole.ExportToText(true));
}

}  // namespace
