// Making, linking, copying and freeing node records: the engine room under the handles.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <vdx/xml_node.h>

#include "xml/cell_pool.h"
#include "xml/ref_count.h"
#include "xml/short_text.h"

// Friend of the content classes. Nodes are made with one count, which is the
// caller's; every node counts in the leak report while it lives.
//
// Thread-safety: none beyond that of the counts.
struct xmlRecords {
    using node = chXmlObject::xmlNodeData;
    using attribute = xmlAttributeList::entry;

    // The element form of a node's content, or null.
    static dataXmlElement* elementOf(node* pNode);

    // A new root without a report to the leak report: its maker reports many at
    // once. The base form is for kinds 1, 2, 5 and implicit documents.
    static node* makeUncounted(vdx::CellCaches& caches, xmlType nType, bool bElementForm,
                               const vdx::TextSource& text);
    static node* make(xmlType nType, bool bElementForm, const vdx::TextSource& text);
    static node* makeByKind(xmlType nType, const vdx::TextSource& text);  // Null for no kind.

    static attribute* makeAttribute(vdx::CellCaches& caches, const vdx::TextSource& name,
                                    const vdx::TextSource& value);
    static void freeAttribute(vdx::CellCaches& caches, attribute* pEntry) noexcept;

    // Links a root as the last child; its count becomes the parent's.
    static void linkLast(node* pParent, node* pChild) {
        pChild->pParent = pParent;
        pChild->pPrevious = pParent->pLastChild;
        (pParent->pLastChild ? pParent->pLastChild->pNext : pParent->pFirstChild) = pChild;
        pParent->pLastChild = pChild;
    }
    static void linkFirst(node* pParent, node* pChild);
    // Takes a child out of its parent; the parent's count becomes the caller's.
    static void unlink(node* pChild);

    // Drops one count; with the last one the tree goes, too.
    static void release(node* pNode) {
        if (vdx::countDown(pNode->nCount) == 0) destroy(pNode);
    }
    static void destroy(node* pNode);
    static void freeNode(vdx::CellCaches& caches, node* pNode) noexcept;

    // A copy of the node and all below it, as a root.
    static node* clone(const node* pSource);

    static int levelOf(const node* pNode);

    static void setText(node* pNode, std::string_view szText);
    static std::uint32_t nameHash(const node* pNode) { return pNode->content().m_nNameHash; }
    // For reading many texts in place.
    static std::string& textOf(node* pNode) { return pNode->content().m_szText; }

    static attribute*& firstAttribute(xmlAttributeList& list) { return list.m_pFirst; }
    static const attribute* firstAttribute(const xmlAttributeList& list) { return list.m_pFirst; }

    static void reportMade(std::uint32_t nNodes);
    static void reportFreed(std::uint32_t nNodes);
};
