// Node records: their memory, their content, their links.
#include "xml/records.h"

#include <new>
#include <utility>

#include "xml/names.h"
#include "xml/short_text.h"

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
        node* pCopy =
            xmlRecords::makeUncounted(m_caches, content.type(), pElement != nullptr, content.text());
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
            *ppLast = xmlRecords::makeAttribute(m_caches, szName, szValue);
            ppLast = &(*ppLast)->pNext;
        }
    }

    CellCaches& m_caches = CellCaches::local();
    node* m_pRoot = nullptr;
    std::uint32_t m_nMade = 0;
};

}  // namespace

// --- Content -------------------------------------------------------------------

dataXmlBase::~dataXmlBase() = default;

dataXmlElement::~dataXmlElement() = default;

xmlAttributeList::~xmlAttributeList() {
    if (!m_pFirst) return;
    CellCaches& caches = CellCaches::local();
    while (entry* pEntry = m_pFirst) {
        m_pFirst = pEntry->pNext;
        xmlRecords::freeAttribute(caches, pEntry);
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

dataXmlElement* xmlRecords::elementOf(node* pNode) {
    dataXmlBase& content = pNode->content();
    switch (content.type()) {
        case xmlElement:
        case xmlDeclaration:
            return static_cast<dataXmlElement*>(&content);
        case xmlDocument:
            return dynamic_cast<dataXmlElement*>(&content);
        default:
            return nullptr;
    }
}

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
    dataXmlBase& content = pNode->content();
    vdx::emplaceText(content.m_szText, text);
    if (nType == xmlElement) content.m_nNameHash = vdx::hashName(text.szText);
    guard.pCell = nullptr;
    return pNode;
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

xmlRecords::attribute* xmlRecords::makeAttribute(CellCaches& caches, const TextSource& name,
                                                 const TextSource& value) {
    CellGuard guard{caches, CellKind::Attribute, caches.take(CellKind::Attribute)};
    auto* pEntry = ::new (guard.pCell) attribute{nullptr, {}};
    vdx::emplaceText(pEntry->pair.first, name);
    try {
        vdx::emplaceText(pEntry->pair.second, value);
    } catch (...) {
        pEntry->~attribute();
        throw;
    }
    guard.pCell = nullptr;
    return pEntry;
}

void xmlRecords::freeAttribute(CellCaches& caches, attribute* pEntry) noexcept {
    pEntry->~attribute();
    caches.put(CellKind::Attribute, pEntry);
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

// Frees a node that nothing refers to. Its attributes go first, while the caches are at hand.
void xmlRecords::freeNode(CellCaches& caches, node* pNode) noexcept {
    dataXmlElement* pElement = elementOf(pNode);
    if (!pElement) {
        pNode->content().dataXmlBase::~dataXmlBase();
        caches.put(CellKind::PlainNode, pNode);
        return;
    }
    while (attribute* pEntry = pElement->m_pFirst) {
        pElement->m_pFirst = pEntry->pNext;
        freeAttribute(caches, pEntry);
    }
    pElement->dataXmlElement::~dataXmlElement();
    caches.put(CellKind::ElementNode, pNode);
}

// Nodes whose count is 0 wait in a list through their next links: nothing recurses.
// A child's links are cleared before its count goes down: from then on it may
// belong to another thread.
void xmlRecords::destroy(node* pNode) {
    CellCaches& caches = CellCaches::local();
    std::uint32_t nFreed = 0;
    pNode->pNext = nullptr;
    for (node* pWaiting = pNode; pWaiting; ++nFreed) {
        node* pGone = pWaiting;
        pWaiting = pGone->pNext;
        node* pPrevious = nullptr;
        for (node* pChild = pGone->pLastChild; pChild; pChild = pPrevious) {
            pPrevious = pChild->pPrevious;
            pChild->pParent = pChild->pNext = pChild->pPrevious = nullptr;
            if (vdx::countDown(pChild->nCount) != 0) continue;
            pChild->pNext = pWaiting;
            pWaiting = pChild;
        }
        freeNode(caches, pGone);
    }
    reportFreed(nFreed);
}

node* xmlRecords::clone(const node* pSource) {
    TreeCopy copy;
    const node* pFrom = pSource;
    node* pTo = copy.add(nullptr, pSource);
    for (;;) {
        if (pFrom->pFirstChild) {
            pFrom = pFrom->pFirstChild;
        } else {
            while (pFrom != pSource && !pFrom->pNext) {
                pFrom = pFrom->pParent;
                pTo = pTo->pParent;
            }
            if (pFrom == pSource) return copy.finish();
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
    dataXmlBase& content = pNode->content();
    content.m_szText = szText;
    if (content.m_nType == xmlElement) content.m_nNameHash = vdx::hashName(szText);
}

// --- Leak report ---------------------------------------------------------------

void xmlRecords::reportMade(std::uint32_t nNodes) {
    dymicAllocHelper::getInstance()->countAlloc(nNodes);
}

void xmlRecords::reportFreed(std::uint32_t nNodes) {
    dymicAllocHelper::getInstance()->countFree(nNodes);
}
