// What the XML tests share: the leak check, and exact dumps of trees.
#pragma once

#include <cstdint>

#include <gtest/gtest.h>

#include <vdx/xml.h>

#include "xml/dump.h"

namespace xmltest {

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
