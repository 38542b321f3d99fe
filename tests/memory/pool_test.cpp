// The pool: rules at their edges, and its bytes against the model after long random sequences.
#include <climits>
#include <new>
#include <random>

#include <gtest/gtest.h>

#include <vdx/pool.h>

#include "memory/pool_model.h"

namespace {

using pooltest::nAllocator;
using pooltest::nBlock;

// A pool in an image that can be moved to another address at any time.
class Segment {
public:
    explicit Segment(int nSize, unsigned char nFill = 0xA5)
        : m_bytes(static_cast<std::size_t>(nBlock + nSize), nFill), m_pImage(&m_bytes[0]) {
        new (m_pImage + nAllocator) basePoolAlloc;
        EXPECT_TRUE(pool().init_pool(m_pImage + nBlock, nSize));
    }

    basePoolAlloc& pool() { return *reinterpret_cast<basePoolAlloc*>(m_pImage + nAllocator); }
    unsigned char* at(std::int64_t nOffset) { return m_pImage + nOffset; }
    std::int64_t offset(const void* p) const {
        return p == nullptr ? -1 : static_cast<const unsigned char*>(p) - m_pImage;
    }
    std::vector<unsigned char> image() const { return {m_pImage, m_pImage + size()}; }
    std::size_t size() const { return m_bytes.size() - m_nShift; }

    // Copies everything elsewhere, on an address that is no multiple of 8, and overwrites the old place.
    void move() {
        std::vector<unsigned char> moved(size() + 4);
        std::memcpy(&moved[4], m_pImage, size());
        std::memset(m_pImage, 0xEE, size());
        m_bytes.swap(moved);
        m_nShift = 4;
        m_pImage = &m_bytes[4];
    }

private:
    std::vector<unsigned char> m_bytes;
    std::size_t m_nShift = 0;
    unsigned char* m_pImage;
};

TEST(Pool, NewPoolIsOneFreeCell) {
    Segment segment(1000);
    std::vector<unsigned char> bytes = segment.image();
    const pooltest::Image image(bytes);
    EXPECT_EQ(image.read<std::int32_t>(8), 1000);
    EXPECT_EQ(image.read<std::int32_t>(12), 24);
    EXPECT_EQ(image.read<std::int64_t>(16), 24);  // Head: next, to the node at 40.
    EXPECT_EQ(image.read<std::int64_t>(24), 24);  // Head: prev, to the second word at 48.
    EXPECT_EQ(image.read<std::uint64_t>(32), 0x80000000000003E8u);
    EXPECT_EQ(image.read<std::int64_t>(40), -24);
    EXPECT_EQ(image.read<std::int64_t>(48), -24);
    EXPECT_EQ(bytes[0], 0xA5);
    EXPECT_EQ(bytes[56], 0xA5);

    EXPECT_EQ(segment.offset(segment.pool().alloc(1)), nBlock + 8);
    bytes = segment.image();
    EXPECT_EQ(image.size(nBlock + 24), 1000 - 8 - 16 - 8);
    EXPECT_EQ(image.read<std::uint64_t>(32), 24u);
    EXPECT_EQ(image.read<std::int64_t>(40), -1);
    EXPECT_EQ(image.read<std::int64_t>(48), -1);
}

TEST(Pool, RoundsToFourWithSixteenAtLeast) {
    const struct {
        int nAsked;
        std::int64_t nGiven;
    } rows[] = {{0, 16}, {1, 16}, {16, 16}, {17, 20}, {20, 20}, {21, 24}, {-1, 16}, {INT_MIN, 16}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.nAsked);
        Segment segment(256);
        EXPECT_EQ(segment.pool().get_available_bytes(segment.pool().alloc(row.nAsked)), row.nGiven);
    }
}

TEST(Pool, SplitsOnlyWhatLeavesMoreThanASmallestCell) {
    const struct {
        int nSlack;
        std::int64_t nGiven;
        bool bSplit;
    } rows[] = {{0, 40, false},  {1, 41, false}, {23, 63, false},
                {24, 64, false}, {25, 40, true}, {28, 40, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.nSlack);
        Segment segment(8 + 40 + row.nSlack);
        EXPECT_EQ(segment.pool().get_available_bytes(segment.pool().alloc(40)), row.nGiven);
        EXPECT_EQ(segment.pool().find_big_enough_cell(1) != nullptr, row.bSplit);
    }
}

TEST(Pool, WhatCannotFitGivesNull) {
    for (const int nAsked : {993, 1000, INT_MAX - 4, INT_MAX - 3, INT_MAX}) {
        SCOPED_TRACE(nAsked);
        Segment segment(1000);
        const auto before = segment.image();
        EXPECT_EQ(segment.pool().alloc(nAsked), nullptr);
        EXPECT_EQ(segment.pool().find_big_enough_cell(nAsked), nullptr);
        EXPECT_EQ(segment.image(), before);
        void* p = segment.pool().alloc(100);
        EXPECT_EQ(segment.pool().realloc(p, nAsked), nullptr);
        EXPECT_GE(segment.pool().get_available_bytes(p), 100);
    }
}

TEST(Pool, BlocksTooSmallForACellStayEmpty) {
    for (const int nSize : {0, 8, 23}) {
        SCOPED_TRACE(nSize);
        Segment segment(nSize);
        EXPECT_EQ(segment.pool().alloc(1), nullptr);
        EXPECT_EQ(segment.image(), Segment(nSize).image());
    }
    basePoolAlloc pool;
    unsigned char nothing = 0;
    EXPECT_TRUE(pool.init_pool(&nothing, -100));
    EXPECT_EQ(pool.find_big_enough_cell(1), nullptr);
    EXPECT_FALSE(pool.is_valid_pointer(&nothing));
}

TEST(Pool, MayStandBehindItsBlock) {
    std::vector<unsigned char> bytes(256 + sizeof(basePoolAlloc));
    auto* pPool = new (&bytes[256]) basePoolAlloc;  // Its list's head lies where the next cell's node would.
    pPool->init_pool(&bytes[0], 256);
    void* a = pPool->alloc(100);
    EXPECT_EQ(pPool->find_big_enough_cell(200), nullptr);
    pPool->free(a);
    EXPECT_EQ(pPool->alloc(248), &bytes[8]);
    EXPECT_EQ(pPool->find_big_enough_cell(1), nullptr);
}

TEST(Pool, NeighboursJoinWhenASearchReachesThem) {
    Segment segment(400);
    basePoolAlloc& pool = segment.pool();
    void* a = pool.alloc(32);
    void* b = pool.alloc(32);
    void* rest = pool.alloc(400 - 2 * 40 - 8);
    ASSERT_NE(rest, nullptr);
    pool.free(a);
    pool.free(b);
    std::vector<unsigned char> bytes = segment.image();
    const pooltest::Image image(bytes);
    const std::int64_t nFirst = image.next(pooltest::nHead);
    EXPECT_EQ(nFirst, segment.offset(a));
    EXPECT_EQ(image.next(nFirst), segment.offset(b));
    EXPECT_EQ(pool.alloc(72), a);
    EXPECT_EQ(pool.get_available_bytes(a), 72);
    pool.cleanup_pool();
    EXPECT_EQ(pool.get_available_bytes(a), 72);
}

TEST(Pool, ReallocGrowsInPlaceOrMoves) {
    Segment segment(1000);
    basePoolAlloc& pool = segment.pool();
    auto* a = static_cast<unsigned char*>(pool.realloc(nullptr, 40));
    void* b = pool.alloc(40);
    void* c = pool.alloc(40);
    std::memset(a, 7, 40);
    EXPECT_EQ(pool.realloc(a, 8), a);
    EXPECT_EQ(pool.realloc(a, INT_MIN), a);
    EXPECT_EQ(pool.get_available_bytes(a), 40);
    pool.free(b);
    EXPECT_EQ(pool.realloc(a, 41), a);
    EXPECT_EQ(pool.get_available_bytes(a), 88);
    auto* moved = static_cast<unsigned char*>(pool.realloc(a, 89));
    EXPECT_GT(static_cast<void*>(moved), c);
    EXPECT_EQ(std::vector<unsigned char>(moved, moved + 40), std::vector<unsigned char>(40, 7));
    EXPECT_EQ(pool.alloc(88), a);  // The old place is free again, with what it had absorbed.
}

TEST(Pool, PointerAndCellChecks) {
    Segment segment(1000);
    basePoolAlloc& pool = segment.pool();
    const struct {
        std::int64_t nPointer;
        bool bValid;
    } rows[] = {{nBlock + 7, false}, {nBlock + 8, true}, {nBlock + 1007, true}, {nBlock + 1008, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.nPointer);
        EXPECT_EQ(pool.is_valid_pointer(segment.at(0) + row.nPointer), row.bValid);
    }
    EXPECT_FALSE(pool.is_valid_pointer(nullptr));
    EXPECT_TRUE(pool.is_valid_cell(pool.begin_cell()));

    char expected[200];
    testing::internal::CaptureStderr();
    EXPECT_FALSE(pool.is_valid_cell(pool.end_cell()));
    (void)std::snprintf(expected, sizeof expected, "pCell %p not in [%p %p]\n",
                        static_cast<void*>(pool.end_cell()), static_cast<void*>(pool.begin_cell()),
                        static_cast<void*>(pool.end_cell()));
    EXPECT_NE(testing::internal::GetCapturedStderr().find(expected), std::string::npos);

    pool.begin_cell()->set_iOffsetRightCell(1001);
    void* pBad = pool.begin_cell()->get_pRight();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(pool.is_valid_cell(pool.begin_cell()));
    (void)std::snprintf(expected, sizeof expected, "pRight %p not in [%p %p %p]\n", pBad,
                        static_cast<void*>(pool.begin_cell()), static_cast<void*>(pool.begin_cell()),
                        static_cast<void*>(pool.end_cell()));
    EXPECT_NE(testing::internal::GetCapturedStderr().find(expected), std::string::npos);
}

TEST(Pool, StepsByHand) {
    Segment segment(1000);
    basePoolAlloc& pool = segment.pool();
    pool_chain* pCell = pool.find_big_enough_cell(50);
    EXPECT_EQ(pCell->get_nPoolSize(), 52);
    EXPECT_TRUE(pCell->is_free_cell());
    EXPECT_EQ(pool_chain::get_pCell(pool.pop_free_cell(pCell)), pCell);
    EXPECT_EQ(pCell->get_pNode()->get_next(), nullptr);
    EXPECT_EQ(pCell->get_pNode()->get_prev(), nullptr);
    pool.push_free_cell(pCell);
    EXPECT_TRUE(pool.try_join_right_cell(pCell));
    EXPECT_FALSE(pool.try_join_right_cell(pCell));
    EXPECT_EQ(pCell->get_iOffsetRightCell(), 1000u);

    for (const int nNeed : {-1, 0, 15, 992 - 23, INT_MAX}) {
        pool.disjoin_big_cell(pCell, nNeed);
        EXPECT_EQ(pCell->get_nPoolSize(), 992) << nNeed;
    }
    auto* pUsed = static_cast<unsigned char*>(pool.alloc(992));
    std::memset(pUsed, 0x5A, 992);
    pool.disjoin_big_cell(pool_chain::get_pCell(pUsed), 992 - 24);  // The user's bytes are no list node.
    EXPECT_EQ(pool.get_available_bytes(pUsed), 968);
    std::vector<unsigned char> bytes = segment.image();
    EXPECT_EQ(pooltest::findFault(pooltest::Image(bytes), {{segment.offset(pUsed), 968}}), "");
}

// --- Against the model --------------------------------------------------------

struct Mix {
    const char* szLabel;
    int nPoolSize;
    int nLargest;
    unsigned nAlloc, nFree, nRealloc;  // Shares of the operations.
    bool bFifo;                        // Free the oldest instead of any.
};

class PoolAgainstModel : public testing::TestWithParam<Mix> {
protected:
    void SetUp() override { m_model.init(GetParam().nPoolSize); }

    std::int64_t pick() {
        auto chosen = m_order.begin();
        if (!GetParam().bFifo) chosen += static_cast<std::ptrdiff_t>(m_random() % m_order.size());
        const std::int64_t nOffset = *chosen;
        m_order.erase(chosen);
        return nOffset;
    }
    void enter(std::int64_t nOffset, int n) {
        m_live[nOffset] = n;
        m_order.push_back(nOffset);
        const auto nMark = static_cast<unsigned char>(m_random());
        std::memset(m_segment.at(nOffset), nMark, static_cast<std::size_t>(n));
        std::memset(&m_expected[static_cast<std::size_t>(nOffset)], nMark, static_cast<std::size_t>(n));
    }
    void step() {
        const Mix& mix = GetParam();
        const unsigned nDice = static_cast<unsigned>(m_random()) % (mix.nAlloc + mix.nFree + mix.nRealloc);
        const int n = static_cast<int>(m_random() % static_cast<unsigned>(mix.nLargest));
        if (nDice < mix.nAlloc || m_order.empty()) {
            const std::int64_t nOffset = m_segment.offset(m_segment.pool().alloc(n));
            ASSERT_EQ(nOffset, m_model.alloc(n));
            if (nOffset >= 0) enter(nOffset, n);
            return;
        }
        const std::int64_t nOld = pick();
        m_live.erase(nOld);
        if (nDice < mix.nAlloc + mix.nFree) {
            m_segment.pool().free(m_segment.at(nOld));
            m_model.free(nOld);
            return;
        }
        const int nBefore = static_cast<int>(m_model.size(nOld - 8));
        const std::int64_t nNew = m_segment.offset(m_segment.pool().realloc(m_segment.at(nOld), n));
        ASSERT_EQ(nNew, m_model.realloc(nOld, n));
        enter(nNew < 0 ? nOld : nNew, nNew < 0 ? nBefore : n);
    }

    std::mt19937 m_random{20240229};
    Segment m_segment{GetParam().nPoolSize};
    std::vector<unsigned char> m_expected =
        std::vector<unsigned char>(static_cast<std::size_t>(nBlock + GetParam().nPoolSize), 0xA5);
    pooltest::Model m_model{m_expected};
    std::map<std::int64_t, int> m_live;
    std::vector<std::int64_t> m_order;
};

TEST_P(PoolAgainstModel, SameBytesAtAnyAddress) {
    for (int i = 0; i < 20000; ++i) {
        ASSERT_NO_FATAL_FAILURE(step()) << i;
        if (i % 64 == 0) {
            ASSERT_EQ(m_segment.image(), m_expected) << i;
        }
        if (i % 1000 != 999) continue;
        ASSERT_EQ(pooltest::findFault(m_model, m_live), "") << i;
        m_segment.move();
    }
    std::vector<unsigned char> bytes = m_segment.image();
    EXPECT_EQ(bytes, m_expected);
    EXPECT_EQ(pooltest::findFault(pooltest::Image(bytes), m_live), "");
}

INSTANTIATE_TEST_SUITE_P(Mixes, PoolAgainstModel,
                         testing::Values(Mix{"random", 65536, 300, 50, 40, 10, false},
                                         Mix{"tight", 4099, 200, 50, 30, 20, false},
                                         Mix{"large", 20001, 4000, 45, 40, 15, false},
                                         Mix{"fifo", 16384, 120, 50, 50, 0, true},
                                         Mix{"regrow", 32768, 600, 20, 20, 60, false}),
                         [](const auto& mix) { return std::string(mix.param.szLabel); });

}  // namespace
