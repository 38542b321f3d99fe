// Raw POSIX peers for the socket tests, and fixtures over both families.
#pragma once

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <atomic>
#include <chrono>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vdx/socket.h>

namespace peer {

// A plain blocking descriptor.
class Fd {
public:
    explicit Fd(int nFd = -1) : m_nFd(nFd) {}
    Fd(Fd&& other) noexcept : m_nFd(other.m_nFd) { other.m_nFd = -1; }
    Fd& operator=(Fd&& other) noexcept {
        std::swap(m_nFd, other.m_nFd);
        return *this;
    }
    ~Fd() { close(); }
    void close() {
        if (m_nFd >= 0) ::close(m_nFd);
        m_nFd = -1;
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

inline socklen_t lengthOf(const chSocketAddr& address) {
    return address.family() == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
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
    EXPECT_EQ(bind(fd, any.toSocketAddr(), lengthOf(any)), 0);
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

inline void sendAll(int nFd, const void* pData, std::size_t nBytes) {
    const char* p = static_cast<const char*>(pData);
    while (nBytes > 0) {
        const ssize_t n = send(nFd, p, nBytes, MSG_NOSIGNAL);
        if (n <= 0) return;
        p += n;
        nBytes -= static_cast<std::size_t>(n);
    }
}

inline void sendAll(int nFd, const std::string& text) {
    sendAll(nFd, text.data(), text.size());
}

// Sends in pieces of random sizes, each on its own.
inline void sendPieces(int nFd, const std::string& text, std::size_t nLargest, unsigned nSeed) {
    const int nOn = 1;
    setsockopt(nFd, IPPROTO_TCP, 1 /* TCP_NODELAY */, &nOn, sizeof nOn);
    std::mt19937 random(nSeed);
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t n = std::min(text.size() - i, 1 + random() % nLargest);
        sendAll(nFd, text.data() + i, n);
        i += n;
        if (random() % 64 == 0) std::this_thread::sleep_for(std::chrono::microseconds(random() % 200));
    }
}

// Reads until that many bytes or the end.
inline std::string readAll(int nFd, std::size_t nBytes) {
    std::string text(nBytes, '\0');
    std::size_t nGot = 0;
    while (nGot < nBytes) {
        const ssize_t n = recv(nFd, text.data() + nGot, nBytes - nGot, 0);
        if (n <= 0) break;
        nGot += static_cast<std::size_t>(n);
    }
    text.resize(nGot);
    return text;
}

inline std::string randomBytes(std::size_t nBytes, unsigned nSeed) {
    std::mt19937 random(nSeed);
    std::string text(nBytes, '\0');
    for (char& c : text)
        c = static_cast<char>(random());
    return text;
}

inline int countEntries(const char* szFolder) {
    int nCount = 0;
    DIR* pFolder = opendir(szFolder);
    while (pFolder != nullptr && readdir(pFolder) != nullptr)
        ++nCount;
    if (pFolder != nullptr) closedir(pFolder);
    return nCount;
}
inline int openDescriptors() {
    return countEntries("/proc/self/fd");
}
inline int runningThreads() {
    return countEntries("/proc/self/task");
}

class Stopwatch {
public:
    long long ms() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                     m_start)
            .count();
    }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

// Sends signals to one thread for as long as it lives; the handler does nothing and
// interrupts system calls.
class Signaller {
public:
    Signaller() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGUSR1, &action, nullptr);
        const pthread_t hTarget = pthread_self();
        m_thread = std::thread([this, hTarget] {
            while (!m_bStop) {
                pthread_kill(hTarget, SIGUSR1);
                std::this_thread::sleep_for(std::chrono::milliseconds(7));
            }
        });
    }
    ~Signaller() {
        m_bStop = true;
        m_thread.join();
    }

private:
    std::atomic<bool> m_bStop{false};
    std::thread m_thread;
};

// Ours connected to a raw peer, over one of the families.
template <class Socket>
class Connected : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override {
        nDescriptors = openDescriptors();
        Fd listener = listening(GetParam());
        ASSERT_TRUE(ours.CreateSocket(GetParam()));
        ASSERT_TRUE(ours.ConnectTo(nameOf(listener), 2000));
        raw = Fd(accept(listener, nullptr, nullptr));
        ASSERT_GE(raw, 0);
    }
    void TearDown() override {
        raw.close();
        ours.DestroySocket();
        EXPECT_EQ(openDescriptors(), nDescriptors);
    }
    int nDescriptors = 0;
    Socket ours;
    Fd raw;
};

inline std::string familyName(const ::testing::TestParamInfo<int>& info) {
    return info.param == AF_INET ? "IPv4" : "IPv6";
}

}  // namespace peer
