// The pool: its bytes, its rules at their edges, and the picture it leaves. corpus.pool is its long random
// use.
#include <cerrno>
#include <climits>
#include <filesystem>

#include <gtest/gtest.h>

#include <vdx/directories.h>
#include <vdx/platform.h>
#include <vdx/pool.h>

#include "memory/pool_shadow.h"
#include "siblings/qvstl/format.h"
#include "support/calls.h"
#include "support/temp_dir.h"

namespace {

using namespace pooltest;

TEST(Pool, BytesOfANewPoolAndOfItsFirstCell) {
    Shadow shadow(1000);
    // Size and place of the block, the list's head, the cell and its node.
    EXPECT_EQ(wordsAt(shadow.at(8), 6), (Words{1000 | 24LL << 32, 24, 24, INT64_MIN | 1000, -24, -24}));
    EXPECT_EQ(shadow.pool().alloc(1), shadow.at(nBlock + 8));
    // The head, the used cell, whose node is in no list, the rest and its node.
    EXPECT_EQ(wordsAt(shadow.at(16), 8), (Words{48, 48, 24, -1, -1, INT64_MIN | 976, -48, -48}));
}

TEST(Pool, SmallPoolsAndRequestsAtTheirEdges) {
    for (int nPool = 0; nPool < 150; ++nPool) {
        for (const int nAsked : {INT_MIN, 16, 17, 39, 40, nPool - 8, nPool - 7, INT_MAX - 3, INT_MAX}) {
            SCOPED_TRACE(testing::Message() << nAsked << " of " << nPool);
            Shadow shadow(nPool);
            EXPECT_NO_THROW(shadow.realloc(0, 16));
            EXPECT_NO_THROW(shadow.alloc(nAsked));
            EXPECT_NO_THROW(shadow.realloc(0, nAsked));
            EXPECT_NO_THROW(shadow.check());
        }
    }
}

TEST(Pool, MayStandBehindItsBlock) {
    std::vector<unsigned char> bytes(256 + sizeof(basePoolAlloc));
    auto* pPool = new (&bytes[256]) basePoolAlloc;  // Its list's head lies where the next cell's node would.
    EXPECT_TRUE(pPool->init_pool(&bytes[0], -100));
    EXPECT_FALSE(pPool->is_valid_pointer(&bytes[8]));
    pPool->init_pool(&bytes[0], 256);
    void* a = pPool->alloc(100);
    EXPECT_EQ(pPool->find_big_enough_cell(200), nullptr);
    pPool->free(a);
    EXPECT_EQ(pPool->alloc(248), &bytes[8]);
}

TEST(Pool, PointerAndCellChecks) {
    Shadow shadow(1000);
    basePoolAlloc& pool = shadow.pool();
    const auto isValid = [&](int nOffset) { return pool.is_valid_pointer(shadow.at(nBlock + nOffset)); };
    EXPECT_TRUE(isValid(8) && isValid(1007));
    EXPECT_FALSE(isValid(7) || isValid(1008) || pool.is_valid_pointer(nullptr));

    EXPECT_TRUE(pool.is_valid_cell(pool.begin_cell()));
    const auto expectWarning = [&](pool_chain* pCell, const std::string& text) {
        const std::string line = vdxtest::printedBy([&] { EXPECT_FALSE(pool.is_valid_cell(pCell)); });
        EXPECT_TRUE(line.ends_with(text)) << line;
    };
    const void *p = pool.begin_cell(), *pEnd = pool.end_cell(), *pBeyond = shadow.at(nBlock + 1001);
    expectWarning(pool.end_cell(), qv::format_astring("pCell %p not in [%p %p]\n", pEnd, p, pEnd));
    pool.begin_cell()->set_iOffsetRightCell(1001);
    expectWarning(pool.begin_cell(),
                  qv::format_astring("pRight %p not in [%p %p %p]\n", pBeyond, p, p, pEnd));
}

TEST(Pool, StepsByHand) {
    Shadow shadow(1000);
    basePoolAlloc& pool = shadow.pool();
    pool_chain* pCell = pool.find_big_enough_cell(50);
    EXPECT_EQ(pCell->get_nPoolSize(), 52);
    list_chain_offset* pNode = pool.pop_free_cell(pCell);
    EXPECT_TRUE(pNode == pCell->get_pNode() && pCell->is_free_cell());
    EXPECT_TRUE(pNode->get_next() == nullptr && pNode->get_prev() == nullptr);
    pool.push_free_cell(pCell);
    EXPECT_TRUE(pool.try_join_right_cell(pCell) && !pool.try_join_right_cell(pCell));
    EXPECT_EQ(pool.find_big_enough_cell(992 - 24)->get_nPoolSize(), 992);  // Too little is left to cut off.
    for (const int nNeed : {-1, 0, 15, 992 - 23, INT_MAX}) {
        pool.disjoin_big_cell(pCell, nNeed);
        EXPECT_EQ(pCell->get_nPoolSize(), 992) << nNeed;
    }
    void* pUsed = pool.alloc(992);
    std::memset(pUsed, 0x5A, 992);
    pool.disjoin_big_cell(pCell, 992 - 24);  // The user's bytes are no list node.
    EXPECT_EQ(pool.get_available_bytes(pUsed), 968);
    EXPECT_EQ(wordsAt(shadow.at(nBlock + 8 + 968), 3), (Words{INT64_MIN | 24, -1000, -1000}));
}

// What an exhausted pool leaves behind: the owner's word, the allocator and the block.
TEST(Pool, DumpsItselfWhereTheFolderExists) {
    const TempDir dir;
    vdxSetAppDocPath(dir.path());
    Shadow shadow(256);
    const std::string name =
        qv::format_astring("log/%d-%p.data.dump", vdxGetCurrentProcessId(), static_cast<void*>(shadow.at(0)));
    const std::string before(shadow.at(0), shadow.at(nBlock + 256));
    const std::string printed = vdxtest::printedBy([&] {
        errno = EDOM;
        EXPECT_TRUE(shadow.pool().alloc(1000) == nullptr && errno == EDOM);
        EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
        dir.makeDir("log");
        EXPECT_EQ(shadow.pool().find_big_enough_cell(1000), nullptr);  // Looking leaves nothing.
        EXPECT_TRUE(std::filesystem::is_empty(dir / "log"));
        EXPECT_EQ(shadow.pool().alloc(1000), nullptr);
    });
    EXPECT_EQ(printed, "");
    EXPECT_EQ(TempDir::read(dir / name), before);
}

}  // namespace
