// Mutexes by name.
#include <vdx/locks.h>
#include <vdx/sync.h>

#include "ipc/named_table.h"

struct chMutex::Entry : vdx::NamedEntry {
    chReentrantCritical lock;
};

bool chMutex::OpenMutex(const std::string& name) {
    CloseMutex();
    const chReentrantGuard guard(vdx::namedObjectsLock());
    m_pEntry = vdx::NamedTable<Entry>::join(name, this);
    return true;
}

void chMutex::CloseMutex() {
    const chReentrantGuard guard(vdx::namedObjectsLock());
    Entry* pEntry = m_pEntry.exchange(nullptr);
    if (pEntry != nullptr) vdx::NamedTable<Entry>::leave(pEntry, this);
}

bool chMutex::IsCreateByMe() const {
    const Entry* pEntry = m_pEntry.load(std::memory_order_relaxed);
    return pEntry != nullptr && pEntry->pOwner == this;
}

bool chMutex::IsLockedByThisThread() const {
    const Entry* pEntry = m_pEntry.load(std::memory_order_relaxed);
    return pEntry != nullptr && pEntry->lock.IsLockedByThisThread();
}

int chMutex::Lock(int) {
    Entry* pEntry = m_pEntry.load(std::memory_order_acquire);
    if (pEntry == nullptr) return 0;
    pEntry->lock.Enter();
    return 1;
}

void chMutex::Unlock() {
    Entry* pEntry = m_pEntry.load(std::memory_order_acquire);
    if (pEntry != nullptr) pEntry->lock.Leave();
}
