// Counted heap allocation and equal-sized nodes.
#pragma once

#include <cstdint>

#include <vdx/export.h>
#include <vdx/locks.h>

// Example:
//   baseDynamicNodeAlloc_block nodes;
//   void* pNode = nodes.borrow_node(48, 256);  // From a block of 256 nodes.
//   nodes.return_node(pNode);
//   nodes.cleanup_nodes();
//   baseDymicAlloc::dump();  // memory alloc(1) and free(1) leak(0)

namespace vdx {
template <class T>
class NoDestructor;
template <class T>
class Singleton;
}  // namespace vdx

// The process's one pair of counters of allocations and frees.
//
// Thread-safety: all members.
class VDX_API dymicAllocHelper {
public:
    // Creates the object when it is asked for first; it lives to the very end of
    // the process.
    static dymicAllocHelper* getInstance();

    // How often baseDymicAlloc has allocated or freed; both wrap at 2^32.
    struct Counts {
        std::uint32_t nAlloc;  // Allocations.
        std::uint32_t nFree;   // Frees.
    };
    // Both counters, taken at one moment.
    Counts getCounts();

    // Each counts that many events. For allocators that stand on this one.
    void countAlloc(std::uint32_t nTimes = 1);
    void countFree(std::uint32_t nTimes = 1);

private:
    friend vdx::NoDestructor<dymicAllocHelper>;
    friend vdx::Singleton<dymicAllocHelper>;
    static constexpr const char* SINGLETON_NAME = "dymicAllocHelper";
    dymicAllocHelper();

    chCriticalSection m_lock;
    std::uint32_t m_nAlloc = 0;
    std::uint32_t m_nFree = 0;
};

// Base of classes whose heap blocks appear in the leak report. No fields.
//
// Sizes are in bytes; a negative one is answered with null. Blocks are those of
// the C heap, aligned for every type. A call is counted whether or not it
// succeeds.
//
// Thread-safety: all members.
class VDX_API baseDymicAlloc {
public:
    baseDymicAlloc();  // Makes sure that the counters exist.

    // A block whose content is undefined; null when the heap gives none.
    static void* alloc(int nSize);

    // Counts a free, unless p is null, and an allocation. As in C, a failure gives
    // null and leaves p as it is, and a size of 0 frees p.
    static void* realloc(void* p, int nSize);

    // Null is allowed, and counted.
    static void free(void* p);

    // Prints "memory alloc(n) and free(n) leak(n)" on the standard output.
    static void dump();
};

// Equal-sized nodes, carved from heap blocks of many nodes each. Blocks go back to
// the heap by cleanup_nodes or the destructor only.
//
// A block is one allocation of node size x node count + 16 bytes: a pointer to the
// next block, its own size as a 32-bit number, and from byte 16 on the nodes. A
// free node begins with a link to the next free node and a back link to the second
// word of the previous one.
//
// Thread-safety: none; the user serialises access.
class VDX_API baseDynamicNodeAlloc_block {
public:
    baseDynamicNodeAlloc_block() = default;
    ~baseDynamicNodeAlloc_block() { cleanup_nodes(); }
    baseDynamicNodeAlloc_block(const baseDynamicNodeAlloc_block&) = delete;
    baseDynamicNodeAlloc_block& operator=(const baseDynamicNodeAlloc_block&) = delete;

    // A free node; its content is undefined. Makes a block of nNodeCount nodes
    // when none is free. Null when the heap gives none, or for a node size below
    // 16, a count below 1 or a block beyond 2 GiB.
    // Requires: the same node size in all calls between clean-ups. Not checked.
    void* borrow_node(int nNodeSize, int nNodeCount);

    // Gives a node back; it will be the next one lent. Returns the node that was
    // first in the free list before, or null.
    // Requires: a node that this object has lent. Not checked.
    void* return_node(void* pNode);

    // A block as one array, for example of a hash table's buckets: its first
    // element, uninitialised. The free list and the number of nodes in use stay as
    // they are. Null as above; an element may be as small as a byte.
    void* AllocHashBlock(int nNodeSize, int nNodeCount);

    // Frees every block; all nodes become invalid.
    void cleanup_nodes();

    // Whether an address lies in the nodes of some block. Kept: the address just
    // past the last node is accepted, too.
    bool IsValidPointer(const void* p) const;

    // Nodes that were lent and not given back.
    int getNodesInUse() const { return m_nNodesInUse; }

private:
    struct Block;
    Block* makeBlock(int nNodeSize, int nNodeCount);

    std::int32_t m_nNodesInUse = 0;
    void* m_pFree = nullptr;
    Block* m_pBlocks = nullptr;  // The latest first.
};
