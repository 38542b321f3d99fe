// The counted heap.
#include <vdx/node_alloc.h>

#include <cstdlib>

#include <vdx/warnings.h>

#include "base/fork_hooks.h"
#include "base/singleton.h"

namespace {

class CriticalGuard {
public:
    explicit CriticalGuard(chCriticalSection& lock) : m_lock(lock) { m_lock.Lock(); }
    ~CriticalGuard() { m_lock.Unlock(); }
    CriticalGuard(const CriticalGuard&) = delete;
    CriticalGuard& operator=(const CriticalGuard&) = delete;

private:
    chCriticalSection& m_lock;
};

// Set while the constructor of the counters runs, before any fork can need it.
chCriticalSection* s_pLock = nullptr;

void lockCounters() {
    s_pLock->Lock();
}
void unlockCounters() {
    s_pLock->Unlock();
}

}  // namespace

dymicAllocHelper::dymicAllocHelper() {
    s_pLock = &m_lock;
    vdx::setForkHooks(vdx::ForkOrder::Allocation, {lockCounters, unlockCounters, unlockCounters});
}

dymicAllocHelper* dymicAllocHelper::getInstance() {
    return &vdx::Singleton<dymicAllocHelper>::getInstance();
}

dymicAllocHelper::Counts dymicAllocHelper::getCounts() {
    const CriticalGuard guard(m_lock);
    return {m_nAlloc, m_nFree};
}

void dymicAllocHelper::countAlloc(std::uint32_t nTimes) {
    const CriticalGuard guard(m_lock);
    m_nAlloc += nTimes;
}

void dymicAllocHelper::countFree(std::uint32_t nTimes) {
    const CriticalGuard guard(m_lock);
    m_nFree += nTimes;
}

baseDymicAlloc::baseDymicAlloc() {
    dymicAllocHelper::getInstance();
}

void* baseDymicAlloc::alloc(int nSize) {
    void* p = nSize < 0 ? nullptr : std::malloc(static_cast<std::size_t>(nSize));
    dymicAllocHelper::getInstance()->countAlloc();
    return p;
}

void* baseDymicAlloc::realloc(void* p, int nSize) {
    dymicAllocHelper* pHelper = dymicAllocHelper::getInstance();
    if (p) pHelper->countFree();
    void* pResult = nSize < 0 ? nullptr : std::realloc(p, static_cast<std::size_t>(nSize));
    pHelper->countAlloc();
    return pResult;
}

void baseDymicAlloc::free(void* p) {
    std::free(p);
    dymicAllocHelper::getInstance()->countFree();
}

void baseDymicAlloc::dump() {
    const dymicAllocHelper::Counts counts = dymicAllocHelper::getInstance()->getCounts();
    consolePrintf(false, "memory alloc(%d) and free(%d) leak(%d)", static_cast<int>(counts.nAlloc),
                  static_cast<int>(counts.nFree), static_cast<int>(counts.nAlloc - counts.nFree));
}
