// Slabs of cells: cut, lent to threads by the hundred, returned to the system when empty.
#include "xml/cell_slabs.h"

#include <sys/mman.h>
#include <unistd.h>
#include <algorithm>
#include <cstdint>

#include "base/fork_hooks.h"
#include "base/no_destructor.h"

namespace vdx {

namespace {

constexpr std::size_t SLAB_BYTES = 256U * 1024U;
constexpr std::size_t HEADER_BYTES = 64;
// Empty slabs for the next document: 16 MiB as they are, and beyond that up to 128 MiB in
// all, which the system may take back when it is short of memory. The rest it gets at once.
constexpr std::size_t MAX_SPARE = 64;
constexpr std::size_t MAX_LENT_BACK = 512;

// Memory at a multiple of its size: maps twice as much and unmaps what is beside it.
char* mapSlab() {
    void* pMapped = mmap(nullptr, 2 * SLAB_BYTES, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pMapped == MAP_FAILED) throw std::bad_alloc();
    const auto nAddress = reinterpret_cast<std::uintptr_t>(pMapped);
    const std::size_t nBefore = (SLAB_BYTES - nAddress % SLAB_BYTES) % SLAB_BYTES;
    char* pSlab = static_cast<char*>(pMapped) + nBefore;
    if (nBefore) munmap(pMapped, nBefore);
    munmap(pSlab + SLAB_BYTES, SLAB_BYTES - nBefore);
    return pSlab;
}

}  // namespace

struct CellSlabs::Slab {
    Slab* pNext;
    Slab* pPrevious;
    FreeCell* pFree;
    CellKind kind;
    std::uint32_t nFresh;  // Offset of the memory never used.
    std::uint32_t nOut;

    std::size_t cellSize() const { return CELL_SIZES[static_cast<std::size_t>(kind)]; }
    bool hasFresh() const { return nFresh + cellSize() <= SLAB_BYTES; }
    bool hasRoom() const { return pFree || hasFresh(); }

    static Slab* of(void* pCell) {
        const std::uintptr_t nInside = reinterpret_cast<std::uintptr_t>(pCell) % SLAB_BYTES;
        return reinterpret_cast<Slab*>(static_cast<char*>(pCell) - nInside);
    }
    void lendFree(CellCache& cache, std::size_t nMost) {
        while (pFree && cache.nHead < nMost) {
            FreeCell* pCell = pFree;
            pFree = pCell->pNext;
            pCell->pNext = cache.pHead;
            cache.pHead = pCell;
            ++cache.nHead;
        }
        nOut += cache.nHead;
    }
    void lendFresh(CellCache& cache, std::size_t nMost) {
        const std::size_t nLeft = (SLAB_BYTES - nFresh) / cellSize();
        const std::size_t nLent = std::min(nLeft, nMost);
        cache.pFresh = reinterpret_cast<char*>(this) + nFresh;
        cache.pFreshEnd = cache.pFresh + nLent * cellSize();
        nFresh += static_cast<std::uint32_t>(nLent * cellSize());
        nOut += static_cast<std::uint32_t>(nLent);
    }
};

CellSlabs::CellSlabs() {
    setForkHooks(ForkOrder::XmlCells, {lockForFork, unlockAfterFork, unlockAfterFork});
}

CellSlabs& CellSlabs::shared() {
    static NoDestructor<CellSlabs> s_slabs;
    return s_slabs.get();
}

namespace {

// Made while the library is loaded. A thread that made it later could be in the midst of
// that, or hold its lock, at a fork which had begun before.
[[maybe_unused]] const bool s_bMade = (CellSlabs::shared(), true);

}  // namespace

void CellSlabs::lockForFork() {
    shared().m_lock.lock();
}
void CellSlabs::unlockAfterFork() {
    shared().m_lock.unlock();
}

void CellSlabs::refill(CellKind kind, CellCache& cache, std::size_t nMost) {
    const std::lock_guard<std::mutex> guard(m_lock);
    Slab* pSlab = slabWithRoom(kind);
    if (pSlab->pFree) {
        pSlab->lendFree(cache, nMost);
    } else {
        pSlab->lendFresh(cache, nMost);
    }
    if (!pSlab->hasRoom()) unlink(pSlab);
}

void CellSlabs::giveBack(FreeCell* pCells) noexcept {
    const std::lock_guard<std::mutex> guard(m_lock);
    while (pCells) {
        FreeCell* pCell = pCells;
        pCells = pCell->pNext;
        Slab* pSlab = Slab::of(pCell);
        if (!pSlab->hasRoom()) link(pSlab);
        pCell->pNext = pSlab->pFree;
        pSlab->pFree = pCell;
        if (--pSlab->nOut == 0) retire(pSlab);
    }
}

std::size_t CellSlabs::mappedBytes() {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_nMapped * SLAB_BYTES;
}

CellSlabs::Slab* CellSlabs::slabWithRoom(CellKind kind) {
    static_assert(sizeof(Slab) <= HEADER_BYTES);
    if (Slab* pFound = m_pWithRoom[static_cast<std::size_t>(kind)]) return pFound;
    void* pMemory = m_pSpare;
    if (pMemory) {
        m_pSpare = m_pSpare->pNext;
        --m_nSpare;
    } else {
        pMemory = mapSlab();
        ++m_nMapped;
    }
    auto* pSlab = ::new (pMemory) Slab{nullptr, nullptr, nullptr, kind, HEADER_BYTES, 0};
    link(pSlab);
    return pSlab;
}

void CellSlabs::link(Slab* pSlab) {
    Slab*& pHead = m_pWithRoom[static_cast<std::size_t>(pSlab->kind)];
    pSlab->pPrevious = nullptr;
    pSlab->pNext = pHead;
    if (pHead) pHead->pPrevious = pSlab;
    pHead = pSlab;
}

void CellSlabs::unlink(Slab* pSlab) {
    Slab*& pHead = m_pWithRoom[static_cast<std::size_t>(pSlab->kind)];
    (pSlab->pPrevious ? pSlab->pPrevious->pNext : pHead) = pSlab->pNext;
    if (pSlab->pNext) pSlab->pNext->pPrevious = pSlab->pPrevious;
}

void CellSlabs::retire(Slab* pSlab) noexcept {
    unlink(pSlab);
    if (m_nSpare >= MAX_LENT_BACK) {
        munmap(pSlab, SLAB_BYTES);
        --m_nMapped;
        return;
    }
    if (m_nSpare >= MAX_SPARE) {
        // All but the page with the link to the next one.
        const auto nKept = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        madvise(reinterpret_cast<char*>(pSlab) + nKept, SLAB_BYTES - nKept, MADV_FREE);
    }
    pSlab->pNext = m_pSpare;
    m_pSpare = pSlab;
    ++m_nSpare;
}

}  // namespace vdx
