// The counted heap and the node allocator.
#include <vdx/node_alloc.h>

#include <gtest/gtest.h>
#include <climits>
#include <cstring>
#include <functional>
#include <utility>
#include <vector>

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
    const struct {
        const char* szLabel;
        std::function<void()> action;
        Counts expected;
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
        EXPECT_EQ(countsOf(row.action), row.expected);
    }
    const auto now = dymicAllocHelper::getInstance()->getCounts();
    testing::internal::CaptureStdout();
    baseDymicAlloc::dump();
    const testing::Message expected = testing::Message()
                                      << "memory alloc(" << now.nAlloc << ") and free(" << now.nFree
                                      << ") leak(" << static_cast<int>(now.nAlloc - now.nFree) << ")\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected.GetString());
}

TEST(baseDymicAlloc, CountsAreExactWithManyThreads) {
    constexpr std::uint32_t THREADS = 4, ROUNDS = 5000;
    const Counts counts = countsOf([] {
        vdxtest::runTogether(THREADS, [](int) {
            for (std::uint32_t n = 0; n < ROUNDS; ++n)
                baseDymicAlloc::free(baseDymicAlloc::alloc(16));
        });
    });
    EXPECT_EQ(counts, Counts(THREADS * ROUNDS, THREADS * ROUNDS));
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
    const Counts counts = countsOf([&] {
        for (int i = 0; i < 4; ++i)
            lent.push_back(static_cast<char*>(nodes.borrow_node(32, 4)));
    });
    EXPECT_EQ(counts, Counts(1, 0));
    char* pBlock = lent[0] - 16;
    EXPECT_EQ(wordAt<void*>(pBlock), nullptr);
    EXPECT_EQ(wordAt<std::int32_t>(pBlock + 8), 144);
    char* pExpected = pBlock + 16;
    for (char* pNode : lent) {
        EXPECT_EQ(pNode, pExpected);
        // Lending does not touch the back links that were laid.
        EXPECT_EQ(wordAt<char*>(pNode + 8), pNode == lent[0] ? nullptr : pNode - 32 + 8);
        pExpected += 32;
    }

    char* pFifth = static_cast<char*>(nodes.borrow_node(32, 4));
    EXPECT_EQ(wordAt<char*>(pFifth - 16), pBlock);
    EXPECT_EQ(nodes.getNodesInUse(), 5);
    EXPECT_TRUE(nodes.IsValidPointer(pBlock + 16));
    EXPECT_TRUE(nodes.IsValidPointer(pBlock + 144));  // Kept: the end is accepted.
    EXPECT_FALSE(nodes.IsValidPointer(pBlock + 15));
    EXPECT_FALSE(nodes.IsValidPointer(nullptr));

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
    EXPECT_EQ(nodes.getNodesInUse(), 0);
    for (char* pNext : {pSecond, pFirst, pThird})
        EXPECT_EQ(nodes.borrow_node(17, 3), pNext);
}

TEST(baseDynamicNodeAlloc_block, RefusesImpossibleSizes) {
    const std::pair<int, int> rows[] = {{15, 4},  {0, 1},       {-16, 4},           {16, 0},
                                        {16, -1}, {INT_MAX, 2}, {INT_MIN, INT_MIN}, {65536, 32768}};
    for (const auto& [nNodeSize, nNodeCount] : rows) {
        baseDynamicNodeAlloc_block nodes;
        EXPECT_EQ(nodes.borrow_node(nNodeSize, nNodeCount), nullptr) << nNodeSize << " x " << nNodeCount;
        EXPECT_EQ(nodes.getNodesInUse(), 0);
    }
}

}  // namespace
