// Shows the host's addresses, and again whenever the network changes, for a number of
// seconds (1 unless told).
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include <vdx/host_info.h>
#include <vdx/network_monitor.h>
#include <vdx/time.h>

namespace {

void show() {
    int nSlot = -1;
    const std::string chosen = getIPAddress("", nSlot);
    const auto& manager = UCNetworkReachabilityManager::sharedManager();
    std::printf("%s; local address %s (slot %d)\n",
                networkReachabilityStatusText(manager.networkReachabilityStatus()),
                chosen.empty() ? "none" : chosen.c_str(), nSlot);
    for (const bool bIPv6 : {false, true}) {
        for (const std::string& address : AFNetworkReachabilityManager::localIPAddresses(bIPv6)) {
            std::printf("  %s\n", address.c_str());
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    const int nSeconds = argc > 1 ? std::atoi(argv[1]) : 1;
    std::mutex lock;
    std::condition_variable noticed;
    int nChanges = 0;
    // Runs on the monitor's thread: it only counts.
    const auto callback = std::make_shared<std::function<void()>>([&] {
        const std::lock_guard guard(lock);
        ++nChanges;
        noticed.notify_one();
    });
    registerNetworkChangedCallback(callback);
    int nShown = 0;
    for (chTimeout limit(nSeconds * 1000); !limit.IsTimeout();) {
        std::unique_lock guard(lock);
        if (!noticed.wait_for(guard, std::chrono::milliseconds(limit.GetLeftMillisecond() + 1),
                              [&] { return nChanges > nShown; })) {
            break;
        }
        nShown = nChanges;
        guard.unlock();
        show();
    }
    unregisterNetworkChangedCallback(callback);
    std::printf("%d notices\n", nShown);
    return nShown > 0 ? 0 : 1;
}
