// The one scanner behind every way of reading XML.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string_view>

#include "xml/attribute_pool.h"
#include "xml/names.h"
#include "xml/records.h"
#include "xml/scan.h"

namespace vdx {

// Memory for decoded texts, used again and again.
class DecodeBuffer {
public:
    TextSource decode(std::string_view szPhrase);

private:
    char m_first[256];  // Enough for small documents.
    std::unique_ptr<char[]> m_pLarger;
    char* m_pBytes = m_first;
    std::size_t m_nSize = sizeof m_first;
};

// Reads markup in one pass with a cursor and makes records directly. Parent links
// are the stack of open elements, so depth costs nothing but the records.
//
// Each reading function gives false when the text cannot be read; stopped() then
// points into the text at what was wrong. What was read before stays linked.
//
// Thread-safety: one thread. Throws std::bad_alloc only.
class XmlParser {
public:
    // nMade: nodes that were made for this reading and are to be reported with it.
    explicit XmlParser(std::string_view szText, std::uint32_t nMade = 0);
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

    std::string_view rest() const { return between(m_pCursor, m_pEnd); }
    const char* stopped() const { return m_pStopped; }

private:
    using node = xmlRecords::node;
    using attribute = xmlRecords::attribute;

    // The inside of a tag, from the cursor p on. That of a start tag ends at the first
    // ">" or "/>", which need not be searched for beforehand: nothing in a tag may
    // hold it. Other ones end at pEnd.
    struct TagBody {
        const char* p;
        const char* pEnd;
        bool bStartTag;

        bool isAtEnd() const {
            if (!bStartTag || p == pEnd) return !bStartTag && p == pEnd;
            return *p == '>' || (*p == '/' && pEnd - p > 1 && p[1] == '>');
        }
        void skip() { p = skipWhite(p, pEnd); }
    };
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
    const char* readText();
    bool readMarkup(const char* pOpen);
    bool readMarked(const char* pOpen);
    bool readEnclosed(const char* pBody, char cBeforeEnd, xmlType nType);
    bool readDeclarationNode(const char* pOpen);
    bool readStartTag(const char* p, node* pElement);
    bool readEndTag(const char* pOpen);
    void leaveElement(const char* pBehind);

    bool readTag(TagBody& body, node*& pElement);
    bool readName(TagBody& body, std::string_view& szName);
    bool readAttributes(TagBody& body, node* pNode);
    bool readAttribute(TagBody& body, xmlAttributeList& list, TagState& state);
    void store(const TextSource& name, const TextSource& value, xmlAttributeList& list, TagState& state);
    void index(attribute* pEntry, xmlAttributeList& list, TagState& state);
    attribute* findSame(std::string_view szName, xmlAttributeList& list, TagState& state);
    TagState stateOf(xmlAttributeList& list);

    node* addNode(xmlType nType, bool bElementForm, const TextSource& text);
    TextSource inText(const char* pBegin, const char* pEnd) const { return {between(pBegin, pEnd), m_pEnd}; }

    const char* m_pCursor;
    const char* m_pEnd;
    const char* m_pStopped = nullptr;
    node* m_pParent = nullptr;   // The innermost open element.
    std::size_t m_nDepth = 0;    // Open elements below the node read into.
    bool m_bOneElement = false;  // Return when the outermost element closes.
    bool m_bEndTrimmed = false;
    CellCaches& m_caches = CellCaches::local();
    AttributePool& m_attributes = AttributePool::local();
    std::uint32_t m_nMade;
    DecodeBuffer m_name;
    DecodeBuffer m_value;
    std::unique_ptr<NameIndex> m_pIndex;  // Of the tag being read, once it has many attributes.
};

}  // namespace vdx
