// The pool against Boost.Interprocess's allocation algorithms, on the same traces in the same memory.
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <new>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/interprocess/indexes/null_index.hpp>
#include <boost/interprocess/mem_algo/rbtree_best_fit.hpp>
#include <boost/interprocess/mem_algo/simple_seq_fit.hpp>
#include <boost/interprocess/sync/mutex_family.hpp>

#include <vdx/pool.h>

#include "support/ratio.h"

namespace {

namespace bip = boost::interprocess;

constexpr std::size_t nPoolBytes = 0x1FFF88;

// One interface for all: memory of the same size, no locking.
struct VdxPool {
    VdxPool()
        : pMemory(new std::uint64_t[nPoolBytes / 8 + 16]), pPool(new (pMemory.get() + 1) basePoolAlloc) {
        pPool->init_pool(pMemory.get() + 8, static_cast<int>(nPoolBytes));
    }
    void* allocate(std::size_t n) { return pPool->alloc(static_cast<int>(n)); }
    // Without a dump when it is full.
    void* tryAllocate(std::size_t n) {
        pool_chain* pCell = pPool->find_big_enough_cell(static_cast<int>(n));
        if (pCell == nullptr) return nullptr;
        pCell->set_cell_free(false);
        return pPool->pop_free_cell(pCell);
    }
    void deallocate(void* p) { pPool->free(p); }
    std::unique_ptr<std::uint64_t[]> pMemory;
    basePoolAlloc* pPool;
};

template <class Algorithm>
struct BoostPool {
    BoostPool()
        : pMemory(new std::uint64_t[nPoolBytes / 8 + 16]),
          pAlgorithm(new (pMemory.get()) Algorithm(nPoolBytes, 0)) {}
    ~BoostPool() { pAlgorithm->~Algorithm(); }
    void* allocate(std::size_t n) { return pAlgorithm->allocate(n); }
    void* tryAllocate(std::size_t n) { return pAlgorithm->allocate(n); }
    void deallocate(void* p) { pAlgorithm->deallocate(p); }
    std::unique_ptr<std::uint64_t[]> pMemory;
    Algorithm* pAlgorithm;
};
using RbTree = BoostPool<bip::rbtree_best_fit<bip::null_mutex_family>>;
using SeqFit = BoostPool<bip::simple_seq_fit<bip::null_mutex_family>>;

// What is allocated, precomputed so that no generator is measured.
std::vector<std::size_t> makeSizes(std::size_t nCount, std::size_t nSmallest, std::size_t nLargest) {
    std::mt19937 random(42);
    std::vector<std::size_t> sizes(nCount);
    for (auto& n : sizes)
        n = nSmallest + random() % (nLargest - nSmallest + 1);
    return sizes;
}

// One iteration: a block that any of the live ones makes room for.
template <class Pool>
void BM_Random(benchmark::State& state) {
    Pool pool;
    const auto nLive = static_cast<std::size_t>(state.range(0));
    const auto sizes = makeSizes(1 << 16, 16, 512);
    std::mt19937 random(7);
    std::vector<std::uint32_t> victims(1 << 16);
    for (auto& n : victims)
        n = static_cast<std::uint32_t>(random() % nLive);
    std::vector<void*> live(nLive);
    std::size_t i = 0;
    for (auto& p : live)
        p = pool.allocate(sizes[i++ & 0xFFFF]);
    for (auto _ : state) {
        void*& p = live[victims[i & 0xFFFF]];
        pool.deallocate(p);
        p = pool.allocate(sizes[i++ & 0xFFFF]);
        if (p == nullptr) std::abort();
    }
}

// One iteration: the oldest of the live blocks goes, a new one comes.
template <class Pool>
void BM_Fifo(benchmark::State& state) {
    Pool pool;
    const auto nLive = static_cast<std::size_t>(state.range(0));
    const auto sizes = makeSizes(1 << 16, static_cast<std::size_t>(state.range(1)),
                                 static_cast<std::size_t>(state.range(2)));
    std::vector<void*> live(nLive);
    std::size_t i = 0;
    for (auto& p : live)
        p = pool.allocate(sizes[i++ & 0xFFFF]);
    std::size_t nOldest = 0;
    for (auto _ : state) {
        void*& p = live[nOldest];
        if (++nOldest == nLive) nOldest = 0;
        pool.deallocate(p);
        p = pool.allocate(sizes[i++ & 0xFFFF]);
        if (p == nullptr) std::abort();
    }
}

// One iteration: a line comes into a queue that fills the whole pool; the oldest lines make room.
template <class Pool>
void BM_FullQueue(benchmark::State& state) {
    Pool pool;
    const auto sizes = makeSizes(1 << 16, 64, 200);
    std::deque<void*> lines;
    std::size_t i = 0;
    for (auto _ : state) {
        const std::size_t nSize = sizes[i++ & 0xFFFF];
        void* p;
        while ((p = pool.tryAllocate(nSize)) == nullptr) {
            pool.deallocate(lines.front());
            lines.pop_front();
        }
        lines.push_back(p);
    }
}

BENCHMARK(BM_Random<VdxPool>)->Arg(1000);
BENCHMARK(BM_Random<RbTree>)->Arg(1000);
BENCHMARK(BM_Random<SeqFit>)->Arg(1000);
VDX_FIGURE("Pool, random, 1,000 live blocks", "BM_Random<VdxPool>/1000",
           {"BM_Random<RbTree>/1000", "BM_Random<SeqFit>/1000"}, 1.1);

// Blocks of any size, and blocks as long as lines of text.
BENCHMARK(BM_Fifo<VdxPool>)->Args({1000, 16, 512})->Args({1000, 64, 200});
BENCHMARK(BM_Fifo<RbTree>)->Args({1000, 16, 512})->Args({1000, 64, 200});
BENCHMARK(BM_Fifo<SeqFit>)->Args({1000, 16, 512})->Args({1000, 64, 200});
VDX_FIGURE("Pool, first in first out, 1,000 live blocks, rbtree_best_fit", "BM_Fifo<VdxPool>/1000/16/512",
           {"BM_Fifo<RbTree>/1000/16/512"}, 4.0);
VDX_FIGURE("Pool, first in first out, 1,000 live blocks, simple_seq_fit", "BM_Fifo<VdxPool>/1000/16/512",
           {"BM_Fifo<SeqFit>/1000/16/512"}, 1.0);
VDX_FIGURE("Pool, first in first out, 1,000 live lines, rbtree_best_fit", "BM_Fifo<VdxPool>/1000/64/200",
           {"BM_Fifo<RbTree>/1000/64/200"}, 4.0);
VDX_FIGURE("Pool, first in first out, 1,000 live lines, simple_seq_fit", "BM_Fifo<VdxPool>/1000/64/200",
           {"BM_Fifo<SeqFit>/1000/64/200"}, 1.0);

BENCHMARK(BM_FullQueue<VdxPool>);
BENCHMARK(BM_FullQueue<RbTree>);
BENCHMARK(BM_FullQueue<SeqFit>);
VDX_FIGURE("Pool, queue that fills it, rbtree_best_fit", "BM_FullQueue<VdxPool>", {"BM_FullQueue<RbTree>"},
           4.0);
// Missed: docs/performance.md tells why.
VDX_FIGURE("Pool, queue that fills it, simple_seq_fit", "BM_FullQueue<VdxPool>", {"BM_FullQueue<SeqFit>"},
           1.0);

}  // namespace
