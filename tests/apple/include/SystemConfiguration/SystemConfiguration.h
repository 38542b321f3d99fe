// What is used of SystemConfiguration.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>
#include <sys/socket.h>
#include <cstdint>

using SCNetworkReachabilityRef = const struct __SCNetworkReachability*;
using SCNetworkReachabilityFlags = std::uint32_t;
using SCNetworkReachabilityCallBack = void (*)(SCNetworkReachabilityRef, SCNetworkReachabilityFlags, void*);

struct SCNetworkReachabilityContext {
    CFIndex version;
    void* info;
    const void* (*retain)(const void*);
    void (*release)(const void*);
    const void* (*copyDescription)(const void*);
};

extern "C" {
SCNetworkReachabilityRef SCNetworkReachabilityCreateWithAddress(CFAllocatorRef, const sockaddr*);
Boolean SCNetworkReachabilityGetFlags(SCNetworkReachabilityRef, SCNetworkReachabilityFlags*);
Boolean SCNetworkReachabilitySetCallback(SCNetworkReachabilityRef, SCNetworkReachabilityCallBack,
                                         SCNetworkReachabilityContext*);
Boolean SCNetworkReachabilitySetDispatchQueue(SCNetworkReachabilityRef, dispatch_queue_t);
int SCError(void);
const char* SCErrorString(int);
}
