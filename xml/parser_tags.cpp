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
    TagBody body{m_pCursor, m_pEnd, false};
    if (!readTag(body, pNode)) return false;
    m_pCursor = m_pEnd;
    return true;
}

bool XmlParser::readDeclaration(node* pNode) {
    if (rest().starts_with("<?")) m_pCursor += 2;
    const char* pClose = findDeclarationClose(m_pCursor, m_pEnd);
    if (!pClose) return fail(m_pCursor);
    TagBody body{m_pCursor, pClose - 1, false};
    if (!readTag(body, pNode)) return false;
    m_pCursor = pClose + 1;
    return true;
}

bool XmlParser::readDeclarationNode(const char* pOpen) {
    m_pCursor = pOpen;
    return readDeclaration(addNode(xmlDeclaration, true, std::string_view()));
}

// The first word. Fails if there is none or it holds a separator.
bool XmlParser::readName(TagBody& body, std::string_view& szName) {
    body.skip();
    const char* pBegin = body.p;
    bool bAmpersand = false;
    body.p = findNameEnd(pBegin, body.pEnd, bAmpersand);
    // The slash of "/>" is no part of it.
    if (body.bStartTag && body.p != pBegin && body.p != body.pEnd && *body.p == '>' && body.p[-1] == '/')
        --body.p;
    const bool bEnded = body.isAtEnd() || (body.p != body.pEnd && isWhite(*body.p));
    if (body.p == pBegin || !bEnded) return fail(pBegin);
    szName = between(pBegin, body.p);
    return true;
}

bool XmlParser::readAttributes(TagBody& body, node* pNode) {
    body.skip();
    if (body.isAtEnd()) return true;
    xmlAttributeList& list = *xmlRecords::elementOf(pNode);
    TagState state = stateOf(list);
    while (!body.isAtEnd()) {
        if (!readAttribute(body, list, state)) return false;
        body.skip();
    }
    return true;
}

// name = "value" or name = 'value'.
bool XmlParser::readAttribute(TagBody& body, xmlAttributeList& list, TagState& state) {
    const char* pName = body.p;
    const char* pEnd = body.pEnd;
    bool bNameCoded = false;
    bool bValueCoded = false;
    const char* pNameEnd = findNameEnd(pName, pEnd, bNameCoded);
    const char* p = skipWhite(pNameEnd, pEnd);
    if (pNameEnd == pName || p == pEnd || *p != '=') return fail(pName);
    p = skipWhite(p + 1, pEnd);
    if (p == pEnd || (*p != '"' && *p != '\'')) return fail(pName);
    const char cQuote = *p++;
    const char* pClose = findEither(p, pEnd, cQuote, body.bStartTag ? '>' : cQuote, bValueCoded);
    if (pClose == pEnd || *pClose != cQuote) return fail(pName);
    const TextSource name = inText(pName, pNameEnd);
    const TextSource value = inText(p, pClose);
    if (bNameCoded || bValueCoded) {
        store(bNameCoded ? m_name.decode(name.szText) : name,
              bValueCoded ? m_value.decode(value.szText) : value, list, state);
    } else {
        store(name, value, list, state);
    }
    body.p = pClose + 1;
    return true;
}

// A name that occurs again keeps its first spelling and place, and gets the last value.
void XmlParser::store(const TextSource& name, const TextSource& value, xmlAttributeList& list,
                      TagState& state) {
    const std::uint64_t nBit = bitOf(name.szText);
    attribute* pSame = state.nSeen & nBit ? findSame(name.szText, list, state) : nullptr;
    if (pSame) {
        pSame->pair.second = value.szText;
        return;
    }
    attribute* pEntry = m_attributes.make(name, value);
    *state.ppLast = pEntry;
    state.ppLast = &pEntry->pNext;
    state.nSeen |= nBit;
    if (++state.nCount >= INDEX_FROM) index(pEntry, list, state);
}

// Notes an attribute's name, or, with the first for which that pays, those of all.
void XmlParser::index(attribute* pEntry, xmlAttributeList& list, TagState& state) {
    if (state.nCount > INDEX_FROM) {
        m_pIndex->insert(pEntry);
        return;
    }
    m_pIndex = std::make_unique<NameIndex>();
    for (attribute* p = xmlRecords::firstAttribute(list); p; p = p->pNext)
        m_pIndex->insert(p);
}

XmlParser::attribute* XmlParser::findSame(std::string_view szName, xmlAttributeList& list, TagState& state) {
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
    while (attribute* pEntry = *state.ppLast) {
        state.ppLast = &pEntry->pNext;
        state.nSeen |= bitOf(pEntry->pair.first);
        ++state.nCount;
    }
    if (state.nCount >= INDEX_FROM) {
        m_pIndex = std::make_unique<NameIndex>();
        for (attribute* p = xmlRecords::firstAttribute(list); p; p = p->pNext)
            m_pIndex->insert(p);
    }
    return state;
}

}  // namespace vdx
