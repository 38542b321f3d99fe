// Packets against raw peers: framing in all divisions, limits, hostile lengths. The
// fuzzer of packets compares short streams with a model of the format.
#include <gtest/gtest.h>

#include "net/peer.h"

namespace {

std::string header(std::uint32_t nLength) {
    const std::uint32_t nWire = htonl(nLength);
    return std::string(reinterpret_cast<const char*>(&nWire), 4);
}

std::string framed(const std::string& payload) {
    return header(static_cast<std::uint32_t>(payload.size())) + payload;
}

class Packets : public peer::Connected {};
INSTANTIATE_TEST_SUITE_P(Family, Packets, ::testing::Values(AF_INET, AF_INET6), peer::familyName);

TEST_P(Packets, AreALengthAndThePayloadOnTheWire) {
    EXPECT_NE(ours.SendOnePacket("hello", 5), 0);
    EXPECT_EQ(peer::readAll(raw, 9), std::string("\0\0\0\5hello", 9));
    EXPECT_EQ(ours.SendOnePacket("x", 0), 0);
    EXPECT_EQ(ours.SendOnePacket("x", -1), 0);
    // Both ways of sending, around their border, and one that the buffers cannot hold: it waits
    // for the slow reader, whatever interrupts.
    const peer::Signaller signals;
    std::string trace;
    for (const std::size_t nBytes : {std::size_t{2044}, std::size_t{2045}, std::size_t{12 << 20}}) {
        const std::string payload = peer::randomBytes(nBytes, 1);
        auto reading = peer::beside([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            return peer::readAll(raw, nBytes + 4);
        });
        trace = peer::printedBy(
            [&] { EXPECT_NE(ours.SendOnePacket(payload.data(), static_cast<int>(nBytes)), 0); });
        EXPECT_TRUE(reading.get() == framed(payload));
    }
    EXPECT_NE(trace.find("Send failed! nSendCount=0 errno:[11][Resource temporarily unavailable]"),
              trace.npos);
    peer::sendAll(raw, framed("an answer"));
    EXPECT_EQ(receive(1000), "an answer");
}

TEST_P(Packets, ArriveWholeInAnyPieces) {
    peer::sendPieces(raw, framed("drop by drop"), 1, 4);
    EXPECT_EQ(receive(1000), "drop by drop");
    std::vector<std::string> payloads;
    std::string stream;
    std::mt19937 random(2);
    for (int i = 0; i < 300; ++i) {
        const std::size_t sizes[] = {0, 1, random() % 100, random() % 5000, 16384, 16385, random() % 100000};
        payloads.push_back(peer::randomBytes(sizes[random() % 7], static_cast<unsigned>(i)));
        stream += framed(payloads.back());
    }
    for (const std::size_t nLargest : {20000u, 400000u}) {
        const auto sending = peer::beside([&] { peer::sendPieces(raw, stream, nLargest, 3); });
        for (const std::string& payload : payloads) {
            // Also with limits so short that packets are taken up several times, and as plain bytes.
            std::string packet = "-";
            const int nBytes = static_cast<int>(payload.size());
            const auto nWay = random() % 4;
            for (int i = 0; nWay > 1 && i < 5000 && packet == "-"; ++i)
                packet = receive(1 + i % 3);
            if (nWay == 0) packet = take(4 + nBytes, 5000).substr(4);
            if (nWay == 1) packet = look(4, nBytes, 5000);
            if (nWay == 1) ours.seek(4 + nBytes);
            ASSERT_TRUE(packet == payload);
        }
    }
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
    // Nothing beyond a packet is received.
    peer::sendAll(raw, "stplain text");
    EXPECT_EQ(receive(1000), "rest");
    EXPECT_EQ(peer::readAll(ours.fd(), 10), "plain text");
}

TEST_P(Packets, ALengthAboveFourMebibytesEndsTheConnection) {
    const std::pair<std::uint32_t, const char*> rows[] = {
        {0x400001, "Disconnect for received invalid packet bytes of 4194305,  it."},
        {0xFFFFFFFF, "Disconnect for received invalid packet bytes of -1,  it."}};
    for (const auto& [nLength, szLine] : rows) {
        SCOPED_TRACE(szLine);
        peer::sendAll(raw, header(nLength) + "anything");
        const std::string warning = peer::printedBy([&] { EXPECT_EQ(receive(1000), "-"); });
        EXPECT_NE(warning.find(szLine), warning.npos);
        EXPECT_FALSE(ours.isConnected());
        EXPECT_EQ(ours.ReceiveToBuffer(0), -1);  // The buffer is dropped.
        connectAnew();
    }
    const std::string largest = peer::randomBytes(0x400000, 7);
    const auto sending = peer::beside([&] { peer::sendAll(raw, framed(largest)); });
    EXPECT_TRUE(receive(10000) == largest);
}

TEST_P(Packets, EndsInTheMiddleAreNoPackets) {
    for (const std::string& start : {header(10).substr(0, 3), header(10), header(100000) + "x"}) {
        connectAnew();
        peer::sendAll(raw, start);
        raw.end(start.size() % 2 != 0);
        EXPECT_EQ(receive(1000), "-");
        EXPECT_FALSE(ours.isConnected());
    }
    const std::string trace = peer::printedBy([&] { EXPECT_EQ(ours.SendOnePacket("late", 4), 0); });
    EXPECT_NE(trace.find("chSocketTCP::Send failed! nBytes:[4] m_bConnected:[0]"), trace.npos);
}

}  // namespace
