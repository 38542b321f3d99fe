// The XML node record, its content, and the handle through which all nodes are reached.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include <vdx/export.h>
#include <vdx/node_alloc.h>

class chXmlElement;

// The kind of a node. Kinds 3, 4 and 6 have room for attributes, 1, 2 and 5 have
// not, nor has a document node that AddChildObject made for an empty handle.
enum xmlType : std::uint32_t {
    xmlNone = 0,         // An empty handle.
    xmlComment = 1,      // <!-- text -->
    xmlText = 2,         // Text, stored decoded.
    xmlDeclaration = 3,  // <?name attributes?>
    xmlElement = 4,      // <name attributes>children</name>
    xmlCData = 5,        // <![CDATA[text]]>
    xmlDocument = 6      // The root of a whole text; only its children are written.
};

// Whether two tag or attribute names are the same: ASCII letters compare without
// regard to case, all other bytes exactly. End tags alone compare byte for byte.
VDX_API bool sameXmlKeyName(const std::string& szLeft, const std::string& szRight);

// The attributes of one node as (name, value) pairs in document order.
//
// A pair stays at its address until it is removed or its node is freed. Iterate to
// read; chXmlAttributeObject changes it.
//
// Thread-safety: none.
class VDX_API xmlAttributeList {
    struct entry;

public:
    using value_type = std::pair<std::string, std::string>;  // Name and value.

    // A forward iterator; valid as long as its pair stands in the list.
    class const_iterator {
    public:
        // What the standard library asks an iterator for.
        using iterator_category = std::forward_iterator_tag;
        using value_type = xmlAttributeList::value_type;
        using difference_type = std::ptrdiff_t;
        using pointer = const value_type*;
        using reference = const value_type&;

        const_iterator() = default;
        // The pair. Requires: not at the end.
        reference operator*() const { return m_pEntry->pair; }
        pointer operator->() const { return &m_pEntry->pair; }
        // Moves on to the next pair. Requires: not at the end.
        const_iterator& operator++() {
            m_pEntry = m_pEntry->pNext;
            return *this;
        }
        // The same; gives the place before.
        const_iterator operator++(int) {
            const_iterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(const const_iterator& other) const = default;

    private:
        friend class xmlAttributeList;
        explicit const_iterator(const entry* pEntry) : m_pEntry(pEntry) {}
        const entry* m_pEntry = nullptr;
    };

    xmlAttributeList() = default;
    xmlAttributeList(const xmlAttributeList&) = delete;
    xmlAttributeList& operator=(const xmlAttributeList&) = delete;
    ~xmlAttributeList();

    // The first pair, and the end; both the same for an empty list.
    const_iterator begin() const { return const_iterator(m_pFirst); }
    const_iterator end() const { return const_iterator(); }
    bool empty() const { return !m_pFirst; }  // Whether there are no attributes.
    std::size_t size() const;                 // Walks the list.

private:
    friend struct xmlRecords;
    struct entry {
        entry* pNext;
        value_type pair;
    };
    entry* m_pFirst = nullptr;
};

// What every node holds: its kind and one text. The text is the name of an element
// or declaration, the content of a text, comment or CDATA node, empty for a
// document.
class VDX_API dataXmlBase {
public:
    explicit dataXmlBase(xmlType nType) : m_nType(nType) {}  // With the empty text.
    dataXmlBase(const dataXmlBase&) = delete;
    dataXmlBase& operator=(const dataXmlBase&) = delete;
    virtual ~dataXmlBase();

    xmlType type() const { return m_nType; }  // The kind.

    // The text. Valid until it changes or the node is freed.
    std::string_view text() const {
        if (m_nShortSize == LONG_TEXT) return {m_longText.pBytes, m_longText.nSize};
        return {m_shortText, m_nShortSize};
    }

private:
    friend struct xmlRecords;
    friend class dataXmlElement;
    static constexpr std::uint8_t LONG_TEXT = 0xFF;
    struct longText {
        char* pBytes;
        std::size_t nSize;
    };
    dataXmlBase(xmlType nType, bool bElementForm) : m_nType(nType), m_bElementForm(bElementForm) {}

    xmlType m_nType;
    std::uint16_t m_nNameHash = 0;  // Of the folded text of an element, else 0.
    std::uint8_t m_nShortSize = 0;  // Of a text of up to 16 bytes, else LONG_TEXT.
    bool m_bElementForm = false;    // Whether this is a dataXmlElement.
    union {
        char m_shortText[16];
        longText m_longText;
    };
};

// What nodes with attributes hold.
class VDX_API dataXmlElement : public dataXmlBase, public xmlAttributeList {
public:
    explicit dataXmlElement(xmlType nType) : dataXmlBase(nType, true) {}  // Without attributes.
    ~dataXmlElement() override;
};

// A handle on an XML node; the only way to reach one.
//
// Nodes form a tree and are counted: copying a handle shares its node, clone()
// copies the subtree. A node lives while a handle holds it or it is linked under a
// parent; with the last handle of a root the whole tree goes, except subtrees that
// handles hold elsewhere: these become roots. A default-made handle is empty:
// queries of it answer "none".
//
//   chXmlElement server("server");
//   server.SetAttributeValue("id", "7");
//   server.SetOption("port", "8080");
//   return server.ExportToText(true);  // <server id="7"><port>8080</port></server>
//
// Nothing here recurses: a tree may be millions of levels deep. (Only indented
// output grows with depth times nodes; use compact output for such trees.)
//
// Thread-safety: handles on one tree may be copied and dropped by several threads
// at once. Reading one tree by several threads is safe while nobody changes it;
// changing it is for one thread alone. Dropping the last handle of a root changes
// the nodes that other handles keep: they lose their parent.
// Errors: empty handles, false, default values. std::bad_alloc when memory ends.
class VDX_API chXmlObject : public baseDymicAlloc {
public:
    // A node. Its content, a dataXmlBase or dataXmlElement, follows it in memory.
    struct xmlNodeData {
        std::atomic<int> nCount;  // Handles, plus one while it has a parent.
        // The node's place in the tree: null where there is no such node.
        xmlNodeData* pParent;
        xmlNodeData* pFirstChild;
        xmlNodeData* pLastChild;
        xmlNodeData* pNext;
        xmlNodeData* pPrevious;

        // Sets all links to null.
        void reset_chain() { pParent = pFirstChild = pLastChild = pNext = pPrevious = nullptr; }
        // What the node holds.
        dataXmlBase& content() { return *reinterpret_cast<dataXmlBase*>(this + 1); }
        const dataXmlBase& content() const { return *reinterpret_cast<const dataXmlBase*>(this + 1); }
    };

    // --- Handles --------------------------------------------------------------

    chXmlObject() = default;

    // A new root. Kinds other than 1 to 6 give an empty handle.
    chXmlObject(xmlType nType, const std::string& szText);

    // Shares a node; null is allowed.
    chXmlObject(xmlNodeData* pNode) : m_pNode(pNode) {
        if (pNode) share(pNode);
    }
    // Copies share the node; what was moved from is empty.
    chXmlObject(const chXmlObject& other) : chXmlObject(other.m_pNode) {}
    chXmlObject(chXmlObject&& other) noexcept
        : baseDymicAlloc(other), m_pNode(std::exchange(other.m_pNode, nullptr)) {}
    chXmlObject& operator=(const chXmlObject& other);
    chXmlObject& operator=(chXmlObject&& other) noexcept;
    ~chXmlObject() {
        if (m_pNode) release(m_pNode);
    }

    // --- Queries --------------------------------------------------------------

    // Whether there is a node; its kind, or xmlNone.
    bool hasData() const { return m_pNode != nullptr; }
    xmlType type() const { return m_pNode ? m_pNode->content().type() : xmlNone; }

    // A copy of the node's text: the tag name, or the content of a text, comment
    // or CDATA node. Empty for an empty handle.
    std::string tagName() const { return m_pNode ? std::string(m_pNode->content().text()) : std::string(); }

    // Whether it has a child of any kind.
    bool hasChildren() const { return m_pNode && m_pNode->pFirstChild; }

    // The number of ancestors; a document node at the top does not count, so that a
    // document's top element has level 0. 0 for an empty handle.
    int getLevel() const;

    // The parent; an empty handle for a root.
    chXmlObject getParent() const { return m_pNode ? chXmlObject(m_pNode->pParent) : chXmlObject(); }

    // --- Navigation: an empty handle means "none" -------------------------------

    // The first child of any kind, and the first one that is an element.
    chXmlObject getChild() const { return m_pNode ? chXmlObject(m_pNode->pFirstChild) : chXmlObject(); }
    chXmlElement getChildElement() const;
    chXmlElement getNextElement() const;  // The next sibling that is an element.

    // Moves on to the next sibling of any kind; the handle becomes empty past the last.
    chXmlObject& operator++();

    // The first child element, or the next sibling element, of that name
    // (sameXmlKeyName). [] is FindChildElement.
    chXmlElement FindChildElement(const std::string& szName) const;
    chXmlElement FindNextElement(const std::string& szName) const;
    chXmlElement operator[](const std::string& szName) const;

    // --- Building ---------------------------------------------------------------

    // Appends a node as the last child and returns a handle on it. If this handle
    // is empty it first receives a new document node (without room for
    // attributes), so that a tree can be started from nothing. An empty child does
    // nothing.
    // Kept: a child is not taken away from another parent; remove it there first.
    // A child that has a parent, or is this node or one above it, is not appended:
    // one warning line.
    chXmlObject AddChildObject(const chXmlObject& child);
    chXmlObject AddChildObject(xmlType nType, const std::string& szText);
    chXmlElement AddChildElement(const std::string& szName);

    // Unlinks a child, which becomes a root. Nothing happens to a node that has no
    // parent.
    // Requires: a child of this node. Not checked: it leaves the parent it has.
    void RemoveChildObject(const chXmlObject& child);

    // A deep copy, as a root; shares nothing with the source.
    chXmlObject clone() const;

    // --- Text -------------------------------------------------------------------

    // Reads markup from the front of a text, up to the end of the markup or an end
    // tag that belongs to none of the elements read; what it finds becomes children
    // of this node (an empty handle receives a document node). Returns the rest; one
    // that begins with "</" tells that an end tag follows.
    //
    // Throws const char*, pointing into szText at what cannot be read (so szText must
    // outlive the handler: no temporary); chXmlDocument::ParseDocument catches that.
    // What was read before stays.
    //
    // Kept: white space at the end of a text run is dropped, at its start only
    // after an element; comments and CDATA lose it at both ends; text without
    // markup after it is not stored but handed back.
    virtual std::string parseContent(const std::string& szText);

    // This node and its subtree as text. Compact: no indentation, no line ends.
    // Otherwise two spaces a level and "\n" after each node; an element whose only
    // child is a text stands on one line.
    //
    // Kept: tag names, comments and CDATA are written as stored, even if they are no
    // names or hold their own end mark. Indented text beside other children gains white space, which
    // reading it again does not remove where the text comes first.
    std::string ExportToText(bool bCompact) const;

    // As ExportToText, in the form of an element whatever the kind.
    std::string ExportElement(bool bCompact) const;

    // ` name="value"` for each attribute, escaped. Empty if there are none.
    std::string ExportAttributes() const;

    // ExportToText of each child.
    std::string ExportChildren(bool bCompact) const;

protected:
    struct adopt_t {};
    chXmlObject(xmlNodeData* pNode, adopt_t) : m_pNode(pNode) {}  // Takes over one count.

    // The node of a handle, or null.
    static xmlNodeData* nodeOf(const chXmlObject& handle) { return handle.m_pNode; }
    void replaceNode(xmlNodeData* pNode);  // Takes over one count of the new node.

    xmlNodeData* m_pNode = nullptr;  // The node, or null.

private:
    static void share(xmlNodeData* pNode);
    static void release(xmlNodeData* pNode);
    void appendNode(xmlNodeData* pChild);
};
