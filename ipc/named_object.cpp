// The segment of named blocks: layout, lookup, creation and release.
#include <vdx/named_object.h>

#include <algorithm>
#include <climits>
#include <cstddef>

#include "memory/text_order.h"

namespace {

// Holds the registry's lock unless this thread holds it already.
class RegistryLock {
public:
    RegistryLock()
        : m_helper(*uCSystemNamedObjectHelper::getInstance()), m_bTaken(!m_helper.IsLockedByThisThread()) {
        if (m_bTaken) m_helper.Lock();
    }
    ~RegistryLock() {
        if (m_bTaken) m_helper.Unlock();
    }
    RegistryLock(const RegistryLock&) = delete;
    RegistryLock& operator=(const RegistryLock&) = delete;

private:
    uCSystemNamedObjectHelper& m_helper;
    const bool m_bTaken;
};

}  // namespace

bool ipcObjectHeader::InitHeader(int nSize, int nType) {
    m_nSize = nSize;
    m_nType = nType;
    return true;
}

bool ipcObjectHeader::AssertHeader(const std::string&, int nSize, int nType) const {
    return m_nSize == nSize && m_nType == nType;
}

// A named block: its place in the list, its name, then the user's bytes.
struct chNamedObjectManager::Record {
    list_chain_offset node;
    baseShareStringA name;

    void* data() { return this + 1; }
    static Record* ofNode(list_chain_offset* pNode) { return reinterpret_cast<Record*>(pNode); }
    static Record* ofData(void* pData) { return static_cast<Record*>(pData) - 1; }
};

chSystemNamedObject::chSystemNamedObject() {
    static_assert(offsetof(chSystemNamedObject, m_pool) == 8 &&
                  offsetof(chSystemNamedObject, m_manager) == 32 &&
                  offsetof(chSystemNamedObject, m_area) == 48);
    m_header.InitHeader(SIZE, ipcObjectHeader::TYPE_NAMED);
    m_pool.init_pool(m_area, POOL_SIZE);
}

basePoolAlloc& chNamedObjectManager::pool() {
    static_assert(sizeof(Record) == 24 && alignof(Record) == 1 && offsetof(Record, name) == 16);
    constexpr std::size_t nBack =
        offsetof(chSystemNamedObject, m_manager) - offsetof(chSystemNamedObject, m_pool);
    return *reinterpret_cast<basePoolAlloc*>(reinterpret_cast<std::uintptr_t>(this) - nBack);
}

// The record of that name, or null and the node before which it would stand. A step passes the names that
// are greater: the list descends.
chNamedObjectManager::Record* chNamedObjectManager::find(std::string_view name, list_chain_offset** ppPlace) {
    const vdx::TextKey key(name);
    list_chain_offset* pNode = m_head.next_in_list();
    for (; pNode != &m_head; pNode = pNode->next_in_list()) {
        Record* pRecord = Record::ofNode(pNode);
        const int nOrder = key.compare(pRecord->name.view());
        if (nOrder == 0) return pRecord;
        if (nOrder > 0) break;
    }
    if (ppPlace != nullptr) *ppPlace = pNode;
    return nullptr;
}

void* chNamedObjectManager::get(std::string_view name, int nSize, bool* pCreated) {
    list_chain_offset* pPlace = nullptr;
    Record* pRecord = find(name, &pPlace);
    const bool bFound = pRecord != nullptr;
    if (!bFound) {
        pRecord = create(name, nSize);
        if (pRecord != nullptr) pRecord->node.link_before(pPlace);
    }
    if (pCreated != nullptr) *pCreated = !bFound && pRecord != nullptr;
    return pRecord == nullptr ? nullptr : pRecord->data();
}

chNamedObjectManager::Record* chNamedObjectManager::create(std::string_view name, int nSize) {
    constexpr int nHead = sizeof(Record);
    void* pCell = pool().alloc(std::clamp(nSize, 0, INT_MAX - nHead) + nHead);
    if (pCell == nullptr) return nullptr;
    auto* pRecord = new (pCell) Record;
    if (setName(pRecord, name)) return pRecord;
    pool().free(pRecord);
    return nullptr;
}

// The first name of a record; the empty one takes no text.
bool chNamedObjectManager::setName(Record* pRecord, std::string_view name) {
    if (name.empty()) return true;
    const RegistryLock lock;
    const std::size_t nBytes = baseShareTextA::bytes_for(name.size());
    void* pCell = nBytes > INT_MAX ? nullptr : pool().alloc(static_cast<int>(nBytes));
    if (pCell == nullptr) return false;
    auto* pText = static_cast<baseShareTextA*>(pCell);
    pText->set_Text(name);
    pRecord->name.set_Text(pText);
    return true;
}

void chNamedObjectManager::clearName(Record* pRecord) {
    const RegistryLock lock;
    baseShareTextA* pText = pRecord->name.get_Text();
    if (pText == nullptr) return;
    *pText->c_ptr() = '\0';
    pRecord->name.set_Text(nullptr);
    pool().free(pText);
}

void* chNamedObjectManager::GetNamedObject(const std::string& name, int nSize, bool* pCreated) {
    return get(name, nSize, pCreated);
}

void* chNamedObjectManager::FindNamedObject(const std::string& name) {
    Record* pRecord = find(name, nullptr);
    return pRecord == nullptr ? nullptr : pRecord->data();
}

void chNamedObjectManager::FreeNamedObject(const std::string& name) {
    FreeObject(FindNamedObject(name));
}

void chNamedObjectManager::FreeObject(void* pData) {
    if (pData == nullptr) return;
    Record* pRecord = Record::ofData(pData);
    pRecord->node.unlink();
    clearName(pRecord);
    pool().free(pRecord);
}
