// Connections against raw peers: buffering, time limits, both families.
#include <climits>
#include <functional>

#include <gtest/gtest.h>

#include "net/peer.h"

namespace {

using std::chrono::milliseconds;

class Tcp : public peer::Connected {
protected:
    std::string take(int nBytes, int nTimeout) {
        std::string text(static_cast<std::size_t>(nBytes), '\0');
        const int nCount = ours.Receive(text.data(), nBytes, nTimeout);
        return text.substr(0, static_cast<std::size_t>(std::max(nCount, 0)));
    }
    // By both forms of peek; "-" when the bytes did not come.
    std::string look(int nOffset, int nBytes, int nTimeout) {
        std::vector<unsigned char> out{'-'};
        std::string text(static_cast<std::size_t>(nBytes), '\0');
        const bool bDone = ours.peek(out, nOffset, nBytes, nTimeout);
        EXPECT_EQ(ours.peek(text.data(), nOffset, nBytes, 0), bDone);
        EXPECT_EQ(std::string(out.begin(), out.end()), bDone ? text : "-");
        return bDone ? text : "-";
    }
};
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

TEST_P(Tcp, RandomPiecesArriveAsTheyWereSent) {
    const std::string text = peer::randomBytes(600000, 3);
    const auto sending = peer::beside([&] { peer::sendPieces(raw, text, 5000, 4); });
    std::mt19937 random(5);
    std::string got;
    while (got.size() < text.size()) {
        const auto nLeft = static_cast<unsigned>(text.size() - got.size());
        const int nBytes = static_cast<int>(std::min(nLeft, static_cast<unsigned>(1 + random() % 9000)));
        std::vector<unsigned char> part;
        if (const auto nWay = random() % 3; nWay == 0) {
            got += take(nBytes, 5000);
        } else if (nWay == 1) {
            // What is left moves to the buffer's front when more is to come.
            got += look(0, nBytes, 5000).substr(0, static_cast<std::size_t>(nBytes / 2));
            ours.seek(nBytes / 2);
        } else {
            ASSERT_GE(ours.ReceiveStream(part, 5000), 0);
        }
        got.append(part.begin(), part.end());
    }
    EXPECT_TRUE(got == text);
}

TEST_P(Tcp, LimitsAreKeptWhateverInterrupts) {
    const peer::Signaller signals;
    const std::function<int()> waits[] = {
        [&] { return ours.ReceiveToBuffer(60); }, [&] { return ours.waitForBufferBytes(1, 60) ? 1 : 0; },
        [&] { return static_cast<int>(take(1, 60).size()); }, [&] { return ours.socketSelect(60); }};
    for (const auto& wait : waits)
        peer::expectMs(60, [&] { EXPECT_EQ(wait(), 0); });
    // Nor does a peer that trickles prolong the wait.
    const std::jthread trickling([&](const std::stop_token& stop) {
        for (; !stop.stop_requested(); std::this_thread::sleep_for(milliseconds(5)))
            peer::sendAll(raw, "t");
    });
    peer::expectMs(200, [&] { EXPECT_FALSE(ours.waitForBufferBytes(1000000, 200)); });
    EXPECT_GT(ours.ReceiveToBuffer(0), 2);  // What came stays.
    ours.seekToEnd();
    EXPECT_GT(ours.ReceiveToBuffer(-1), 0);
    // Other negative limits are refused as the system refuses them: the connection ends.
    EXPECT_TRUE(ours.isConnected());
    EXPECT_EQ(ours.selectAndReceive(1, -2), -1);
    EXPECT_FALSE(ours.isConnected());
}

TEST_P(Tcp, AnEndKeepsWhatIsBuffered) {
    std::vector<unsigned char> out(1);
    for (const bool bReset : {false, true}) {
        SCOPED_TRACE(bReset);
        peer::sendAll(raw, "last words");
        EXPECT_TRUE(ours.waitForBufferBytes(bReset ? 10 : 4, 1000));
        bReset ? raw.reset() : raw.close();
        EXPECT_EQ(take(100, 1000), "last words");
        EXPECT_FALSE(ours.isConnected());
        EXPECT_TRUE(ours.isValidSocket());
        EXPECT_EQ(ours.Receive(out.data(), 1, 1000), -1);
        EXPECT_EQ(ours.ReceiveStream(out, 1000), -1);
        connectAnew();
    }
    for (const bool bDisconnected : {true, false}) {
        peer::sendAll(raw, "old");
        EXPECT_TRUE(ours.waitForBufferBytes(3, 1000));
        if (bDisconnected) ours.Disconnect();
        EXPECT_EQ(ours.ReceiveToBuffer(0), bDisconnected ? -1 : 3);
        connectAnew();
    }
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
        raw.reset();
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
        peer::expectMs(100, [&] { EXPECT_FALSE(pClient->ConnectTo(address, 100)); });
    }
    const int nFd = patient.fd();
    // Elsewhere at once, not to where the first attempt was going.
    const peer::Fd other = peer::listening(GetParam());
    EXPECT_TRUE(late.ConnectTo(peer::nameOf(other), 1000));
    EXPECT_GE(peer::Fd(accept(other, nullptr, nullptr)), 0);
    peer::Fd(accept(listener, nullptr, nullptr)).close();
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
    peer::expectMs(40, [&] { EXPECT_FALSE(server.AcceptOnSocket(accepted, nullptr, 40)); });
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
