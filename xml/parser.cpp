// Reading XML: content items, elements and their ends.
#include "xml/parser.h"

#include <cstring>

#include "xml/entities.h"
#include "xml/scan.h"

namespace vdx {

namespace {

constexpr std::string_view COMMENT_OPEN = "<!--";
constexpr std::string_view CDATA_OPEN = "<![CDATA[";

}  // namespace

TextSource DecodeBuffer::decode(std::string_view szPhrase) {
    const std::size_t nNeeded = szPhrase.size() + DECODE_SLACK;
    if (m_nSize < nNeeded) {
        m_pLarger = std::make_unique_for_overwrite<char[]>(2 * nNeeded);
        m_pBytes = m_pLarger.get();
        m_nSize = 2 * nNeeded;
    }
    char* pEnd = decodeEntities(szPhrase, m_pBytes);
    std::memset(pEnd, 0, DECODE_SLACK);  // May be read by those who copy a short text.
    return {between(m_pBytes, pEnd), pEnd + DECODE_SLACK};
}

XmlParser::XmlParser(std::string_view szText, std::uint32_t nMade)
    : m_pCursor(szText.data()), m_pEnd(szText.data() + szText.size()), m_nMade(nMade) {}

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
    while (const char* pOpen = readText()) {
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

// Adds the text before the next markup, and gives the "<" of that; null if there is none.
// The end of a text run only is trimmed: its start follows the previous item as it stands.
const char* XmlParser::readText() {
    const char* p = skipWhite(m_pCursor, m_pEnd);
    if (p != m_pEnd && *p == '<') return p;
    bool bBefore = false;
    const char* pOpen = findEither(p, m_pEnd, '<', '&', bBefore);
    const bool bCoded = pOpen != m_pEnd && *pOpen == '&';
    if (bCoded) pOpen = findByte(pOpen, m_pEnd, '<');
    if (!pOpen || pOpen == m_pEnd) return nullptr;
    const TextSource text = inText(m_pCursor, skipWhiteBack(p, pOpen));
    addNode(xmlText, false, bCoded ? m_value.decode(text.szText) : text);
    return pOpen;
}

bool XmlParser::readMarkup(const char* pOpen) {
    const char c = m_pEnd - pOpen > 1 ? pOpen[1] : '<';
    return c == '!' || c == '?' ? readMarked(pOpen) : readStartTag(pOpen + 1, nullptr);
}

// What begins with "<!" or "<?".
bool XmlParser::readMarked(const char* pOpen) {
    const std::string_view szMark = between(pOpen, m_pEnd);
    if (szMark.starts_with(COMMENT_OPEN)) return readEnclosed(pOpen + COMMENT_OPEN.size(), '-', xmlComment);
    if (szMark.starts_with(CDATA_OPEN)) return readEnclosed(pOpen + CDATA_OPEN.size(), ']', xmlCData);
    return szMark[1] == '?' ? readDeclarationNode(pOpen) : readStartTag(pOpen + 1, nullptr);
}

// The body of a comment or CDATA section, which ends in cc>.
bool XmlParser::readEnclosed(const char* pBody, char cBeforeEnd, xmlType nType) {
    const char* pClose = findDoubleClose(pBody, m_pEnd, cBeforeEnd);
    if (!pClose) return fail(pBody);
    const char* pBodyEnd = skipWhiteBack(pBody, pClose - 2);
    addNode(nType, false, inText(skipWhite(pBody, pBodyEnd), pBodyEnd));
    m_pCursor = pClose + 1;
    return true;
}

// From behind "<" to behind ">", into the given element or, if null, into a new child.
bool XmlParser::readStartTag(const char* p, node* pElement) {
    TagBody body{p, m_pEnd, true};
    // A tag that does not end is what is wrong, whatever else is.
    if (!readTag(body, pElement)) return findByte(p, m_pEnd, '>') ? false : fail(p);
    if (*body.p == '/') {
        leaveElement(body.p + 2);
    } else {
        m_pCursor = body.p + 1;
        m_pParent = pElement;
        ++m_nDepth;
    }
    return true;
}

bool XmlParser::readTag(TagBody& body, node*& pElement) {
    std::string_view szName;
    if (!readName(body, szName)) return false;
    if (pElement) {
        xmlRecords::setText(pElement, szName);
    } else {
        pElement = addNode(xmlElement, true, {szName, m_pEnd});
    }
    return readAttributes(body, pElement);
}

bool XmlParser::readEndTag(const char* pOpen) {
    const char* pName = pOpen + 2;
    const std::string_view szName = m_pParent->content().text();
    const std::string_view szRest = between(pName, m_pEnd);
    const char* pClose = nullptr;
    // Written without white space it is compared without a search for its end.
    if (szRest.size() > szName.size() && szRest[szName.size()] == '>' && szRest.starts_with(szName)) {
        pClose = pName + szName.size();
    } else {
        pClose = findByte(pName, m_pEnd, '>');
        if (!pClose) return fail(pOpen);
        const char* pNameEnd = skipWhiteBack(pName, pClose);
        if (between(skipWhite(pName, pNameEnd), pNameEnd) != szName) return fail(pOpen);
    }
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

XmlParser::node* XmlParser::addNode(xmlType nType, bool bElementForm, const TextSource& text) {
    node* pNode = xmlRecords::makeUncounted(m_caches, nType, bElementForm, text);
    ++m_nMade;
    xmlRecords::linkLast(m_pParent, pNode);
    return pNode;
}

}  // namespace vdx
