// Where the network monitor's knowledge comes from: one implementation a platform, and
// one in the tests.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vdx::net {

// Thread-safety: all members.
class NetworkSource {
public:
    virtual ~NetworkSource() = default;

    // NetworkReachabilityFlags of the default route; false when they cannot be read.
    virtual bool readFlags(std::uint32_t& nFlags) = 0;

    // The host's addresses but those of loop-back interfaces.
    virtual std::vector<std::string> localAddresses(bool bIPv6);

    // From now on `notice` is called on the notification thread after each change, and
    // with bNow once soon. Never calls it before returning. The subscription's number;
    // 0, and a warning, on failure.
    virtual std::uint64_t subscribe(std::function<void()> notice, bool bNow) = 0;

    // Ends a subscription: no notice of it begins from now on. Waits for nothing, so that a
    // lock may be held which notices take.
    virtual void unsubscribe(std::uint64_t nSubscription) = 0;

    // On return no notice runs of a subscription that had ended before and, where none was
    // left, the notification thread is gone (one whose own notice ended the last, nearly).
    // On that thread there is nothing to wait for.
    virtual void waitForEnded() = 0;

    // Waits on the notification thread; ends early when the subscription does whose notice
    // runs.
    virtual void pause(int nMilliseconds) = 0;

    // Calls these before the system sleeps and after it woke; nothing where the system
    // does not tell.
    virtual void followSleep(void (*pSleep)(), void (*pWake)()) = 0;
};

// The platform's. Never destroyed.
NetworkSource& platformNetworkSource();

// The one in use: the platform's unless another was set (null: the platform's again).
NetworkSource& networkSource();
void setNetworkSource(NetworkSource* pSource);

}  // namespace vdx::net
