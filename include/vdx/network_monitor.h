// Notices when the host's network changes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <vdx/export.h>

// Example:
//   const auto callback = std::make_shared<std::function<void()>>([&] {
//       const std::lock_guard guard(lock);
//       ++nChanges;
//       noticed.notify_one();
//   });
//   registerNetworkChangedCallback(callback);
//   ...
//   unregisterNetworkChangedCallback(callback);
//
// While a callback is registered, the system's notices are followed on one thread of
// the library's own (Linux) or on a queue of the system (macOS); nothing polls. A
// callback runs on that thread: once soon after the first registration, with the state
// found; about one second after a change of the status or of the local addresses, so
// that they settle; and once more directly after that, when monitoring begins anew.
//
// Thread-safety: all functions, from callbacks too. A forked child keeps the callbacks but
// is not notified until it has unregistered them all and registers anew; on macOS, whose
// queues do not work in such a child, it must leave the monitor alone.

// --- Callbacks --------------------------------------------------------------

// Appends a callback; the same one may stand in the list several times. The first one
// starts the monitor. Where the system refuses, which ends in a warning, none is called
// until all have been removed and one is registered anew.
VDX_API void registerNetworkChangedCallback(std::shared_ptr<std::function<void()>> callback);

// Removes all entries of a callback; the last one ends the monitor: when the list is
// empty on return, no callback runs, whoever emptied it, and no thread is left. (Emptied
// from a callback: the thread ends right after it.)
// The caller must not hold a lock meanwhile that a running callback waits for.
VDX_API void unregisterNetworkChangedCallback(std::shared_ptr<std::function<void()>> callback);

// Calls every registered callback in order, on the calling thread. An empty one throws
// std::bad_function_call. What callbacks throw on the monitor's thread ends in a
// warning there.
VDX_API void onNetworkChanged();

// --- What stands behind them ------------------------------------------------

// Ways to the default route.
enum NetworkReachabilityStatus : int {
    NetworkReachabilityStatusUnknown = -1,
    NetworkReachabilityStatusNotReachable = 0,
    NetworkReachabilityStatusReachableViaWWAN = 1,  // Mobile data.
    NetworkReachabilityStatusReachableViaWiFi = 2,  // Anything else.
};

// "Unknown", "Not Reachable", "Reachable via WWAN", "Reachable via WiFi"; "Unknown" for
// any other number. The text is static.
VDX_API const char* networkReachabilityStatusText(int nStatus);

// What is known of the default route, as bits of AFNetworkReachabilityManager's flags.
enum NetworkReachabilityFlags : std::uint32_t {
    NetworkReachabilityFlagReachable = 1u << 1,
    NetworkReachabilityFlagConnectionRequired = 1u << 2,
    NetworkReachabilityFlagConnectionOnTraffic = 1u << 3,
    NetworkReachabilityFlagInterventionRequired = 1u << 4,
    NetworkReachabilityFlagConnectionOnDemand = 1u << 5,
    NetworkReachabilityFlagIsWWAN = 1u << 18,
};

// Receives a NetworkReachabilityStatus.
using NetworkStatusBlock = std::function<void(int nStatus)>;

// One subscription to the system's notices; each of them is reported as the status
// then current. Any number of objects may monitor at a time.
class VDX_API AFNetworkReachabilityManager {
public:
    // A new object, which does not monitor yet.
    static std::shared_ptr<AFNetworkReachabilityManager> manager();

    // The host's addresses as texts, those of loop-back interfaces left out, in the
    // system's order.
    static std::vector<std::string> localIPAddresses(bool bIPv6);

    ~AFNetworkReachabilityManager();
    AFNetworkReachabilityManager(const AFNetworkReachabilityManager&) = delete;
    AFNetworkReachabilityManager& operator=(const AFNetworkReachabilityManager&) = delete;

    // Called with every report, on the notification thread. It must not throw.
    void setReachabilityStatusChangeBlock(NetworkStatusBlock block);

    // With bReportNow the current status is reported at once, not only after a change.
    // Started again, the object monitors anew; a forked child does not monitor.
    void startMonitoring(bool bReportNow);

    // On return no report runs, also where another thread stopped it (except the one from
    // which it is called).
    void stopMonitoring();

    // The current flags; false when the system does not tell.
    bool networkReachability(std::uint32_t& nFlags) const;

private:
    friend class UCNetworkReachabilityManager;
    struct Subscription;
    AFNetworkReachabilityManager();

    std::shared_ptr<Subscription> m_subscription;
};

// Follows the network through one monitor at a time and remembers what it was like.
// Used by the callback functions above; an application has no need of it.
class VDX_API UCNetworkReachabilityManager {
public:
    // The one object; it lives to the very end of the process.
    static UCNetworkReachabilityManager& sharedManager();

    // Receives the status: at once after a start, then after each change.
    void setReachabilityStatusChangeBlock(NetworkStatusBlock block);

    // Takes the present addresses as known and begins monitoring with a report at once.
    void startNetworkMonitor();

    // Puts a fresh monitor in place of the present one; it reports at once only when
    // something changed since the last report.
    void updateNetworkMonitor();

    // Ends monitoring; on return no report runs, except the one from which it is called.
    void stopNetworkMonitor();

    // Whether the addresses differ from those known, which they replace.
    bool isIPsChanged();

    // Whether the status that the current flags mean differs from the last reported.
    bool isStatusChanged() const;

    // Around the system's sleep (macOS). The first does nothing; the second begins anew
    // when monitoring and the addresses have changed.
    void receiveSleepNote();
    void receiveWakeNote();

    // The monitor of the moment, or null.
    std::shared_ptr<AFNetworkReachabilityManager> m() const;
    int networkReachabilityStatus() const;
    std::vector<std::string> ipv4Array() const;
    std::vector<std::string> ipv6Array() const;
    bool isIpChanged() const;

private:
    using Monitor = std::shared_ptr<AFNetworkReachabilityManager>;
    using Handler = void (UCNetworkReachabilityManager::*)(const Monitor&, int);
    friend void unregisterNetworkChangedCallback(std::shared_ptr<std::function<void()>> callback);
    friend struct NetworkManagerMaker;
    UCNetworkReachabilityManager();

    // With the lock.
    void start();
    void update();
    void startMonitor(Handler pHandler, bool bReportNow);
    void replaceMonitor(Monitor fresh);
    bool takeNewAddresses();
    bool differsFromStatus() const;

    void endMonitor();  // Without waiting for a report that runs.
    void handleFirstReport(const Monitor& monitor, int nStatus);
    void handleReport(const Monitor& monitor, int nStatus);
    bool isMonitoring() const;

    mutable std::mutex m_lock;  // Not held while anything is called back or a report's end is waited for.
    Monitor m_monitor;
    NetworkStatusBlock m_block;
    int m_nStatus = NetworkReachabilityStatusUnknown;
    std::vector<std::string> m_ipv4;
    std::vector<std::string> m_ipv6;
    bool m_bIpChanged = false;
};
