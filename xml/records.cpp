// Node records: their memory, their content, their links.
#include "xml/records.h"

#include <cstring>
#include <new>
#include <utility>

#include "xml/attribute_pool.h"
#include "xml/names.h"

using vdx::AttributePool;
using vdx::CellCaches;
using vdx::CellKind;
using vdx::TextSource;

namespace {

using node = xmlRecords::node;

constexpr std::size_t sizeOf(CellKind kind) {
    return vdx::CELL_SIZES[static_cast<std::size_t>(kind)];
}

// The content begins right behind the record.
static_assert(sizeof(node) == 48);
static_assert(sizeof(node) + sizeof(dataXmlBase) == sizeOf(CellKind::PlainNode));
static_assert(sizeof(node) + sizeof(dataXmlElement) == sizeOf(CellKind::ElementNode));
static_assert(sizeof(xmlRecords::attribute) == sizeOf(CellKind::Attribute));

// Frees the memory of an object whose construction throws.
struct CellGuard {
    CellCaches& caches;
    CellKind kind;
    void* pCell;
    ~CellGuard() {
        if (pCell) caches.put(kind, pCell);
    }
};

// A tree being copied. Whatever ends the work early frees what is there.
class TreeCopy {
public:
    TreeCopy() = default;
    TreeCopy(const TreeCopy&) = delete;
    TreeCopy& operator=(const TreeCopy&) = delete;
    ~TreeCopy() {
        xmlRecords::reportMade(m_nMade);
        if (m_pRoot) xmlRecords::release(m_pRoot);
    }

    // Copies one node, without its children, to below pParent; null: as the root.
    node* add(node* pParent, const node* pSource) {
        const dataXmlElement* pElement = xmlRecords::elementOf(const_cast<node*>(pSource));
        const dataXmlBase& content = pSource->content();
        node* pCopy = xmlRecords::makeUncounted(m_caches, content.type(), pElement != nullptr,
                                                xmlRecords::textOf(pSource));
        ++m_nMade;
        if (pParent) {
            xmlRecords::linkLast(pParent, pCopy);
        } else {
            m_pRoot = pCopy;
        }
        if (pElement && !pElement->empty()) copyAttributes(*pElement, *xmlRecords::elementOf(pCopy));
        return pCopy;
    }

    node* finish() { return std::exchange(m_pRoot, nullptr); }

private:
    void copyAttributes(const xmlAttributeList& from, xmlAttributeList& to) {
        auto** ppLast = &xmlRecords::firstAttribute(to);
        for (const auto& [szName, szValue] : from) {
            *ppLast = m_attributes.make(szName, szValue);
            ppLast = &(*ppLast)->pNext;
        }
    }

    CellCaches& m_caches = CellCaches::local();
    AttributePool& m_attributes = AttributePool::local();
    node* m_pRoot = nullptr;
    std::uint32_t m_nMade = 0;
};

}  // namespace

// --- Content -------------------------------------------------------------------

dataXmlBase::~dataXmlBase() {
    if (m_nShortSize == LONG_TEXT) CellCaches::local().putText(m_longText.pBytes, m_longText.nSize);
}

dataXmlElement::~dataXmlElement() = default;

xmlAttributeList::~xmlAttributeList() {
    while (entry* pEntry = m_pFirst) {
        m_pFirst = pEntry->pNext;
        AttributePool::local().free(pEntry);
    }
}

std::size_t xmlAttributeList::size() const {
    std::size_t nCount = 0;
    for (const entry* pEntry = m_pFirst; pEntry; pEntry = pEntry->pNext)
        ++nCount;
    return nCount;
}

bool sameXmlKeyName(const std::string& szLeft, const std::string& szRight) {
    return vdx::sameName(szLeft, szRight);
}

// --- Records -------------------------------------------------------------------

node* xmlRecords::makeUncounted(CellCaches& caches, xmlType nType, bool bElementForm,
                                const TextSource& text) {
    const CellKind kind = bElementForm ? CellKind::ElementNode : CellKind::PlainNode;
    CellGuard guard{caches, kind, caches.take(kind)};
    node* pNode = ::new (guard.pCell) node{1, nullptr, nullptr, nullptr, nullptr, nullptr};
    if (bElementForm) {
        ::new (static_cast<void*>(pNode + 1)) dataXmlElement(nType);
    } else {
        ::new (static_cast<void*>(pNode + 1)) dataXmlBase(nType);
    }
    initText(caches, pNode->content(), text);
    guard.pCell = nullptr;
    return pNode;
}

void xmlRecords::initText(CellCaches& caches, dataXmlBase& content, const TextSource& text) {
    const std::size_t nSize = text.szText.size();
    if (nSize > sizeof content.m_shortText) {
        char* pBytes = caches.takeText(nSize);
        std::memcpy(pBytes, text.szText.data(), nSize);
        content.m_longText = {pBytes, nSize};
        content.m_nShortSize = dataXmlBase::LONG_TEXT;
    } else {
        // A copy of a fixed size needs no call.
        if (text.isReadable(sizeof content.m_shortText)) {
            std::memcpy(content.m_shortText, text.szText.data(), sizeof content.m_shortText);
        } else {
            std::memset(content.m_shortText, 0, sizeof content.m_shortText);
            vdx::copyShort(content.m_shortText, text.szText.data(), nSize);
        }
        content.m_nShortSize = static_cast<std::uint8_t>(nSize);
    }
    if (content.m_nType == xmlElement) content.m_nNameHash = vdx::hashName(text.szText);
}

node* xmlRecords::make(xmlType nType, bool bElementForm, const TextSource& text) {
    node* pNode = makeUncounted(CellCaches::local(), nType, bElementForm, text);
    reportMade(1);
    return pNode;
}

node* xmlRecords::makeByKind(xmlType nType, const TextSource& text) {
    switch (nType) {
        case xmlDeclaration:
        case xmlElement:
        case xmlDocument:
            return make(nType, true, text);
        case xmlComment:
        case xmlText:
        case xmlCData:
            return make(nType, false, text);
        default:
            return nullptr;
    }
}

void xmlRecords::linkFirst(node* pParent, node* pChild) {
    pChild->pParent = pParent;
    pChild->pNext = pParent->pFirstChild;
    (pParent->pFirstChild ? pParent->pFirstChild->pPrevious : pParent->pLastChild) = pChild;
    pParent->pFirstChild = pChild;
}

void xmlRecords::unlink(node* pChild) {
    node* pParent = pChild->pParent;
    (pChild->pNext ? pChild->pNext->pPrevious : pParent->pLastChild) = pChild->pPrevious;
    (pChild->pPrevious ? pChild->pPrevious->pNext : pParent->pFirstChild) = pChild->pNext;
    pChild->pParent = pChild->pNext = pChild->pPrevious = nullptr;
}

// Frees a node that nothing refers to. What its content holds is freed by hand, while
// the pools are at hand; its destructors would do no more.
void xmlRecords::freeNode(CellCaches& caches, AttributePool& attributes, node* pNode) noexcept {
    dataXmlBase& content = pNode->content();
    if (isLong(content)) caches.putText(content.m_longText.pBytes, content.m_longText.nSize);
    dataXmlElement* pElement = elementOf(pNode);
    if (!pElement) {
        caches.put(CellKind::PlainNode, pNode);
        return;
    }
    for (attribute *pEntry = pElement->m_pFirst, *pNext = nullptr; pEntry; pEntry = pNext) {
        pNext = pEntry->pNext;
        attributes.free(pEntry);
    }
    caches.put(CellKind::ElementNode, pNode);
}

// Drops the count of a parent that goes. True if that was the last one; the links are
// left then, because nobody can come to the child any more. Otherwise they are cleared
// before the count goes down: from then on the child may belong to another thread.
bool xmlRecords::leaveParent(node* pChild) {
    if (pChild->nCount.load(std::memory_order_acquire) == 1) return true;
    node* pParent = std::exchange(pChild->pParent, nullptr);
    pChild->pNext = pChild->pPrevious = nullptr;
    if (vdx::countDown(pChild->nCount) != 0) return false;
    pChild->pParent = pParent;
    return true;
}

// Walks down to the first child and frees upwards: in the order in which the nodes of
// a text lie in memory. A node's first child is the next one to go.
void xmlRecords::destroy(node* pTop) {
    CellCaches& caches = CellCaches::local();
    AttributePool& attributes = AttributePool::local();
    std::uint32_t nFreed = 0;
    for (node* pNode = pTop; pNode;) {
        if (node* pChild = pNode->pFirstChild) {
            pNode->pFirstChild = pChild->pNext;
            __builtin_prefetch(pChild->pNext);
            if (leaveParent(pChild)) pNode = pChild;
            continue;
        }
        node* pParent = pNode->pParent;
        freeNode(caches, attributes, pNode);
        ++nFreed;
        pNode = pParent;
    }
    reportFreed(nFreed);
}

node* xmlRecords::clone(const node* pSource) {
    TreeCopy copy;
    const node* pFrom = pSource;
    node* const pRoot = copy.add(nullptr, pSource);
    node* pTo = pRoot;
    for (;;) {
        if (pFrom->pFirstChild) {
            pFrom = pFrom->pFirstChild;
        } else {
            while (pTo != pRoot && !pFrom->pNext) {
                pFrom = pFrom->pParent;
                pTo = pTo->pParent;
            }
            if (pTo == pRoot) return copy.finish();
            pFrom = pFrom->pNext;
            pTo = pTo->pParent;
        }
        pTo = copy.add(pTo, pFrom);
    }
}

int xmlRecords::levelOf(const node* pNode) {
    int nLevel = 0;
    const node* pTop = pNode;
    for (; pTop->pParent; pTop = pTop->pParent)
        ++nLevel;
    return nLevel > 0 && pTop->content().type() == xmlDocument ? nLevel - 1 : nLevel;
}

void xmlRecords::setText(node* pNode, std::string_view szText) {
    CellCaches& caches = CellCaches::local();
    dataXmlBase& content = pNode->content();
    const bool bWasLong = isLong(content);
    const dataXmlBase::longText former = bWasLong ? content.m_longText : dataXmlBase::longText{};
    initText(caches, content, szText);
    if (bWasLong) caches.putText(former.pBytes, former.nSize);
}

// --- Leak report ---------------------------------------------------------------

void xmlRecords::reportMade(std::uint32_t nNodes) {
    dymicAllocHelper::getInstance()->countAlloc(nNodes);
}

void xmlRecords::reportFreed(std::uint32_t nNodes) {
    dymicAllocHelper::getInstance()->countFree(nNodes);
}
