// Counting events by name.
#include <chrono>
#include <condition_variable>
#include <new>

#include <vdx/platform.h>
#include <vdx/sync.h>

#include "base/fork_hooks.h"
#include "base/no_destructor.h"

struct chEvent::EventInfo {
    std::condition_variable signalled;
    std::mutex mutex;  // Guards the counts of signals and waiters.
    std::uint32_t idCreator = vdxGetCurrentTaskId();
    std::int32_t nReferences = 0;  // Under the table's mutex.
    std::int32_t nSignals = 1;
    std::int32_t nWaiters = 0;

    // Waits once, on the steady clock: only the length of the wait counts.
    void waitOnce(std::unique_lock<std::mutex>& lock, int nTimeout) {
        ++nWaiters;
        if (nTimeout == -1) {
            signalled.wait(lock);
        } else {
            signalled.wait_for(lock, std::chrono::milliseconds(nTimeout));
        }
        --nWaiters;
    }

    // Around a fork: the table and all its events stand still, so that the child finds none of them locked.
    static void lockForFork() {
        s_mtxMapEventInfo.lock();
        for (const auto& [name, pInfo] : s_mapEventInfo())
            pInfo->mutex.lock();
    }
    static void unlockInParent() {
        for (const auto& [name, pInfo] : s_mapEventInfo())
            pInfo->mutex.unlock();
        s_mtxMapEventInfo.unlock();
    }
    // The threads that waited do not exist here. Their condition variable would give signals to them, and
    // its destructor would wait for them to leave: a new one is made over it.
    static void unlockInChild() {
        for (const auto& [name, pInfo] : s_mapEventInfo()) {
            new (&pInfo->signalled) std::condition_variable;
            pInfo->nWaiters = 0;
        }
        unlockInParent();
    }
};

constinit std::mutex chEvent::s_mtxMapEventInfo;

namespace {

using Info = chEvent::EventInfo;

// Set when the library is loaded, so that no fork meets a table in use without them.
[[maybe_unused]] const bool s_bForkHooks =
    (vdx::setForkHooks(vdx::ForkOrder::Events,
                       {Info::lockForFork, Info::unlockInParent, Info::unlockInChild}),
     true);

}  // namespace

std::map<std::string, std::shared_ptr<chEvent::EventInfo>>& chEvent::s_mapEventInfo() {
    static vdx::NoDestructor<std::map<std::string, std::shared_ptr<EventInfo>>> s_map;
    return s_map.get();
}

std::shared_ptr<chEvent::EventInfo> chEvent::GetNamedEventInfo(const std::string& name) {
    const std::lock_guard<std::mutex> lock(s_mtxMapEventInfo);
    auto& all = s_mapEventInfo();
    auto found = all.find(name);
    if (found == all.end()) found = all.emplace(name, std::make_shared<EventInfo>()).first;
    ++found->second->nReferences;
    return found->second;
}

void chEvent::ReleaseNamedEventInfo(const std::string& name) {
    const std::lock_guard<std::mutex> lock(s_mtxMapEventInfo);
    const auto found = s_mapEventInfo().find(name);
    if (found == s_mapEventInfo().end()) return;
    if (found->second->nReferences-- <= 1) s_mapEventInfo().erase(found);
}

bool chEvent::OpenEvent(const std::string& name) {
    CloseEvent();
    m_name = name;
    m_pInfo = GetNamedEventInfo(name);
    return true;
}

void chEvent::CloseEvent() {
    if (!m_pInfo) return;
    ReleaseNamedEventInfo(m_name);
    m_pInfo.reset();
}

bool chEvent::IsCreateByMe() const {
    return m_pInfo && m_pInfo->idCreator == vdxGetCurrentTaskId();
}

bool chEvent::WaitEvent(int nTimeout) {
    if (!m_pInfo) return false;
    std::unique_lock<std::mutex> lock(m_pInfo->mutex);
    if (m_pInfo->nSignals <= 0 && (nTimeout == -1 || nTimeout > 0)) m_pInfo->waitOnce(lock, nTimeout);
    if (m_pInfo->nSignals <= 0) return false;
    --m_pInfo->nSignals;
    return true;
}

bool chEvent::SetEvent() {
    if (!m_pInfo) return true;
    bool bWake;
    {
        const std::lock_guard<std::mutex> lock(m_pInfo->mutex);
        if (m_pInfo->nSignals < INT32_MAX) ++m_pInfo->nSignals;
        bWake = m_pInfo->nWaiters > 0;
    }
    if (bWake) m_pInfo->signalled.notify_one();
    return true;
}

void chEvent::ResetEvent() {
    if (!m_pInfo) return;
    const std::lock_guard<std::mutex> lock(m_pInfo->mutex);
    m_pInfo->nSignals = 0;
}
