// The network as macOS reports it: SystemConfiguration, and power notices of IOKit.
#include "net/network_source.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOMessage.h>
#include <IOKit/pwr_mgt/IOPMLib.h>
#include <SystemConfiguration/SystemConfiguration.h>
#include <dispatch/dispatch.h>
#include <netinet/in.h>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include <vdx/address.h>
#include <vdx/warnings.h>

#include "base/no_destructor.h"

namespace vdx::net {

namespace {

// The reachability of the default route.
SCNetworkReachabilityRef openReachability() {
    chSocketAddr any(chInAddr(in_addr{INADDR_ANY}), 0);
    return SCNetworkReachabilityCreateWithAddress(kCFAllocatorDefault, any.toSocketAddr());
}

// One subscription. The system holds it as long as it may give a notice.
struct Session {
    std::function<void()> notice;
    std::atomic<int> nHolders{1};
    std::mutex lock;
    std::condition_variable ended;
    bool bEnd = false;

    static thread_local Session* t_pRunning;  // Within a notice.

    bool isEnded() {
        const std::lock_guard guard(lock);
        return bEnd;
    }
    void end() {
        const std::lock_guard guard(lock);
        bEnd = true;
        ended.notify_all();
    }
    static const void* retain(const void* pSession) {
        ++asSession(pSession)->nHolders;
        return pSession;
    }
    static void release(const void* pSession) {
        if (--asSession(pSession)->nHolders == 0) delete asSession(pSession);
    }
    static void give(void* pSession) {
        t_pRunning = static_cast<Session*>(pSession);
        if (!t_pRunning->isEnded()) t_pRunning->notice();
        t_pRunning = nullptr;
    }
    // For one notice beside the system's.
    static void giveAndRelease(void* pSession) {
        give(pSession);
        release(pSession);
    }
    static void changed(SCNetworkReachabilityRef, SCNetworkReachabilityFlags, void* pSession) {
        give(pSession);
    }

private:
    static Session* asSession(const void* pSession) {
        return static_cast<Session*>(const_cast<void*>(pSession));
    }
};

thread_local Session* Session::t_pRunning = nullptr;

struct Entry {
    Session* pSession;
    SCNetworkReachabilityRef reachability;
};

void nothing(void*) {}

struct PowerNotices {
    io_connect_t root = 0;
    void (*pSleep)() = nullptr;
    void (*pWake)() = nullptr;

    static void handle(void* pSelf, io_service_t, std::uint32_t nMessage, void* pArgument) {
        auto* p = static_cast<PowerNotices*>(pSelf);
        if (nMessage == kIOMessageSystemWillSleep) p->pSleep();
        if (nMessage == kIOMessageSystemHasPoweredOn) p->pWake();
        if (nMessage == kIOMessageSystemWillSleep || nMessage == kIOMessageCanSystemSleep) {
            IOAllowPowerChange(p->root, reinterpret_cast<long>(pArgument));
        }
    }
};

class AppleSource : public NetworkSource {
public:
    AppleSource() : m_queue(dispatch_queue_create("vdx.network", nullptr)) {
        dispatch_queue_set_specific(m_queue, this, this, nullptr);
    }

    bool readFlags(std::uint32_t& nFlags) override {
        const SCNetworkReachabilityRef reachability = openReachability();
        if (reachability == nullptr) return false;
        SCNetworkReachabilityFlags flags = 0;
        const bool bRead = SCNetworkReachabilityGetFlags(reachability, &flags) != 0;
        CFRelease(reachability);
        nFlags = flags;
        return bRead;
    }

    std::uint64_t subscribe(std::function<void()> notice, bool bNow) override;

    void unsubscribe(std::uint64_t nSubscription) override {
        const std::lock_guard guard(m_lock);
        const auto found = m_entries.find(nSubscription);
        if (found == m_entries.end()) return;
        found->second.pSession->end();
        close(found->second);
        m_entries.erase(found);
    }

    // Everything that is queued before this has run then.
    void waitForEnded() override {
        if (dispatch_get_specific(this) == nullptr) dispatch_sync_f(m_queue, nullptr, nothing);
    }

    void pause(int nMilliseconds) override {
        Session* const pSession = Session::t_pRunning;
        if (pSession == nullptr) return;
        std::unique_lock guard(pSession->lock);
        pSession->ended.wait_for(guard, std::chrono::milliseconds(nMilliseconds),
                                 [=] { return pSession->bEnd; });
    }

    void followSleep(void (*pSleep)(), void (*pWake)()) override {
        m_power.pSleep = pSleep;
        m_power.pWake = pWake;
        IONotificationPortRef port = nullptr;
        io_object_t notifier = 0;
        m_power.root = IORegisterForSystemPower(&m_power, &port, PowerNotices::handle, &notifier);
        if (m_power.root != 0) IONotificationPortSetDispatchQueue(port, m_queue);
    }

private:
    static void close(const Entry& entry) {
        SCNetworkReachabilitySetDispatchQueue(entry.reachability, nullptr);
        CFRelease(entry.reachability);
        Session::release(entry.pSession);
    }

    std::mutex m_lock;
    dispatch_queue_t m_queue;
    std::map<std::uint64_t, Entry> m_entries;  // By number of the subscription.
    std::uint64_t m_nLastSubscription = 0;
    PowerNotices m_power;
};

std::uint64_t AppleSource::subscribe(std::function<void()> notice, bool bNow) {
    const SCNetworkReachabilityRef reachability = openReachability();
    if (reachability == nullptr) {
        vdxOutputWarningString("network monitor: no reachability");
        return 0;
    }
    const Entry entry{new Session, reachability};
    entry.pSession->notice = std::move(notice);
    const std::lock_guard guard(m_lock);
    SCNetworkReachabilityContext context{0, entry.pSession, Session::retain, Session::release, nullptr};
    if (!SCNetworkReachabilitySetCallback(reachability, Session::changed, &context) ||
        !SCNetworkReachabilitySetDispatchQueue(reachability, m_queue)) {
        vdxOutputWarningString("network monitor: %s", SCErrorString(SCError()));
        close(entry);
        return 0;
    }
    m_entries[++m_nLastSubscription] = entry;
    if (bNow) {
        Session::retain(entry.pSession);
        dispatch_async_f(m_queue, entry.pSession, Session::giveAndRelease);
    }
    return m_nLastSubscription;
}

}  // namespace

NetworkSource& platformNetworkSource() {
    static NoDestructor<AppleSource> s_source;
    return s_source.get();
}

}  // namespace vdx::net
