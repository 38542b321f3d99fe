// What the XML tests share: the leak check; trees, texts and counts of files in a line.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include <vdx/xml.h>

#include "xml/model.h"

namespace xmltest {

// Every node that a test makes is freed by its end.
class LeakFree : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(m_nBefore, nodesAlive()); }

private:
    const std::uint32_t m_nBefore = nodesAlive();
};

// The top element of a text.
inline chXmlElement tree(const std::string& szText) {
    return chXmlDocument::ParseDocument(szText).getChildElement();
}

inline std::size_t entries(const std::string& szDirectory) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(szDirectory), {}));
}

inline std::string repeated(std::string_view szPiece, std::size_t nTimes) {
    std::string szText;
    for (; nTimes > 0; --nTimes)
        szText += szPiece;
    return szText;
}

}  // namespace xmltest
