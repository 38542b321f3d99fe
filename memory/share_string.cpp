// Shared texts and the registry of safe pointers.
#include <vdx/share_string.h>

#include <deque>
#include <unordered_map>
#include <vector>

#include <vdx/locks.h>

#include "base/no_destructor.h"
#include "memory/text_order.h"

// NOLINTNEXTLINE(modernize-avoid-c-arrays): the name and its form are the interface.
extern "C" const char szNULL[1] = {'\0'};

bool baseShareStringA::operator<(const baseShareStringA& other) const {
    return vdx::compareTexts(view(), other.view()) < 0;
}

// Records are never given back to the heap: snapshots look at them without a lock. One whose address was
// removed has stamp 0 until it serves another address, under a stamp that no older snapshot holds.
struct chPointerSnap::Registry {
    std::unordered_map<const void*, Record*> live;
    std::deque<Record> storage;
    std::vector<Record*> idle;
    Record none;  // What snapshots of unregistered addresses look at.
    std::uint32_t nLastStamp = 0;

    // The record of an address, given to it now if it has none. Without memory nothing changes.
    Record* recordOf(const void* p) {
        if (idle.empty()) idle.push_back(&storage.emplace_back());
        Record*& pRecord = live[p];
        if (pRecord == nullptr) {
            pRecord = idle.back();
            idle.pop_back();
        }
        return pRecord;
    }
    std::uint32_t nextStamp() {
        if (++nLastStamp == 0) ++nLastStamp;
        return nLastStamp;
    }
};

// Used by objects that die at any time up to the end of the process.
chPointerSnap::Registry& chPointerSnap::registry() {
    static vdx::NoDestructor<Registry> s_registry;
    return s_registry.get();
}

bool chPointerSnap::addSafePointer(const void* p) {
    const chReentrantGuard guard(getStaticObjectCritical());
    Registry& all = registry();
    Record* pRecord = all.recordOf(p);
    pRecord->nStamp.store(0, std::memory_order_relaxed);
    pRecord->pAddress.store(p, std::memory_order_relaxed);
    pRecord->nStamp.store(all.nextStamp(), std::memory_order_release);
    return true;
}

void chPointerSnap::removeSafePointer(const void* p) {
    const chReentrantGuard guard(getStaticObjectCritical());
    Registry& all = registry();
    const auto found = all.live.find(p);
    if (found == all.live.end()) return;
    found->second->nStamp.store(0, std::memory_order_release);
    all.idle.push_back(found->second);
    all.live.erase(found);
}

chPointerSnap::chPointerSnap(const void* p) {
    const chReentrantGuard guard(getStaticObjectCritical());
    Registry& all = registry();
    const auto found = all.live.find(p);
    m_pRecord = found == all.live.end() ? &all.none : found->second;
    m_pAddress = m_pRecord->pAddress.load(std::memory_order_relaxed);
    m_nStamp = m_pRecord->nStamp.load(std::memory_order_relaxed);
}

bool chPointerSnap::hasData() const {
    return m_nStamp != 0 && m_pRecord->nStamp.load(std::memory_order_acquire) == m_nStamp &&
           m_pRecord->pAddress.load(std::memory_order_relaxed) == m_pAddress;
}
