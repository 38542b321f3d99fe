// The threads' caches of cells: when their own cells end, and when they have too many.
#include "xml/cell_pool.h"

#include <utility>

#include "xml/cell_slabs.h"

namespace vdx {

constinit thread_local CellCaches CellCaches::t_caches{};
constinit thread_local CellCaches* CellCaches::t_pLocal = nullptr;

CellCaches& CellCaches::attach() {
    t_pLocal = &t_caches;
    return t_caches;
}

// Gives the cells back when a thread ends. Thread-local objects that are destroyed
// later may still use the caches: from then on they keep nothing.
struct CellCaches::ThreadEnd {
    bool bArmed = false;
    ~ThreadEnd() {
        t_caches.m_bEnding = true;
        t_caches.giveAllBack();
    }
    static void arm() {
        static thread_local ThreadEnd s_end;
        s_end.bArmed = true;
    }
};

void* CellCaches::takeSlow(CellKind kind) {
    CellCache& cache = m_kinds[index(kind)];
    if (cache.pSpare) {
        cache.pHead = std::exchange(cache.pSpare, nullptr);
        cache.nHead = cellsPerList(index(kind));
        return take(kind);
    }
    if (!m_bEnding) ThreadEnd::arm();
    // At the thread's end just the one, so that none is kept.
    CellSlabs::shared().refill(kind, cache, m_bEnding ? 1 : cellsPerList(index(kind)));
    return take(kind);
}

void CellCaches::putSlow(CellKind kind, void* pMemory) noexcept {
    CellCache& cache = m_kinds[index(kind)];
    if (m_bEnding) {
        CellSlabs::shared().giveBack(::new (pMemory) FreeCell{nullptr});
        return;
    }
    if (cache.nLimit == 0) {
        ThreadEnd::arm();
        cache.nLimit = cellsPerList(index(kind));
    }
    if (cache.nHead >= cache.nLimit) {
        if (cache.pSpare) CellSlabs::shared().giveBack(cache.pSpare);
        cache.pSpare = std::exchange(cache.pHead, nullptr);
        cache.nHead = 0;
    }
    push(cache, pMemory);
}

void CellCaches::giveAllBack() noexcept {
    for (std::size_t i = 0; i < CELL_KINDS; ++i) {
        CellCache& cache = m_kinds[i];
        for (; cache.pFresh != cache.pFreshEnd; cache.pFresh += CELL_SIZES[i])
            push(cache, cache.pFresh);
        if (cache.pHead) CellSlabs::shared().giveBack(cache.pHead);
        if (cache.pSpare) CellSlabs::shared().giveBack(cache.pSpare);
        cache = CellCache{};
    }
}

std::size_t cellSlabBytes() {
    return CellSlabs::shared().mappedBytes();
}

}  // namespace vdx
