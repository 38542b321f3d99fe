// The list of callbacks that run when the network changes.
#include <atomic>
#include <exception>
#include <mutex>
#include <vector>

#include <vdx/network_monitor.h>
#include <vdx/warnings.h>

#include "base/fork_hooks.h"
#include "base/no_destructor.h"
#include "net/network_source.h"
#include "siblings/modulelog/module_log.h"

namespace {

using Callback = std::shared_ptr<std::function<void()>>;

struct Entry {
    Callback callback;
    // Set when it leaves the list: a run that has begun leaves it out.
    std::atomic<bool> bRemoved{false};
};

// The lock is not held while a callback runs. Lock order: this one, then the manager's.
struct CallbackList {
    CallbackList();

    std::mutex lock;
    std::vector<std::shared_ptr<Entry>> entries;
    std::uint64_t nStarts = 0;  // How often the list has become one entry long.
};

CallbackList& callbacks() {
    static vdx::NoDestructor<CallbackList> s_list;
    return s_list.get();
}

void lockForFork() {
    callbacks().lock.lock();
}
void unlockAfterFork() {
    callbacks().lock.unlock();
}

CallbackList::CallbackList() {
    vdx::setForkHooks(vdx::ForkOrder::NetworkCallbacks, {lockForFork, unlockAfterFork, unlockAfterFork});
}

const char* lineOf(int nStatus) {
    switch (nStatus) {
        case NetworkReachabilityStatusUnknown:
            return " Network: Unknown";
        case NetworkReachabilityStatusNotReachable:
            return "Network: No Network";
        case NetworkReachabilityStatusReachableViaWWAN:
            return "Network: 3G";
        case NetworkReachabilityStatusReachableViaWiFi:
            return "Network: Wifi";
        default:
            return nullptr;
    }
}

void call(const std::vector<std::shared_ptr<Entry>>& entries) {
    for (const std::shared_ptr<Entry>& entry : entries) {
        if (entry->bRemoved) continue;
        if (!entry->callback) throw std::bad_function_call();
        (*entry->callback)();
    }
}

// The entries, unless another start of the monitor has filled the list since nStart.
std::vector<std::shared_ptr<Entry>> entriesOf(std::uint64_t nStart) {
    CallbackList& list = callbacks();
    const std::lock_guard guard(list.lock);
    if (list.nStarts != nStart) return {};
    return list.entries;
}

// The library's own status block. It runs on the notification thread, where nobody
// could catch what a callback throws. Of a monitor that ends it calls none of the next one's callbacks: who
// removes those does not wait for it.
void handleStatus(std::uint64_t nStart, int nStatus) {
    if (const char* szLine = lineOf(nStatus))
        SpdLog_ModuleTrace(vdx::ModuleLogLevel::Info, "xBase", "%s", szLine);
    try {
        call(entriesOf(nStart));
    } catch (const std::exception& error) {
        vdxOutputWarningString("network callback: %s", error.what());
    } catch (...) {
        vdxOutputWarningString("network callback: unknown exception");
    }
}

}  // namespace

void registerNetworkChangedCallback(std::shared_ptr<std::function<void()>> callback) {
    auto entry = std::make_shared<Entry>();
    entry->callback = std::move(callback);
    CallbackList& list = callbacks();
    const std::lock_guard guard(list.lock);
    list.entries.push_back(std::move(entry));
    if (list.entries.size() > 1) return;
    auto& manager = UCNetworkReachabilityManager::sharedManager();
    manager.setReachabilityStatusChangeBlock(
        [nStart = ++list.nStarts](int nStatus) { handleStatus(nStart, nStatus); });
    manager.startNetworkMonitor();
}

void unregisterNetworkChangedCallback(std::shared_ptr<std::function<void()>> callback) {
    auto& manager = UCNetworkReachabilityManager::sharedManager();
    {
        CallbackList& list = callbacks();
        const std::lock_guard guard(list.lock);
        std::erase_if(list.entries, [&](const std::shared_ptr<Entry>& entry) {
            if (entry->callback != callback) return false;
            entry->bRemoved = true;
            return true;
        });
        if (!list.entries.empty()) return;
        manager.endMonitor();
    }
    // Without the lock: this waits for a callback that runs.
    vdx::net::networkSource().waitForEnded();
}

void onNetworkChanged() {
    std::vector<std::shared_ptr<Entry>> entries;
    {
        CallbackList& list = callbacks();
        const std::lock_guard guard(list.lock);
        entries = list.entries;
    }
    call(entries);
}
