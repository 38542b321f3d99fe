// Reading XML: content items, elements and their ends.
#include "xml/parser.h"

#include "xml/entities.h"
#include "xml/scan.h"

namespace vdx {

namespace {

constexpr std::string_view COMMENT_OPEN = "<!--";
constexpr std::string_view CDATA_OPEN = "<![CDATA[";

}  // namespace

XmlParser::XmlParser(std::string_view szText)
    : m_pBegin(szText.data()), m_pCursor(szText.data()), m_pEnd(szText.data() + szText.size()) {}

XmlParser::~XmlParser() {
    if (m_nMade) xmlRecords::reportMade(m_nMade);
}

bool XmlParser::readContent(node* pParent) {
    m_pParent = pParent;
    return readItems();
}

bool XmlParser::readElement(node* pElement) {
    m_bOneElement = true;
    if (!readStartTag(m_pCursor, pElement)) return false;
    return m_nDepth == 0 || readItems();
}

bool XmlParser::readItems() {
    while (const char* pOpen = findByte(m_pCursor, m_pEnd, '<')) {
        addText(m_pCursor, pOpen);
        const bool bEndTag = m_pEnd - pOpen > 1 && pOpen[1] == '/';
        if (bEndTag && m_nDepth == 0) {
            m_pCursor = pOpen;
            return true;
        }
        if (!(bEndTag ? readEndTag(pOpen) : readMarkup(pOpen))) return false;
        if (m_bOneElement && m_nDepth == 0) return true;
    }
    if (m_nDepth != 0) return fail(m_pCursor);
    m_pCursor = skipWhite(m_pCursor, m_pEnd);
    return true;
}

bool XmlParser::readMarkup(const char* pOpen) {
    const std::string_view szMark = between(pOpen, m_pEnd);
    if (szMark.size() > 1 && szMark[1] == '!') {
        if (szMark.starts_with(COMMENT_OPEN))
            return readEnclosed(pOpen + COMMENT_OPEN.size(), '-', xmlComment);
        if (szMark.starts_with(CDATA_OPEN)) return readEnclosed(pOpen + CDATA_OPEN.size(), ']', xmlCData);
    }
    if (szMark.size() > 1 && szMark[1] == '?') return readDeclarationNode(pOpen);
    return readStartTag(pOpen + 1, nullptr);
}

// The end of a text run only is trimmed: its start follows the previous item as it stands.
void XmlParser::addText(const char* pBegin, const char* pEnd) {
    pEnd = skipWhiteBack(pBegin, pEnd);
    if (pBegin == pEnd) return;
    std::string_view szText = between(pBegin, pEnd);
    if (findByte(pBegin, pEnd, '&')) {
        szText = decodeEntities(szText, m_szValue);
    }
    addNode(xmlText, false, szText);
}

// The body of a comment or CDATA section, which ends in cc>.
bool XmlParser::readEnclosed(const char* pBody, char cBeforeEnd, xmlType nType) {
    const char* pClose = findDoubleClose(pBody, m_pEnd, cBeforeEnd);
    if (!pClose) return fail(pBody);
    const char* pBodyEnd = skipWhiteBack(pBody, pClose - 2);
    addNode(nType, false, between(skipWhite(pBody, pBodyEnd), pBodyEnd));
    m_pCursor = pClose + 1;
    return true;
}

// From behind "<" to behind ">", into the given element or, if null, into a new child.
bool XmlParser::readStartTag(const char* p, node* pElement) {
    const char* pClose = findByte(p, m_pEnd, '>');
    if (!pClose) return fail(p);
    const bool bEmpty = pClose != p && pClose[-1] == '/';
    const char* pBodyEnd = bEmpty ? pClose - 1 : pClose;
    std::string_view szName;
    if (!readName(p, pBodyEnd, szName)) return false;
    if (pElement) {
        xmlRecords::setText(pElement, szName);
    } else {
        pElement = addNode(xmlElement, true, szName);
    }
    if (p != pBodyEnd && !readAttributes(p, pBodyEnd, pElement)) return false;
    if (bEmpty) {
        leaveElement(pClose + 1);
        return true;
    }
    m_pCursor = pClose + 1;
    m_pParent = pElement;
    ++m_nDepth;
    return true;
}

bool XmlParser::readEndTag(const char* pOpen) {
    const char* pName = pOpen + 2;
    const char* pClose = findByte(pName, m_pEnd, '>');
    if (!pClose) return fail(pOpen);
    const char* pNameEnd = skipWhiteBack(pName, pClose);
    if (between(skipWhite(pName, pNameEnd), pNameEnd) != m_pParent->content().text()) return fail(pOpen);
    m_pParent = m_pParent->pParent;
    --m_nDepth;
    leaveElement(pClose + 1);
    return true;
}

// What follows an element loses its white space at both ends; the far end needs
// that only once.
void XmlParser::leaveElement(const char* pBehind) {
    m_pCursor = skipWhite(pBehind, m_pEnd);
    if (m_bEndTrimmed) return;
    m_pEnd = skipWhiteBack(m_pCursor, m_pEnd);
    m_bEndTrimmed = true;
}

XmlParser::node* XmlParser::addNode(xmlType nType, bool bElementForm, std::string_view szText) {
    node* pNode = xmlRecords::makeUncounted(m_caches, nType, bElementForm, sourceOf(szText));
    ++m_nMade;
    xmlRecords::linkLast(m_pParent, pNode);
    return pNode;
}

}  // namespace vdx
