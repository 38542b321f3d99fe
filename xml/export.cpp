// Writing XML: one walk without recursion, one growing text.
#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include <vdx/xml.h>

#include "xml/entities.h"
#include "xml/records.h"
#include "xml/short_text.h"

namespace {

using node = chXmlObject::xmlNodeData;
using namespace std::string_view_literals;

// Gathers pieces in blocks, and makes one text of the right size of them at the end: a
// growing text would be copied, and its memory touched for the first time, again and again.
class TextBuilder {
public:
    void add(std::string_view szPiece) {
        if (szPiece.size() > room()) return addBeyond(szPiece);
        if (szPiece.size() <= 16) {
            vdx::copyShort(m_pEnd, szPiece.data(), szPiece.size());
        } else {
            std::memcpy(m_pEnd, szPiece.data(), szPiece.size());
        }
        m_pEnd += szPiece.size();
    }
    void add(char c) {
        if (room() == 0) flush();
        *m_pEnd++ = c;
    }
    void addEscaped(const vdx::TextSource& text) {
        const char* p = text.szText.data();
        const char* pEnd = p + text.szText.size();
        for (;;) {
            vdx::copyEscaped(p, pEnd, text.pReadableEnd, m_pEnd, limit());
            if (p == pEnd) return;
            flush();
        }
    }
    // Most names are short, and stand where sixteen bytes may be read.
    void add(const vdx::TextSource& text) {
        if (text.szText.size() > 16 || !text.isReadable(16) || room() < 16) return add(text.szText);
        std::memcpy(m_pEnd, text.szText.data(), 16);
        m_pEnd += text.szText.size();
    }
    void addSpaces(std::size_t nCount) {
        if (nCount + 16 <= room()) {
            for (std::size_t n = 0; n < nCount; n += 16)
                std::memset(m_pEnd + n, ' ', 16);
            m_pEnd += nCount;
            return;
        }
        while (nCount > 0) {
            if (room() == 0) flush();
            const std::size_t nPart = std::min(nCount, room());
            std::memset(m_pEnd, ' ', nPart);
            m_pEnd += nPart;
            nCount -= nPart;
        }
    }
    std::string finish() {
        std::string szText;
        szText.reserve(m_nInBlocks + used());
        for (const Block& block : m_blocks)
            szText.append(block.pBytes.get(), block.nSize);
        szText.append(m_pBegin, m_pEnd);
        return szText;
    }

private:
    static constexpr std::size_t BLOCK_SIZE = 64U * 1024U;
    struct Block {
        std::unique_ptr<char[]> pBytes;
        std::size_t nSize;
    };

    const char* limit() const { return m_pLimit; }
    std::size_t room() const { return static_cast<std::size_t>(m_pLimit - m_pEnd); }
    std::size_t used() const { return static_cast<std::size_t>(m_pEnd - m_pBegin); }

    // Goes on in a new block of at least that size.
    void flush(std::size_t nSize = BLOCK_SIZE) {
        if (m_blocks.empty()) {
            m_blocks.push_back({std::make_unique_for_overwrite<char[]>(sizeof m_first), used()});
            std::memcpy(m_blocks.back().pBytes.get(), m_first, used());
        } else {
            m_blocks.back().nSize = used();
        }
        m_nInBlocks += used();
        nSize = std::max(nSize, BLOCK_SIZE);
        m_blocks.push_back({std::make_unique_for_overwrite<char[]>(nSize), 0});
        m_pBegin = m_pEnd = m_blocks.back().pBytes.get();
        m_pLimit = m_pBegin + nSize;
    }
    void addBeyond(std::string_view szPiece) {
        flush(szPiece.size());
        add(szPiece);
    }

    std::vector<Block> m_blocks;  // The last one is being filled; its size is still 0.
    std::size_t m_nInBlocks = 0;
    char m_first[8192];  // Enough for most texts.
    char* m_pBegin = m_first;
    char* m_pEnd = m_first;
    char* m_pLimit = m_first + sizeof m_first;
};

class Exporter {
public:
    explicit Exporter(bool bCompact) : m_bCompact(bCompact) {}

    // A node and all below it. The level is counted on the way: asking each node
    // for it would make deep trees quadratic.
    void addTree(const node* pTop) { addTree(pTop, xmlRecords::levelOf(pTop)); }
    void addElement(const node* pTop);
    void addChildren(const node* pParent);
    void addAttributes(const node* pNode);
    std::string finish() { return m_text.finish(); }

private:
    void addTree(const node* pTop, int nLevel);
    bool open(const node* pNode, int nLevel, xmlType nType);
    bool openElement(const node* pNode, int nLevel);
    void close(const node* pNode, int nLevel);
    void addMarked(std::string_view szOpen, std::string_view szText, std::string_view szClose);
    void indent(int nLevel) {
        if (!m_bCompact) m_text.addSpaces(2 * static_cast<std::size_t>(nLevel));
    }
    void endLine() {
        if (!m_bCompact) m_text.add('\n');
    }
    void endTag(const node* pNode) {
        m_text.add("</"sv);
        m_text.add(xmlRecords::textOf(pNode));
        m_text.add('>');
        endLine();
    }

    TextBuilder m_text;
    const bool m_bCompact;
};

// The level of a node's children: a document at the very top does not count.
int levelBelow(const node* pNode, int nLevel) {
    return !pNode->pParent && pNode->content().type() == xmlDocument ? 0 : nLevel + 1;
}

void Exporter::addTree(const node* pTop, int nLevel) {
    const node* pNode = pTop;
    for (;;) {
        if (open(pNode, nLevel, pNode->content().type())) {
            nLevel = levelBelow(pNode, nLevel);
            pNode = pNode->pFirstChild;
            continue;
        }
        while (pNode != pTop && !pNode->pNext) {
            pNode = pNode->pParent;
            if (levelBelow(pNode, 0) == 1) --nLevel;
            close(pNode, nLevel);
        }
        if (pNode == pTop) return;
        pNode = pNode->pNext;
    }
}

void Exporter::addElement(const node* pTop) {
    const int nLevel = xmlRecords::levelOf(pTop);
    if (!openElement(pTop, nLevel)) return;
    addChildren(pTop);
    indent(nLevel);
    endTag(pTop);
}

void Exporter::addChildren(const node* pParent) {
    const int nLevel = levelBelow(pParent, xmlRecords::levelOf(pParent));
    for (const node* pChild = pParent->pFirstChild; pChild; pChild = pChild->pNext)
        addTree(pChild, nLevel);
}

// Writes a node, or its start. True if its children are to follow.
bool Exporter::open(const node* pNode, int nLevel, xmlType nType) {
    const std::string_view szText = pNode->content().text();
    if (nType == xmlElement) return openElement(pNode, nLevel);
    if (nType == xmlDocument) return pNode->pFirstChild != nullptr;
    indent(nLevel);
    if (nType == xmlComment) {
        addMarked("<!-- ", szText, " -->");
    } else if (nType == xmlCData) {
        addMarked("<![CDATA[", szText, "]]>");
    } else if (nType == xmlDeclaration) {
        addMarked("<?", szText, {});
        addAttributes(pNode);
        m_text.add("?>"sv);
    } else {
        m_text.addEscaped(xmlRecords::textOf(pNode));
    }
    endLine();
    return false;
}

bool Exporter::openElement(const node* pNode, int nLevel) {
    indent(nLevel);
    m_text.add('<');
    m_text.add(xmlRecords::textOf(pNode));
    addAttributes(pNode);
    const node* pFirst = pNode->pFirstChild;
    if (!pFirst) {
        m_text.add("/>"sv);
        endLine();
        return false;
    }
    m_text.add('>');
    if (!pFirst->pNext && pFirst->content().type() == xmlText) {
        m_text.addEscaped(xmlRecords::textOf(pFirst));
        endTag(pNode);
        return false;
    }
    endLine();
    return true;
}

void Exporter::close(const node* pNode, int nLevel) {
    if (pNode->content().type() != xmlElement) return;
    indent(nLevel);
    endTag(pNode);
}

void Exporter::addAttributes(const node* pNode) {
    const dataXmlElement* pElement = xmlRecords::elementOf(const_cast<node*>(pNode));
    if (!pElement) return;
    for (const auto& [szName, szValue] : *pElement) {
        m_text.add(' ');
        m_text.addEscaped(szName);
        m_text.add("=\""sv);
        m_text.addEscaped(szValue);
        m_text.add('"');
    }
}

void Exporter::addMarked(std::string_view szOpen, std::string_view szText, std::string_view szClose) {
    m_text.add(szOpen);
    m_text.add(szText);
    m_text.add(szClose);
}

}  // namespace

std::string chXmlObject::ExportToText(bool bCompact) const {
    if (!m_pNode) return {};
    Exporter exporter(bCompact);
    exporter.addTree(m_pNode);
    return exporter.finish();
}

std::string chXmlObject::ExportElement(bool bCompact) const {
    if (!m_pNode) return {};
    Exporter exporter(bCompact);
    exporter.addElement(m_pNode);
    return exporter.finish();
}

std::string chXmlObject::ExportAttributes() const {
    if (!m_pNode) return {};
    Exporter exporter(true);
    exporter.addAttributes(m_pNode);
    return exporter.finish();
}

std::string chXmlObject::ExportChildren(bool bCompact) const {
    if (!m_pNode) return {};
    Exporter exporter(bCompact);
    exporter.addChildren(m_pNode);
    return exporter.finish();
}
