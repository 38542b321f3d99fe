// Raw POSIX peers for the socket tests, and fixtures over both families.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <chrono>
#include <filesystem>
#include <future>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vdx/packet.h>

#include "support/calls.h"

namespace peer {

using vdxtest::expectMs;
using vdxtest::printedBy;
using vdxtest::Signaller;

// A plain blocking descriptor.
class Fd {
public:
    explicit Fd(int nFd = -1) : m_nFd(nFd) {}
    Fd(Fd&& other) noexcept : m_nFd(std::exchange(other.m_nFd, -1)) {}
    Fd& operator=(Fd&& other) noexcept {
        std::swap(m_nFd, other.m_nFd);
        return *this;
    }
    ~Fd() { end(false); }
    operator int() const { return m_nFd; }

    // Closes, with bReset so that the other side sees a reset.
    void end(bool bReset) {
        const linger now{bReset, 0};
        setsockopt(m_nFd, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        close(std::exchange(m_nFd, -1));
    }

private:
    int m_nFd;
};

inline chInAddr loopback(int nFamily) {
    if (nFamily == AF_INET) return in_addr{htonl(INADDR_LOOPBACK)};
    return in6addr_loopback;
}

inline chSocketAddr nameOf(int nFd) {
    chSocketAddr address;
    socklen_t nLength = sizeof address;
    EXPECT_EQ(getsockname(nFd, address.toSocketAddr(), &nLength), 0);
    return address;
}

// A socket bound to a free loopback port.
inline Fd bound(int nFamily, int nType) {
    Fd fd(socket(nFamily, nType | SOCK_CLOEXEC, 0));
    const chSocketAddr any(loopback(nFamily), 0);
    EXPECT_EQ(bind(fd, any.toSocketAddr(), sizeof any), 0);
    return fd;
}

inline Fd listening(int nFamily) {
    Fd fd = bound(nFamily, SOCK_STREAM);
    EXPECT_EQ(listen(fd, 16), 0);
    return fd;
}

// An address at which nobody listens (its port was free a moment ago).
inline chSocketAddr nobody(int nFamily) {
    return nameOf(bound(nFamily, SOCK_STREAM));
}

inline void sendAll(int nFd, std::string_view text) {
    send(nFd, text.data(), text.size(), MSG_NOSIGNAL);
}

// Sends in pieces of random sizes, each on its own.
inline void sendPieces(int nFd, std::string_view text, std::size_t nLargest, unsigned nSeed) {
    const int nOn = 1;
    setsockopt(nFd, IPPROTO_TCP, 1 /* TCP_NODELAY */, &nOn, sizeof nOn);
    std::mt19937 random(nSeed);
    for (std::size_t n; !text.empty(); text.remove_prefix(n)) {
        n = std::min(text.size(), 1 + random() % nLargest);
        sendAll(nFd, text.substr(0, n));
        if (random() % 64 == 0) std::this_thread::sleep_for(std::chrono::microseconds(random() % 200));
    }
}

// Reads until that many bytes or the end.
inline std::string readAll(int nFd, std::size_t nBytes) {
    std::string text(nBytes, '\0');
    text.resize(static_cast<std::size_t>(std::max(recv(nFd, text.data(), nBytes, MSG_WAITALL), ssize_t{0})));
    return text;
}

inline std::string randomBytes(std::size_t nBytes, unsigned nSeed) {
    std::mt19937 random(nSeed);
    std::string text(nBytes, '\0');
    std::generate(text.begin(), text.end(), [&] { return static_cast<char>(random()); });
    return text;
}

inline long openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}
inline long runningThreads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

// Runs work on a thread of its own, which the result waits for.
template <class Work>
auto beside(Work work) {
    return std::async(std::launch::async, std::move(work));
}

// Ours connected to a raw peer, over one of the families.
class Connected : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override {
        ASSERT_TRUE(ours.CreateSocket(GetParam()));
        connectAnew();
    }
    void TearDown() override {
        raw.end(false);
        ours.DestroySocket();
        EXPECT_EQ(openDescriptors(), m_nDescriptors);
    }
    void connectAnew() {
        ours.Disconnect();
        const Fd listener = listening(GetParam());
        ASSERT_TRUE(ours.ConnectTo(nameOf(listener), 2000));
        raw = Fd(accept(listener, nullptr, nullptr));
    }
    std::string take(int nBytes, int nTimeout) {
        std::string text(static_cast<std::size_t>(nBytes), '\0');
        const int nCount = ours.Receive(text.data(), nBytes, nTimeout);
        return text.substr(0, static_cast<std::size_t>(std::max(nCount, 0)));
    }
    // By both forms of peek; "-" when the bytes did not come: then the output stays as it was.
    std::string look(int nOffset, int nBytes, int nTimeout) {
        std::vector<unsigned char> out{'-'};
        std::string text(static_cast<std::size_t>(nBytes), '\0');
        const bool bDone = ours.peek(out, nOffset, nBytes, nTimeout);
        EXPECT_EQ(ours.peek(text.data(), nOffset, nBytes, 0), bDone);
        EXPECT_EQ(std::string(out.begin(), out.end()), bDone ? text : "-");
        return bDone ? text : "-";
    }
    // "-" when no packet came.
    std::string receive(int nTimeout) {
        std::vector<unsigned char> packet{'-'};
        const bool bDone = ours.ReceiveOnePacket(packet, nTimeout);
        EXPECT_TRUE(bDone || packet == std::vector<unsigned char>{'-'});
        return {packet.begin(), packet.end()};
    }
    chSocketPacketTCP ours;
    Fd raw;

private:
    const long m_nDescriptors = openDescriptors();
};

inline std::string familyName(const ::testing::TestParamInfo<int>& info) {
    return info.param == AF_INET ? "IPv4" : "IPv6";
}

}  // namespace peer
