// The pool: its bytes, its rules at their edges, the picture it leaves, and long random use.
#include <cerrno>
#include <climits>
#include <filesystem>
#include <new>
#include <random>

#include <gtest/gtest.h>

#include <vdx/directories.h>
#include <vdx/platform.h>
#include <vdx/pool.h>

#include "memory/pool_shadow.h"
#include "support/temp_dir.h"

namespace {

using pooltest::nBlock;
using pooltest::Shadow;

TEST(Pool, BytesOfANewPoolAndOfItsFirstCell) {
    using Words = std::vector<std::int64_t>;
    Shadow shadow(1000);
    // Size and place of the block, the list's head, the cell and its node.
    EXPECT_EQ(shadow.image().words(8, 56), (Words{1000 | 24LL << 32, 24, 24, INT64_MIN | 1000, -24, -24}));
    EXPECT_EQ(shadow.pool().alloc(1), shadow.at(nBlock + 8));
    // The head, the used cell, whose node is in no list, the rest and its node.
    EXPECT_EQ(shadow.image().words(16, 80), (Words{48, 48, 24, -1, -1, INT64_MIN | 976, -48, -48}));
}

TEST(Pool, WhatARequestTakes) {
    const struct {
        int nPool;
        int nAsked;
        std::int64_t nGiven;  // -1: nothing.
        bool bRest;           // A free cell is left.
    } rows[] = {{256, 0, 16, true},
                {256, 16, 16, true},
                {256, 17, 20, true},
                {256, -1, 16, true},
                {256, INT_MIN, 16, true},
                {8 + 40, 40, 40, false},
                {8 + 40 + 1, 40, 41, false},
                {8 + 40 + 24, 40, 64, false},  // Too little is left for a cell of its own.
                {8 + 40 + 25, 40, 40, true},
                {1000, 993, -1, true},
                {1000, INT_MAX - 3, -1, true},
                {1000, INT_MAX, -1, true},
                {24, 1, 16, false},
                {23, 1, -1, false},  // No room for any cell.
                {0, 1, -1, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.nAsked << " of " << row.nPool);
        Shadow shadow(row.nPool);
        const std::int64_t nData = shadow.alloc(row.nAsked);
        EXPECT_EQ(nData < 0 ? -1 : shadow.pool().get_available_bytes(shadow.at(nData)), row.nGiven);
        EXPECT_EQ(shadow.pool().find_big_enough_cell(1) != nullptr, row.bRest);
        for (const int nMore : {row.nAsked, INT_MAX})
            EXPECT_EQ(shadow.realloc(0, nMore), nMore == INT_MAX ? -1 : nData);
        EXPECT_NO_THROW(shadow.check());
    }
}

TEST(Pool, NeighboursJoinWhenASearchReachesThem) {
    Shadow shadow(400);
    for (const int n : {32, 32, 400 - 2 * 40 - 8})
        shadow.alloc(n);
    shadow.free(0);
    shadow.free(0);
    EXPECT_EQ(shadow.image().words(nBlock, nBlock + 8), std::vector<std::int64_t>{INT64_MIN | 40});
    EXPECT_EQ(shadow.alloc(72), nBlock + 8);
    EXPECT_EQ(shadow.pool().get_available_bytes(shadow.at(nBlock + 8)), 72);
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
    EXPECT_EQ(pPool->find_big_enough_cell(1), nullptr);
}

TEST(Pool, PointerAndCellChecks) {
    Shadow shadow(1000);
    basePoolAlloc& pool = shadow.pool();
    const std::pair<std::int64_t, bool> rows[] = {{7, false}, {8, true}, {1007, true}, {1008, false}};
    for (const auto& [nOffset, bValid] : rows)
        EXPECT_EQ(pool.is_valid_pointer(shadow.at(nBlock + nOffset)), bValid) << nOffset;
    EXPECT_FALSE(pool.is_valid_pointer(nullptr));

    const auto warns = [&](pool_chain* pCell, const testing::Message& line) {
        testing::internal::CaptureStderr();
        EXPECT_FALSE(pool.is_valid_cell(pCell));
        const std::string errors = testing::internal::GetCapturedStderr();
        EXPECT_NE(errors.find(line.GetString() + "]\n"), std::string::npos) << errors;
    };
    pool_chain* pBegin = pool.begin_cell();
    pool_chain* pEnd = pool.end_cell();
    EXPECT_TRUE(pool.is_valid_cell(pBegin));
    warns(pEnd, testing::Message() << "pCell " << pEnd << " not in [" << pBegin << ' ' << pEnd);
    pBegin->set_iOffsetRightCell(1001);
    warns(pBegin, testing::Message() << "pRight " << pBegin->get_pRight() << " not in [" << pBegin << ' '
                                     << pBegin << ' ' << pEnd);
}

TEST(Pool, StepsByHand) {
    Shadow shadow(1000);
    basePoolAlloc& pool = shadow.pool();
    for (const int n : {993, INT_MAX})
        EXPECT_EQ(pool.find_big_enough_cell(n), nullptr);
    pool_chain* pCell = pool.find_big_enough_cell(50);
    EXPECT_EQ(pCell->get_nPoolSize(), 52);
    EXPECT_TRUE(pCell->is_free_cell());
    EXPECT_EQ(pool_chain::get_pCell(pool.pop_free_cell(pCell)), pCell);
    EXPECT_EQ(pCell->get_pNode()->get_next(), nullptr);
    EXPECT_EQ(pCell->get_pNode()->get_prev(), nullptr);
    pool.push_free_cell(pCell);
    EXPECT_TRUE(pool.try_join_right_cell(pCell));
    EXPECT_FALSE(pool.try_join_right_cell(pCell));

    for (const int nNeed : {-1, 0, 15, 992 - 23, INT_MAX}) {
        pool.disjoin_big_cell(pCell, nNeed);
        EXPECT_EQ(pCell->get_nPoolSize(), 992) << nNeed;
    }
    void* pUsed = pool.alloc(992);
    std::memset(pUsed, 0x5A, 992);
    pool.disjoin_big_cell(pCell, 992 - 24);  // The user's bytes are no list node.
    EXPECT_EQ(pool.get_available_bytes(pUsed), 968);
    EXPECT_EQ(pooltest::findFault(shadow.image(), {{nBlock + 8, 968}}), "");
}

// What an exhausted pool leaves behind: the owner's word, the allocator and the block.
TEST(Pool, DumpsItselfWhereTheFolderExists) {
    const TempDir dir;
    vdxSetAppDocPath(dir.path());
    Shadow shadow(256);
    char name[100];
    (void)std::snprintf(name, sizeof name, "log/%d-%p.data.dump", vdxGetCurrentProcessId(),
                        static_cast<void*>(shadow.at(0)));
    const std::string before(shadow.at(0), shadow.at(nBlock + 256));
    const auto exhaust = [&] {
        errno = EDOM;
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        EXPECT_EQ(shadow.pool().alloc(1000), nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStderr() + testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(errno, EDOM);
    };
    exhaust();
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
    dir.makeDir("log");
    EXPECT_EQ(shadow.pool().find_big_enough_cell(1000), nullptr);  // Looking leaves nothing.
    EXPECT_TRUE(std::filesystem::is_empty(dir / "log"));
    exhaust();
    EXPECT_EQ(TempDir::read(dir / name), before);
    EXPECT_NO_THROW(shadow.check());
}

TEST(Pool, LongRandomUseAtMovingAddresses) {
    vdxSetAppDocPath("/dev/null");  // No dumps.
    const struct {
        const char* szLabel;
        int nPoolSize;
        unsigned nLargest;
    } mixes[] = {{"small cells", 65536, 100}, {"odd size", 4099, 200}, {"large cells", 20001, 4000}};
    for (const auto& mix : mixes) {
        SCOPED_TRACE(mix.szLabel);
        std::mt19937 random(20240229);
        Shadow shadow(mix.nPoolSize);
        for (int i = 0; i < 20000; ++i) {
            const auto n = static_cast<int>(random() % mix.nLargest);
            ASSERT_NO_THROW(shadow.step(random() % 8, random() % 4096, n)) << i;
            if (i % 64 == 0) {
                ASSERT_NO_THROW(shadow.check()) << i;
            }
        }
        EXPECT_NO_THROW(shadow.check());
    }
}

}  // namespace
