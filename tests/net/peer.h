// Raw POSIX peers for the socket tests, and fixtures over both families.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <vdx/socket.h>

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

// What a call prints, traces included.
template <class Call>
std::string printedBy(Call call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

class Stopwatch {
public:
    long ms() const { return std::chrono::duration_cast<std::chrono::milliseconds>(now() - m_start).count(); }

private:
    static std::chrono::steady_clock::time_point now() { return std::chrono::steady_clock::now(); }
    std::chrono::steady_clock::time_point m_start = now();
};

// Sends signals to the thread that made it, for as long as it lives; the handler does
// nothing and interrupts system calls.
class Signaller {
public:
    Signaller() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGUSR1, &action, nullptr);
        m_thread = std::jthread([hTarget = pthread_self()](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                pthread_kill(hTarget, SIGUSR1);
                std::this_thread::sleep_for(std::chrono::milliseconds(7));
            }
        });
    }

private:
    std::jthread m_thread;
};

// Ours connected to a raw peer, over one of the families.
template <class Socket>
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
    Socket ours;
    Fd raw;
};

inline std::string familyName(const ::testing::TestParamInfo<int>& info) {
    return info.param == AF_INET ? "IPv4" : "IPv6";
}

}  // namespace peer
