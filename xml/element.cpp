// Handles on nodes with attributes: attributes, searches by attribute, options.
#include <vdx/xml_element.h>

#include "base/no_destructor.h"
#include "xml/attribute_pool.h"
#include "xml/names.h"
#include "xml/parser.h"
#include "xml/records.h"

namespace {

using node = chXmlObject::xmlNodeData;
using attribute = xmlRecords::attribute;

// The node's attributes, or null for an empty handle or a node without room for any.
xmlAttributeList* listOf(node* pNode) {
    return pNode ? xmlRecords::elementOf(pNode) : nullptr;
}

// The link to the first attribute of that name, or to the end.
attribute** findLink(xmlAttributeList& list, std::string_view szName) {
    attribute** ppEntry = &xmlRecords::firstAttribute(list);
    while (*ppEntry && !vdx::sameName(szName, (*ppEntry)->pair.first))
        ppEntry = &(*ppEntry)->pNext;
    return ppEntry;
}

// The first element among a node and its next siblings with that attribute and value.
node* findByAttribute(node* pNode, std::string_view szName, const std::string& szValue) {
    for (; pNode; pNode = pNode->pNext) {
        if (pNode->content().type() != xmlElement) continue;
        const attribute* pFound = *findLink(*xmlRecords::elementOf(pNode), szName);
        if (pFound && pFound->pair.second == szValue) return pNode;
    }
    return nullptr;
}

// The text that is the first child of an option's element, or null.
node* optionText(const node* pElement) {
    node* pFirst = pElement->pFirstChild;
    return pFirst && pFirst->content().type() == xmlText ? pFirst : nullptr;
}

chXmlObject ofKind(const chXmlObject& handle, xmlType nType) {
    return handle.type() == nType ? handle : chXmlObject();
}

}  // namespace

// --- Attributes --------------------------------------------------------------------

std::int32_t chXmlAttributeObject::GetAttributeCount() const {
    const xmlAttributeList* pList = listOf(m_pNode);
    return pList ? static_cast<std::int32_t>(pList->size()) : 0;
}

const xmlAttributeList* chXmlAttributeObject::GetAttributeData() const {
    if (!m_pNode) return nullptr;
    if (const xmlAttributeList* pList = listOf(m_pNode)) return pList;
    static vdx::NoDestructor<xmlAttributeList> s_none;
    return &s_none.get();
}

std::string* chXmlAttributeObject::FindAttributeValue(const std::string& szName) const {
    xmlAttributeList* pList = listOf(m_pNode);
    attribute* pFound = pList ? *findLink(*pList, szName) : nullptr;
    return pFound ? &pFound->pair.second : nullptr;
}

std::string chXmlAttributeObject::GetAttributeValue(const std::string& szName,
                                                    const std::string& szDefault) const {
    const std::string* pValue = FindAttributeValue(szName);
    return pValue ? *pValue : szDefault;
}

bool chXmlAttributeObject::SetAttributeValue(const std::string& szName, const std::string& szValue) {
    xmlAttributeList* pList = listOf(m_pNode);
    if (!pList) return false;
    attribute** ppEntry = findLink(*pList, szName);
    if (!*ppEntry) {
        *ppEntry = vdx::AttributePool::local().make(szName, szValue);
        return true;
    }
    std::string& szStored = (*ppEntry)->pair.second;
    if (szStored == szValue) return false;
    szStored = szValue;
    return true;
}

void chXmlAttributeObject::FastRemoveAttributeValue(std::string* pValue) {
    xmlAttributeList* pList = listOf(m_pNode);
    if (!pList) return;
    attribute** ppEntry = &xmlRecords::firstAttribute(*pList);
    while (*ppEntry && &(*ppEntry)->pair.second != pValue)
        ppEntry = &(*ppEntry)->pNext;
    if (!*ppEntry) return;
    attribute* pGone = *ppEntry;
    *ppEntry = pGone->pNext;
    vdx::AttributePool::local().free(pGone);
}

// A node without room for attributes cannot take a start tag: it fails at its first byte.
std::string chXmlAttributeObject::parseContent(const std::string& szText) {
    if (!m_pNode) m_pNode = xmlRecords::make(xmlElement, true, std::string_view());
    vdx::XmlParser parser(szText);
    if (!listOf(m_pNode)) throw szText.c_str();
    if (!parser.readTagBody(m_pNode)) throw parser.stopped();
    return std::string(parser.rest());
}

// --- Elements ----------------------------------------------------------------------

chXmlElement::chXmlElement(const std::string& szName)
    : chXmlAttributeObject(xmlRecords::make(xmlElement, true, szName), adopt_t{}) {}

chXmlElement::chXmlElement(const chXmlObject& other) : chXmlAttributeObject(ofKind(other, xmlElement)) {}

chXmlElement chXmlElement::FindChildAttribute(const std::string& szName, const std::string& szValue) const {
    return chXmlObject(m_pNode ? findByAttribute(m_pNode->pFirstChild, szName, szValue) : nullptr);
}

chXmlElement chXmlElement::FindNextAttribute(const std::string& szName, const std::string& szValue) const {
    return chXmlObject(m_pNode ? findByAttribute(m_pNode->pNext, szName, szValue) : nullptr);
}

std::string chXmlElement::GetOption(const std::string& szName, const std::string& szDefault) const {
    const chXmlElement option = FindChildElement(szName);
    const node* pText = option.m_pNode ? optionText(option.m_pNode) : nullptr;
    return pText ? std::string(pText->content().text()) : szDefault;
}

bool chXmlElement::SetOption(const std::string& szName, const std::string& szValue) {
    const chXmlElement found = FindChildElement(szName);
    if (!found.m_pNode) {
        chXmlElement option(szName);  // Linked when it is whole: no memory, no change.
        option.AddChildObject(xmlText, szValue);
        AddChildObject(option);
        return true;
    }
    node* pText = optionText(found.m_pNode);
    if (!pText) {
        xmlRecords::linkFirst(found.m_pNode, xmlRecords::make(xmlText, false, szValue));
        return true;
    }
    if (pText->content().text() == szValue) return false;
    xmlRecords::setText(pText, szValue);
    return true;
}

chXmlElement chXmlElement::clone() const {
    return chXmlObject::clone();
}

std::string chXmlElement::parseContent(const std::string& szText) {
    if (!m_pNode) m_pNode = xmlRecords::make(xmlElement, true, std::string_view());
    vdx::XmlParser parser(szText);
    if (!listOf(m_pNode)) throw szText.c_str();
    if (!parser.readElement(m_pNode)) throw parser.stopped();
    return std::string(parser.rest());
}

// --- Declarations --------------------------------------------------------------------

chXmlDeclaration::chXmlDeclaration(const chXmlObject& other)
    : chXmlAttributeObject(ofKind(other, xmlDeclaration)) {}

std::string chXmlDeclaration::parseContent(const std::string& szText) {
    if (!m_pNode) m_pNode = xmlRecords::make(xmlDeclaration, true, std::string_view());
    vdx::XmlParser parser(szText);
    if (!listOf(m_pNode)) throw szText.c_str();
    if (!parser.readDeclaration(m_pNode)) throw parser.stopped();
    return std::string(parser.rest());
}
