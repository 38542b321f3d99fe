// Descriptors out of range or missing, and sets of descriptors.
#include <sys/resource.h>
#include <climits>
#include <set>

#include <gtest/gtest.h>

#include "net/peer.h"

namespace {

TEST(SocketFault, CallsOnHighDescriptorsFailCleanly) {
    rlimit files;
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    if (files.rlim_cur < 2048) GTEST_SKIP() << "only " << files.rlim_cur << " descriptors";
    chSocketTCPServer low;
    // The forms that take a host's text.
    const chSocketAddr address = peer::nobody(AF_INET);
    ASSERT_TRUE(low.CreateSocket("127.0.0.1", address.port()) && low.SocketListen(4));
    ASSERT_TRUE(chSocketUDP().CreateSocket("127.0.0.1", address.port()));
    chSocketTCP first, client;
    ASSERT_TRUE(first.CreateSocket(AF_INET) && first.ConnectTo("127.0.0.1", address.port(), 1000));
    ASSERT_TRUE(low.AcceptOnSocket(first, nullptr, 1000));
    std::vector<peer::Fd> fillers;  // No descriptor below 1024 is free any more.
    do
        fillers.emplace_back(dup(0));
    while (fillers.back() < 1023);
    ASSERT_TRUE(client.CreateSocket(AF_INET));
    ASSERT_GE(client.fd(), 1024);
    EXPECT_EQ(client.socketSelect(-1), -1);
    EXPECT_FALSE(client.ConnectTo(address, 1000));
    chSocketUDP datagrams;
    ASSERT_TRUE(datagrams.CreateSocket(AF_INET));
    EXPECT_EQ(datagrams.ReceiveToBuffer(-1), -1);
    chSocketTCPServer high;
    ASSERT_TRUE(high.CreateSocket(peer::nobody(AF_INET)) && high.SocketListen(1));
    EXPECT_FALSE(high.AcceptOnSocket(client, nullptr, -1));

    // An accepted connection with such a descriptor ends when it would have to wait.
    const std::string text(32 << 20, 'n');
    for (const bool bSend : {false, true}) {
        const peer::Fd silent(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(connect(silent, address.toSocketAddr(), 16), 0);
        ASSERT_TRUE(low.AcceptOnSocket(client, nullptr, -1));
        peer::printedBy([&] {
            EXPECT_FALSE(bSend ? client.Send(text.data(), 32 << 20) : client.ReceiveToBuffer(-1) != -1);
        });
        EXPECT_FALSE(client.isConnected());
    }
}

TEST(chFD_SET, RefusesWhatDoesNotFit) {
    for (const int nFd : {1024, 1025, 100000, INT_MAX, -1, INT_MIN}) {
        SCOPED_TRACE(nFd);
        struct {
            chFD_SET set;
            char guard[64] = {};
        } block;
        EXPECT_FALSE(block.set.add(nFd) || block.set.isSet(nFd));
        EXPECT_EQ(block.set.getFdMax(), -1);
        EXPECT_EQ(std::string(block.guard, 64), std::string(64, '\0'));
        // Not even without limit does the wait begin.
        EXPECT_EQ(block.set.readSelect(-1), -1);
        EXPECT_EQ(errno, EBADF);
        EXPECT_EQ(block.set.writeSelect(-1), -1);
        block.set.clear();
        EXPECT_EQ(block.set.readSelect(0), 0);
        EXPECT_EQ(chFD_SET(nFd).readSelect(-1), -1);
    }
    EXPECT_TRUE(chFD_SET().add(1023));
}

TEST(chFD_SET, WaitsForAllOfItsMembers) {
    int a[2], b[2];
    ASSERT_EQ(pipe2(a, O_CLOEXEC) | pipe2(b, O_CLOEXEC), 0);
    const peer::Fd ends[] = {peer::Fd(a[0]), peer::Fd(a[1]), peer::Fd(b[0]), peer::Fd(b[1])};
    chFD_SET set;
    EXPECT_TRUE(set.add(b[0]) && set.add(a[0]));
    EXPECT_EQ(set.getFdMax(), std::max(a[0], b[0]));
    ASSERT_EQ(write(a[1], "x", 1), 1);
    EXPECT_EQ(set.readSelect(-1), 1);
    EXPECT_TRUE(set.isSet(a[0]) && !set.isSet(b[0]));

    chFD_SET writers(b[1]);
    EXPECT_EQ(writers.writeSelect(0), 1);
    EXPECT_TRUE(writers.isSet(b[1]));
    const peer::Signaller signals;
    chFD_SET quiet(b[0]);
    peer::expectMs(30, 2000, [&] { EXPECT_EQ(quiet.readSelect(30), 0); });
    EXPECT_FALSE(quiet.isSet(b[0]));
    EXPECT_EQ(chFD_SET(b[0]).readSelect(-2), -1);
    EXPECT_EQ(errno, EINVAL);
    chFD_SET nine(9);
    EXPECT_EQ(reinterpret_cast<const unsigned char*>(nine.getFdSet())[1], 2);
}

TEST(SocketFault, CallsWithoutADescriptorFail) {
    chSocketTCP none;
    chSocketTCPServer server;
    chSocketUDP datagrams;
    char c;
    const peer::Fd listener = peer::listening(AF_INET);
    EXPECT_FALSE(none.Send("x", 1) || none.Send("x", 0) || none.TestConnectivity() ||
                 none.ConnectTo("127.0.0.1", 9, 1000) || none.ConnectTo(peer::nameOf(listener), 1000) ||
                 server.SocketListen(1) || server.AcceptOnSocket(none, nullptr, -1) ||
                 datagrams.SendTo("x", 1, chSocketAddr("127.0.0.1", 9)) || sockListen(-1, 1) ||
                 sockSetBlocking(-1, true));
    const std::set<int> counts{
        none.Receive(&c, 1, 1000), none.ReceiveToBuffer(-1),      none.selectAndReceive(1, -1),
        none.socketSelect(-1),     datagrams.ReceiveToBuffer(-1), sockClose(-1),
        sockShutdown(-1),          sockPeekRecvLength(-1)};
    EXPECT_EQ(counts, std::set<int>{-1});
    EXPECT_EQ(errno, EBADF);
    // Negative sizes become no huge ones.
    const std::set<int> sizes{sockRecv(0, &c, -1, 0), sockSend(0, &c, -1, 0),
                              sockSendTo(0, &c, -1, 0, nullptr),
                              sockRecvFrom(0, &c, -1, 0, nullptr, nullptr)};
    EXPECT_EQ(sizes, std::set<int>{-1});
    EXPECT_EQ(errno, EINVAL);
}

}  // namespace
