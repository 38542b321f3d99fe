// Datagrams against raw peers.
#include <climits>
#include <future>

#include <gtest/gtest.h>

#include "net/peer.h"

namespace {

using peer::Stopwatch;

void sendRaw(int nFd, const chSocketAddr& to, const std::string& text) {
    ASSERT_EQ(sendto(nFd, text.data(), text.size(), 0, to.toSocketAddr(), peer::lengthOf(to)),
              static_cast<ssize_t>(text.size()));
}

class Udp : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override {
        raw = peer::bound(GetParam(), SOCK_DGRAM);
        address = peer::nameOf(peer::bound(GetParam(), SOCK_DGRAM));
        ASSERT_TRUE(ours.CreateSocket(address));
    }
    std::string take(chSocketAddr* pFrom, int nTimeout) {
        std::vector<unsigned char> out;
        const int nCount = ours.ReceiveFrom(out, pFrom, nTimeout);
        EXPECT_EQ(std::max(nCount, 0), static_cast<int>(out.size()));
        return std::string(out.begin(), out.end());
    }
    peer::Fd raw;
    chSocketAddr address;
    chSocketUDP ours;
};
INSTANTIATE_TEST_SUITE_P(Family, Udp, ::testing::Values(AF_INET, AF_INET6), peer::familyName);

TEST_P(Udp, DatagramsComeWholeWithTheirSender) {
    const std::string largest = peer::randomBytes(65507, 1);
    for (const std::string& text : {std::string("one"), largest, std::string("2")}) {
        sendRaw(raw, address, text);
        chSocketAddr from;
        EXPECT_TRUE(take(&from, 1000) == text);
        EXPECT_EQ(from.family(), GetParam());
        EXPECT_EQ(from.port(), peer::nameOf(raw).port());
        if (GetParam() == AF_INET) {
            EXPECT_TRUE(from == peer::nameOf(raw));
        }
    }
    sendRaw(raw, address, "");
    sendRaw(raw, address, "after the empty one");
    EXPECT_EQ(take(nullptr, 1000), "");
    EXPECT_EQ(take(nullptr, -1), "after the empty one");
}

TEST_P(Udp, LimitsAreKeptAndMayChange) {
    peer::Signaller signals;
    for (const int nTimeout : {50, 1, 90, 3, 0}) {
        Stopwatch watch;
        EXPECT_EQ(ours.ReceiveToBuffer(nTimeout), 0);
        EXPECT_GE(watch.ms(), nTimeout - 1);
        EXPECT_LT(watch.ms(), 2000);
    }
    EXPECT_EQ(ours.ReceiveToBuffer(-2), -1);
    auto sending = std::async(std::launch::async, [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
        sendRaw(raw, address, "x");
    });
    EXPECT_EQ(ours.ReceiveToBuffer(-1), 1);
    // Made non-blocking by its user, it waits all the same.
    ASSERT_TRUE(sockSetBlocking(ours.fd(), false));
    Stopwatch watch;
    EXPECT_EQ(ours.ReceiveToBuffer(40), 0);
    EXPECT_GE(watch.ms(), 39);
    // A new socket does not inherit the old one's limit.
    ASSERT_TRUE(ours.chSocket::CreateSocket(GetParam(), SOCK_DGRAM, 0));
    EXPECT_EQ(ours.ReceiveToBuffer(40), 0);
}

TEST_P(Udp, OnlyIPv4DestinationsAreServed) {
    const chSocketAddr to = peer::nameOf(raw);
    EXPECT_TRUE(ours.SendTo(nullptr, 5, to));
    EXPECT_TRUE(ours.SendTo("x", 0, to));
    EXPECT_TRUE(ours.SendTo("x", INT_MIN, to));
    EXPECT_EQ(sockPeekRecvLength(raw), 0);
    EXPECT_EQ(ours.SendTo("hello", 5, to), GetParam() == AF_INET);
    if (GetParam() == AF_INET) {
        EXPECT_EQ(peer::readAll(raw, 5), "hello");
    }
    const std::string tooLong(70000, 'l');
    EXPECT_FALSE(ours.SendTo(tooLong.data(), static_cast<int>(tooLong.size()), to));
    // By the bare call, whose length follows the family, both are.
    EXPECT_EQ(sockSendTo(ours.fd(), "both", 4, 0, to.toSocketAddr()), 4);
    char szText[8] = {};
    chSocketAddr from;
    int nLength = sizeof from;
    EXPECT_EQ(sockRecvFrom(raw, szText, sizeof szText, 0, from.toSocketAddr(), &nLength), 4);
    EXPECT_EQ(nLength, static_cast<int>(peer::lengthOf(from)));
    EXPECT_TRUE(from == address);
}

TEST_P(Udp, LocalAddressesAreChecked) {
    chSocketUDP other;
    EXPECT_FALSE(other.CreateSocket(address));  // Taken.
    EXPECT_FALSE(other.isValidSocket());
    EXPECT_FALSE(other.CreateSocket(chSocketAddr(peer::loopback(GetParam()), 0)));
    EXPECT_FALSE(other.CreateSocket("255.255.255.255", 4000));
    EXPECT_TRUE(other.CreateSocket(GetParam()));
    EXPECT_TRUE(fcntl(other.fd(), F_GETFD) & FD_CLOEXEC);
}

}  // namespace
