// Mutexes by name.
#include <vdx/locks.h>
#include <vdx/sync.h>

#include "ipc/named_table.h"

struct chMutex::Entry : vdx::NamedEntry, chReentrantCritical {};

chMutex::Entry* chMutex::entry() const {
    return static_cast<Entry*>(m_pLock.load(std::memory_order_acquire));
}

bool chMutex::OpenMutex(const std::string& name) {
    CloseMutex();
    const chReentrantGuard guard(vdx::namedObjectsLock());
    m_pLock = vdx::NamedTable<Entry>::join(name, this);
    return true;
}

void chMutex::CloseMutex() {
    const chReentrantGuard guard(vdx::namedObjectsLock());
    Entry* pEntry = entry();
    m_pLock = nullptr;
    if (pEntry != nullptr) vdx::NamedTable<Entry>::leave(pEntry, this);
}

bool chMutex::IsCreateByMe() const {
    const Entry* pEntry = entry();
    return pEntry != nullptr && pEntry->pOwner == this;
}
