// Equal-sized nodes from blocks.
#include <vdx/node_alloc.h>

#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>

// The head of a block; the nodes follow.
struct baseDynamicNodeAlloc_block::Block {
    Block* pNext;
    std::int32_t nTotalSize;
};

namespace {

constexpr std::size_t NODES_OFFSET = 16;
constexpr int MIN_NODE_SIZE = 16;

// The two words of a free node. A node may lie at any address, so they are
// copied, never used in place.
struct Links {
    void* pNext;
    void* pBack;  // The second word of the previous free node.
};
static_assert(sizeof(Links) <= MIN_NODE_SIZE);

char* nodesOf(void* pBlock) {
    return static_cast<char*>(pBlock) + NODES_OFFSET;
}

void* secondWord(void* pNode) {
    return static_cast<char*>(pNode) + offsetof(Links, pBack);
}

void writeLinks(void* pNode, const Links& links) {
    std::memcpy(pNode, &links, sizeof links);
}

void writeNext(void* pNode, void* pNext) {
    std::memcpy(pNode, &pNext, sizeof pNext);
}

void writeBack(void* pNode, void* pBack) {
    std::memcpy(secondWord(pNode), &pBack, sizeof pBack);
}

void* readNext(void* pNode) {
    void* pNext = nullptr;
    std::memcpy(&pNext, pNode, sizeof pNext);
    return pNext;
}

// Chains the nodes of a new block in address order.
void linkNodes(char* pNodes, int nNodeSize, int nNodeCount) {
    void* pBack = nullptr;
    for (int i = 0; i < nNodeCount; ++i) {
        char* pNode = pNodes + static_cast<std::ptrdiff_t>(nNodeSize) * i;
        writeLinks(pNode, {i + 1 < nNodeCount ? pNode + nNodeSize : nullptr, pBack});
        pBack = secondWord(pNode);
    }
}

}  // namespace

baseDynamicNodeAlloc_block::Block* baseDynamicNodeAlloc_block::makeBlock(int nNodeSize, int nNodeCount) {
    static_assert(sizeof(Block) <= NODES_OFFSET);
    if (nNodeSize < 1 || nNodeCount < 1) return nullptr;
    const std::int64_t nTotal = std::int64_t{nNodeSize} * nNodeCount + std::int64_t{NODES_OFFSET};
    if (nTotal > std::numeric_limits<std::int32_t>::max()) return nullptr;
    auto* pBlock = static_cast<Block*>(baseDymicAlloc::alloc(static_cast<int>(nTotal)));
    if (!pBlock) return nullptr;
    pBlock->nTotalSize = static_cast<std::int32_t>(nTotal);
    pBlock->pNext = m_pBlocks;
    m_pBlocks = pBlock;
    return pBlock;
}

void* baseDynamicNodeAlloc_block::borrow_node(int nNodeSize, int nNodeCount) {
    if (nNodeSize < MIN_NODE_SIZE) return nullptr;
    if (!m_pFree) {
        Block* pBlock = makeBlock(nNodeSize, nNodeCount);
        if (!pBlock) return nullptr;
        linkNodes(nodesOf(pBlock), nNodeSize, nNodeCount);
        m_pFree = nodesOf(pBlock);
    }
    void* pNode = m_pFree;
    m_pFree = readNext(pNode);
    ++m_nNodesInUse;
    return pNode;
}

void* baseDynamicNodeAlloc_block::return_node(void* pNode) {
    void* pFormer = m_pFree;
    writeNext(pNode, pFormer);
    if (pFormer) writeBack(pFormer, secondWord(pNode));
    m_pFree = pNode;
    --m_nNodesInUse;
    return pFormer;
}

void* baseDynamicNodeAlloc_block::AllocHashBlock(int nNodeSize, int nNodeCount) {
    Block* pBlock = makeBlock(nNodeSize, nNodeCount);
    return pBlock ? nodesOf(pBlock) : nullptr;
}

void baseDynamicNodeAlloc_block::cleanup_nodes() {
    while (m_pBlocks) {
        Block* pNext = m_pBlocks->pNext;
        baseDymicAlloc::free(m_pBlocks);
        m_pBlocks = pNext;
    }
    m_pFree = nullptr;
    m_nNodesInUse = 0;
}

bool baseDynamicNodeAlloc_block::IsValidPointer(const void* p) const {
    const std::less_equal<const void*> notAfter;
    for (Block* pBlock = m_pBlocks; pBlock; pBlock = pBlock->pNext) {
        const char* pEnd = reinterpret_cast<const char*>(pBlock) + pBlock->nTotalSize;
        if (notAfter(nodesOf(pBlock), p) && notAfter(p, pEnd)) return true;
    }
    return false;
}
