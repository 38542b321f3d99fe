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

// Adds the free cell on the right, which leaves the list.
void join(pool_chain* pCell, pool_chain* pRight) {
    pRight->get_pNode()->unlink();
    pCell->set_iOffsetRightCell(pCell->get_iOffsetRightCell() + pRight->get_iOffsetRightCell());
}

// Cuts off what follows nNeed bytes of data: a free cell, which is not in the list yet.
pool_chain* split(pool_chain* pCell, int nNeed) {
    auto* pRest = reinterpret_cast<pool_chain*>(static_cast<unsigned char*>(pCell->get_pData()) + nNeed);
    const unsigned long long nWidth = static_cast<unsigned>(nNeed) + sizeof(pool_chain);
    pRest->init_cell(pCell->get_iOffsetRightCell() - nWidth, true);
    pCell->set_iOffsetRightCell(nWidth);
    return pRest;
}

}  // namespace

bool basePoolAlloc::init_pool(void* pBlock, int nSize) {
    m_nPoolSize = nSize;
    m_iOffsetPool = static_cast<std::int32_t>(reinterpret_cast<std::uintptr_t>(pBlock) -
                                              reinterpret_cast<std::uintptr_t>(this));
    m_free.reset();
    if (nSize < nSmallestRest) return true;
    pool_chain* pCell = begin_cell();
    pCell->init_cell(static_cast<unsigned>(nSize), true);
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
    const std::int64_t nNeed = roundedNeed(n);
    pool_chain* pCell = find_cell(nNeed);
    if (pCell == nullptr) {
        dump_pool();
        return nullptr;
    }
    // The rest of a split takes the cell's place in the list.
    list_chain_offset* pNode = pCell->get_pNode();
    if (pCell->get_nPoolSize() > nNeed + nSmallestRest) {
        pNode->replace_by(split(pCell, static_cast<int>(nNeed))->get_pNode());
    } else {
        pNode->unlink();
    }
    pCell->set_cell_free(false);
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

// The first free cell of that size, joined with its neighbours as far as needed. The neighbour of a free
// cell is free exactly when it is the next one in the list: so no used cell is touched on the way.
pool_chain* basePoolAlloc::find_cell(std::int64_t nNeed) {
    for (list_chain_offset* pNode = m_free.next_in_list(); pNode != &m_free; pNode = pNode->next_in_list()) {
        pool_chain* pCell = pool_chain::get_pCell(pNode);
        if (pCell->get_nPoolSize() >= nNeed) return pCell;
        for (;;) {
            pool_chain* pRight = pCell->get_pRight();
            list_chain_offset* pNext = pNode->next_in_list();
            if (pNext != pRight->get_pNode() || pNext == &m_free) break;
            join(pCell, pRight);
            if (pCell->get_nPoolSize() >= nNeed) return pCell;
        }
    }
    return nullptr;
}

pool_chain* basePoolAlloc::find_big_enough_cell(int n) {
    const std::int64_t nNeed = roundedNeed(n);
    pool_chain* pCell = find_cell(nNeed);
    if (pCell != nullptr && pCell->get_nPoolSize() > nNeed + nSmallestRest) {
        disjoin_big_cell(pCell, static_cast<int>(nNeed));
    }
    return pCell;
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
    join(pCell, pRight);
    return true;
}

void basePoolAlloc::disjoin_big_cell(pool_chain* pCell, int nNeed) {
    if (nNeed < nSmallestData || pCell->get_nPoolSize() < std::int64_t{nNeed} + nSmallestRest) return;
    // A cell that is in use, or taken out of the list, has no successor: the rest finds its own place.
    list_chain_offset* pNext = pCell->is_free_cell() ? pCell->get_pNode()->get_next() : nullptr;
    pool_chain* pRest = split(pCell, nNeed);
    pRest->get_pNode()->link_before(pNext == nullptr ? find_next_free(pRest) : pNext);
}

// The node that follows pCell in the free list, or the list's head. The same place is found on three
// ways, whose lengths have nothing to do with each other: over the cells to the right up to a free one
// (short in a fragmented pool), and along the list from either end (short for the cells of a queue,
// which have a long row of used cells to their right). All are walked at once; the first to arrive ends it.
list_chain_offset* basePoolAlloc::find_next_free(pool_chain* pCell) {
    const list_chain_offset* pNode = pCell->get_pNode();
    pool_chain* const pEnd = end_cell();
    pool_chain* pRight = pCell->get_pRight();
    list_chain_offset* pFront = m_free.next_in_list();
    list_chain_offset* pBack = m_free.prev_in_list();
    for (;;) {
        if (pRight >= pEnd) return &m_free;
        if (pRight->is_free_cell()) return pRight->get_pNode();
        if (pFront == &m_free || pFront > pNode) return pFront;
        if (pBack == &m_free || pBack < pNode) return pBack->next_in_list();
        pRight = pRight->get_pRight();
        pFront = pFront->next_in_list();
        pBack = pBack->prev_in_list();
    }
}
