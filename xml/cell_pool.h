// Memory of equal-sized cells for XML nodes and attributes: a list per thread over shared slabs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VDX_CELLS_FROM_HEAP 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define VDX_CELLS_FROM_HEAP 1
#endif

namespace vdx {

enum class CellKind : std::uint32_t { PlainNode, ElementNode, Attribute, Count };

constexpr std::size_t CELL_KINDS = static_cast<std::size_t>(CellKind::Count);
constexpr std::size_t CELL_SIZES[CELL_KINDS] = {96, 104, 72};

#ifdef VDX_CELLS_FROM_HEAP
constexpr bool CELLS_FROM_HEAP = true;  // Each cell its own block, so that the sanitizer sees misuse.
#else
constexpr bool CELLS_FROM_HEAP = false;
#endif

struct FreeCell {
    FreeCell* pNext;
};

// A thread's own free cells of one kind: nobody else touches them, so they need
// no lock. What it lacks it takes from the shared slabs, and what it has too much
// of it gives back there, many at a time. A cell may be freed by another thread
// than the one that took it.
struct CellCache {
    FreeCell* pHead;   // Cells to take, and to put to.
    FreeCell* pSpare;  // A full list of LIMIT cells, or null.
    char* pFresh;      // Memory never used as a cell, up to pFreshEnd.
    char* pFreshEnd;
    std::uint32_t nHead;   // Cells at pHead.
    std::uint32_t nLimit;  // 0 until the first put, and after the thread's end has begun.
};

class CellCaches {
public:
    static constexpr std::uint32_t LIMIT = 512;

    // Those of the calling thread.
    static CellCaches& local() { return t_caches; }

    // Uninitialised memory of the kind's size, aligned for pointers. Throws
    // std::bad_alloc.
    void* take(CellKind kind) {
        if (CELLS_FROM_HEAP) return ::operator new(CELL_SIZES[index(kind)]);
        CellCache& cache = m_kinds[index(kind)];
        if (FreeCell* pCell = cache.pHead) {
            cache.pHead = pCell->pNext;
            --cache.nHead;
            return pCell;
        }
        if (cache.pFresh != cache.pFreshEnd) {
            char* pCell = cache.pFresh;
            cache.pFresh += CELL_SIZES[index(kind)];
            return pCell;
        }
        return takeSlow(kind);
    }

    void put(CellKind kind, void* pMemory) noexcept {
        if (CELLS_FROM_HEAP) return ::operator delete(pMemory);
        CellCache& cache = m_kinds[index(kind)];
        if (cache.nHead >= cache.nLimit) return putSlow(kind, pMemory);
        push(cache, pMemory);
    }

private:
    struct ThreadEnd;

    static constexpr std::size_t index(CellKind kind) { return static_cast<std::size_t>(kind); }
    static void push(CellCache& cache, void* pMemory) {
        cache.pHead = ::new (pMemory) FreeCell{cache.pHead};
        ++cache.nHead;
    }
    void* takeSlow(CellKind kind);
    void putSlow(CellKind kind, void* pMemory) noexcept;
    void giveAllBack() noexcept;

    // No constructor and no destructor: usable from the first to the last
    // instruction of a thread, destructors of other thread-local objects included.
    static thread_local CellCaches t_caches;

    CellCache m_kinds[CELL_KINDS];
    bool m_bEnding;  // The thread's end has begun: keep nothing.
};

// Bytes of slabs that the process holds, in use or spare. For tests.
std::size_t cellSlabBytes();

}  // namespace vdx
