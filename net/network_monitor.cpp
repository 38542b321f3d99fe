// The rules of the network monitor, over any source of notices.
#include <net/if.h>
#include <atomic>
#include <utility>

#include <vdx/network_monitor.h>

#include "base/fork_hooks.h"
#include "base/no_destructor.h"
#include "net/interface_table.h"
#include "net/network_source.h"

namespace vdx::net {

namespace {

std::atomic<NetworkSource*> s_pSource{nullptr};

}  // namespace

std::vector<std::string> NetworkSource::localAddresses(bool bIPv6) {
    std::vector<std::string> texts;
    for (const HostAddress& entry : listHostAddresses()) {
        if (entry.address.isIPv6() == bIPv6 && (entry.nFlags & IFF_LOOPBACK) == 0)
            texts.push_back(addressText(entry.address));
    }
    return texts;
}

NetworkSource& networkSource() {
    NetworkSource* pSource = s_pSource.load();
    return pSource != nullptr ? *pSource : platformNetworkSource();
}

void setNetworkSource(NetworkSource* pSource) {
    s_pSource.store(pSource);
}

}  // namespace vdx::net

using vdx::net::networkSource;

namespace {

// How long addresses are given to settle after a change.
constexpr int kSettleMilliseconds = 1000;

bool needsUser(std::uint32_t nFlags) {
    const bool bAutomatic =
        (nFlags & (NetworkReachabilityFlagConnectionOnDemand | NetworkReachabilityFlagConnectionOnTraffic)) !=
        0;
    return !bAutomatic || (nFlags & NetworkReachabilityFlagInterventionRequired) != 0;
}

int statusOf(std::uint32_t nFlags) {
    if ((nFlags & NetworkReachabilityFlagReachable) == 0) return NetworkReachabilityStatusNotReachable;
    if ((nFlags & NetworkReachabilityFlagConnectionRequired) != 0 && needsUser(nFlags)) {
        return NetworkReachabilityStatusNotReachable;
    }
    return (nFlags & NetworkReachabilityFlagIsWWAN) != 0 ? NetworkReachabilityStatusReachableViaWWAN
                                                         : NetworkReachabilityStatusReachableViaWiFi;
}

void passSleep() {
    UCNetworkReachabilityManager::sharedManager().receiveSleepNote();
}
void passWake() {
    UCNetworkReachabilityManager::sharedManager().receiveWakeNote();
}

}  // namespace

const char* networkReachabilityStatusText(int nStatus) {
    switch (nStatus) {
        case NetworkReachabilityStatusNotReachable:
            return "Not Reachable";
        case NetworkReachabilityStatusReachableViaWWAN:
            return "Reachable via WWAN";
        case NetworkReachabilityStatusReachableViaWiFi:
            return "Reachable via WiFi";
        default:
            return "Unknown";
    }
}

// --- AFNetworkReachabilityManager -------------------------------------------

// Shared with the notices, which may outlast the monitor. All are guarded by one lock, which a fork takes.
struct AFNetworkReachabilityManager::Subscription {
    NetworkStatusBlock block;
    std::uint64_t nNumber = 0;  // 0: not monitoring.

    static std::mutex& lock() { return vdx::ForkMutex<vdx::ForkOrder::NetworkSubscriptions>::get(); }

    void report() {
        NetworkStatusBlock current;
        {
            const std::lock_guard guard(lock());
            current = block;
        }
        std::uint32_t nFlags = 0;
        const bool bKnown = networkSource().readFlags(nFlags);
        if (current) current(bKnown ? statusOf(nFlags) : NetworkReachabilityStatusUnknown);
    }

    // Ends the one that there was; returns whether there was one. The number is made and kept under the
    // lock, which a report takes first: a block that stops the monitor finds it.
    template <class Make>
    bool replaceNumber(Make makeNumber) {
        const std::lock_guard guard(lock());
        const std::uint64_t nBefore = std::exchange(nNumber, makeNumber());
        if (nBefore != 0) networkSource().unsubscribe(nBefore);
        return nBefore != 0;
    }
    bool end() {
        return replaceNumber([] { return std::uint64_t{0}; });
    }
};

AFNetworkReachabilityManager::AFNetworkReachabilityManager()
    : m_subscription(std::make_shared<Subscription>()) {}
AFNetworkReachabilityManager::~AFNetworkReachabilityManager() {
    if (m_subscription->end()) networkSource().waitForEnded();
}

std::shared_ptr<AFNetworkReachabilityManager> AFNetworkReachabilityManager::manager() {
    return std::shared_ptr<AFNetworkReachabilityManager>(new AFNetworkReachabilityManager);
}

std::vector<std::string> AFNetworkReachabilityManager::localIPAddresses(bool bIPv6) {
    return networkSource().localAddresses(bIPv6);
}

void AFNetworkReachabilityManager::setReachabilityStatusChangeBlock(NetworkStatusBlock block) {
    const std::lock_guard guard(Subscription::lock());
    m_subscription->block.swap(block);
}

void AFNetworkReachabilityManager::startMonitoring(bool bReportNow) {
    m_subscription->replaceNumber([&] {
        return networkSource().subscribe([subscription = m_subscription] { subscription->report(); },
                                         bReportNow);
    });
}

void AFNetworkReachabilityManager::stopMonitoring() {
    m_subscription->end();
    networkSource().waitForEnded();
}

bool AFNetworkReachabilityManager::networkReachability(std::uint32_t& nFlags) const {
    return networkSource().readFlags(nFlags);
}

// --- UCNetworkReachabilityManager -------------------------------------------

struct NetworkManagerMaker : UCNetworkReachabilityManager {
    NetworkManagerMaker() {
        vdx::setForkHooks(vdx::ForkOrder::NetworkManager, {lockForFork, unlockAfterFork, unlockAfterFork});
    }
    static void lockForFork() { sharedManager().m_lock.lock(); }
    static void unlockAfterFork() { sharedManager().m_lock.unlock(); }
};

UCNetworkReachabilityManager::UCNetworkReachabilityManager() = default;

UCNetworkReachabilityManager& UCNetworkReachabilityManager::sharedManager() {
    static vdx::NoDestructor<NetworkManagerMaker> s_manager;
    static const bool s_bFollowing = (networkSource().followSleep(passSleep, passWake), true);
    (void)s_bFollowing;
    return s_manager.get();
}

void UCNetworkReachabilityManager::setReachabilityStatusChangeBlock(NetworkStatusBlock block) {
    const std::lock_guard guard(m_lock);
    m_block.swap(block);
}

void UCNetworkReachabilityManager::startNetworkMonitor() {
    const std::lock_guard guard(m_lock);
    start();
}

void UCNetworkReachabilityManager::updateNetworkMonitor() {
    const std::lock_guard guard(m_lock);
    update();
}

void UCNetworkReachabilityManager::stopNetworkMonitor() {
    endMonitor();
    networkSource().waitForEnded();
}

void UCNetworkReachabilityManager::endMonitor() {
    const std::lock_guard guard(m_lock);
    replaceMonitor(nullptr);
}

void UCNetworkReachabilityManager::start() {
    takeNewAddresses();
    m_bIpChanged = false;
    startMonitor(&UCNetworkReachabilityManager::handleFirstReport, true);
}

void UCNetworkReachabilityManager::update() {
    // Also where there was no monitor before.
    const bool bReportNow = m_bIpChanged || differsFromStatus();
    m_bIpChanged = false;
    startMonitor(&UCNetworkReachabilityManager::handleReport, bReportNow);
}

void UCNetworkReachabilityManager::startMonitor(Handler pHandler, bool bReportNow) {
    Monitor fresh = AFNetworkReachabilityManager::manager();
    const std::weak_ptr<AFNetworkReachabilityManager> weak = fresh;
    fresh->setReachabilityStatusChangeBlock([this, weak, pHandler](int nStatus) {
        if (const Monitor monitor = weak.lock()) (this->*pHandler)(monitor, nStatus);
    });
    // Before the old one's end, so that the notification thread stays.
    fresh->startMonitoring(bReportNow);
    replaceMonitor(std::move(fresh));
}

// The one before ends while the lock is held: who stops the monitor afterwards waits for its report as well.
void UCNetworkReachabilityManager::replaceMonitor(Monitor fresh) {
    const Monitor before = std::exchange(m_monitor, std::move(fresh));
    if (before) before->m_subscription->end();
}

bool UCNetworkReachabilityManager::isMonitoring() const {
    const std::lock_guard guard(m_lock);
    return m_monitor != nullptr;
}

// The first report after a start goes to the block as it is; from then on reports are
// compared with what is known.
void UCNetworkReachabilityManager::handleFirstReport(const Monitor& monitor, int nStatus) {
    NetworkStatusBlock block;
    {
        const std::lock_guard guard(m_lock);
        if (m_monitor != monitor) return;
        m_nStatus = nStatus;
        block = m_block;
    }
    if (block) block(nStatus);
    const std::lock_guard guard(m_lock);
    // The block may have stopped the monitor, or started another.
    if (m_monitor == monitor) update();
}

void UCNetworkReachabilityManager::handleReport(const Monitor& monitor, int nStatus) {
    NetworkStatusBlock block;
    {
        const std::lock_guard guard(m_lock);
        if (m_monitor != monitor) return;
        if (nStatus == m_nStatus && !takeNewAddresses()) {
            update();
            return;
        }
        m_nStatus = nStatus;
        block = m_block;
    }
    if (block) {
        networkSource().pause(kSettleMilliseconds);
        // A monitor that was put in place meanwhile does not tell of this change any more.
        if (!isMonitoring()) return;
        block(nStatus);
    }
    const std::lock_guard guard(m_lock);
    if (m_monitor == monitor) start();
}

bool UCNetworkReachabilityManager::takeNewAddresses() {
    std::vector<std::string> ipv4 = AFNetworkReachabilityManager::localIPAddresses(false);
    std::vector<std::string> ipv6 = AFNetworkReachabilityManager::localIPAddresses(true);
    m_bIpChanged = ipv4 != m_ipv4 || ipv6 != m_ipv6;
    m_ipv4.swap(ipv4);
    m_ipv6.swap(ipv6);
    return m_bIpChanged;
}

bool UCNetworkReachabilityManager::isIPsChanged() {
    const std::lock_guard guard(m_lock);
    return takeNewAddresses();
}

bool UCNetworkReachabilityManager::differsFromStatus() const {
    std::uint32_t nFlags = 0;
    return networkSource().readFlags(nFlags) && statusOf(nFlags) != m_nStatus;
}

bool UCNetworkReachabilityManager::isStatusChanged() const {
    const std::lock_guard guard(m_lock);
    return m_monitor != nullptr && differsFromStatus();
}

void UCNetworkReachabilityManager::receiveSleepNote() {}

void UCNetworkReachabilityManager::receiveWakeNote() {
    const std::lock_guard guard(m_lock);
    if (m_monitor != nullptr && takeNewAddresses()) start();
}

std::shared_ptr<AFNetworkReachabilityManager> UCNetworkReachabilityManager::m() const {
    const std::lock_guard guard(m_lock);
    return m_monitor;
}

int UCNetworkReachabilityManager::networkReachabilityStatus() const {
    const std::lock_guard guard(m_lock);
    return m_nStatus;
}

std::vector<std::string> UCNetworkReachabilityManager::ipv4Array() const {
    const std::lock_guard guard(m_lock);
    return m_ipv4;
}

std::vector<std::string> UCNetworkReachabilityManager::ipv6Array() const {
    const std::lock_guard guard(m_lock);
    return m_ipv6;
}

bool UCNetworkReachabilityManager::isIpChanged() const {
    const std::lock_guard guard(m_lock);
    return m_bIpChanged;
}
