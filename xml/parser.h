// The one scanner behind every way of reading XML.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "xml/names.h"
#include "xml/records.h"

namespace vdx {

// Reads markup in one pass with a cursor and makes records directly. Parent links
// are the stack of open elements, so depth costs nothing but the records.
//
// Each reading function gives false when the text cannot be read; stopped() then
// points into the text at what was wrong. What was read before stays linked.
//
// Thread-safety: one thread. Throws std::bad_alloc only.
class XmlParser {
public:
    explicit XmlParser(std::string_view szText);
    ~XmlParser();
    XmlParser(const XmlParser&) = delete;
    XmlParser& operator=(const XmlParser&) = delete;

    // Content items, up to the end of the markup or an end tag of none of them.
    bool readContent(xmlRecords::node* pParent);
    // From behind an element's "<" to behind its end tag, into an element.
    bool readElement(xmlRecords::node* pElement);
    // The inside of a start tag, into an element or declaration.
    bool readTagBody(xmlRecords::node* pNode);
    // From before or behind "<?" to behind "?>".
    bool readDeclaration(xmlRecords::node* pNode);

    std::string_view rest() const { return {m_pCursor, static_cast<std::size_t>(m_pEnd - m_pCursor)}; }
    const char* stopped() const { return m_pStopped; }

private:
    using node = xmlRecords::node;
    using attribute = xmlRecords::attribute;

    // Where the next attribute goes, and how to tell that its name is new.
    struct TagState {
        attribute** ppLast;
        std::uint64_t nSeen = 0;  // A bit for each name's hash: most new names have theirs alone.
        std::uint32_t nCount = 0;
    };
    struct NamedBefore {
        using is_transparent = void;
        static std::string_view nameOf(const attribute* pEntry) { return pEntry->pair.first; }
        static std::string_view nameOf(std::string_view szName) { return szName; }
        bool operator()(const auto& left, const auto& right) const {
            return FoldedLess{}(nameOf(left), nameOf(right));
        }
    };
    using NameIndex = std::set<attribute*, NamedBefore>;

    bool fail(const char* pWhere) {
        m_pStopped = pWhere;
        return false;
    }
    bool readItems();
    bool readMarkup(const char* pOpen);
    bool readEnclosed(const char* pBody, char cBeforeEnd, xmlType nType);
    bool readDeclarationNode(const char* pOpen);
    bool readStartTag(const char* p, node* pElement);
    bool readEndTag(const char* pOpen);
    void addText(const char* pBegin, const char* pEnd);
    void leaveElement(const char* pBehind);

    bool readName(const char*& p, const char* pEnd, std::string_view& szName);
    bool readAttributes(const char* p, const char* pEnd, node* pNode);
    bool readAttribute(const char*& p, const char* pEnd, xmlAttributeList& list, TagState& state);
    void store(std::string_view szName, std::string_view szValue, xmlAttributeList& list, TagState& state);
    attribute* findSame(std::string_view szName, std::uint64_t nBit, xmlAttributeList& list, TagState& state);
    TagState stateOf(xmlAttributeList& list);

    node* addNode(xmlType nType, bool bElementForm, std::string_view szText);
    // Decoded texts are elsewhere; all others lie in the text being read.
    TextSource sourceOf(std::string_view szPart) const {
        const bool bInText = szPart.data() >= m_pBegin && szPart.data() <= m_pEnd;
        return bInText ? TextSource(szPart, m_pEnd) : TextSource(szPart);
    }

    const char* m_pBegin;
    const char* m_pCursor;
    const char* m_pEnd;
    const char* m_pStopped = nullptr;
    node* m_pParent = nullptr;   // The innermost open element.
    std::size_t m_nDepth = 0;    // Open elements below the node read into.
    bool m_bOneElement = false;  // Return when the outermost element closes.
    bool m_bEndTrimmed = false;
    CellCaches& m_caches = CellCaches::local();
    std::uint32_t m_nMade = 0;
    std::string m_szName;  // Decoded texts; kept for their memory.
    std::string m_szValue;
    std::unique_ptr<NameIndex> m_pIndex;  // Of the tag being read, once it has many attributes.
};

}  // namespace vdx
