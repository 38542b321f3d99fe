// Every socket call fails in turn, at each of its places. The calls are wrapped when the
// test is linked.
#include <ifaddrs.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <gtest/gtest.h>

#include <vdx/host_info.h>

#include "net/network_source.h"
#include "net/peer.h"
#include "support/failing_calls.h"

extern "C" {
VDX_FAILING(int, socket, (int a, int b, int c), (a, b, c), -1)
VDX_FAILING(int, bind, (int a, const sockaddr* b, socklen_t c), (a, b, c), -1)
VDX_FAILING(int, listen, (int a, int b), (a, b), -1)
VDX_FAILING(int, connect, (int a, const sockaddr* b, socklen_t c), (a, b, c), -1)
VDX_FAILING(int, accept4, (int a, sockaddr* b, socklen_t* c, int d), (a, b, c, d), -1)
VDX_FAILING(int, setsockopt, (int a, int b, int c, const void* d, socklen_t e), (a, b, c, d, e), -1)
VDX_FAILING(int, getsockopt, (int a, int b, int c, void* d, socklen_t* e), (a, b, c, d, e), -1)
VDX_FAILING(int, shutdown, (int a, int b), (a, b), -1)
VDX_FAILING(ssize_t, send, (int a, const void* b, size_t c, int d), (a, b, c, d), -1)
VDX_FAILING(ssize_t, sendmsg, (int a, const msghdr* b, int c), (a, b, c), -1)
VDX_FAILING(ssize_t, sendto, (int a, const void* b, size_t c, int d, const sockaddr* e, socklen_t f),
            (a, b, c, d, e, f), -1)
VDX_FAILING(ssize_t, recv, (int a, void* b, size_t c, int d), (a, b, c, d), -1)
VDX_FAILING(ssize_t, recvfrom, (int a, void* b, size_t c, int d, sockaddr* e, socklen_t* f),
            (a, b, c, d, e, f), -1)
VDX_FAILING(int, poll, (pollfd * a, nfds_t b, int c), (a, b, c), -1)
VDX_FAILING(int, select, (int a, fd_set* b, fd_set* c, fd_set* d, timeval* e), (a, b, c, d, e), -1)
VDX_FAILING(int, getifaddrs, (ifaddrs * *a), (a), -1)
VDX_FAILING(unsigned, if_nametoindex, (const char* a), (a), 0)
VDX_FAILING(int, eventfd, (unsigned a, int b), (a, b), -1)
VDX_FAILING(int, ioctl, (int a, unsigned long b, void* c), (a, b, c), -1)
}

namespace {

bool exchangesPackets(const chSocketAddr& local) {
    chSocketTCPServer server;
    chSocketPacketTCP client, accepted;
    if (!server.CreateSocket(local) || !server.SocketListen(4) || !client.CreateSocket(AF_INET) ||
        !client.ConnectTo(local, 1000) || !server.AcceptOnSocket(accepted, nullptr, 1000) ||
        client.socketSelect(0) != 0) {
        return false;
    }
    // One that is sent in one piece, and one in two that is received in its own memory.
    std::vector<unsigned char> packet;
    for (const std::size_t nBytes : {5u, 20000u}) {
        const std::string sent = peer::randomBytes(nBytes, 1);
        if (client.SendOnePacket(sent.data(), static_cast<int>(nBytes)) == 0) return false;
        if (!accepted.ReceiveOnePacket(packet, 1000) || std::string(packet.begin(), packet.end()) != sent)
            return false;
    }
    return !accepted.ReceiveOnePacket(packet, 5) && accepted.isConnected();
}

bool exchangesDatagrams(const chSocketAddr& local) {
    chSocketUDP receiver, sender;
    std::vector<unsigned char> out;
    return receiver.CreateSocket(local) && sender.CreateSocket(AF_INET) && sender.SendTo("hi", 2, local) &&
           sockPeekRecvLength(receiver.fd()) == 2 && receiver.ReceiveFrom(out, nullptr, 1000) == 2 &&
           receiver.ReceiveToBuffer(5) == 0;
}

bool knowsTheHost() {
    auto& source = vdx::net::platformNetworkSource();
    std::uint32_t nFlags = 0;
    const bool bRoute = source.readFlags(nFlags);
    const std::uint64_t nSubscription = source.subscribe([] {}, false);
    source.unsubscribe(nSubscription);
    source.waitForEnded();
    sockGetHardwareAddress("lo");
    return bRoute && nSubscription != 0 && sockGetLocalIPAddress("lo").toString() == "127.0.0.1" &&
           sockGetAdapterByIPAddress("127.0.0.1") == "lo";
}

TEST(CallFault, EachCallFailsInTurn) {
    const struct {
        const char* szCall;
        bool bSignalHarmless;  // The call is repeated when a signal interrupts it.
        int nHarmless;         // Places at which nothing depends on the call.
    } rows[] = {{"socket", false, 1},     {"bind", false, 0},          {"listen", false, 0},
                {"connect", false, 0},    {"accept4", false, 0},       {"setsockopt", false, 2},
                {"getsockopt", false, 0}, {"shutdown", true, 99},      {"send", true, 0},
                {"sendmsg", true, 0},     {"sendto", true, 0},         {"recv", true, 0},
                {"recvfrom", true, 0},    {"poll", true, 0},           {"select", true, 0},
                {"getifaddrs", false, 0}, {"if_nametoindex", true, 1}, {"eventfd", false, 0},
                {"ioctl", false, 1}};
    const chSocketAddr tcp = peer::nobody(AF_INET);
    const chSocketAddr udp = peer::nameOf(peer::bound(AF_INET, SOCK_DGRAM));
    int nDone = 0;  // Of three.
    const auto all = [&] { nDone = exchangesPackets(tcp) + exchangesDatagrams(udp) + knowsTheHost(); };
    std::string texts;
    // The numbers of places at which a call failed, and at which everything worked all the same.
    const auto failAtEachPlace = [&](const char* szCall, int nErrno) {
        const long nDescriptors = peer::openDescriptors();
        for (std::pair<int, int> places;; ++places.first) {
            vdxtest::t_failure = {.nLeft = places.first, .nError = nErrno, .name = szCall};
            peer::expectMs(0, 4000, [&] { texts += peer::printedBy(all); });
            EXPECT_EQ(peer::openDescriptors(), nDescriptors) << szCall << places.first;
            if (std::exchange(vdxtest::t_failure, {}).failed.empty()) return places;
            places.second += nDone == 3;
        }
    };
    for (const auto& [szCall, bSignalHarmless, nHarmless] : rows) {
        for (const int nErrno : {EINTR, ENOMEM}) {
            const auto [nPlaces, nWorked] = failAtEachPlace(szCall, nErrno);
            EXPECT_GT(nPlaces, 0) << szCall;
            EXPECT_EQ(nWorked, nErrno == EINTR && bSignalHarmless ? nPlaces : std::min(nHarmless, nPlaces))
                << szCall << ": " << nErrno;
            EXPECT_EQ(nDone, 3);  // Without a failure.
        }
    }
    for (const char* szText : {"Error: if_nametoindex error/n", "Error: sysctl, take 2",
                               "chSocketTCP::Send failed! nSendCount=0 errno:[12][", "network monitor: "})
        EXPECT_NE(texts.find(szText), texts.npos) << szText;
}

}  // namespace
