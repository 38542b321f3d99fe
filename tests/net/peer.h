// Raw POSIX peers for the socket tests, and fixtures over both families.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <future>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vdx/packet.h>

namespace peer {

// A plain blocking descriptor.
class Fd {
public:
    explicit Fd(int nFd = -1) : m_nFd(nFd) {}
    Fd(Fd&& other) noexcept : m_nFd(std::exchange(other.m_nFd, -1)) {}
    Fd& operator=(Fd&& other) noexcept {
        std::swap(m_nFd, other.m_nFd);
        return *this;
    }
    ~Fd() { close(); }
    void close() {
        if (m_nFd >= 0) ::close(std::exchange(m_nFd, -1));
    }
    // Closes so that the other side sees a reset.
    void reset() {
        const linger now{1, 0};
        setsockopt(m_nFd, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        close();
    }
    operator int() const { return m_nFd; }

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
    for (ssize_t n; !text.empty(); text.remove_prefix(static_cast<std::size_t>(n))) {
        n = send(nFd, text.data(), text.size(), MSG_NOSIGNAL);
        if (n <= 0) return;
    }
}

// Sends in pieces of random sizes, each on its own.
inline void sendPieces(int nFd, std::string_view text, std::size_t nLargest, unsigned nSeed) {
    const int nOn = 1;
    setsockopt(nFd, IPPROTO_TCP, 1 /* TCP_NODELAY */, &nOn, sizeof nOn);
    std::mt19937 random(nSeed);
    while (!text.empty()) {
        const std::size_t n = std::min(text.size(), 1 + random() % nLargest);
        sendAll(nFd, text.substr(0, n));
        text.remove_prefix(n);
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
    for (char& c : text)
        c = static_cast<char>(random());
    return text;
}

inline long openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}
inline long runningThreads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

// What a call prints, traces and warnings included.
template <class Call>
std::string printedBy(Call call) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
}

// Runs a call, which must take about so many milliseconds; at most `nMost` more.
template <class Call>
void expectMs(long nLeast, Call call, long nMost = 2000) {
    const auto start = std::chrono::steady_clock::now();
    call();
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    EXPECT_GT(took.count(), static_cast<double>(nLeast) - 1);
    EXPECT_LT(took.count(), static_cast<double>(nLeast + nMost));
}

// Runs work on a thread of its own, which the result waits for.
template <class Work>
auto beside(Work work) {
    return std::async(std::launch::async, std::move(work));
}

// For as long as it lives a signal, whose handler does nothing, interrupts the main thread's
// system calls.
class Signaller {
public:
    Signaller() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        sendEvery(7000);
    }
    ~Signaller() { sendEvery(0); }

private:
    static void sendEvery(int nMicroseconds) {
        const itimerval times{{0, nMicroseconds}, {0, nMicroseconds}};
        setitimer(ITIMER_REAL, &times, nullptr);
    }
};

// Ours connected to a raw peer, over one of the families.
class Connected : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override {
        nDescriptors = openDescriptors();
        ASSERT_TRUE(ours.CreateSocket(GetParam()));
        connectAnew();
    }
    void TearDown() override {
        raw.close();
        ours.DestroySocket();
        EXPECT_EQ(openDescriptors(), nDescriptors);
    }
    void connectAnew() {
        ours.Disconnect();
        const Fd listener = listening(GetParam());
        ASSERT_TRUE(ours.ConnectTo(nameOf(listener), 2000));
        raw = Fd(accept(listener, nullptr, nullptr));
    }
    long nDescriptors = 0;
    chSocketPacketTCP ours;
    Fd raw;
};

inline std::string familyName(const ::testing::TestParamInfo<int>& info) {
    return info.param == AF_INET ? "IPv4" : "IPv6";
}

}  // namespace peer
