// First-fit allocation in one relocatable block.
#include <vdx/pool.h>

#include <algorithm>
#include <climits>

#include <vdx/warnings.h>

namespace {

// Sizes in bytes; a split leaves at least the smallest rest.
constexpr int nHeaderSize = sizeof(pool_chain);
constexpr int nSmallestData = sizeof(list_chain_offset);
constexpr int nSmallestRest = nHeaderSize + nSmallestData;

// Bytes of data that a request takes: at least a node, in steps of 4. Wide, so that the largest
// requests, which no pool can serve, do not wrap to small ones.
std::int64_t roundedNeed(int n) {
    return (std::int64_t{std::max(n, nSmallestData)} + 3) & ~std::int64_t{3};
}

}  // namespace

bool basePoolAlloc::init_pool(void* pBlock, int nSize) {
    m_nPoolSize = nSize;
    m_iOffsetPool = static_cast<std::int32_t>(reinterpret_cast<std::uintptr_t>(pBlock) -
                                              reinterpret_cast<std::uintptr_t>(this));
    m_free.reset();
    if (nSize < nSmallestRest) return true;
    pool_chain* pCell = begin_cell();
    pCell->set_cell_free(true);
    pCell->set_pRight(end_cell());
    pCell->get_pNode()->link_before(&m_free);
    return true;
}

bool basePoolAlloc::is_valid_pointer(const void* p) const {
    const auto nCell = reinterpret_cast<std::uintptr_t>(p) - nHeaderSize;
    const auto nBegin = reinterpret_cast<std::uintptr_t>(begin_cell());
    return nCell - nBegin < static_cast<std::uintptr_t>(std::max(m_nPoolSize, 0));
}

bool basePoolAlloc::is_valid_cell(pool_chain* pCell) const {
    const auto nCell = reinterpret_cast<std::uintptr_t>(pCell);
    const auto nBegin = reinterpret_cast<std::uintptr_t>(begin_cell());
    const auto nEnd = reinterpret_cast<std::uintptr_t>(end_cell());
    if (nCell < nBegin || nCell >= nEnd) {
        vdxOutputWarningString("pCell %p not in [%p %p]", static_cast<void*>(pCell),
                               static_cast<void*>(begin_cell()), static_cast<void*>(end_cell()));
        return false;
    }
    // A cell too near to the end has no whole header, so no right neighbour that could be read.
    pool_chain* pRight = nEnd - nCell < sizeof(pool_chain) ? nullptr : pCell->get_pRight();
    const auto nRight = reinterpret_cast<std::uintptr_t>(pRight);
    if (nRight <= nCell || nRight > nEnd) {
        vdxOutputWarningString("pRight %p not in [%p %p %p]", static_cast<void*>(pRight),
                               static_cast<void*>(begin_cell()), static_cast<void*>(pCell),
                               static_cast<void*>(end_cell()));
        return false;
    }
    return true;
}

void* basePoolAlloc::alloc(int n) {
    pool_chain* pCell = find_big_enough_cell(n);
    if (pCell == nullptr) {
        dump_pool();
        return nullptr;
    }
    pCell->set_cell_free(false);
    pCell->get_pNode()->unlink();
    return pCell->get_pData();
}

void basePoolAlloc::free(void* p) {
    push_free_cell(pool_chain::get_pCell(p));
}

void* basePoolAlloc::realloc(void* p, int n) {
    if (p == nullptr) return alloc(n);
    pool_chain* pCell = pool_chain::get_pCell(p);
    const int nOldSize = pCell->get_nPoolSize();
    while (pCell->get_nPoolSize() < n) {
        if (try_join_right_cell(pCell)) continue;
        void* pNew = alloc(n);
        if (pNew == nullptr) return nullptr;
        std::memcpy(pNew, p, static_cast<std::size_t>(nOldSize));
        push_free_cell(pCell);
        return pNew;
    }
    return p;
}

pool_chain* basePoolAlloc::find_big_enough_cell(int n) {
    const std::int64_t nNeed = roundedNeed(n);
    for (list_chain_offset* pNode = m_free.get_next(); pNode != &m_free; pNode = pNode->get_next()) {
        pool_chain* pCell = pool_chain::get_pCell(pNode);
        while (pCell->get_nPoolSize() < nNeed) {
            if (!try_join_right_cell(pCell)) break;
        }
        const int nSize = pCell->get_nPoolSize();
        if (nSize < nNeed) continue;
        if (nSize > nNeed + nSmallestRest) disjoin_big_cell(pCell, static_cast<int>(nNeed));
        return pCell;
    }
    return nullptr;
}

list_chain_offset* basePoolAlloc::pop_free_cell(pool_chain* pCell) {
    list_chain_offset* pNode = pCell->get_pNode();
    pNode->unlink();
    return pNode;
}

void basePoolAlloc::push_free_cell(pool_chain* pCell) {
    pCell->set_cell_free(true);
    pCell->get_pNode()->link_before(find_next_free(pCell));
}

bool basePoolAlloc::try_join_right_cell(pool_chain* pCell) {
    pool_chain* pRight = pCell->get_pRight();
    if (pRight >= end_cell() || !pRight->is_free_cell()) return false;
    pRight->get_pNode()->unlink();
    pCell->set_iOffsetRightCell(pCell->get_iOffsetRightCell() + pRight->get_iOffsetRightCell());
    return true;
}

void basePoolAlloc::disjoin_big_cell(pool_chain* pCell, int nNeed) {
    if (nNeed < nSmallestData || pCell->get_nPoolSize() < std::int64_t{nNeed} + nSmallestRest) return;
    auto* pRest = reinterpret_cast<pool_chain*>(static_cast<unsigned char*>(pCell->get_pData()) + nNeed);
    pRest->set_pRight(pCell->get_pRight());
    pCell->set_pRight(pRest);
    // A cell that is in use, or taken out of the list, has no successor: the rest finds its own place.
    list_chain_offset* pNext = pCell->is_free_cell() ? pCell->get_pNode()->get_next() : nullptr;
    if (pNext == nullptr) pNext = find_next_free(pRest);
    pRest->set_cell_free(true);
    pRest->get_pNode()->link_before(pNext);
}

// The node that follows pCell in the free list, or the list's head. The same place is found on three
// ways, whose lengths have nothing to do with each other: over the cells to the right up to a free one
// (short in a fragmented pool), and along the list from either end (short for the cells of a queue,
// which have a long row of used cells to their right). All are walked at once; the first to arrive ends it.
list_chain_offset* basePoolAlloc::find_next_free(pool_chain* pCell) {
    const list_chain_offset* pNode = pCell->get_pNode();
    pool_chain* const pEnd = end_cell();
    pool_chain* pRight = pCell->get_pRight();
    list_chain_offset* pFront = m_free.get_next();
    list_chain_offset* pBack = m_free.get_prev();
    for (;;) {
        if (pRight >= pEnd) return &m_free;
        if (pRight->is_free_cell()) return pRight->get_pNode();
        if (pFront == &m_free || pFront > pNode) return pFront;
        if (pBack == &m_free || pBack < pNode) return pBack->get_next();
        pRight = pRight->get_pRight();
        pFront = pFront->get_next();
        pBack = pBack->get_prev();
    }
}
