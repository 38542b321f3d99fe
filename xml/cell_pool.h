// Memory of equal-sized cells for XML nodes, attributes and texts: a list per thread over shared slabs.
#pragma once

#include <algorithm>
#include <array>
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

// From FirstText on: the texts of nodes, by size.
enum class CellKind : std::uint32_t { PlainNode, ElementNode, Attribute, FirstText };

// Larger texts come from the heap: with them its own cost is no matter.
constexpr std::size_t CELL_SIZES[] = {80, 88, 72, 32, 48, 64, 96, 128, 192, 256};
constexpr std::size_t CELL_KINDS = std::size(CELL_SIZES);
constexpr std::size_t MAX_TEXT_CELL = CELL_SIZES[CELL_KINDS - 1];

// How many cells of a kind change hands at once: some ten pages.
constexpr std::uint32_t cellsPerList(std::size_t nKind) {
    return static_cast<std::uint32_t>(std::min<std::size_t>(512, 48 * 1024 / CELL_SIZES[nKind]));
}

// The kind of text cell that is just large enough, by size in steps of 16 bytes.
inline constexpr auto TEXT_KINDS = [] {
    std::array<std::uint8_t, MAX_TEXT_CELL / 16 + 1> kinds{};
    std::size_t nKind = static_cast<std::size_t>(CellKind::FirstText);
    for (std::size_t n = 0; n < kinds.size(); ++n) {
        if (n * 16 > CELL_SIZES[nKind]) ++nKind;
        kinds[n] = static_cast<std::uint8_t>(nKind);
    }
    return kinds;
}();

// For sizes up to MAX_TEXT_CELL.
inline CellKind textKind(std::size_t nSize) {
    return static_cast<CellKind>(TEXT_KINDS[(nSize + 15) / 16]);
}

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
    FreeCell* pSpare;  // A full list of cellsPerList cells, or null.
    char* pFresh;      // Memory never used as a cell, up to pFreshEnd.
    char* pFreshEnd;
    std::uint32_t nHead;   // Cells at pHead.
    std::uint32_t nLimit;  // 0 until the first put, and after the thread's end has begun.
};

class CellCaches {
public:
    // Those of the calling thread.
    static CellCaches& local() {
        CellCaches* pLocal = t_pLocal;
        return pLocal ? *pLocal : attach();
    }

    // Uninitialised memory of the kind's size, aligned for pointers. Throws
    // std::bad_alloc.
    void* take(CellKind kind) {
        if (CELLS_FROM_HEAP) return ::operator new(CELL_SIZES[index(kind)]);
        CellCache& cache = m_kinds[index(kind)];
        if (FreeCell* pCell = cache.pHead) {
            cache.pHead = pCell->pNext;
            --cache.nHead;
            __builtin_prefetch(cache.pHead, 1);  // It will be taken next.
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

    // Memory for a text of that many bytes. Throws std::bad_alloc.
    char* takeText(std::size_t nSize) {
        if (nSize > MAX_TEXT_CELL || CELLS_FROM_HEAP) return static_cast<char*>(::operator new(nSize));
        return static_cast<char*>(take(textKind(nSize)));
    }
    void putText(char* pText, std::size_t nSize) noexcept {
        if (nSize > MAX_TEXT_CELL || CELLS_FROM_HEAP) return ::operator delete(pText);
        put(textKind(nSize), pText);
    }

private:
    struct ThreadEnd;

    static CellCaches& attach();
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
    // To it: quicker to reach. Null before the first use.
    [[gnu::tls_model("initial-exec")]] static constinit thread_local CellCaches* t_pLocal;

    CellCache m_kinds[CELL_KINDS];
    bool m_bEnding;  // The thread's end has begun: keep nothing.
};

// Bytes of slabs that the process holds, in use or spare. For tests.
std::size_t cellSlabBytes();

}  // namespace vdx
