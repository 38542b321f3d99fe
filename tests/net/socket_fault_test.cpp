// Connections under faults: resets, peers that never read, descriptors out of range or
// exhausted, signals for broken pipes.
#include <sys/resource.h>
#include <climits>
#include <csignal>
#include <future>

#include <gtest/gtest.h>

#include <vdx/host_info.h>

#include "net/peer.h"

namespace {

using std::chrono::milliseconds;

class TcpFault : public peer::Connected<chSocketTCP> {};
INSTANTIATE_TEST_SUITE_P(Family, TcpFault, ::testing::Values(AF_INET, AF_INET6), peer::familyName);

TEST_P(TcpFault, AResetEndsTheConnection) {
    peer::sendAll(raw, "abc");
    EXPECT_TRUE(ours.waitForBufferBytes(3, 1000));
    raw.reset();
    EXPECT_EQ(ours.selectAndReceive(1, 1000), -1);
    EXPECT_FALSE(ours.isConnected());
    EXPECT_EQ(ours.ReceiveToBuffer(0), 3);
}

TEST_P(TcpFault, SendToAClosedPeerEndsWithTheMessagesAndNoSignal) {
    signal(SIGPIPE, SIG_DFL);
    raw.reset();
    testing::internal::CaptureStdout();
    const std::string text(100000, 's');
    while (ours.Send(text.data(), static_cast<int>(text.size()))) {
    }
    EXPECT_FALSE(ours.isConnected());
    EXPECT_FALSE(ours.Send("x", 1));
    const std::string trace = testing::internal::GetCapturedStdout();
    EXPECT_NE(trace.find("chSocketTCP::Send failed! nSendCount=0 errno:["), std::string::npos);
    EXPECT_EQ(trace.find("errno:[0]"), std::string::npos);
    EXPECT_NE(trace.find("chSocketTCP::Send failed! nBytes:[100000] m_bConnected:[0]"), std::string::npos);
    EXPECT_NE(trace.find("chSocketTCP::Send failed! nBytes:[1] m_bConnected:[0]"), std::string::npos);
    // The bare call neither.
    EXPECT_EQ(sockSend(ours.fd(), "x", 1, 0), -1);
    EXPECT_EQ(errno, EPIPE);
}

TEST_P(TcpFault, AResetWakesASendThatWaits) {
    testing::internal::CaptureStdout();
    auto resetting = std::async(std::launch::async, [&] {
        std::this_thread::sleep_for(milliseconds(100));
        raw.reset();
    });
    const std::string text(32 << 20, 'n');  // More than the peer, which never reads, and we can hold.
    EXPECT_FALSE(ours.Send(text.data(), static_cast<int>(text.size())));
    resetting.get();
    EXPECT_FALSE(ours.isConnected());
    EXPECT_NE(testing::internal::GetCapturedStdout().find("m_bConnected:[0]"), std::string::npos);
}

// Lifts the limit of open descriptors for one test.
class ManyDescriptors : public ::testing::Test {
protected:
    void SetUp() override {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        m_before = limit;
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
        if (limit.rlim_cur < 2048)
            GTEST_SKIP() << "the system allows only " << limit.rlim_cur << " descriptors";
    }
    void TearDown() override { setrlimit(RLIMIT_NOFILE, &m_before); }

    rlimit m_before{};
};

TEST_F(ManyDescriptors, ASetRefusesWhatDoesNotFit) {
    for (const int nFd : {1024, 1025, 100000, INT_MAX, -1, INT_MIN}) {
        SCOPED_TRACE(nFd);
        struct {
            chFD_SET set;
            unsigned char guard[64];
        } block;
        std::memset(block.guard, 0x5A, sizeof block.guard);
        EXPECT_FALSE(block.set.add(nFd));
        EXPECT_FALSE(block.set.isSet(nFd));
        EXPECT_EQ(block.set.getFdMax(), -1);
        for (const unsigned char c : block.guard)
            ASSERT_EQ(c, 0x5A);
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
    for (;;) {
        peer::Fd fd(dup(0));
        if (fd < 0 || fd >= 1024) return fillers;
        fillers.push_back(std::move(fd));
    }
}

TEST_F(ManyDescriptors, CallsOnHighDescriptorsFailCleanly) {
    chSocketTCPServer low;
    const chSocketAddr address = peer::nobody(AF_INET);
    ASSERT_TRUE(low.CreateSocket(address));
    ASSERT_TRUE(low.SocketListen(4));
    peer::Fd raw(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(connect(raw, address.toSocketAddr(), 16), 0);
    peer::sendAll(raw, "data");
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
    ASSERT_TRUE(high.CreateSocket(peer::nobody(AF_INET)));
    ASSERT_TRUE(high.SocketListen(1));
    EXPECT_FALSE(high.AcceptOnSocket(client, nullptr, -1));

    // An accepted connection with such a descriptor ends at its first receive.
    ASSERT_TRUE(low.AcceptOnSocket(client, nullptr, -1));
    ASSERT_GE(client.fd(), 1024);
    EXPECT_EQ(client.ReceiveToBuffer(-1), -1);
    EXPECT_FALSE(client.isConnected());

    // And one that would have to wait in the middle of a send.
    peer::Fd silent(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(connect(silent, address.toSocketAddr(), 16), 0);
    ASSERT_TRUE(low.AcceptOnSocket(client, nullptr, -1));
    const std::string text(32 << 20, 'n');
    testing::internal::CaptureStdout();
    EXPECT_FALSE(client.Send(text.data(), static_cast<int>(text.size())));
    testing::internal::GetCapturedStdout();
    EXPECT_FALSE(client.isConnected());
}

TEST_F(ManyDescriptors, AcceptFailsWithoutDescriptorsAndRecovers) {
    chSocketTCPServer server;
    const chSocketAddr local = peer::nobody(AF_INET);
    ASSERT_TRUE(server.CreateSocket(local));
    ASSERT_TRUE(server.SocketListen(4));
    peer::Fd raw(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(connect(raw, local.toSocketAddr(), 16), 0);
    chSocketTCP accepted;
    {
        std::vector<peer::Fd> fillers;
        rlimit low{};
        getrlimit(RLIMIT_NOFILE, &low);
        low.rlim_cur = 64;
        setrlimit(RLIMIT_NOFILE, &low);
        for (;;) {
            peer::Fd fd(dup(0));
            if (fd < 0) break;
            fillers.push_back(std::move(fd));
        }
        EXPECT_FALSE(server.AcceptOnSocket(accepted, nullptr, 1000));
        EXPECT_EQ(errno, EMFILE);
        EXPECT_FALSE(accepted.isValidSocket());
        chSocketTCP another;
        EXPECT_FALSE(another.CreateSocket(AF_INET));
        chSocketUDP datagrams;
        EXPECT_FALSE(datagrams.CreateSocket("127.0.0.1", 9));
        int nSlot;
        EXPECT_EQ(getIPAddress("", nSlot), "");
    }
    EXPECT_TRUE(server.AcceptOnSocket(accepted, nullptr, 1000));
    peer::sendAll(raw, "after");
    EXPECT_TRUE(accepted.waitForBufferBytes(5, 1000));
}

TEST(SocketFault, CallsWithoutADescriptorFail) {
    chSocketTCP none;
    char c;
    EXPECT_FALSE(none.Send("x", 1));
    EXPECT_FALSE(none.Send("x", 0));
    EXPECT_EQ(none.Receive(&c, 1, 1000), -1);
    EXPECT_EQ(none.ReceiveToBuffer(-1), -1);
    EXPECT_EQ(none.selectAndReceive(1, -1), -1);
    EXPECT_EQ(none.socketSelect(-1), -1);
    EXPECT_FALSE(none.ConnectTo("127.0.0.1", 9, 1000));
    EXPECT_FALSE(none.ConnectTo("127.0.0.1", 9, 1000));
    EXPECT_FALSE(none.isValidSocket());
    EXPECT_FALSE(none.TestConnectivity());
    none.Disconnect();
    none.DestroySocket();
    chSocketTCPServer server;
    EXPECT_FALSE(server.SocketListen(1));
    EXPECT_FALSE(server.AcceptOnSocket(none, nullptr, -1));
    chSocketUDP datagrams;
    EXPECT_EQ(datagrams.ReceiveToBuffer(-1), -1);
    EXPECT_FALSE(datagrams.SendTo("x", 1, chSocketAddr("127.0.0.1", 9)));
}

TEST(SocketFunctions, RefuseNegativeSizesAndPassErrorsOn) {
    char c;
    EXPECT_EQ(sockRecv(0, &c, -1, 0), -1);
    EXPECT_EQ(sockSend(0, &c, -1, 0), -1);
    EXPECT_EQ(sockSendTo(0, &c, -1, 0, nullptr), -1);
    EXPECT_EQ(sockRecvFrom(0, &c, -1, 0, nullptr, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(sockClose(-1), -1);
    EXPECT_FALSE(sockListen(-1, 1));
    EXPECT_FALSE(sockSetBlocking(-1, true));
    EXPECT_EQ(sockShutdown(-1), -1);
    EXPECT_EQ(sockPeekRecvLength(-1), -1);
    EXPECT_EQ(errno, EBADF);
    peer::Fd fd = peer::bound(AF_INET, SOCK_STREAM);
    EXPECT_TRUE(sockSetBlocking(fd, false));
    EXPECT_TRUE(fcntl(fd, F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(sockSetBlocking(fd, true));
    EXPECT_FALSE(fcntl(fd, F_GETFL) & O_NONBLOCK);
}

}  // namespace
