// The counted heap and the node allocator.
#include <vdx/node_alloc.h>

#include <gtest/gtest.h>
#include <climits>
#include <cstring>

#include "support/child.h"
#include "support/threads.h"

namespace {

using Counts = std::pair<std::uint32_t, std::uint32_t>;  // Allocations and frees.

template <class Action>
Counts countsOf(const Action& action) {
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
    EXPECT_EQ(countsOf([&] { p = baseDymicAlloc::alloc(8); }), Counts(1, 0));
    EXPECT_EQ(countsOf([&] { p = baseDymicAlloc::realloc(p, 4000); }), Counts(1, 1));
    EXPECT_EQ(countsOf([&] { EXPECT_EQ(baseDymicAlloc::realloc(p, -1), nullptr); }), Counts(1, 1));
    std::memset(p, 1, 4000);  // The one that failed kept the block.
    EXPECT_EQ(countsOf([&] { baseDymicAlloc::free(p); }), Counts(0, 1));
    EXPECT_EQ(countsOf([] { baseDymicAlloc::free(nullptr); }), Counts(0, 1));
    testing::internal::CaptureStdout();
    baseDymicAlloc::dump();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "memory alloc(3) and free(4) leak(-1)\n");
    EXPECT_EQ(countsOf([&] { p = baseDymicAlloc::realloc(nullptr, 16); }), Counts(1, 0));
    baseDymicAlloc::free(p);
    EXPECT_EQ(countsOf([] { EXPECT_EQ(baseDymicAlloc::alloc(INT_MIN), nullptr); }), Counts(1, 0));
}

TEST(baseDymicAlloc, CountsAreExactWithManyThreads) {
    const Counts counts = countsOf([] {
        vdxtest::runTogether(4, [](int) {
            for (int i = 0; i < 5000; ++i)
                baseDymicAlloc::free(baseDymicAlloc::alloc(16));
        });
    });
    EXPECT_EQ(counts, Counts(20000, 20000));
}

TEST(baseDymicAlloc, ForkWhileAnotherThreadAllocates) {
    const auto use = [] { return baseDymicAlloc::free(baseDymicAlloc::alloc(16)), true; };
    EXPECT_EQ(vdxtest::forkWhileBusy(50, use, use), 0);
}

TEST(baseDynamicNodeAlloc_block, BlocksAndNodesLieAsDescribed) {
    baseDynamicNodeAlloc_block nodes;
    char* lent[5];
    const Counts counts = countsOf([&] {
        for (char*& pNode : lent)
            pNode = static_cast<char*>(nodes.borrow_node(32, 4));
    });
    EXPECT_EQ(counts, Counts(2, 0));
    EXPECT_EQ(nodes.getNodesInUse(), 5);
    char* const pBlock = lent[0] - 16;
    EXPECT_EQ(wordAt<void*>(pBlock), nullptr);
    EXPECT_EQ(wordAt<std::int32_t>(pBlock + 8), 144);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(lent[i], pBlock + 16 + 32 * i);
        // Lending does not touch the back links that were laid.
        EXPECT_EQ(wordAt<char*>(lent[i] + 8), i == 0 ? nullptr : lent[i] - 32 + 8);
    }
    EXPECT_EQ(wordAt<char*>(lent[4] - 16), pBlock);
    // Kept: the end is accepted.
    EXPECT_TRUE(nodes.IsValidPointer(pBlock + 16) && nodes.IsValidPointer(pBlock + 144));
    EXPECT_FALSE(nodes.IsValidPointer(pBlock + 15) || nodes.IsValidPointer(nullptr));

    EXPECT_EQ(countsOf([&] { nodes.cleanup_nodes(); }), Counts(0, 2));
    EXPECT_EQ(nodes.getNodesInUse(), 0);
    EXPECT_FALSE(nodes.IsValidPointer(pBlock + 16));
}

TEST(baseDynamicNodeAlloc_block, LastReturnedIsNextLent) {
    baseDynamicNodeAlloc_block nodes;
    char* pFirst = static_cast<char*>(nodes.borrow_node(17, 3));  // Nodes may lie at any address.
    char* pSecond = static_cast<char*>(nodes.borrow_node(17, 3));
    char* pThird = pSecond + 17;
    char* pArray = static_cast<char*>(nodes.AllocHashBlock(1, 1000));  // Apart from the nodes.
    std::memset(pArray, 0xAB, 1000);
    EXPECT_TRUE(nodes.IsValidPointer(pArray + 999));
    EXPECT_EQ(nodes.getNodesInUse(), 2);
    EXPECT_EQ(nodes.return_node(pFirst), pThird);
    EXPECT_EQ(wordAt<char*>(pThird + 8), pFirst + 8);
    EXPECT_EQ(nodes.return_node(pSecond), pFirst);
    for (char* pNext : {pSecond, pFirst, pThird})
        EXPECT_EQ(nodes.borrow_node(17, 3), pNext);
    EXPECT_EQ(nodes.getNodesInUse(), 3);
}

TEST(baseDynamicNodeAlloc_block, RefusesImpossibleSizes) {
    baseDynamicNodeAlloc_block nodes;
    const std::pair<int, int> rows[] = {{15, 4}, {-16, 4}, {16, 0}, {INT_MIN, INT_MIN}, {65536, 32768}};
    for (const auto& [nNodeSize, nNodeCount] : rows)
        EXPECT_EQ(nodes.borrow_node(nNodeSize, nNodeCount), nullptr) << nNodeSize << " x " << nNodeCount;
    EXPECT_EQ(nodes.AllocHashBlock(0, 1), nullptr);
    EXPECT_EQ(nodes.getNodesInUse(), 0);
}

}  // namespace
