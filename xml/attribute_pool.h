// The attributes of nodes: made and freed, and the memory of their long values kept.
#pragma once

#include <cstddef>
#include <new>
#include <string>
#include <tuple>
#include <utility>

#include "xml/cell_pool.h"
#include "xml/records.h"
#include "xml/short_text.h"

namespace vdx {

// Long strings that nobody needs, for the memory that they have.
//
// Values of attributes are std::string, because users hold pointers to them: one of
// more than fifteen bytes has a block of the heap, and taking and freeing these blocks
// would be a fifth of the time of reading a text. So each thread keeps some. What is
// kept is the string, not the attribute: a few kept cells would hold back every slab,
// and cells taken out of old slabs lie scattered.
class KeptStrings {
public:
    // Gives an empty string such a text, in a kept block if one fits. Throws std::bad_alloc.
    void assign(std::string& szEmpty, std::string_view szText);

    // Takes the block of a string that goes, if there is room for it.
    void keep(std::string& szGone) noexcept;

    void setRoom(std::size_t nBytes) { m_nRoom = nBytes; }
    void dropAll() noexcept;

private:
    // Kept capacities are 16 k + 7 with k below CLASSES: with its end mark and the
    // heap's own word such a block fills the heap's steps of 16 bytes.
    static constexpr std::size_t MIN_CLASS = 2;
    static constexpr std::size_t CLASSES = 16;
    static constexpr std::size_t capacityOf(std::size_t nClass) { return nClass * 16 + 7; }

    // No constructor and no destructor, as CellCaches.
    struct Stack {
        std::string* pStrings;
        std::size_t nCount;
        std::size_t nCapacity;

        bool push(std::string& szGone) noexcept;
        void pop(std::string& szEmpty) noexcept;
        bool grow() noexcept;
    };

    Stack m_stacks[CLASSES];
    std::size_t m_nRoom;  // Bytes that may still be kept.
};

// Makes and frees attributes for one thread.
class AttributePool {
public:
    using attribute = xmlRecords::attribute;

    // That of the calling thread.
    static AttributePool& local() {
        AttributePool* pLocal = t_pLocal;
        return pLocal ? *pLocal : attach();
    }

    // Throws std::bad_alloc.
    attribute* make(const TextSource& name, const TextSource& value) {
        if (!isShort(name) || !isShort(value)) return makeLong(name, value);
        // Made of a fixed number of bytes and then cut: that needs no call for a copy of
        // unknown length.
        char nameCopy[SHORT_TEXT + 1];
        char valueCopy[SHORT_TEXT + 1];
        auto* pEntry = ::new (m_pCells->take(CellKind::Attribute)) attribute{
            nullptr,
            {std::piecewise_construct, std::forward_as_tuple(withReadableEnd(name, nameCopy), SHORT_TEXT),
             std::forward_as_tuple(withReadableEnd(value, valueCopy), SHORT_TEXT)}};
        pEntry->pair.first.erase(name.szText.size());
        pEntry->pair.second.erase(value.szText.size());
        return pEntry;
    }

    void free(attribute* pEntry) noexcept {
        std::string& szValue = pEntry->pair.second;
        if (szValue.capacity() > SHORT_TEXT) m_kept.keep(szValue);
        pEntry->~attribute();
        m_pCells->put(CellKind::Attribute, pEntry);
    }

private:
    static constexpr std::size_t MAX_KEPT = 2U << 20;
    struct ThreadEnd;

    static AttributePool& attach();
    attribute* makeLong(const TextSource& name, const TextSource& value);

    // As the cells' caches, usable to the last instruction of the thread.
    static thread_local AttributePool t_pool;
    [[gnu::tls_model("initial-exec")]] static constinit thread_local AttributePool* t_pLocal;

    CellCaches* m_pCells;
    KeptStrings m_kept;
};

}  // namespace vdx
