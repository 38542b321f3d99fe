// A first-fit allocator inside one block of memory that may move or be mapped by several processes.
//
//     alignas(8) static unsigned char segment[8 + sizeof(basePoolAlloc) + 4096];
//     auto* pPool = new (segment + 8) basePoolAlloc;      // 8 bytes before it are the owner's
//     pPool->init_pool(segment + 8 + sizeof(basePoolAlloc), 4096);
//     void* p = pPool->alloc(100);
//     ...
//     pPool->free(p);
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <vdx/export.h>
#include <vdx/share_pointer.h>

// A node of a circular, doubly linked list whose links are self-relative; the list's head is a node
// too. A `next` link targets the next node; a `prev` link targets the `prev` field of the previous
// node (its second word), so that both links of neighbours hold the same distance. In a head, two
// zeros are the empty list; in a node, two links of -1 mean: in no list.
class list_chain_offset {
public:
    list_chain_offset() { reset(); }
    list_chain_offset(const list_chain_offset&) = delete;
    list_chain_offset& operator=(const list_chain_offset&) = delete;

    // Makes this node the head of an empty list.
    void reset() {
        m_next.setOffset(0);
        m_prev.setOffset(0);
    }
    // Of a head: whether no node is in the list.
    bool empty() const { return m_next.offset() == 0; }

    // The neighbours; null for a node that is in no list.
    list_chain_offset* get_next() const { return m_next.hasData() ? next_in_list() : nullptr; }
    list_chain_offset* get_prev() const { return m_prev.hasData() ? prev_in_list() : nullptr; }

    // The neighbours of a node or head. Requires: it is in a list.
    list_chain_offset* next_in_list() const { return at(m_next.offset()); }
    list_chain_offset* prev_in_list() const { return at(m_prev.offset()); }

    // Puts this node between pNext and the node before it. Requires: pNext is in a list, this is not.
    void link_before(list_chain_offset* pNext) {
        connect(pNext->prev_in_list(), this);
        connect(this, pNext);
    }
    // Takes this node out of its list. Requires: it is in one.
    void unlink() {
        connect(prev_in_list(), next_in_list());
        detach();
    }
    // Puts another node, which is in no list, into this one's place.
    void replace_by(list_chain_offset* pOther) {
        list_chain_offset* pNext = next_in_list();
        connect(prev_in_list(), pOther);
        connect(pOther, pNext);
        detach();
    }

private:
    list_chain_offset* at(std::int64_t nOffset) const {
        return reinterpret_cast<list_chain_offset*>(reinterpret_cast<std::uintptr_t>(this) +
                                                    static_cast<std::uintptr_t>(nOffset));
    }
    void detach() {
        m_next.setPointer(nullptr);
        m_prev.setPointer(nullptr);
    }
    static void connect(list_chain_offset* pLeft, list_chain_offset* pRight) {
        const auto nDistance = static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(pRight) -
                                                         reinterpret_cast<std::uintptr_t>(pLeft));
        pLeft->m_next.setOffset(nDistance);
        pRight->m_prev.setOffset(-nDistance);
    }

    share_pointer m_next;
    share_pointer m_prev;
};
static_assert(sizeof(list_chain_offset) == 16 && alignof(list_chain_offset) == 1);

// The head of one cell of the pool, laid over the block:
//
//     0   8 bytes   bit 63: the cell is free; bits 0-62: distance to the next cell on the right
//     8   n bytes   data; in a free cell its first 16 bytes are the cell's node in the free list
//
// The cell at the right end of the pool has the pool's end as its neighbour.
class pool_chain {
public:
    pool_chain() = delete;
    pool_chain(const pool_chain&) = delete;
    pool_chain& operator=(const pool_chain&) = delete;

    // The cell's data, its node in the free list, and back from either to the cell.
    void* get_pData() { return m_header + sizeof m_header; }
    list_chain_offset* get_pNode() { return reinterpret_cast<list_chain_offset*>(get_pData()); }
    static pool_chain* get_pCell(void* pData) {
        return reinterpret_cast<pool_chain*>(static_cast<unsigned char*>(pData) - sizeof m_header);
    }
    // The cell of a node in the free list.
    static pool_chain* get_pCell(list_chain_offset* pNode) { return get_pCell(static_cast<void*>(pNode)); }

    // Usable bytes: low 32 bits of the header less the header itself.
    int get_nPoolSize() const {
        return static_cast<int>(static_cast<std::uint32_t>(header()) - std::uint32_t{sizeof m_header});
    }
    // The parts of the header: the distance to the right neighbour and the free bit.
    unsigned long long get_iOffsetRightCell() const { return header() & nOffsetBits; }
    bool is_free_cell() const { return static_cast<std::int64_t>(header()) < 0; }
    // The right neighbour; at the right end the pool's end.
    pool_chain* get_pRight() {
        return reinterpret_cast<pool_chain*>(reinterpret_cast<std::uintptr_t>(this) +
                                             static_cast<std::uintptr_t>(get_iOffsetRightCell()));
    }

    // Writes the whole header.
    void init_cell(unsigned long long nOffset, bool bFree) {
        setHeader((nOffset & nOffsetBits) | (bFree ? nFreeBit : 0));
    }
    // Keeps the distance.
    void set_cell_free(bool bFree) { setHeader((header() & nOffsetBits) | (bFree ? nFreeBit : 0)); }
    // Keeps the free bit.
    void set_iOffsetRightCell(unsigned long long nOffset) {
        setHeader((header() & nFreeBit) | (nOffset & nOffsetBits));
    }
    // The same by the neighbour's place.
    void set_pRight(pool_chain* pRight) {
        set_iOffsetRightCell(reinterpret_cast<std::uintptr_t>(pRight) -
                             reinterpret_cast<std::uintptr_t>(this));
    }

private:
    static constexpr std::uint64_t nFreeBit = std::uint64_t{1} << 63;
    static constexpr std::uint64_t nOffsetBits = nFreeBit - 1;

    std::uint64_t header() const {
        std::uint64_t nHeader;
        std::memcpy(&nHeader, m_header, sizeof nHeader);
        return nHeader;
    }
    void setHeader(std::uint64_t nHeader) { std::memcpy(m_header, &nHeader, sizeof nHeader); }

    unsigned char m_header[8];
};
static_assert(sizeof(pool_chain) == 8 && alignof(pool_chain) == 1);

// Carves blocks of any size out of one block that it does not own.
//
// The object and everything it writes into the block hold distances, never addresses: put both into
// one segment and it works wherever the segment is mapped. Cells are rounded to multiples of 4 bytes,
// at least 16, so results are aligned to 4 bytes: objects that need more must not be put into them.
// A cell costs 8 bytes beside its data. Adjacent free cells are joined when a search passes over
// them, never on `free`.
//
// Invariants: the cells tile the block from begin_cell() to end_cell(); exactly the cells with the
// free bit are in the free list; the free list is in address order.
//
// Thread-safety: none; the owner holds its own lock around each call.
// Errors: null results. `free`, `realloc` and `get_available_bytes` trust their pointer: one that this
// pool did not give ruins it. Ask is_valid_pointer first where that is in doubt.
class VDX_API basePoolAlloc {
public:
    basePoolAlloc() = default;  // An empty pool without a block.
    basePoolAlloc(const basePoolAlloc&) = delete;
    basePoolAlloc& operator=(const basePoolAlloc&) = delete;

    // Makes the block one free cell. Always true; size and alignment are not checked, but a block
    // below 24 bytes holds no cell: such a pool stays empty. The block lies within 2 GiB of this object.
    bool init_pool(void* pBlock, int nSize);
    void cleanup_pool() {}  // Nothing: the block is the caller's.

    // The first free cell that holds n bytes; n below 16 counts as 16. The bytes are not cleared.
    // Null when there is none; then the pool is written, for whoever looks into it later, into the
    // file "/log/<process id>-<address>.data.dump" below the application's data root, if that can be
    // opened: from 8 bytes before this object, which must be readable, to the end of the block.
    void* alloc(int n);
    // Gives the cell of p back. Requires: p came from this pool and is not free.
    void free(void* p);
    // Grows the cell of p over its free right neighbours or moves its bytes to a new cell; never
    // shrinks. A null p allocates. Null when there is no room: p stays valid and keeps its bytes.
    void* realloc(void* p, int n);

    // Usable bytes of p's cell; may exceed what was asked for.
    std::int64_t get_available_bytes(void* p) { return pool_chain::get_pCell(p)->get_nPoolSize(); }
    // Whether p could be the data of a cell: p - 8 lies in the block.
    bool is_valid_pointer(const void* p) const;
    // Whether the cell and its right neighbour lie in the block; a warning line when not.
    bool is_valid_cell(pool_chain* pCell) const;

    // The leftmost cell, and the place behind the last.
    pool_chain* begin_cell() const { return at(0); }
    pool_chain* end_cell() const { return at(m_nPoolSize); }

    // The steps of the above, for owners that look before they allocate.
    //
    // The cell that alloc(n) would take, joined and split already but still free; null without a dump.
    pool_chain* find_big_enough_cell(int n);
    // Takes a free cell out of the free list; it keeps its free bit.
    list_chain_offset* pop_free_cell(pool_chain* pCell);
    // Marks the cell free and puts it into the free list at its place by address.
    void push_free_cell(pool_chain* pCell);
    // Adds a free right neighbour to the cell; false when there is none.
    bool try_join_right_cell(pool_chain* pCell);
    // Cuts a cell of at least nNeed + 24 usable bytes so that nNeed remain (16 or more); the rest becomes
    // a free cell. Other cells are left as they are.
    void disjoin_big_cell(pool_chain* pCell, int nNeed);

private:
    pool_chain* at(std::int64_t nOffset) const {
        return reinterpret_cast<pool_chain*>(reinterpret_cast<std::uintptr_t>(this) +
                                             static_cast<std::uintptr_t>(m_iOffsetPool + nOffset));
    }
    pool_chain* find_cell(std::int64_t nNeed);
    list_chain_offset* find_next_free(pool_chain* pCell);
    void dump_pool() const;

    std::int32_t m_nPoolSize = 0;    // Bytes of the block.
    std::int32_t m_iOffsetPool = 0;  // From this object to the block.
    list_chain_offset m_free;        // Head of the free list.
};
static_assert(sizeof(basePoolAlloc) == 24 && alignof(basePoolAlloc) == 4);
