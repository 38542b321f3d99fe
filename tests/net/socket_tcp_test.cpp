// Connections against raw peers: buffering, time limits, both families.
#include <climits>
#include <future>

#include <gtest/gtest.h>

#include "net/peer.h"

namespace {

using peer::Stopwatch;
using std::chrono::milliseconds;

class Tcp : public peer::Connected<chSocketTCP> {
protected:
    std::string take(int nBytes, int nTimeout) {
        std::string text(static_cast<std::size_t>(nBytes), '\0');
        const int nCount = ours.Receive(text.data(), nBytes, nTimeout);
        text.resize(static_cast<std::size_t>(std::max(nCount, 0)));
        return text;
    }
    std::string look(int nOffset, int nBytes, int nTimeout) {
        std::vector<unsigned char> out{'u'};
        const bool bDone = ours.peek(out, nOffset, nBytes, nTimeout);
        if (!bDone) {
            EXPECT_EQ(out, std::vector<unsigned char>{'u'});
        }
        return bDone ? std::string(out.begin(), out.end()) : "-";
    }
    // Waits until the system has that many bytes for us.
    void arrive(int nBytes) {
        while (sockPeekRecvLength(ours.fd()) < nBytes)
            std::this_thread::sleep_for(milliseconds(1));
    }
};
INSTANTIATE_TEST_SUITE_P(Family, Tcp, ::testing::Values(AF_INET, AF_INET6), peer::familyName);

TEST_P(Tcp, BytesAreLookedAtDroppedAndTaken) {
    peer::sendAll(raw, "0123456789");
    EXPECT_EQ(look(0, 1, 0), "-");  // A limit of 0 receives nothing.
    EXPECT_FALSE(ours.waitForBufferBytes(1, -1));
    EXPECT_TRUE(ours.waitForBufferBytes(4, 1000));
    EXPECT_EQ(look(0, 4, 0), "0123");
    EXPECT_EQ(look(0, 5, 0), "-");  // Exactly what was missing was received.
    EXPECT_EQ(look(2, 6, 1000), "234567");
    ours.seek(3);
    EXPECT_EQ(look(0, 2, 0), "34");
    char szPart[3] = {};
    EXPECT_TRUE(ours.peek(szPart, 1, 2, 0));
    EXPECT_STREQ(szPart, "45");
    EXPECT_EQ(take(4, 0), "3456");
    EXPECT_EQ(take(3, 1000), "789");
    EXPECT_EQ(take(3, 0), "");

    peer::sendAll(raw, "abcdef");
    EXPECT_TRUE(ours.waitForBufferBytes(6, 1000));
    ours.seekToEnd();
    EXPECT_FALSE(ours.waitForBufferBytes(1, 0));
}

TEST_P(Tcp, OddSizesAreHarmless) {
    peer::sendAll(raw, "xyz");
    EXPECT_TRUE(ours.waitForBufferBytes(3, 1000));
    char c = 0;
    EXPECT_TRUE(ours.waitForBufferBytes(INT_MIN, 0));
    EXPECT_FALSE(ours.peek(&c, -1, 1, 0));
    EXPECT_FALSE(ours.peek(&c, 0, -1, 0));
    EXPECT_FALSE(ours.peek(&c, INT_MAX, INT_MAX, 0));
    EXPECT_EQ(ours.Receive(&c, 0, 0), 0);
    EXPECT_EQ(ours.Receive(&c, -5, 0), 0);
    EXPECT_EQ(ours.selectAndReceive(0, 0), 0);
    EXPECT_EQ(ours.selectAndReceive(-1, 0), 0);
    ours.seek(-3);
    EXPECT_EQ(look(0, 3, 0), "xyz");
    ours.seek(1000);
    EXPECT_EQ(ours.ReceiveToBuffer(0), 0);
    EXPECT_FALSE(ours.waitForBufferBytes(INT_MAX, 1));
    EXPECT_TRUE(ours.isConnected());
}

TEST_P(Tcp, RandomPiecesArriveAsTheyWereSent) {
    const std::string text = peer::randomBytes(600000, 3);
    auto sending = std::async(std::launch::async, [&] { peer::sendPieces(raw, text, 5000, 4); });
    std::mt19937 random(5);
    std::string got;
    while (got.size() < text.size()) {
        const int nLeft = static_cast<int>(text.size() - got.size());
        const int nBytes = std::min(nLeft, static_cast<int>(1 + random() % 9000));
        std::vector<unsigned char> part;
        switch (random() % 4) {
            case 0:
                got += take(nBytes, 5000);
                break;
            case 1:
                ASSERT_TRUE(ours.waitForBufferBytes(nBytes, 5000));
                got += take(nBytes / 2, 0);
                break;
            case 2:
                ASSERT_TRUE(ours.peek(part, 0, nBytes, 5000));
                got.append(part.begin(), part.end());
                ours.seek(nBytes);
                break;
            default:
                ASSERT_GE(ours.ReceiveStream(part, 5000), 0);
                got.append(part.begin(), part.end());
        }
    }
    EXPECT_TRUE(got == text);
}

TEST_P(Tcp, LimitsAreKept) {
    Stopwatch watch;
    EXPECT_EQ(ours.ReceiveToBuffer(60), 0);
    EXPECT_FALSE(ours.waitForBufferBytes(1, 60));
    EXPECT_EQ(take(1, 60), "");
    EXPECT_GE(watch.ms(), 180);
    EXPECT_EQ(ours.selectAndReceive(10, 0), 0);
    EXPECT_EQ(ours.socketSelect(0), 0);
    EXPECT_LT(watch.ms(), 2000);

    // A peer that trickles does not prolong the wait.
    std::atomic<bool> bStop{false};
    auto trickling = std::async(std::launch::async, [&] {
        while (!bStop) {
            peer::sendAll(raw, "t");
            std::this_thread::sleep_for(milliseconds(5));
        }
    });
    Stopwatch trickle;
    EXPECT_FALSE(ours.waitForBufferBytes(1000000, 200));
    bStop = true;
    trickling.get();
    EXPECT_GE(trickle.ms(), 195);
    EXPECT_LT(trickle.ms(), 2000);
    EXPECT_GT(ours.ReceiveToBuffer(0), 2);  // What came stays.
    EXPECT_TRUE(ours.isConnected());
}

TEST_P(Tcp, NoLimitWaitsUntilSomethingComes) {
    auto sending = std::async(std::launch::async, [&] {
        std::this_thread::sleep_for(milliseconds(80));
        peer::sendAll(raw, "late");
    });
    Stopwatch watch;
    EXPECT_EQ(ours.ReceiveToBuffer(-1), 4);
    EXPECT_GE(watch.ms(), 60);
    // Other negative limits are refused as the system refuses them: the connection ends.
    EXPECT_EQ(ours.selectAndReceive(1, -2), -1);
    EXPECT_FALSE(ours.isConnected());
}

TEST_P(Tcp, SignalsShortenNoWait) {
    peer::Signaller signals;
    Stopwatch watch;
    EXPECT_EQ(ours.ReceiveToBuffer(150), 0);
    EXPECT_FALSE(ours.waitForBufferBytes(1, 150));
    EXPECT_EQ(ours.socketSelect(150), 0);
    EXPECT_GE(watch.ms(), 447);
    EXPECT_TRUE(ours.isConnected());
}

TEST_P(Tcp, ACloseKeepsWhatIsBuffered) {
    peer::sendAll(raw, "last words");
    arrive(10);
    raw.close();
    EXPECT_EQ(look(0, 4, 1000), "last");
    EXPECT_EQ(take(100, 1000), "last words");
    EXPECT_FALSE(ours.isConnected());
    EXPECT_EQ(take(0, 0), "");
    char c;
    EXPECT_EQ(ours.Receive(&c, 1, 1000), -1);
    EXPECT_EQ(ours.ReceiveToBuffer(1000), -1);
    std::vector<unsigned char> out;
    EXPECT_EQ(ours.ReceiveStream(out, 1000), -1);
    EXPECT_TRUE(ours.isValidSocket());
}

TEST_P(Tcp, ConnectivityIsTested) {
    EXPECT_TRUE(ours.TestConnectivity());
    peer::sendAll(raw, "ab");
    arrive(2);
    EXPECT_TRUE(ours.TestConnectivity());
    EXPECT_EQ(ours.ReceiveToBuffer(0), 1);  // The byte that the test received.
    raw.close();
    while (ours.TestConnectivity()) {
    }
    EXPECT_EQ(take(2, 0), "ab");
}

TEST_P(Tcp, AHalfClosedPeerStillReads) {
    shutdown(raw, SHUT_WR);
    EXPECT_TRUE(ours.Send("heard", 5));
    EXPECT_EQ(peer::readAll(raw, 5), "heard");
    EXPECT_EQ(ours.ReceiveToBuffer(1000), -1);
    EXPECT_FALSE(ours.Send("x", 1));
}

TEST_P(Tcp, UrgentDataEndsNothing) {
    ASSERT_EQ(send(raw, "!", 1, MSG_OOB), 1);
    EXPECT_EQ(ours.ReceiveToBuffer(50), 0);
    EXPECT_TRUE(ours.isConnected());
    EXPECT_TRUE(ours.Send("still here", 10));
    EXPECT_EQ(peer::readAll(raw, 10), "still here");
}

TEST_P(Tcp, LargeSendsGoThroughASlowReader) {
    const std::string text = peer::randomBytes(8 << 20, 6);
    auto reading = std::async(std::launch::async, [&] {
        std::this_thread::sleep_for(milliseconds(50));
        return peer::readAll(raw, text.size());
    });
    testing::internal::CaptureStdout();
    peer::Signaller signals;
    EXPECT_TRUE(ours.Send(text.data(), static_cast<int>(text.size())));
    EXPECT_TRUE(reading.get() == text);
    const std::string trace = testing::internal::GetCapturedStdout();
    EXPECT_NE(
        trace.find("chSocketTCP::Send failed! nSendCount=0 errno:[11][Resource temporarily unavailable]"),
        std::string::npos);
}

TEST_P(Tcp, SendsOfNothing) {
    testing::internal::CaptureStdout();
    EXPECT_TRUE(ours.Send("", 0));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    testing::internal::CaptureStdout();
    EXPECT_FALSE(ours.Send("x", -7));
    ours.Disconnect();
    EXPECT_FALSE(ours.Send("x", 0));
    const std::string trace = testing::internal::GetCapturedStdout();
    EXPECT_NE(trace.find("chSocketTCP::Send failed! nBytes:[-7] m_bConnected:[1]"), std::string::npos);
    EXPECT_NE(trace.find("chSocketTCP::Send failed! nBytes:[0] m_bConnected:[0]"), std::string::npos);
    EXPECT_EQ(peer::readAll(raw, 1), "");
}

TEST_P(Tcp, DisconnectEmptiesAndAnotherConnectWorks) {
    peer::sendAll(raw, "old");
    EXPECT_TRUE(ours.waitForBufferBytes(3, 1000));
    ours.Disconnect();
    EXPECT_EQ(ours.ReceiveToBuffer(0), -1);
    peer::Fd listener = peer::listening(GetParam());
    ASSERT_TRUE(ours.ConnectTo(peer::nameOf(listener), 1000));
    raw = peer::Fd(accept(listener, nullptr, nullptr));
    peer::sendAll(raw, "new");
    EXPECT_EQ(take(3, 1000), "new");
}

class TcpMaking : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Family, TcpMaking, ::testing::Values(AF_INET, AF_INET6), peer::familyName);

TEST_P(TcpMaking, RefusedConnectsFailAndMayBeRepeated) {
    chSocketTCP client;
    ASSERT_TRUE(client.CreateSocket(GetParam()));
    const chSocketAddr nobody = peer::nobody(GetParam());
    EXPECT_FALSE(client.ConnectTo(nobody, 1000));
    EXPECT_FALSE(client.ConnectTo(nobody, 1000));
    EXPECT_FALSE(client.ConnectTo("no address", 80, 1000));
    EXPECT_FALSE(client.ConnectTo(chSocketAddr(), 1000));
    EXPECT_FALSE(client.isConnected());
    peer::Fd listener = peer::listening(GetParam());
    EXPECT_TRUE(client.ConnectTo(peer::nameOf(listener), 1000));
    EXPECT_TRUE(client.TestConnectivity());
}

TEST_P(TcpMaking, AFullBacklogTimesOutAndTheNextCallGoesOn) {
    peer::Fd listener = peer::bound(GetParam(), SOCK_STREAM);
    ASSERT_EQ(listen(listener, 0), 0);
    const chSocketAddr address = peer::nameOf(listener);
    std::vector<std::unique_ptr<chSocketTCP>> clients;
    bool bFull = false;
    for (int i = 0; i < 10 && !bFull; ++i) {
        clients.push_back(std::make_unique<chSocketTCP>());
        ASSERT_TRUE(clients.back()->CreateSocket(GetParam()));
        Stopwatch watch;
        bFull = !clients.back()->ConnectTo(address, 100);
        if (bFull) {
            EXPECT_GE(watch.ms(), 99);
        }
    }
    ASSERT_TRUE(bFull);
    chSocketTCP patient;
    ASSERT_TRUE(patient.CreateSocket(GetParam()));
    EXPECT_FALSE(patient.ConnectTo(address, 50));
    const int nFd = patient.fd();
    // Elsewhere at once, not to where the first attempt was going.
    peer::Fd other = peer::listening(GetParam());
    EXPECT_TRUE(clients.back()->ConnectTo(peer::nameOf(other), 1000));
    peer::Fd accepted(accept(other, nullptr, nullptr));
    EXPECT_GE(accepted, 0);
    for (std::size_t i = 0; i + 1 < clients.size(); ++i)
        peer::Fd(accept(listener, nullptr, nullptr));
    EXPECT_TRUE(patient.ConnectTo(address, 10000));  // The system asks again after a second.
    EXPECT_EQ(patient.fd(), nFd);
    peer::Fd late(accept(listener, nullptr, nullptr));
    EXPECT_TRUE(patient.Send("at last", 7));
    EXPECT_EQ(peer::readAll(late, 7), "at last");
}

TEST_P(TcpMaking, ServersBindListenAndAccept) {
    const chSocketAddr local = peer::nobody(GetParam());
    chSocketTCPServer server;
    ASSERT_TRUE(server.CreateSocket(local));
    ASSERT_TRUE(server.SocketListen(4));
    chSocketTCP client;
    chSocketTCP accepted;
    Stopwatch watch;
    EXPECT_FALSE(server.AcceptOnSocket(accepted, nullptr, 40));
    EXPECT_GE(watch.ms(), 39);
    EXPECT_FALSE(accepted.isValidSocket());

    ASSERT_TRUE(client.CreateSocket(GetParam()));
    ASSERT_TRUE(client.ConnectTo(local, 1000));
    chSocketAddr from(peer::loopback(GetParam()), 1);
    ASSERT_TRUE(server.AcceptOnSocket(accepted, &from, 1000));
    EXPECT_TRUE(from == peer::nameOf(client.fd()));
    EXPECT_TRUE(accepted.isConnected());
    for (const int nFd : {accepted.fd(), client.fd(), server.fd()}) {
        EXPECT_TRUE(fcntl(nFd, F_GETFL) & O_NONBLOCK);
        EXPECT_TRUE(fcntl(nFd, F_GETFD) & FD_CLOEXEC);
    }
    EXPECT_TRUE(client.Send("hi", 2));
    EXPECT_TRUE(accepted.waitForBufferBytes(2, 1000));

    // Into an open client: the old descriptor is closed, old bytes are gone.
    const int nDescriptors = peer::openDescriptors();
    chSocketTCP second;
    ASSERT_TRUE(second.CreateSocket(GetParam()));
    ASSERT_TRUE(second.ConnectTo(local, 1000));
    chSocketAddr empty;  // Takes 16 bytes: of ::1 the first eight, which are zero.
    ASSERT_TRUE(server.AcceptOnSocket(accepted, &empty, -1));
    EXPECT_EQ(empty.port(), peer::nameOf(second.fd()).port());
    EXPECT_EQ(empty.toInAddr(), GetParam() == AF_INET ? peer::loopback(AF_INET) : chInAddr(in6addr_any));
    EXPECT_EQ(peer::openDescriptors(), nDescriptors + 1);
    EXPECT_EQ(accepted.ReceiveToBuffer(0), 0);
    EXPECT_EQ(client.ReceiveToBuffer(1000), -1);
}

TEST_P(TcpMaking, LocalAddressesAreChecked) {
    chSocketTCP socket;
    EXPECT_FALSE(socket.CreateSocket(chSocketAddr(peer::loopback(GetParam()), 0)));
    EXPECT_FALSE(socket.CreateSocket("255.255.255.255", 4000));
    EXPECT_FALSE(socket.CreateSocket("no address", 4000));
    chInAddr multicast;
    ASSERT_TRUE(sockParseAddress("ff02::1", multicast));
    EXPECT_FALSE(socket.CreateSocket(chSocketAddr(multicast, 4000)));
    EXPECT_FALSE(socket.isValidSocket());

    peer::Fd taken = peer::listening(GetParam());
    EXPECT_FALSE(socket.CreateSocket(peer::nameOf(taken)));
    EXPECT_EQ(errno, EADDRINUSE);
    EXPECT_FALSE(socket.isValidSocket());

    // A descriptor bound by us stays bound alike when a refused connect renews it.
    const chSocketAddr local = peer::nobody(GetParam());
    ASSERT_TRUE(socket.CreateSocket(local));
    EXPECT_FALSE(socket.ConnectTo(peer::nobody(GetParam()), 1000));
    EXPECT_TRUE(socket.ConnectTo(peer::nameOf(taken), 1000));
    EXPECT_TRUE(peer::nameOf(socket.fd()) == local);
}

TEST(SocketFunctions, MakeAcceptAndEndConnections) {
    const int nPort = peer::nobody(AF_INET).port();
    chSocketTCPServer server;
    ASSERT_TRUE(server.CreateSocket("127.0.0.1", nPort));
    EXPECT_TRUE(sockListen(server.fd(), 4));
    const chSocketAddr address = peer::nameOf(server.fd());
    peer::Fd raw(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
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
    chSocketTCP client;
    ASSERT_TRUE(client.CreateSocket(AF_INET));
    EXPECT_TRUE(client.ConnectTo("127.0.0.1", nPort, 1000));
    chSocketUDP datagrams;
    EXPECT_TRUE(datagrams.CreateSocket("127.0.0.1", nPort));
}

TEST(chFD_SET, WaitsForAllOfItsMembers) {
    int a[2];
    int b[2];
    ASSERT_EQ(pipe2(a, O_CLOEXEC), 0);
    ASSERT_EQ(pipe2(b, O_CLOEXEC), 0);
    chFD_SET set;
    EXPECT_EQ(set.getFdMax(), -1);
    EXPECT_TRUE(set.add(b[0]));
    EXPECT_TRUE(set.add(a[0]));
    EXPECT_EQ(set.getFdMax(), std::max(a[0], b[0]));
    ASSERT_EQ(write(a[1], "x", 1), 1);
    EXPECT_EQ(set.readSelect(-1), 1);
    EXPECT_TRUE(set.isSet(a[0]));
    EXPECT_FALSE(set.isSet(b[0]));

    chFD_SET writers(b[1]);
    EXPECT_EQ(writers.writeSelect(0), 1);
    EXPECT_TRUE(writers.isSet(b[1]));
    Stopwatch watch;
    chFD_SET empty(b[0]);
    EXPECT_EQ(empty.readSelect(30), 0);
    EXPECT_FALSE(empty.isSet(b[0]));
    EXPECT_GE(watch.ms(), 29);
    EXPECT_EQ(chFD_SET(b[0]).readSelect(-2), -1);
    EXPECT_EQ(errno, EINVAL);

    chFD_SET nine(9);
    EXPECT_EQ(reinterpret_cast<const unsigned char*>(nine.getFdSet())[1], 2);
    for (const int nFd : {a[0], a[1], b[0], b[1]})
        close(nFd);
}

}  // namespace
