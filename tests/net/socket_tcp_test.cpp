// Connections against raw peers: buffering, time limits, both families.
#include <climits>
#include <functional>

#include <gtest/gtest.h>

#include "net/peer.h"

namespace {

using std::chrono::milliseconds;

class Tcp : public peer::Connected {};
INSTANTIATE_TEST_SUITE_P(Family, Tcp, ::testing::Values(AF_INET, AF_INET6), peer::familyName);

TEST_P(Tcp, BytesAreLookedAtDroppedAndTaken) {
    peer::sendAll(raw, "0123456789");
    EXPECT_EQ(look(0, 1, 0), "-");  // A limit below 1 receives nothing.
    EXPECT_FALSE(ours.waitForBufferBytes(1, -1));
    EXPECT_EQ(look(0, 4, 1000), "0123");
    EXPECT_EQ(look(0, 5, 0), "-");  // Exactly what was missing was received.
    EXPECT_EQ(look(2, 6, 1000), "234567");
    ours.seek(3);
    EXPECT_EQ(look(1, 2, 0), "45");
    EXPECT_EQ(take(4, 0), "3456");
    EXPECT_EQ(take(3, 1000), "789");
    EXPECT_EQ(take(3, 0), "");
    // Dropped bytes make room in the buffer.
    const std::string text = peer::randomBytes(7000, 8);
    peer::sendAll(raw, text);
    EXPECT_TRUE(ours.waitForBufferBytes(4000, 1000));
    ours.seek(3000);
    EXPECT_TRUE(look(0, 4000, 1000) == text.substr(3000));
    ours.seekToEnd();
    // Odd sizes are harmless.
    peer::sendAll(raw, "xyz");
    EXPECT_TRUE(ours.waitForBufferBytes(3, 1000));
    EXPECT_TRUE(ours.waitForBufferBytes(INT_MIN, 0));
    char c = 0;
    EXPECT_FALSE(ours.peek(&c, -1, 1, 0) || ours.peek(&c, 0, -1, 0) || ours.peek(&c, INT_MAX, INT_MAX, 0));
    EXPECT_EQ(ours.Receive(&c, -5, 0), 0);
    EXPECT_EQ(ours.selectAndReceive(-1, 0), 0);
    ours.seek(-3);
    EXPECT_EQ(look(0, 3, 0), "xyz");
    ours.seek(1000);
    EXPECT_FALSE(ours.waitForBufferBytes(INT_MAX, 1));
    peer::sendAll(raw, "abc");
    EXPECT_TRUE(ours.waitForBufferBytes(3, 1000));
    ours.seekToEnd();
    EXPECT_EQ(ours.ReceiveToBuffer(0), 0);
}

TEST_P(Tcp, LimitsAreKeptWhateverInterrupts) {
    const peer::Signaller signals;
    const std::function<int()> waits[] = {
        [&] { return ours.ReceiveToBuffer(60); }, [&] { return ours.waitForBufferBytes(1, 60) ? 1 : 0; },
        [&] { return static_cast<int>(take(1, 60).size()); }, [&] { return ours.socketSelect(60); }};
    for (const auto& wait : waits)
        peer::expectMs(60, 2000, [&] { EXPECT_EQ(wait(), 0); });
    // Nor does a peer that trickles prolong the wait.
    const std::jthread trickling([&](const std::stop_token& stop) {
        for (; !stop.stop_requested(); std::this_thread::sleep_for(milliseconds(5)))
            peer::sendAll(raw, "t");
    });
    peer::expectMs(200, 2000, [&] { EXPECT_FALSE(ours.waitForBufferBytes(1000000, 200)); });
    EXPECT_GT(ours.ReceiveToBuffer(0), 2);  // What came stays.
    ours.seekToEnd();
    EXPECT_GT(ours.ReceiveToBuffer(-1), 0);
    // Other negative limits are refused as the system refuses them: the connection ends.
    EXPECT_TRUE(ours.isConnected());
    EXPECT_EQ(ours.selectAndReceive(1, -2), -1);
    EXPECT_FALSE(ours.isConnected());
}

TEST_P(Tcp, AnEndKeepsWhatIsBuffered) {
    std::vector<unsigned char> out;
    for (const bool bReset : {false, true}) {
        SCOPED_TRACE(bReset);
        peer::sendAll(raw, "last words");
        EXPECT_TRUE(ours.waitForBufferBytes(bReset ? 10 : 4, 1000));
        raw.end(bReset);
        EXPECT_EQ(take(100, 1000), "last words");
        EXPECT_TRUE(ours.isValidSocket() && !ours.isConnected());
        EXPECT_EQ(ours.Receive(&out, 1, 1000), -1);
        EXPECT_EQ(ours.ReceiveStream(out, 1000), -1);
        connectAnew();
    }
    peer::sendAll(raw, "a stream");
    EXPECT_EQ(ours.ReceiveStream(out, 1000), 8);
    EXPECT_EQ(std::string(out.begin(), out.end()), "a stream");
    peer::sendAll(raw, "old");
    raw.end(false);
    EXPECT_EQ(look(0, 4, 1000), "-");
    EXPECT_EQ(ours.ReceiveToBuffer(0), 3);
    connectAnew();  // Which drops them.
    peer::sendAll(raw, "new");
    EXPECT_EQ(take(3, 1000), "new");
}

TEST_P(Tcp, ConnectivityIsTested) {
    peer::sendAll(raw, "ab");
    while (sockPeekRecvLength(ours.fd()) < 2)
        std::this_thread::yield();
    EXPECT_TRUE(ours.TestConnectivity());
    EXPECT_EQ(ours.ReceiveToBuffer(0), 1);  // The byte that the test received.
    // Urgent data and a half-closed peer leave sending.
    ASSERT_EQ(send(raw, "!", 1, MSG_OOB), 1);
    EXPECT_EQ(take(3, 50), "ab");
    EXPECT_TRUE(ours.isConnected());
    shutdown(raw, SHUT_WR);
    EXPECT_TRUE(ours.Send("heard", 5));
    EXPECT_EQ(peer::readAll(raw, 5), "heard");
    while (ours.TestConnectivity()) {
    }
    EXPECT_EQ(ours.ReceiveToBuffer(1000), -1);
}

TEST_P(Tcp, SendsThatFailSaySo) {
    signal(SIGPIPE, SIG_DFL);
    EXPECT_EQ(peer::printedBy([&] { EXPECT_TRUE(ours.Send("", 0)); }), "");
    const auto resetting = peer::beside([&] {
        std::this_thread::sleep_for(milliseconds(100));
        raw.end(true);
    });
    const std::string text(32 << 20, 'n');  // More than the peer, which never reads, and we can hold.
    const std::string trace = peer::printedBy([&] {
        EXPECT_FALSE(ours.Send("x", -7));
        EXPECT_FALSE(ours.Send(text.data(), static_cast<int>(text.size())));
        EXPECT_FALSE(ours.isConnected());
        EXPECT_FALSE(ours.Send("x", 0));
    });
    for (const char* szText :
         {"nBytes:[-7] m_bConnected:[1]", "nSendCount=0 errno:[104][Connection reset by peer]",
          "nBytes:[0] m_bConnected:[0]"})
        EXPECT_NE(trace.find(std::string("chSocketTCP::Send failed! ") + szText), trace.npos) << szText;
    // No signal comes; the bare call raises none either.
    EXPECT_EQ(sockSend(ours.fd(), "x", 1, 0), -1);
    EXPECT_EQ(errno, EPIPE);
}

class TcpMaking : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Family, TcpMaking, ::testing::Values(AF_INET, AF_INET6), peer::familyName);

TEST_P(TcpMaking, AFullBacklogTimesOutAndTheNextCallGoesOn) {
    const peer::Fd listener = peer::bound(GetParam(), SOCK_STREAM);
    ASSERT_EQ(listen(listener, 0), 0);
    const chSocketAddr address = peer::nameOf(listener);
    chSocketTCP first, late, patient;
    ASSERT_TRUE(first.CreateSocket(GetParam()) && first.ConnectTo(address, 1000));
    for (chSocketTCP* pClient : {&late, &patient}) {
        ASSERT_TRUE(pClient->CreateSocket(GetParam()));
        peer::expectMs(100, 2000, [&] { EXPECT_FALSE(pClient->ConnectTo(address, 100)); });
    }
    const int nFd = patient.fd();
    // Elsewhere at once, not to where the first attempt was going.
    const peer::Fd other = peer::listening(GetParam());
    EXPECT_TRUE(late.ConnectTo(peer::nameOf(other), 1000));
    EXPECT_GE(peer::Fd(accept(other, nullptr, nullptr)), 0);
    peer::Fd(accept(listener, nullptr, nullptr));
    EXPECT_TRUE(patient.ConnectTo(address, 10000));  // The system asks again after a second.
    EXPECT_EQ(patient.fd(), nFd);
    const peer::Fd accepted(accept(listener, nullptr, nullptr));
    EXPECT_TRUE(patient.Send("at last", 7));
    EXPECT_EQ(peer::readAll(accepted, 7), "at last");
}

TEST_P(TcpMaking, ServersBindListenAndAccept) {
    const chSocketAddr local = peer::nobody(GetParam());
    chSocketTCPServer server;
    ASSERT_TRUE(server.CreateSocket(local) && server.SocketListen(4));
    chSocketTCP client, accepted, second;
    peer::expectMs(40, 2000, [&] { EXPECT_FALSE(server.AcceptOnSocket(accepted, nullptr, 40)); });
    EXPECT_FALSE(accepted.isValidSocket());

    ASSERT_TRUE(client.CreateSocket(GetParam()) && client.ConnectTo(local, 1000));
    chSocketAddr from(peer::loopback(GetParam()), 1);
    ASSERT_TRUE(server.AcceptOnSocket(accepted, &from, 1000));
    EXPECT_TRUE(from == peer::nameOf(client.fd()));
    for (const int nFd : {accepted.fd(), client.fd(), server.fd()})
        EXPECT_TRUE((fcntl(nFd, F_GETFL) & O_NONBLOCK) && (fcntl(nFd, F_GETFD) & FD_CLOEXEC));
    EXPECT_TRUE(client.Send("hi", 2));
    EXPECT_TRUE(accepted.waitForBufferBytes(2, 1000));

    // Into an open client: the old descriptor is closed, old bytes are gone.
    ASSERT_TRUE(second.CreateSocket(GetParam()) && second.ConnectTo(local, 1000));
    chSocketAddr empty;  // Takes 16 bytes: of ::1 the first eight, which are zero.
    ASSERT_TRUE(server.AcceptOnSocket(accepted, &empty, -1));
    EXPECT_EQ(empty.port(), peer::nameOf(second.fd()).port());
    EXPECT_EQ(empty.toInAddr(), GetParam() == AF_INET ? peer::loopback(AF_INET) : chInAddr(in6addr_any));
    EXPECT_EQ(accepted.ReceiveToBuffer(0), 0);
    EXPECT_EQ(client.ReceiveToBuffer(1000), -1);

    // By the bare calls, which say how long the address is.
    const peer::Fd raw(socket(GetParam(), SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_TRUE(sockSetBlocking(raw, false) && (fcntl(raw, F_GETFL) & O_NONBLOCK));
    for (int i = 0; i < 2; ++i)  // The second time it is connected already.
        EXPECT_TRUE(sockAsyncConnect(raw, local.toSocketAddr(), 1000));
    int nLength = sizeof from;
    const peer::Fd other(sockAccept(server.fd(), from.toSocketAddr(), &nLength));
    EXPECT_EQ(nLength, GetParam() == AF_INET ? 16 : 28);
    EXPECT_TRUE(from == peer::nameOf(raw) && (fcntl(other, F_GETFD) & FD_CLOEXEC));
    EXPECT_EQ(sockShutdown(raw), 0);
    EXPECT_EQ(peer::readAll(other, 1), "");
}

// Refused local addresses leave no socket.
template <class Socket>
void expectRefused(const chSocketAddr& taken) {
    Socket socket;
    chInAddr multicast;
    ASSERT_TRUE(sockParseAddress("ff02::1", multicast));
    for (const chSocketAddr& local : {chSocketAddr("127.0.0.1", 0), chSocketAddr("255.255.255.255", 4000),
                                      chSocketAddr(multicast, 4000), taken}) {
        EXPECT_FALSE(socket.CreateSocket(local)) << local.toString();
        EXPECT_FALSE(socket.isValidSocket());
    }
    EXPECT_EQ(errno, EADDRINUSE);
    EXPECT_FALSE(socket.CreateSocket("no address", 4000));
}

TEST_P(TcpMaking, LocalAddressesAreChecked) {
    const peer::Fd datagrams = peer::bound(GetParam(), SOCK_DGRAM);
    expectRefused<chSocketUDP>(peer::nameOf(datagrams));
    const peer::Fd taken = peer::listening(GetParam());
    expectRefused<chSocketTCP>(peer::nameOf(taken));

    // After a refused connect another one works; what was bound by us stays bound alike.
    const chSocketAddr local = peer::nobody(GetParam());
    chSocketTCP bound, unbound;
    ASSERT_TRUE(bound.CreateSocket(local) && unbound.CreateSocket(GetParam()));
    for (chSocketTCP* pSocket : {&bound, &unbound}) {
        for (int i = 0; i < 2; ++i)
            EXPECT_FALSE(pSocket->ConnectTo(peer::nobody(GetParam()), 1000));
        EXPECT_FALSE(pSocket->ConnectTo("no address", 80, 1000));
        EXPECT_FALSE(pSocket->ConnectTo(chSocketAddr(), 1000));
        EXPECT_TRUE(pSocket->ConnectTo(peer::nameOf(taken), 1000));
        EXPECT_TRUE(pSocket->TestConnectivity());
    }
    EXPECT_TRUE(peer::nameOf(bound.fd()) == local);
}

}  // namespace
