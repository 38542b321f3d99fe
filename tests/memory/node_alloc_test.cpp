// The counted heap and the node allocator.
#include <vdx/node_alloc.h>

#include <gtest/gtest.h>
#include <algorithm>
#include <climits>
#include <cstring>

#include "support/calls.h"
#include "support/child.h"
#include "support/threads.h"

namespace {

using Counts = std::pair<std::uint32_t, std::uint32_t>;  // Allocations and frees.

Counts countsOf(auto action) {
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
    EXPECT_EQ(countsOf([&] { p = baseDymicAlloc::realloc(nullptr, 8); }), Counts(1, 0));
    EXPECT_EQ(countsOf([&] { p = baseDymicAlloc::realloc(p, 4000); }), Counts(1, 1));
    EXPECT_EQ(countsOf([&] { EXPECT_EQ(baseDymicAlloc::realloc(p, -1), nullptr); }), Counts(1, 1));
    std::memset(p, 1, 4000);  // The one that failed kept the block.
    EXPECT_EQ(countsOf([&] { baseDymicAlloc::free(p); }), Counts(0, 1));
    EXPECT_EQ(countsOf([] { baseDymicAlloc::free(nullptr); }), Counts(0, 1));
    EXPECT_EQ(vdxtest::printedBy(baseDymicAlloc::dump), "memory alloc(3) and free(4) leak(-1)\n");
    EXPECT_EQ(countsOf([] { EXPECT_EQ(baseDymicAlloc::alloc(INT_MIN), nullptr); }), Counts(1, 0));
}

TEST(baseDymicAlloc, CountsAreExactWithManyThreadsAndForks) {
    const auto use = [] { return baseDymicAlloc::free(baseDymicAlloc::alloc(16)), true; };
    const auto useOften = [&](int) {
        for (int i = 0; i < 20000; ++i)
            use();
    };
    EXPECT_EQ(countsOf([&] { vdxtest::runTogether(4, useOften); }), Counts(80000, 80000));
    EXPECT_EQ(vdxtest::forkWhileBusy(50, use, use), 0);
}

TEST(baseDynamicNodeAlloc_block, BlocksAndNodesLieAsDescribed) {
    baseDynamicNodeAlloc_block nodes;
    const auto borrow = [&] { return static_cast<char*>(nodes.borrow_node(17, 4)); };  // At any address.
    char* lent[5];
    EXPECT_EQ(countsOf([&] { std::generate_n(lent, 5, borrow); }), Counts(2, 0));
    char* const pBlock = lent[0] - 16;
    EXPECT_EQ(wordAt<void*>(pBlock), nullptr);
    EXPECT_EQ(wordAt<std::int32_t>(pBlock + 8), 84);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(lent[i], pBlock + 16 + 17 * i);
        // Lending does not touch the back links that were laid.
        EXPECT_EQ(wordAt<char*>(lent[i] + 8), i == 0 ? nullptr : lent[i] - 17 + 8);
    }
    EXPECT_EQ(wordAt<char*>(lent[4] - 16), pBlock);
    // Kept: the end is accepted.
    EXPECT_TRUE(nodes.IsValidPointer(pBlock + 16) && nodes.IsValidPointer(pBlock + 84));
    EXPECT_FALSE(nodes.IsValidPointer(pBlock + 15) || nodes.IsValidPointer(nullptr));

    // The last one returned is the next one lent.
    char* const pFree = lent[4] + 17;
    EXPECT_EQ(nodes.return_node(lent[0]), pFree);
    EXPECT_EQ(wordAt<char*>(pFree + 8), lent[0] + 8);
    EXPECT_EQ(nodes.return_node(lent[2]), lent[0]);
    auto* pArray = static_cast<char*>(nodes.AllocHashBlock(1, 1000));  // Apart from the nodes.
    std::memset(pArray, 0xAB, 1000);
    EXPECT_TRUE(nodes.IsValidPointer(pArray + 999));
    for (char* pNext : {lent[2], lent[0], pFree})
        EXPECT_EQ(borrow(), pNext);
    EXPECT_EQ(nodes.getNodesInUse(), 6);
    EXPECT_EQ(countsOf([&] { nodes.cleanup_nodes(); }), Counts(0, 3));
    EXPECT_EQ(nodes.getNodesInUse(), 0);
    EXPECT_FALSE(nodes.IsValidPointer(pBlock + 16));
    EXPECT_EQ(countsOf(borrow), Counts(1, 0));
}

TEST(baseDynamicNodeAlloc_block, RefusesImpossibleSizes) {
    baseDynamicNodeAlloc_block nodes;
    const std::pair<int, int> rows[] = {{15, 4}, {-16, 4}, {16, 0}, {INT_MIN, INT_MIN}, {65536, 65536}};
    for (const auto& [nNodeSize, nNodeCount] : rows)
        EXPECT_EQ(nodes.borrow_node(nNodeSize, nNodeCount), nullptr) << nNodeSize << " x " << nNodeCount;
    EXPECT_EQ(nodes.AllocHashBlock(0, 1), nullptr);
    EXPECT_EQ(nodes.getNodesInUse(), 0);
}

}  // namespace
