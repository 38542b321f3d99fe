// The counted heap and the node allocator.
#include <vdx/node_alloc.h>

#include <gtest/gtest.h>
#include <climits>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include "support/child.h"

namespace {

struct Delta {
    std::uint32_t nAlloc;
    std::uint32_t nFree;
};

Delta countsOf(const std::function<void()>& action) {
    const auto before = dymicAllocHelper::getInstance()->getCounts();
    action();
    const auto after = dymicAllocHelper::getInstance()->getCounts();
    return {after.nAlloc - before.nAlloc, after.nFree - before.nFree};
}

template <class T>
T wordAt(const void* p) {
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

TEST(baseDymicAlloc, CountsEachCall) {
    void* p = nullptr;
    const struct {
        const char* szLabel;
        std::function<void()> action;
        Delta expected;
    } rows[] = {
        {"alloc", [&] { p = baseDymicAlloc::alloc(8); }, {1, 0}},
        {"realloc of a block", [&] { p = baseDymicAlloc::realloc(p, 4000); }, {1, 1}},
        {"realloc that fails keeps the block",
         [&] { EXPECT_EQ(baseDymicAlloc::realloc(p, -1), nullptr); },
         {1, 1}},
        {"free", [&] { baseDymicAlloc::free(p); }, {0, 1}},
        {"free of null", [&] { baseDymicAlloc::free(nullptr); }, {0, 1}},
        {"realloc of null", [&] { p = baseDymicAlloc::realloc(nullptr, 16); }, {1, 0}},
        {"free again", [&] { baseDymicAlloc::free(p); }, {0, 1}},
        {"negative size", [&] { EXPECT_EQ(baseDymicAlloc::alloc(INT_MIN), nullptr); }, {1, 0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szLabel);
        const Delta delta = countsOf(row.action);
        EXPECT_EQ(delta.nAlloc, row.expected.nAlloc);
        EXPECT_EQ(delta.nFree, row.expected.nFree);
    }
}

TEST(baseDymicAlloc, DumpPrintsCountsAndLeak) {
    const auto before = dymicAllocHelper::getInstance()->getCounts();
    void* p = baseDymicAlloc::alloc(1);
    testing::internal::CaptureStdout();
    baseDymicAlloc::dump();
    const std::string text = testing::internal::GetCapturedStdout();
    const std::string sAlloc = std::to_string(before.nAlloc + 1), sFree = std::to_string(before.nFree);
    const std::string sLeak = std::to_string(before.nAlloc + 1 - before.nFree);
    EXPECT_EQ(text, "memory alloc(" + sAlloc + ") and free(" + sFree + ") leak(" + sLeak + ")\n");
    baseDymicAlloc::free(p);
}

TEST(baseDymicAlloc, CountsAreExactWithManyThreads) {
    constexpr std::uint32_t THREADS = 4, ROUNDS = 5000;
    const Delta delta = countsOf([] {
        std::vector<std::thread> threads;
        for (std::uint32_t i = 0; i < THREADS; ++i) {
            threads.emplace_back([] {
                for (std::uint32_t n = 0; n < ROUNDS; ++n)
                    baseDymicAlloc::free(baseDymicAlloc::alloc(16));
            });
        }
        for (std::thread& thread : threads)
            thread.join();
    });
    EXPECT_EQ(delta.nAlloc, THREADS * ROUNDS);
    EXPECT_EQ(delta.nFree, THREADS * ROUNDS);
}

TEST(baseDymicAlloc, ForkWhileAnotherThreadAllocates) {
    const int nBad = vdxtest::forkWhileBusy(
        50, [] { baseDymicAlloc::free(baseDymicAlloc::alloc(16)); },
        [] {
            dymicAllocHelper::getInstance()->countAlloc();
            return true;
        });
    EXPECT_EQ(nBad, 0);
}

TEST(baseDynamicNodeAlloc_block, BlocksAndNodesLieAsDescribed) {
    baseDynamicNodeAlloc_block nodes;
    std::vector<char*> lent;
    const Delta delta = countsOf([&] {
        for (int i = 0; i < 4; ++i)
            lent.push_back(static_cast<char*>(nodes.borrow_node(32, 4)));
    });
    EXPECT_EQ(delta.nAlloc, 1u);
    char* pBlock = lent[0] - 16;
    EXPECT_EQ(wordAt<void*>(pBlock), nullptr);
    EXPECT_EQ(wordAt<std::int32_t>(pBlock + 8), 144);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(lent[static_cast<std::size_t>(i)], pBlock + 16 + 32 * i);
    for (int i = 1; i < 4; ++i) {
        // Lending does not touch the back links that were laid.
        EXPECT_EQ(wordAt<char*>(pBlock + 16 + 32 * i + 8), pBlock + 16 + 32 * (i - 1) + 8);
    }

    char* pFifth = static_cast<char*>(nodes.borrow_node(32, 4));
    EXPECT_EQ(wordAt<char*>(pFifth - 16), pBlock);
    EXPECT_EQ(nodes.getNodesInUse(), 5);
    EXPECT_TRUE(nodes.IsValidPointer(pBlock + 16));
    EXPECT_TRUE(nodes.IsValidPointer(pBlock + 144));
    EXPECT_FALSE(nodes.IsValidPointer(pBlock + 15));
    EXPECT_FALSE(nodes.IsValidPointer(nullptr));

    EXPECT_EQ(countsOf([&] { nodes.cleanup_nodes(); }).nFree, 2u);
    EXPECT_EQ(nodes.getNodesInUse(), 0);
    EXPECT_FALSE(nodes.IsValidPointer(pBlock + 16));
}

TEST(baseDynamicNodeAlloc_block, LastReturnedIsNextLent) {
    baseDynamicNodeAlloc_block nodes;
    char* pFirst = static_cast<char*>(nodes.borrow_node(24, 3));
    char* pSecond = static_cast<char*>(nodes.borrow_node(24, 3));
    char* pThird = pSecond + 24;
    EXPECT_EQ(nodes.return_node(pFirst), pThird);
    EXPECT_EQ(wordAt<char*>(pThird + 8), pFirst + 8);
    EXPECT_EQ(nodes.return_node(pSecond), pFirst);
    EXPECT_EQ(nodes.getNodesInUse(), 0);
    EXPECT_EQ(nodes.borrow_node(24, 3), pSecond);
    EXPECT_EQ(nodes.borrow_node(24, 3), pFirst);
    EXPECT_EQ(nodes.borrow_node(24, 3), pThird);
}

TEST(baseDynamicNodeAlloc_block, HashBlockIsApartFromTheNodes) {
    baseDynamicNodeAlloc_block nodes;
    char* pNode = static_cast<char*>(nodes.borrow_node(16, 2));
    auto* pArray = static_cast<char*>(nodes.AllocHashBlock(1, 1000));
    ASSERT_NE(pArray, nullptr);
    std::memset(pArray, 0xAB, 1000);
    EXPECT_EQ(nodes.getNodesInUse(), 1);
    EXPECT_TRUE(nodes.IsValidPointer(pArray + 999));
    EXPECT_EQ(nodes.borrow_node(16, 2), pNode + 16);
}

TEST(baseDynamicNodeAlloc_block, RefusesImpossibleSizes) {
    const struct {
        int nNodeSize, nNodeCount;
    } rows[] = {{15, 4},      {0, 1},        {-16, 4}, {16, 0}, {16, -1}, {INT_MIN, INT_MIN},
                {INT_MAX, 2}, {65536, 32768}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.nNodeSize << " x " << row.nNodeCount);
        baseDynamicNodeAlloc_block nodes;
        EXPECT_EQ(nodes.borrow_node(row.nNodeSize, row.nNodeCount), nullptr);
        EXPECT_EQ(nodes.getNodesInUse(), 0);
    }
}

TEST(baseDynamicNodeAlloc_block, OddNodeSizesAreUsable) {
    baseDynamicNodeAlloc_block nodes;
    std::vector<void*> lent;
    for (int i = 0; i < 100; ++i) {
        lent.push_back(nodes.borrow_node(17, 7));
        std::memset(lent.back(), i, 17);
    }
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(static_cast<unsigned char*>(lent[static_cast<std::size_t>(i)])[16], i);
        nodes.return_node(lent[static_cast<std::size_t>(i)]);
    }
    EXPECT_EQ(nodes.getNodesInUse(), 0);
}

}  // namespace
