// The handle of every node: ownership, navigation, building.
#include <vdx/xml_node.h>

#include <vdx/warnings.h>
#include <vdx/xml_element.h>

#include "xml/names.h"
#include "xml/parser.h"
#include "xml/records.h"

namespace {

using node = chXmlObject::xmlNodeData;

node* nextElement(node* pNode) {
    while (pNode && pNode->content().type() != xmlElement)
        pNode = pNode->pNext;
    return pNode;
}

// The first element of that name among a node and its next siblings.
node* findElement(node* pNode, std::string_view szName) {
    const std::uint16_t nHash = vdx::hashName(szName);
    for (; pNode; pNode = pNode->pNext) {
        const dataXmlBase& content = pNode->content();
        if (xmlRecords::nameHash(pNode) == nHash && content.type() == xmlElement &&
            vdx::sameName(szName, content.text())) {
            return pNode;
        }
    }
    return nullptr;
}

// The node after this one in the tree of its root, or null.
const node* nextInTree(const node* pNode) {
    if (pNode->pFirstChild) return pNode->pFirstChild;
    while (pNode && !pNode->pNext)
        pNode = pNode->pParent;
    return pNode ? pNode->pNext : nullptr;
}

// Whether a root is pBelow or one of its ancestors. Looks up from pBelow and through
// the root's tree at the same time: a small tree goes below a deep place, or a large
// one below a high place, at the cost of the smaller of the two.
bool isAtOrAbove(const node* pRoot, const node* pBelow) {
    const node* pInTree = pRoot;
    for (const node* pUp = pBelow; pUp && pInTree; pUp = pUp->pParent) {
        if (pUp == pRoot || pInTree == pBelow) return true;
        pInTree = nextInTree(pInTree);
    }
    return false;
}

node* counted(node* pNode) {
    if (pNode) vdx::countUp(pNode->nCount);
    return pNode;
}

}  // namespace

// --- Handles ---------------------------------------------------------------------

chXmlObject::chXmlObject(xmlType nType, const std::string& szText)
    : m_pNode(xmlRecords::makeByKind(nType, szText)) {}

void chXmlObject::share(xmlNodeData* pNode) {
    vdx::countUp(pNode->nCount);
}

void chXmlObject::release(xmlNodeData* pNode) {
    xmlRecords::release(pNode);
}

// The new node is held before the old one goes: they may be the same, or one of them
// may stand on the other's tree.
void chXmlObject::replaceNode(xmlNodeData* pNode) {
    xmlNodeData* pFormer = std::exchange(m_pNode, pNode);
    if (pFormer) release(pFormer);
}

chXmlObject& chXmlObject::operator=(const chXmlObject& other) {
    replaceNode(counted(other.m_pNode));
    return *this;
}

chXmlObject& chXmlObject::operator=(chXmlObject&& other) noexcept {
    if (this != &other) replaceNode(std::exchange(other.m_pNode, nullptr));
    return *this;
}

// --- Queries and navigation --------------------------------------------------------

int chXmlObject::getLevel() const {
    return m_pNode ? xmlRecords::levelOf(m_pNode) : 0;
}

chXmlElement chXmlObject::getChildElement() const {
    return {counted(m_pNode ? nextElement(m_pNode->pFirstChild) : nullptr), adopt_t{}};
}

chXmlElement chXmlObject::getNextElement() const {
    return {counted(m_pNode ? nextElement(m_pNode->pNext) : nullptr), adopt_t{}};
}

chXmlObject& chXmlObject::operator++() {
    if (m_pNode) replaceNode(counted(m_pNode->pNext));
    return *this;
}

chXmlElement chXmlObject::FindChildElement(const std::string& szName) const {
    return {counted(m_pNode ? findElement(m_pNode->pFirstChild, szName) : nullptr), adopt_t{}};
}

chXmlElement chXmlObject::FindNextElement(const std::string& szName) const {
    return {counted(m_pNode ? findElement(m_pNode->pNext, szName) : nullptr), adopt_t{}};
}

chXmlElement chXmlObject::operator[](const std::string& szName) const {
    return FindChildElement(szName);
}

chXmlElement& chXmlElement::operator++() {
    if (m_pNode) replaceNode(counted(nextElement(m_pNode->pNext)));
    return *this;
}

// --- Building ----------------------------------------------------------------------

// Links a root below this node; its count becomes the link's.
void chXmlObject::appendNode(xmlNodeData* pChild) {
    xmlRecords::linkLast(m_pNode, pChild);
    share(pChild);
}

chXmlObject chXmlObject::AddChildObject(const chXmlObject& child) {
    if (!child.m_pNode) return {};
    if (child.m_pNode->pParent || (m_pNode && isAtOrAbove(child.m_pNode, m_pNode))) {
        vdxOutputWarningString("chXmlObject::AddChildObject: the child has a place in a tree already");
        return child;
    }
    if (!m_pNode) m_pNode = xmlRecords::make(xmlDocument, false, std::string_view());
    appendNode(child.m_pNode);
    return child;
}

chXmlObject chXmlObject::AddChildObject(xmlType nType, const std::string& szText) {
    return AddChildObject(chXmlObject(nType, szText));
}

chXmlElement chXmlObject::AddChildElement(const std::string& szName) {
    chXmlElement child(szName);
    AddChildObject(child);
    return child;
}

void chXmlObject::RemoveChildObject(const chXmlObject& child) {
    if (!child.m_pNode || !child.m_pNode->pParent) return;
    const chXmlObject kept = child;
    xmlRecords::unlink(kept.m_pNode);
    release(kept.m_pNode);
}

chXmlObject chXmlObject::clone() const {
    return m_pNode ? chXmlObject(xmlRecords::clone(m_pNode), adopt_t{}) : chXmlObject();
}

// --- Reading -----------------------------------------------------------------------

std::string chXmlObject::parseContent(const std::string& szText) {
    if (!m_pNode) m_pNode = xmlRecords::make(xmlDocument, false, std::string_view());
    vdx::XmlParser parser(szText);
    if (!parser.readContent(m_pNode)) throw parser.stopped();
    return std::string(parser.rest());
}
