// Attributes with long names or values.
#include "xml/attribute_pool.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace vdx {

constinit thread_local AttributePool AttributePool::t_pool{};
constinit thread_local AttributePool* AttributePool::t_pLocal = nullptr;

// --- Kept strings ----------------------------------------------------------------

bool KeptStrings::Stack::grow() noexcept {
    const std::size_t nLarger = std::max<std::size_t>(2 * nCapacity, 64);
    void* pMemory = ::operator new(nLarger * sizeof(std::string), std::nothrow);
    if (!pMemory) return false;
    auto* pLarger = static_cast<std::string*>(pMemory);
    std::uninitialized_move_n(pStrings, nCount, pLarger);
    std::destroy_n(pStrings, nCount);
    ::operator delete(pStrings);
    pStrings = pLarger;
    nCapacity = nLarger;
    return true;
}

bool KeptStrings::Stack::push(std::string& szGone) noexcept {
    if (nCount == nCapacity && !grow()) return false;
    ::new (static_cast<void*>(pStrings + nCount)) std::string(std::move(szGone));
    ++nCount;
    return true;
}

void KeptStrings::Stack::pop(std::string& szEmpty) noexcept {
    std::string& szLast = pStrings[--nCount];
    szEmpty = std::move(szLast);
    std::destroy_at(&szLast);
}

void KeptStrings::assign(std::string& szEmpty, std::string_view szText) {
    const std::size_t nClass = std::max((szText.size() + 8) / 16, MIN_CLASS);
    if (szText.size() > SHORT_TEXT && nClass < CLASSES) {
        if (m_stacks[nClass].nCount) {
            m_stacks[nClass].pop(szEmpty);
            m_nRoom += capacityOf(nClass) + sizeof(std::string);
        } else {
            szEmpty.reserve(capacityOf(nClass));
        }
    }
    szEmpty = szText;
}

void KeptStrings::keep(std::string& szGone) noexcept {
    const std::size_t nCapacity = szGone.capacity();
    const std::size_t nClass = nCapacity / 16;
    if (nClass < MIN_CLASS || nClass >= CLASSES || nCapacity != capacityOf(nClass)) return;
    const std::size_t nBytes = nCapacity + sizeof(std::string);
    if (m_nRoom >= nBytes && m_stacks[nClass].push(szGone)) m_nRoom -= nBytes;
}

void KeptStrings::dropAll() noexcept {
    for (Stack& stack : m_stacks) {
        std::destroy_n(stack.pStrings, stack.nCount);
        ::operator delete(stack.pStrings);
        stack = {};
    }
}

// --- Attributes ------------------------------------------------------------------

// Frees what is kept when a thread ends. From then on nothing is kept.
struct AttributePool::ThreadEnd {
    bool bArmed = false;
    ~ThreadEnd() {
        t_pool.m_kept.setRoom(0);
        t_pool.m_kept.dropAll();
    }
};

AttributePool& AttributePool::attach() {
    static thread_local ThreadEnd s_end;
    s_end.bArmed = true;
    t_pool.m_pCells = &CellCaches::local();
    if (!CELLS_FROM_HEAP) t_pool.m_kept.setRoom(MAX_KEPT);
    t_pLocal = &t_pool;
    return t_pool;
}

AttributePool::attribute* AttributePool::makeLong(const TextSource& name, const TextSource& value) {
    struct Guard {
        AttributePool& pool;
        attribute* pEntry;
        ~Guard() {
            if (pEntry) pool.free(pEntry);
        }
    } guard{*this, ::new (m_pCells->take(CellKind::Attribute)) attribute{nullptr, {}}};
    auto& [szName, szValue] = guard.pEntry->pair;
    szName = name.szText;
    m_kept.assign(szValue, value.szText);
    return std::exchange(guard.pEntry, nullptr);
}

}  // namespace vdx
