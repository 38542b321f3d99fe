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
            if (nSubscription != m_nSubscription || m_session == nullptr) return;
            release();
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
    // Needs the lock.
    void release() {
        m_session->bEnd = true;
        SCNetworkReachabilitySetDispatchQueue(m_reachability, nullptr);
        CFRelease(m_reachability);
        dispatch_async_f(m_queue, std::exchange(m_session, nullptr), Session::destroy);
    }

    std::mutex m_lock;
    dispatch_queue_t m_queue;
    SCNetworkReachabilityRef m_reachability = nullptr;
    Session* m_session = nullptr;
    std::uint64_t m_nSubscription = 0;
    PowerNotices m_power;
};

std::uint64_t AppleSource::subscribe(std::function<void()> notice, bool bNow) {
    const std::lock_guard guard(m_lock);
    if (m_session != nullptr) release();
    m_reachability = openReachability();
    if (m_reachability == nullptr) {
        vdxOutputWarningString("network monitor: no reachability");
        return 0;
    }
    m_session = new Session;
    m_session->notice = std::move(notice);
    SCNetworkReachabilityContext context{0, m_session, nullptr, nullptr, nullptr};
    SCNetworkReachabilitySetCallback(m_reachability, Session::changed, &context);
    SCNetworkReachabilitySetDispatchQueue(m_reachability, m_queue);
    if (bNow) dispatch_async_f(m_queue, m_session, Session::give);
    return ++m_nSubscription;
}

}  // namespace

NetworkSource& platformNetworkSource() {
    static NoDestructor<AppleSource> s_source;
    return s_source.get();
}

}  // namespace vdx::net
