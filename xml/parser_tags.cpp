// Reading XML: the insides of tags and declarations, names and attributes.
#include "xml/parser.h"

#include "xml/entities.h"
#include "xml/scan.h"

namespace vdx {

namespace {

// From this many attributes on, names are looked up in an index instead of the list.
constexpr std::uint32_t INDEX_FROM = 32;

// Of names that are the same, the same bit.
std::uint64_t bitOf(std::string_view szName) {
    if (szName.empty()) return 1;
    const unsigned int nFirst = static_cast<unsigned char>(szName.front()) | 0x20U;
    const unsigned int nLast = static_cast<unsigned char>(szName.back()) | 0x20U;
    return std::uint64_t{1} << ((szName.size() * 13 + nFirst * 5 + nLast * 3) % 64);
}

// The ">" of the first "?>" at or after p, or null.
const char* findDeclarationClose(const char* p, const char* pEnd) {
    const char* pBegin = p;
    while (const char* pClose = findByte(p, pEnd, '>')) {
        if (pClose != pBegin && pClose[-1] == '?') return pClose;
        p = pClose + 1;
    }
    return nullptr;
}

}  // namespace

bool XmlParser::readTagBody(node* pNode) {
    std::string_view szName;
    if (!readName(m_pCursor, m_pEnd, szName)) return false;
    xmlRecords::setText(pNode, szName);
    if (!readAttributes(m_pCursor, m_pEnd, pNode)) return false;
    m_pCursor = m_pEnd;
    return true;
}

bool XmlParser::readDeclaration(node* pNode) {
    if (rest().starts_with("<?")) m_pCursor += 2;
    const char* pClose = findDeclarationClose(m_pCursor, m_pEnd);
    if (!pClose) return fail(m_pCursor);
    std::string_view szName;
    if (!readName(m_pCursor, pClose - 1, szName)) return false;
    xmlRecords::setText(pNode, szName);
    if (!readAttributes(m_pCursor, pClose - 1, pNode)) return false;
    m_pCursor = pClose + 1;
    return true;
}

bool XmlParser::readDeclarationNode(const char* pOpen) {
    m_pCursor = pOpen;
    return readDeclaration(addNode(xmlDeclaration, true, {}));
}

// The first word. Fails if there is none or it holds a separator.
bool XmlParser::readName(const char*& p, const char* pEnd, std::string_view& szName) {
    const char* pBegin = skipWhite(p, pEnd);
    p = pBegin;
    while (p != pEnd && !(classOf(*p) & CLASS_SEPARATOR))
        ++p;
    if (p == pBegin || (p != pEnd && !isWhite(*p))) return fail(pBegin);
    szName = between(pBegin, p);
    return true;
}

bool XmlParser::readAttributes(const char* p, const char* pEnd, node* pNode) {
    p = skipWhite(p, pEnd);
    if (p == pEnd) return true;
    xmlAttributeList& list = *xmlRecords::elementOf(pNode);
    TagState state = stateOf(list);
    while (p != pEnd) {
        if (!readAttribute(p, pEnd, list, state)) return false;
        p = skipWhite(p, pEnd);
    }
    return true;
}

// name = "value" or name = 'value'.
bool XmlParser::readAttribute(const char*& p, const char* pEnd, xmlAttributeList& list, TagState& state) {
    const char* pName = p;
    bool bNameCoded = false;
    bool bValueCoded = false;
    p = findNameEnd(p, pEnd, bNameCoded);
    std::string_view szName = between(pName, p);
    p = skipWhite(p, pEnd);
    if (szName.empty() || p == pEnd || *p != '=') return fail(pName);
    p = skipWhite(p + 1, pEnd);
    if (p == pEnd || (*p != '"' && *p != '\'')) return fail(pName);
    const char* pValue = p + 1;
    const char* pClose = findQuote(pValue, m_pEnd, *p, bValueCoded);
    if (!pClose || pClose >= pEnd) return fail(pName);
    std::string_view szValue = between(pValue, pClose);
    if (bNameCoded) szName = decodeEntities(szName, m_szName);
    if (bValueCoded) szValue = decodeEntities(szValue, m_szValue);
    store(szName, szValue, list, state);
    p = pClose + 1;
    return true;
}

// A name that occurs again keeps its first spelling and place, and gets the last value.
void XmlParser::store(std::string_view szName, std::string_view szValue, xmlAttributeList& list,
                      TagState& state) {
    const std::uint64_t nBit = bitOf(szName);
    if (attribute* pSame = findSame(szName, nBit, list, state)) {
        pSame->pair.second = szValue;
        return;
    }
    attribute* pEntry = xmlRecords::makeAttribute(m_caches, sourceOf(szName), sourceOf(szValue));
    *state.ppLast = pEntry;
    state.ppLast = &pEntry->pNext;
    state.nSeen |= nBit;
    if (++state.nCount == INDEX_FROM) {
        m_pIndex = std::make_unique<NameIndex>();
        for (attribute* p = xmlRecords::firstAttribute(list); p; p = p->pNext)
            m_pIndex->insert(p);
    } else if (state.nCount > INDEX_FROM) {
        m_pIndex->insert(pEntry);
    }
}

XmlParser::attribute* XmlParser::findSame(std::string_view szName, std::uint64_t nBit, xmlAttributeList& list,
                                          TagState& state) {
    if (!(state.nSeen & nBit)) return nullptr;
    if (state.nCount >= INDEX_FROM) {
        const auto found = m_pIndex->find(szName);
        return found == m_pIndex->end() ? nullptr : *found;
    }
    for (attribute* p = xmlRecords::firstAttribute(list); p; p = p->pNext) {
        if (sameName(szName, p->pair.first)) return p;
    }
    return nullptr;
}

// The state of a list that may hold attributes already.
XmlParser::TagState XmlParser::stateOf(xmlAttributeList& list) {
    TagState state{&xmlRecords::firstAttribute(list)};
    for (; *state.ppLast; state.ppLast = &(*state.ppLast)->pNext) {
        state.nSeen |= bitOf((*state.ppLast)->pair.first);
        if (++state.nCount == INDEX_FROM) m_pIndex = std::make_unique<NameIndex>();
    }
    if (state.nCount < INDEX_FROM) return state;
    for (attribute* p = xmlRecords::firstAttribute(list); p; p = p->pNext)
        m_pIndex->insert(p);
    return state;
}

}  // namespace vdx
