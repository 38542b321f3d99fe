// Datagrams against raw peers.
#include <climits>

#include <gtest/gtest.h>

#include "net/peer.h"

namespace {

class Udp : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override { ASSERT_TRUE(ours.CreateSocket(address)); }
    void sendRaw(const std::string& text) {
        const int nBytes = static_cast<int>(text.size());
        EXPECT_EQ(sockSendTo(raw, text.data(), nBytes, 0, address.toSocketAddr()), nBytes);
    }
    peer::Fd raw = peer::bound(GetParam(), SOCK_DGRAM);
    chSocketAddr address = peer::nameOf(peer::bound(GetParam(), SOCK_DGRAM));
    chSocketUDP ours;
};
INSTANTIATE_TEST_SUITE_P(Family, Udp, ::testing::Values(AF_INET, AF_INET6), peer::familyName);

TEST_P(Udp, DatagramsComeWholeWithTheirSender) {
    std::vector<unsigned char> out;
    for (const std::string& text : {std::string("one"), peer::randomBytes(65507, 1), std::string("2")}) {
        sendRaw(text);
        chSocketAddr from;
        EXPECT_EQ(ours.ReceiveFrom(out, &from, 1000), static_cast<int>(text.size()));
        EXPECT_TRUE(std::string(out.begin(), out.end()) == text);
        EXPECT_EQ(from.family(), GetParam());
        EXPECT_EQ(from.port(), peer::nameOf(raw).port());
        EXPECT_EQ(from == peer::nameOf(raw), GetParam() == AF_INET);  // Cut to 16 bytes.
    }
    sendRaw("");
    sendRaw("after the empty one");
    EXPECT_EQ(ours.ReceiveFrom(out, nullptr, 1000), 0);
    EXPECT_EQ(ours.ReceiveFrom(out, nullptr, -1), 19);
}

TEST_P(Udp, LimitsAreKeptAndMayChange) {
    const peer::Signaller signals;
    const auto expectWait = [&](int nTimeout) {
        peer::expectMs(nTimeout, 2000, [&] { EXPECT_EQ(ours.ReceiveToBuffer(nTimeout), 0); });
    };
    // Made non-blocking by its user, it waits all the same.
    for (const bool bBlocking : {true, false}) {
        ASSERT_TRUE(sockSetBlocking(ours.fd(), bBlocking));
        for (const int nTimeout : {50, 1, 90, 3, 0})
            expectWait(nTimeout);
        const auto sending = peer::beside([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(60));
            sendRaw("x");
        });
        EXPECT_EQ(ours.ReceiveToBuffer(-1), 1);
    }
    EXPECT_EQ(ours.ReceiveToBuffer(-2), -1);
    // A new socket does not inherit the old one's limit.
    expectWait(40);
    ASSERT_TRUE(ours.chSocket::CreateSocket(GetParam(), SOCK_DGRAM, 0));
    expectWait(40);
}

TEST_P(Udp, OnlyIPv4DestinationsAreServed) {
    const chSocketAddr to = peer::nameOf(raw);
    EXPECT_TRUE(ours.SendTo(nullptr, 5, to) && ours.SendTo("x", 0, to) && ours.SendTo("x", INT_MIN, to));
    EXPECT_EQ(sockPeekRecvLength(raw), 0);
    const std::string tooLong(70000, 'l');
    EXPECT_FALSE(ours.SendTo(tooLong.data(), static_cast<int>(tooLong.size()), to));
    EXPECT_EQ(ours.SendTo("hello", 5, to), GetParam() == AF_INET);
    EXPECT_EQ(sockPeekRecvLength(raw), GetParam() == AF_INET ? 5 : 0);
    // By the bare calls, whose lengths follow the family, both are.
    char szText[8];
    if (GetParam() == AF_INET) recv(raw, szText, sizeof szText, 0);
    EXPECT_EQ(sockSendTo(ours.fd(), "both", 4, 0, to.toSocketAddr()), 4);
    chSocketAddr from;
    int nLength = sizeof from;
    EXPECT_EQ(sockRecvFrom(raw, szText, sizeof szText, 0, from.toSocketAddr(), &nLength), 4);
    EXPECT_EQ(nLength, GetParam() == AF_INET ? 16 : 28);
    EXPECT_TRUE(from == address);
}

}  // namespace
