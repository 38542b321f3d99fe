// What the XML tests share: exact dumps of trees, and the leak check.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include <vdx/xml.h>

namespace xmltest {

inline std::string dumpOne(const chXmlAttributeObject& node) {
    std::string szDump = "(" + std::to_string(node.type()) + " '" + node.tagName() + "'";
    for (const auto& [szName, szValue] : *node.GetAttributeData())
        szDump += " [" + szName + "|" + szValue + "]";
    return szDump;
}

// Everything that a tree holds, without going through the writer. For shallow trees.
inline std::string dump(const chXmlObject& node) {
    if (!node.hasData()) return "()";
    std::string szDump = dumpOne(node);
    for (chXmlObject child = node.getChild(); child.hasData(); ++child)
        szDump += dump(child);
    return szDump + ")";
}

// Every node that a test makes is freed by its end.
class LeakFree : public ::testing::Test {
protected:
    static std::uint32_t leaked() {
        const auto counts = dymicAllocHelper::getInstance()->getCounts();
        return counts.nAlloc - counts.nFree;
    }
    void SetUp() override { m_nBefore = leaked(); }
    void TearDown() override { EXPECT_EQ(m_nBefore, leaked()); }

private:
    std::uint32_t m_nBefore = 0;
};

}  // namespace xmltest
