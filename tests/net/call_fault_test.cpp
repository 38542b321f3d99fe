// Every socket call fails in turn, at each of its places. The calls are wrapped when the
// test is linked.
#include <ifaddrs.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <gtest/gtest.h>

#include <vdx/host_info.h>
#include <vdx/packet.h>

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
    chSocketPacketTCP client;
    chSocketPacketTCP accepted;
    if (!server.CreateSocket(local) || !server.SocketListen(4) || !client.CreateSocket(AF_INET) ||
        !client.ConnectTo(local, 1000) || !server.AcceptOnSocket(accepted, nullptr, 1000) ||
        client.socketSelect(0) != 0) {
        return false;
    }
    // One that is sent in one piece, and one in two that is received in its own memory.
    for (const std::size_t nBytes : {5u, 20000u}) {
        const std::string sent = peer::randomBytes(nBytes, 1);
        std::vector<unsigned char> packet;
        if (client.SendOnePacket(sent.data(), static_cast<int>(nBytes)) == 0) return false;
        if (!accepted.ReceiveOnePacket(packet, 1000) || std::string(packet.begin(), packet.end()) != sent)
            return false;
    }
    std::vector<unsigned char> none;
    return !accepted.ReceiveOnePacket(none, 5) && accepted.isConnected();
}

bool exchangesDatagrams(const chSocketAddr& local) {
    chSocketUDP receiver;
    chSocketUDP sender;
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
    if (nSubscription != 0) source.unsubscribe(nSubscription);
    sockGetHardwareAddress("lo");
    return bRoute && nSubscription != 0 && sockGetLocalIPAddress("lo").toString() == "127.0.0.1" &&
           sockGetAdapterByIPAddress("127.0.0.1") == "lo";
}

struct Places {
    int nAll = 0;
    int nHarmless = 0;  // Where everything worked all the same.
};

// Lets a call fail at each of its places in turn; nothing hangs or leaks.
template <class Work>
Places failAtEachPlace(const char* szCall, int nErrno, Work work) {
    const long nDescriptors = peer::openDescriptors();
    for (Places places;; ++places.nAll) {
        vdxtest::t_failure = {.nLeft = places.nAll, .nError = nErrno, .name = szCall};
        const peer::Stopwatch watch;
        const bool bWorked = work();
        EXPECT_LT(watch.ms(), 4000);
        const bool bMet = !std::exchange(vdxtest::t_failure, {}).failed.empty();
        EXPECT_EQ(peer::openDescriptors(), nDescriptors) << szCall << places.nAll;
        if (!bMet) return places;
        places.nHarmless += bWorked;
    }
}

TEST(CallFault, EachCallFailsInTurn) {
    struct Row {
        const char* szCall;
        bool bSignalHarmless;  // The call is repeated when a signal interrupts it.
        int nHarmless;         // Places at which nothing depends on the call.
    };
    const Row rows[] = {{"socket", false, 1},     {"bind", false, 0},          {"listen", false, 0},
                        {"connect", false, 0},    {"accept4", false, 0},       {"setsockopt", false, 2},
                        {"getsockopt", false, 0}, {"shutdown", true, 99},      {"send", true, 0},
                        {"sendmsg", true, 0},     {"sendto", true, 0},         {"recv", true, 0},
                        {"recvfrom", true, 0},    {"poll", true, 0},           {"select", true, 0},
                        {"getifaddrs", false, 0}, {"if_nametoindex", true, 1}, {"eventfd", false, 0},
                        {"ioctl", false, 1}};
    const chSocketAddr tcp = peer::nobody(AF_INET);
    const chSocketAddr udp = peer::nameOf(peer::bound(AF_INET, SOCK_DGRAM));
    std::string texts;
    const auto all = [&] {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const bool bWorked = int{exchangesPackets(tcp)} + exchangesDatagrams(udp) + knowsTheHost() == 3;
        texts += testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
        return bWorked;
    };
    ASSERT_TRUE(all());
    for (const Row& row : rows) {
        for (const int nErrno : {EINTR, ENOMEM}) {
            SCOPED_TRACE(std::string(row.szCall) + ": " + std::to_string(nErrno));
            const Places places = failAtEachPlace(row.szCall, nErrno, all);
            EXPECT_GT(places.nAll, 0);
            EXPECT_EQ(places.nHarmless, nErrno == EINTR && row.bSignalHarmless
                                            ? places.nAll
                                            : std::min(row.nHarmless, places.nAll));
        }
    }
    EXPECT_TRUE(all());
    for (const char* szText : {"Error: if_nametoindex error/n", "Error: sysctl, take 2",
                               "chSocketTCP::Send failed! nSendCount=0 errno:[12][", "network monitor: "})
        EXPECT_NE(texts.find(szText), texts.npos) << szText;
}

}  // namespace
