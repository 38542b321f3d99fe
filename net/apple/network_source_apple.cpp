// The network as macOS reports it: SystemConfiguration, and power notices of IOKit.
#include "net/network_source.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOMessage.h>
#include <IOKit/pwr_mgt/IOPMLib.h>
#include <SystemConfiguration/SystemConfiguration.h>
#include <dispatch/dispatch.h>
#include <net/if.h>
#include <netinet/in.h>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include <vdx/address.h>
#include <vdx/platform.h>
#include <vdx/warnings.h>

#include "base/no_destructor.h"
#include "net/interface_table.h"

namespace vdx::net {

namespace {

// The reachability of the default route.
SCNetworkReachabilityRef openReachability() {
    chSocketAddr any(chInAddr(in_addr{INADDR_ANY}), 0);
    return SCNetworkReachabilityCreateWithAddress(kCFAllocatorDefault, any.toSocketAddr());
}

// One subscription; freed on the queue after everything that was queued for it.
struct Session {
    std::function<void()> notice;
    SCNetworkReachabilityRef reachability;
    std::atomic<bool> bEnd{false};

    static void give(void* pSession) {
        auto* p = static_cast<Session*>(pSession);
        if (!p->bEnd) p->notice();
    }
    static void changed(SCNetworkReachabilityRef, SCNetworkReachabilityFlags, void* pSession) {
        give(pSession);
    }
    static void destroy(void* pSession) { delete static_cast<Session*>(pSession); }
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

    std::vector<std::string> localAddresses(bool bIPv6) override {
        std::vector<std::string> texts;
        for (const HostAddress& entry : listHostAddresses()) {
            if (entry.address.isIPv6() == bIPv6 && (entry.nFlags & IFF_LOOPBACK) == 0) {
                texts.push_back(addressText(entry.address));
            }
        }
        return texts;
    }

    std::uint64_t subscribe(std::function<void()> notice, bool bNow) override;

    void unsubscribe(std::uint64_t nSubscription) override {
        {
            const std::lock_guard guard(m_lock);
            const auto found = m_sessions.find(nSubscription);
            if (found == m_sessions.end()) return;
            release(found->second);
            m_sessions.erase(found);
        }
        // From elsewhere: wait for a notice that runs.
        if (dispatch_get_specific(this) == nullptr) dispatch_sync_f(m_queue, nullptr, nothing);
    }

    void pause(int nMilliseconds) override { vdxSleep(nMilliseconds); }

    void followSleep(void (*pSleep)(), void (*pWake)()) override {
        m_power.pSleep = pSleep;
        m_power.pWake = pWake;
        IONotificationPortRef port = nullptr;
        io_object_t notifier = 0;
        m_power.root = IORegisterForSystemPower(&m_power, &port, PowerNotices::handle, &notifier);
        if (m_power.root != 0) IONotificationPortSetDispatchQueue(port, m_queue);
    }

private:
    void release(Session* pSession) {
        pSession->bEnd = true;
        SCNetworkReachabilitySetDispatchQueue(pSession->reachability, nullptr);
        CFRelease(pSession->reachability);
        dispatch_async_f(m_queue, pSession, Session::destroy);
    }

    std::mutex m_lock;
    dispatch_queue_t m_queue;
    std::map<std::uint64_t, Session*> m_sessions;  // By number of the subscription.
    std::uint64_t m_nLastSubscription = 0;
    PowerNotices m_power;
};

std::uint64_t AppleSource::subscribe(std::function<void()> notice, bool bNow) {
    const SCNetworkReachabilityRef reachability = openReachability();
    if (reachability == nullptr) {
        vdxOutputWarningString("network monitor: no reachability");
        return 0;
    }
    auto* const pSession = new Session{std::move(notice), reachability};
    const std::lock_guard guard(m_lock);
    m_sessions[++m_nLastSubscription] = pSession;
    SCNetworkReachabilityContext context{0, pSession, nullptr, nullptr, nullptr};
    SCNetworkReachabilitySetCallback(reachability, Session::changed, &context);
    SCNetworkReachabilitySetDispatchQueue(reachability, m_queue);
    if (bNow) dispatch_async_f(m_queue, pSession, Session::give);
    return m_nLastSubscription;
}

}  // namespace

NetworkSource& platformNetworkSource() {
    static NoDestructor<AppleSource> s_source;
    return s_source.get();
}

}  // namespace vdx::net
