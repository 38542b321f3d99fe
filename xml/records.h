// Making, linking, copying and freeing node records: the engine room under the handles.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <vdx/xml_node.h>

#include "xml/cell_pool.h"
#include "xml/ref_count.h"
#include "xml/short_text.h"

namespace vdx {
class AttributePool;
}

// Friend of the content classes. Nodes are made with one count, which is the
// caller's; every node counts in the leak report while it lives.
//
// Thread-safety: none beyond that of the counts.
struct xmlRecords {
    using node = chXmlObject::xmlNodeData;
    using attribute = xmlAttributeList::entry;

    // The element form of a node's content, or null.
    static dataXmlElement* elementOf(node* pNode) {
        dataXmlBase& content = pNode->content();
        return content.m_bElementForm ? static_cast<dataXmlElement*>(&content) : nullptr;
    }

    // A new root without a report to the leak report: its maker reports many at
    // once. The base form is for kinds 1, 2, 5 and implicit documents.
    static node* makeUncounted(vdx::CellCaches& caches, xmlType nType, bool bElementForm,
                               const vdx::TextSource& text);
    static node* make(xmlType nType, bool bElementForm, const vdx::TextSource& text);
    static node* makeByKind(xmlType nType, const vdx::TextSource& text);  // Null for no kind.

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

    // A copy of the node and all below it, as a root.
    static node* clone(const node* pSource);

    static int levelOf(const node* pNode);

    static void setText(node* pNode, std::string_view szText);
    // The node's text, with what may be read behind it.
    static vdx::TextSource textOf(const node* pNode) {
        const dataXmlBase& content = pNode->content();
        const std::string_view szText = content.text();
        if (isLong(content)) return szText;
        return {szText, szText.data() + sizeof content.m_shortText};
    }
    static std::uint16_t nameHash(const node* pNode) { return pNode->content().m_nNameHash; }
    static bool isLong(const dataXmlBase& content) { return content.m_nShortSize == dataXmlBase::LONG_TEXT; }

    static attribute*& firstAttribute(xmlAttributeList& list) { return list.m_pFirst; }
    static const attribute* firstAttribute(const xmlAttributeList& list) { return list.m_pFirst; }

    static void reportMade(std::uint32_t nNodes);
    static void reportFreed(std::uint32_t nNodes);

private:
    static void initText(vdx::CellCaches& caches, dataXmlBase& content, const vdx::TextSource& text);
    static bool leaveParent(node* pChild);
    static void freeNode(vdx::CellCaches& caches, vdx::AttributePool& attributes, node* pNode) noexcept;
};
