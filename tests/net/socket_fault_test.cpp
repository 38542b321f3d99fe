// Faults: resets, peers that never read, descriptors out of range or missing; and the
// bare calls.
#include <sys/resource.h>
#include <climits>
#include <functional>
#include <future>

#include <gtest/gtest.h>

#include "net/peer.h"

namespace {

class TcpFault : public peer::Connected<chSocketTCP> {};
INSTANTIATE_TEST_SUITE_P(Family, TcpFault, ::testing::Values(AF_INET, AF_INET6), peer::familyName);

TEST_P(TcpFault, AResetEndsASendThatWaitsWithTheMessagesAndNoSignal) {
    signal(SIGPIPE, SIG_DFL);
    const auto resetting = std::async(std::launch::async, [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        raw.reset();
    });
    const std::string text(32 << 20, 'n');  // More than the peer, which never reads, and we can hold.
    const std::string trace = peer::printedBy([&] {
        EXPECT_FALSE(ours.Send(text.data(), static_cast<int>(text.size())));
        EXPECT_FALSE(ours.isConnected());
        EXPECT_FALSE(ours.Send("x", 1));
    });
    for (const char* szText : {"chSocketTCP::Send failed! nSendCount=0 errno:[104]",
                               "chSocketTCP::Send failed! nBytes:[1] m_bConnected:[0]"})
        EXPECT_NE(trace.find(szText), std::string::npos) << szText;
    // The bare call raises none either.
    EXPECT_EQ(sockSend(ours.fd(), "x", 1, 0), -1);
    EXPECT_EQ(errno, EPIPE);
}

// Lifts the limit of open descriptors for one test.
class ManyDescriptors : public ::testing::Test {
protected:
    void SetUp() override {
        getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit highest{m_before.rlim_max, m_before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &highest);
        if (highest.rlim_cur < 2048) GTEST_SKIP() << "only " << highest.rlim_cur << " descriptors";
    }
    void TearDown() override { setrlimit(RLIMIT_NOFILE, &m_before); }

    rlimit m_before{};
};

TEST_F(ManyDescriptors, ASetRefusesWhatDoesNotFit) {
    for (const int nFd : {1024, 1025, 100000, INT_MAX, -1, INT_MIN}) {
        SCOPED_TRACE(nFd);
        struct {
            chFD_SET set;
            char guard[64] = {};
        } block;
        EXPECT_FALSE(block.set.add(nFd));
        EXPECT_FALSE(block.set.isSet(nFd));
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

// Occupies all descriptors below 1024, so that the next one does not fit.
std::vector<peer::Fd> occupyLowDescriptors() {
    std::vector<peer::Fd> fillers;
    do
        fillers.emplace_back(dup(0));
    while (fillers.back() < 1023);
    return fillers;
}

TEST_F(ManyDescriptors, CallsOnHighDescriptorsFailCleanly) {
    chSocketTCPServer low;
    const chSocketAddr address = peer::nobody(AF_INET);
    ASSERT_TRUE(low.CreateSocket(address) && low.SocketListen(4));
    const std::vector<peer::Fd> fillers = occupyLowDescriptors();
    chSocketTCP client;
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
    const std::function<bool()> calls[] = {
        [&] { return client.ReceiveToBuffer(-1) != -1; },
        [&] { return client.Send(text.data(), static_cast<int>(text.size())); }};
    for (const auto& call : calls) {
        const peer::Fd silent(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(connect(silent, address.toSocketAddr(), 16), 0);
        ASSERT_TRUE(low.AcceptOnSocket(client, nullptr, -1));
        peer::printedBy([&] { EXPECT_FALSE(call()); });
        EXPECT_FALSE(client.isConnected());
    }
}

TEST(SocketFault, CallsWithoutADescriptorFail) {
    chSocketTCP none;
    chSocketTCPServer server;
    chSocketUDP datagrams;
    char c;
    const peer::Fd listener = peer::listening(AF_INET);
    const std::vector<bool> done{none.Send("x", 1),
                                 none.Send("x", 0),
                                 none.TestConnectivity(),
                                 none.ConnectTo("127.0.0.1", 9, 1000),
                                 none.ConnectTo(peer::nameOf(listener), 1000),
                                 server.SocketListen(1),
                                 server.AcceptOnSocket(none, nullptr, -1),
                                 datagrams.SendTo("x", 1, chSocketAddr("127.0.0.1", 9)),
                                 sockListen(-1, 1),
                                 sockSetBlocking(-1, true)};
    EXPECT_EQ(done, std::vector<bool>(10, false));
    const std::vector<int> counts{
        none.Receive(&c, 1, 1000), none.ReceiveToBuffer(-1),      none.selectAndReceive(1, -1),
        none.socketSelect(-1),     datagrams.ReceiveToBuffer(-1), sockClose(-1),
        sockShutdown(-1),          sockPeekRecvLength(-1)};
    EXPECT_EQ(counts, std::vector<int>(8, -1));
    EXPECT_EQ(errno, EBADF);
    // Negative sizes become no huge ones.
    const std::vector<int> sizes{sockRecv(0, &c, -1, 0), sockSend(0, &c, -1, 0),
                                 sockSendTo(0, &c, -1, 0, nullptr),
                                 sockRecvFrom(0, &c, -1, 0, nullptr, nullptr)};
    EXPECT_EQ(sizes, std::vector<int>(4, -1));
    EXPECT_EQ(errno, EINVAL);
}

TEST(SocketFunctions, MakeAcceptAndEndConnections) {
    const int nPort = peer::nobody(AF_INET).port();
    chSocketTCPServer server;
    ASSERT_TRUE(server.CreateSocket("127.0.0.1", nPort) && sockListen(server.fd(), 4));
    const chSocketAddr address = peer::nameOf(server.fd());
    const peer::Fd raw(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_TRUE(sockSetBlocking(raw, false));
    EXPECT_TRUE(fcntl(raw, F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(sockAsyncConnect(raw, address.toSocketAddr(), 1000));
    EXPECT_TRUE(sockAsyncConnect(raw, address.toSocketAddr(), 1000));  // It is connected already.
    chSocketAddr from;
    int nLength = sizeof from;
    const peer::Fd accepted(sockAccept(server.fd(), from.toSocketAddr(), &nLength));
    EXPECT_EQ(nLength, 16);
    EXPECT_TRUE(from == peer::nameOf(raw));
    EXPECT_TRUE(fcntl(accepted, F_GETFD) & FD_CLOEXEC);
    EXPECT_EQ(sockShutdown(raw), 0);
    char c;
    EXPECT_EQ(sockRecv(accepted, &c, 1, 0), 0);
    // The forms of the classes that take a host's text.
    chSocketTCP client;
    EXPECT_TRUE(client.CreateSocket(AF_INET) && client.ConnectTo("127.0.0.1", nPort, 1000));
    EXPECT_TRUE(chSocketUDP().CreateSocket("127.0.0.1", nPort));
}

TEST(chFD_SET, WaitsForAllOfItsMembers) {
    int a[2];
    int b[2];
    ASSERT_EQ(pipe2(a, O_CLOEXEC) | pipe2(b, O_CLOEXEC), 0);
    const peer::Fd ends[] = {peer::Fd(a[0]), peer::Fd(a[1]), peer::Fd(b[0]), peer::Fd(b[1])};
    chFD_SET set;
    EXPECT_EQ(set.getFdMax(), -1);
    EXPECT_TRUE(set.add(b[0]) && set.add(a[0]));
    EXPECT_EQ(set.getFdMax(), std::max(a[0], b[0]));
    ASSERT_EQ(write(a[1], "x", 1), 1);
    EXPECT_EQ(set.readSelect(-1), 1);
    EXPECT_TRUE(set.isSet(a[0]));
    EXPECT_FALSE(set.isSet(b[0]));

    chFD_SET writers(b[1]);
    EXPECT_EQ(writers.writeSelect(0), 1);
    EXPECT_TRUE(writers.isSet(b[1]));
    const peer::Signaller signals;
    const peer::Stopwatch watch;
    chFD_SET quiet(b[0]);
    EXPECT_EQ(quiet.readSelect(30), 0);
    EXPECT_FALSE(quiet.isSet(b[0]));
    EXPECT_GE(watch.ms(), 29);
    EXPECT_EQ(chFD_SET(b[0]).readSelect(-2), -1);
    EXPECT_EQ(errno, EINVAL);
    chFD_SET nine(9);
    EXPECT_EQ(reinterpret_cast<const unsigned char*>(nine.getFdSet())[1], 2);
}

}  // namespace
