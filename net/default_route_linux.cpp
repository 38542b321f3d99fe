// What the routing table says of the way out.
#include "net/default_route_linux.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <cerrno>
#include <cstring>
#include <string_view>

#include <vdx/network_monitor.h>
#include <vdx/socket.h>

#include "net/interface_table.h"

namespace vdx::net {

namespace {

struct BestRoute {
    bool bFound = false;
    std::uint32_t nMetric = 0;
    std::uint32_t nInterface = 0;  // 0: several, or none named.
};

// The number in a route's attribute; 0 without it.
std::uint32_t numberIn(const rtattr* pAttribute, int nBytes, unsigned short nType) {
    for (; RTA_OK(pAttribute, nBytes); pAttribute = RTA_NEXT(pAttribute, nBytes)) {
        std::uint32_t nValue;
        if (pAttribute->rta_type != nType || RTA_PAYLOAD(pAttribute) < sizeof nValue) continue;
        std::memcpy(&nValue, RTA_DATA(pAttribute), sizeof nValue);
        return nValue;
    }
    return 0;
}

void consider(const nlmsghdr* pMessage, BestRoute& best) {
    const auto* pRoute = static_cast<const rtmsg*>(NLMSG_DATA(pMessage));
    if (pMessage->nlmsg_type != RTM_NEWROUTE || pRoute->rtm_dst_len != 0 || pRoute->rtm_type != RTN_UNICAST)
        return;
    if (pRoute->rtm_table != RT_TABLE_MAIN || (pRoute->rtm_flags & (RTNH_F_DEAD | RTNH_F_LINKDOWN)) != 0)
        return;
    const int nBytes = static_cast<int>(RTM_PAYLOAD(pMessage));
    const std::uint32_t nMetric = numberIn(RTM_RTA(pRoute), nBytes, RTA_PRIORITY);
    if (best.bFound && nMetric >= best.nMetric) return;
    best = {true, nMetric, numberIn(RTM_RTA(pRoute), nBytes, RTA_OIF)};
}

enum class Answer { GoesOn, Complete, Refused };

// Goes through one datagram of the answer.
Answer goThrough(const void* pData, int nCount, BestRoute& best) {
    auto nBytes = static_cast<unsigned>(nCount);
    for (auto* p = static_cast<const nlmsghdr*>(pData); NLMSG_OK(p, nBytes); p = NLMSG_NEXT(p, nBytes)) {
        if (p->nlmsg_type == NLMSG_DONE) return Answer::Complete;
        if (p->nlmsg_type == NLMSG_ERROR) return Answer::Refused;
        consider(p, best);
    }
    return Answer::GoesOn;
}

// A socket call over interruptions by signals.
template <class Call>
int uninterrupted(Call call) {
    int nResult;
    do {
        nResult = call();
    } while (nResult < 0 && errno == EINTR);
    return nResult;
}

bool isMobile(std::uint32_t nInterface) {
    char szName[IF_NAMESIZE];
    return nInterface != 0 && if_indextoname(nInterface, szName) != nullptr &&
           slotOf(kInterfaceTable, szName) == kMobileSlot;
}

}  // namespace

bool readDefaultRoute(std::uint32_t& nFlags) {
    chSocket netlink;
    struct {
        nlmsghdr header;
        rtmsg route;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = RTM_GETROUTE;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.route.rtm_family = AF_UNSPEC;
    if (!netlink.CreateSocket(AF_NETLINK, SOCK_RAW, NETLINK_ROUTE)) return false;
    if (uninterrupted([&] { return sockSend(netlink.fd(), &request, sizeof request, 0); }) < 0) return false;
    BestRoute best;
    alignas(nlmsghdr) char buffer[32768];
    Answer answer = Answer::GoesOn;
    while (answer == Answer::GoesOn) {
        const int nCount = uninterrupted([&] { return sockRecv(netlink.fd(), buffer, sizeof buffer, 0); });
        if (nCount <= 0) return false;
        answer = goThrough(buffer, nCount, best);
    }
    if (answer == Answer::Refused) return false;
    nFlags = !best.bFound ? 0u : static_cast<std::uint32_t>(NetworkReachabilityFlagReachable);
    if (best.bFound && isMobile(best.nInterface)) nFlags |= NetworkReachabilityFlagIsWWAN;
    return true;
}

}  // namespace vdx::net
