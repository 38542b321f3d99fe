// Blocks shared by name within the process.
#include <vdx/map_file.h>

#include "ipc/named_table.h"

struct chMapFile_Local::Entry : vdx::NamedEntry {
    ~Entry() { baseDymicAlloc::free(pData); }
    void* pData = nullptr;
};

// The counters of the heap exist already: this object's base made them, outside of the lock.
void* chMapFile_Local::OpenMapFile(const std::string& name, int nSize) {
    CloseMapFile();
    const chReentrantGuard guard(vdx::namedObjectsLock());
    Entry* pEntry = vdx::NamedTable<Entry>::join(name, this);
    if (pEntry->nReferences == 1) pEntry->pData = baseDymicAlloc::alloc(nSize);
    m_pEntry = pEntry;
    return pEntry->pData;
}

bool chMapFile_Local::IsCreateByMe() const {
    const Entry* pEntry = m_pEntry.load(std::memory_order_acquire);
    return pEntry != nullptr && pEntry->pOwner == this;
}

void chMapFile_Local::CloseMapFile() {
    const chReentrantGuard guard(vdx::namedObjectsLock());
    Entry* pEntry = m_pEntry.exchange(nullptr);
    if (pEntry != nullptr) vdx::NamedTable<Entry>::leave(pEntry, this);
}
