// What all clients did together: a named block, guarded by a named mutex.
#include "totals.h"

#include <cstring>

#include <vdx/vdx.h>

namespace {

constexpr const char* NAME = "relay.totals";

// The mutex of the block for the length of a scope.
class TotalsLock {
public:
    TotalsLock() {
        m_mutex.OpenMutex(NAME);
        m_mutex.Lock(-1);
        nameHelperLock();  // What the registry's own calls want.
    }
    ~TotalsLock() {
        nameHelperUnlock();
        m_mutex.Unlock();
    }
    TotalsLock(const TotalsLock&) = delete;
    TotalsLock& operator=(const TotalsLock&) = delete;

private:
    chMutex m_mutex;
};

}  // namespace

bool addTotals(const Totals& more) {
    const TotalsLock lock;
    bool bCreated = false;
    void* pBlock = nameGetSystemObject(NAME, sizeof(Totals), &bCreated);
    if (!pBlock) return false;
    Totals totals;  // Blocks are aligned to 4 bytes only: copied in and out.
    if (!bCreated) std::memcpy(&totals, pBlock, sizeof totals);
    totals.nPackets += more.nPackets;
    totals.nBytes += more.nBytes;
    totals.nTones += more.nTones;
    totals.nWrong += more.nWrong;
    std::memcpy(pBlock, &totals, sizeof totals);
    return true;
}

Totals takeTotals() {
    const TotalsLock lock;
    Totals totals;
    chSystemNamedObject* pRegistry = uCSystemNamedObjectHelper::getInstance()->GetSystemObject();
    if (!pRegistry) return totals;
    chNamedObjectManager& manager = pRegistry->GetManager();
    if (const void* pBlock = manager.FindNamedObject(NAME)) {
        std::memcpy(&totals, pBlock, sizeof totals);
        manager.FreeNamedObject(NAME);
    }
    return totals;
}
