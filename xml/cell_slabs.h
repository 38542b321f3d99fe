// The slabs behind the threads' cell caches, shared under one lock.
#pragma once

#include <mutex>

#include "xml/cell_pool.h"

namespace vdx {

// A slab is 256 KiB at a multiple of its own size, so that a cell's address tells
// its slab. It holds cells of one kind.
//
//   slab            + header                     + nFresh                  + 256 KiB
//   | header        | cells, out or free         | never used             |
//
// Invariants: nOut cells are with threads; the others are in pFree or beyond nFresh.
// A slab is in its kind's list iff it has one of those; with nOut == 0 it is in no
// kind's list but among the spare ones, or unmapped.
class CellSlabs {
public:
    static CellSlabs& shared();

    // Fills an empty cache with 1 to nMost cells. Throws std::bad_alloc.
    void refill(CellKind kind, CellCache& cache, std::size_t nMost);

    // Takes back every cell of a list.
    void giveBack(FreeCell* pCells) noexcept;

    std::size_t mappedBytes();

private:
    struct Slab;

    Slab* slabWithRoom(CellKind kind);
    void link(Slab* pSlab);
    void unlink(Slab* pSlab);
    void retire(Slab* pSlab) noexcept;
    static void lockForFork();
    static void unlockAfterFork();

    std::mutex m_lock;
    Slab* m_pWithRoom[CELL_KINDS] = {};
    Slab* m_pSpare = nullptr;
    std::size_t m_nSpare = 0;
    std::size_t m_nMapped = 0;

public:
    CellSlabs();
};

}  // namespace vdx
