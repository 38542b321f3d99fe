// Packets against raw peers: framing in all divisions, limits, hostile lengths.
#include <deque>
#include <future>

#include <gtest/gtest.h>

#include <vdx/packet.h>

#include "net/peer.h"

namespace {

using Packet = std::vector<unsigned char>;

std::string header(std::uint32_t nLength) {
    const std::uint32_t nWire = htonl(nLength);
    return std::string(reinterpret_cast<const char*>(&nWire), 4);
}

std::string framed(const std::string& payload) {
    return header(static_cast<std::uint32_t>(payload.size())) + payload;
}

class Packets : public peer::Connected<chSocketPacketTCP> {
protected:
    std::string receive(int nTimeout) {
        Packet packet;
        return ours.ReceiveOnePacket(packet, nTimeout) ? std::string(packet.begin(), packet.end()) : "-";
    }
};
INSTANTIATE_TEST_SUITE_P(Family, Packets, ::testing::Values(AF_INET, AF_INET6), peer::familyName);

TEST_P(Packets, AreALengthAndThePayloadOnTheWire) {
    EXPECT_NE(ours.SendOnePacket("hello", 5), 0);
    EXPECT_EQ(peer::readAll(raw, 9), std::string("\0\0\0\5hello", 9));
    EXPECT_EQ(ours.SendOnePacket("x", 0), 0);
    EXPECT_EQ(ours.SendOnePacket("x", -1), 0);
    // Both ways of sending, around their border, and one that the buffers cannot hold.
    for (const std::size_t nBytes : {std::size_t{2044}, std::size_t{2045}, std::size_t{12 << 20}}) {
        const std::string payload = peer::randomBytes(nBytes, 1);
        auto reading = std::async(std::launch::async, [&] { return peer::readAll(raw, nBytes + 4); });
        testing::internal::CaptureStdout();
        EXPECT_NE(ours.SendOnePacket(payload.data(), static_cast<int>(nBytes)), 0);
        testing::internal::GetCapturedStdout();
        EXPECT_TRUE(reading.get() == framed(payload));
    }
}

TEST_P(Packets, ArriveWholeInAnyPieces) {
    std::vector<std::string> payloads;
    std::string stream;
    std::mt19937 random(2);
    for (int i = 0; i < 300; ++i) {
        const std::size_t sizes[] = {0, 1, random() % 100, random() % 5000, 16384, 16385, random() % 100000};
        payloads.push_back(peer::randomBytes(sizes[random() % 7], static_cast<unsigned>(i)));
        stream += framed(payloads.back());
    }
    for (const std::size_t nLargest : {20000u, 400000u}) {
        auto sending = std::async(std::launch::async, [&] { peer::sendPieces(raw, stream, nLargest, 3); });
        Packet packet;
        for (const std::string& payload : payloads) {
            // Also with limits so short that packets are taken up several times.
            bool bCame = false;
            for (int i = 0; i < 5000 && !bCame; ++i)
                bCame = ours.ReceiveOnePacket(packet, 1 + i % 3);
            ASSERT_TRUE(bCame);
            ASSERT_TRUE(
                std::equal(packet.begin(), packet.end(), payload.begin(), payload.end(),
                           [](unsigned char a, char b) { return a == static_cast<unsigned char>(b); }));
        }
    }
    EXPECT_EQ(sockPeekRecvLength(ours.fd()), 0);
}

TEST_P(Packets, ByteByByte) {
    auto sending =
        std::async(std::launch::async, [&] { peer::sendPieces(raw, framed("drop by drop"), 1, 4); });
    EXPECT_EQ(receive(2000), "drop by drop");
}

TEST_P(Packets, TwoInOneReadNeedNoSecondOne) {
    peer::sendAll(raw, framed("first") + framed("second") + framed("") + framed("rest").substr(0, 6));
    EXPECT_EQ(receive(0), "-");  // Nothing is received without a limit of at least 1.
    EXPECT_EQ(ours.ReceiveToBuffer(1000), 9 + 10 + 4 + 6);
    EXPECT_EQ(receive(0), "first");
    EXPECT_EQ(receive(-1), "second");
    EXPECT_EQ(receive(0), "");
    EXPECT_EQ(receive(20), "-");
    EXPECT_EQ(ours.ReceiveToBuffer(0), 6);
    peer::sendAll(raw, "st");
    EXPECT_EQ(receive(1000), "rest");
}

TEST_P(Packets, NothingBeyondAPacketIsReceived) {
    const std::string large = peer::randomBytes(100000, 5);
    peer::sendAll(raw, framed("small") + framed(large) + "plain text");
    EXPECT_EQ(receive(1000), "small");
    EXPECT_TRUE(receive(1000) == large);
    char szText[11] = {};
    EXPECT_EQ(sockRecv(ours.fd(), szText, 10, 0), 10);
    EXPECT_STREQ(szText, "plain text");
}

TEST_P(Packets, ALimitThatPassesLosesNothing) {
    const std::string large = peer::randomBytes(300000, 6);
    const std::string stream = framed(large);
    std::size_t nSent = 0;
    for (const std::size_t nTo : {std::size_t{2}, std::size_t{4}, std::size_t{70000}, std::size_t{299999}}) {
        peer::sendAll(raw, stream.data() + nSent, nTo - nSent);
        nSent = nTo;
        Packet packet{'k'};
        EXPECT_FALSE(ours.ReceiveOnePacket(packet, 20));
        EXPECT_EQ(packet, Packet{'k'});
        EXPECT_EQ(ours.ReceiveToBuffer(0), static_cast<int>(nTo));
    }
    peer::sendAll(raw, stream.data() + nSent, stream.size() - nSent);
    EXPECT_TRUE(receive(1000) == large);
}

TEST_P(Packets, TheLimitOfLengthIsFourMebibytes) {
    const std::string largest = peer::randomBytes(0x400000, 7);
    auto sending = std::async(std::launch::async, [&] { peer::sendAll(raw, framed(largest)); });
    EXPECT_TRUE(receive(10000) == largest);
}

TEST_P(Packets, ALargerLengthEndsTheConnection) {
    struct Row {
        std::uint32_t nLength;
        const char* szLine;
    };
    for (const Row& row :
         {Row{0x400001, "Disconnect for received invalid packet bytes of 4194305,  it."},
          Row{0xFFFFFFFF, "Disconnect for received invalid packet bytes of -1,  it."},
          Row{0x80000000, "Disconnect for received invalid packet bytes of -2147483648,  it."}}) {
        SCOPED_TRACE(row.szLine);
        peer::sendAll(raw, header(row.nLength) + "anything");
        testing::internal::CaptureStderr();
        EXPECT_EQ(receive(1000), "-");
        EXPECT_NE(testing::internal::GetCapturedStderr().find(row.szLine), std::string::npos);
        EXPECT_FALSE(ours.isConnected());
        EXPECT_EQ(ours.ReceiveToBuffer(0), -1);  // The buffer is dropped.
        EXPECT_EQ(receive(1000), "-");

        peer::Fd listener = peer::listening(GetParam());
        ASSERT_TRUE(ours.ConnectTo(peer::nameOf(listener), 1000));
        raw = peer::Fd(accept(listener, nullptr, nullptr));
        peer::sendAll(raw, framed("usable again"));
        EXPECT_EQ(receive(1000), "usable again");
    }
}

TEST_P(Packets, EndsInTheMiddleAreNoPackets) {
    for (const std::string& start :
         {header(10).substr(0, 3), header(10), framed("1234567890").substr(0, 9), header(100000) + "x"}) {
        peer::Fd listener = peer::listening(GetParam());
        ours.Disconnect();
        ASSERT_TRUE(ours.ConnectTo(peer::nameOf(listener), 1000));
        raw = peer::Fd(accept(listener, nullptr, nullptr));
        peer::sendAll(raw, start);
        start.size() % 2 == 0 ? raw.close() : raw.reset();
        EXPECT_EQ(receive(1000), "-");
        EXPECT_FALSE(ours.isConnected());
    }
    testing::internal::CaptureStdout();
    EXPECT_EQ(ours.SendOnePacket("late", 4), 0);
    EXPECT_NE(
        testing::internal::GetCapturedStdout().find("chSocketTCP::Send failed! nBytes:[4] m_bConnected:[0]"),
        std::string::npos);
}

// Packets of both ways of sending are under way together, and come back from the peer.
TEST_P(Packets, AStreamThatIsSentBack) {
    auto returning = std::async(std::launch::async, [&] {
        char bytes[70000];
        for (ssize_t n; (n = recv(raw, bytes, sizeof bytes, 0)) > 0;)
            peer::sendAll(raw, bytes, static_cast<std::size_t>(n));
    });
    std::mt19937 random(8);
    std::deque<Packet> underWay;  // Few enough for the buffers to hold them.
    for (int i = 0; i < 50000; ++i) {
        Packet packet(1 + (random() % 16 == 0 ? random() % 3000 : random() % 60));
        for (std::size_t k = 0; k < packet.size(); k += 7)
            packet[k] = static_cast<unsigned char>(random());
        ASSERT_NE(ours.SendOnePacket(packet.data(), static_cast<int>(packet.size())), 0);
        underWay.push_back(packet);
        if (underWay.size() < 20) continue;
        ASSERT_TRUE(ours.ReceiveOnePacket(packet, 5000));
        ASSERT_EQ(packet, underWay.front());
        underWay.pop_front();
    }
    ours.Disconnect();
}

}  // namespace
