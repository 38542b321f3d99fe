// Datagrams.
#include <poll.h>
#include <sys/time.h>
#include <cerrno>

#include <vdx/socket.h>
#include <vdx/time.h>

#include "base/errno_saver.h"
#include "net/wait.h"

namespace {

constexpr int kLargestDatagram = 65535;
constexpr int kAddressLength = sizeof(sockaddr_in);  // Kept for both families: only IPv4 peers are served.

}  // namespace

bool chSocketUDP::CreateSocket(int nDomain) {
    return chSocket::CreateSocket(nDomain, SOCK_DGRAM, 0);
}

void chSocketUDP::DestroySocket() {
    chSocket::DestroySocket();
    m_nReceiveLimit = -1;
}

bool chSocketUDP::CreateSocket(const chSocketAddr& local) {
    if (!local.isValidLocalAddr() || !CreateSocket(local.family())) return false;
    if (Bind(local)) return true;
    const vdx::ErrnoSaver keep;
    DestroySocket();
    return false;
}

bool chSocketUDP::CreateSocket(const std::string& host, int nPort) {
    return CreateSocket(chSocketAddr(host, nPort));
}

// Lets a blocking receive end by itself, so that it needs no call of its own to wait.
bool chSocketUDP::setReceiveLimit(int nTimeout) {
    if (nTimeout == m_nReceiveLimit) return true;
    timeval time{};  // Zero: no limit.
    if (nTimeout > 0) {
        const chTimeval limit(nTimeout);
        time = timeval{limit.seconds, limit.microseconds};
    }
    if (setsockopt(fd(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time) != 0) return false;
    m_nReceiveLimit = nTimeout;
    return true;
}

int chSocketUDP::receiveDatagram(int nTimeout) {
    vdx::net::WaitLimit limit(nTimeout);
    int nFlags = nTimeout == 0 || !setReceiveLimit(nTimeout) ? MSG_DONTWAIT : 0;
    if (nFlags == 0) limit.left();  // Starts the clock.
    for (;;) {
        int nLength = kAddressLength;
        m_sender = chSocketAddr();
        const int nCount =
            sockRecvFrom(fd(), m_buffer.data(), kLargestDatagram, nFlags, m_sender.toSocketAddr(), &nLength);
        if (nCount >= 0) return nCount;
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) return -1;
        // A signal, a socket that somebody made non-blocking, or a limit that the system
        // rounded down: wait for what is left.
        if (!limit.mayWait()) return 0;
        const int nReady = vdx::net::waitFor(fd(), POLLIN, limit);
        if (nReady < 1) return nReady;
        nFlags = MSG_DONTWAIT;
    }
}

int chSocketUDP::ReceiveToBuffer(int nTimeout) {
    m_nDatagram = 0;
    if (!vdx::net::canWaitFor(fd()) || nTimeout < -1) {
        errno = nTimeout < -1 ? EINVAL : EBADF;
        return -1;
    }
    m_buffer.resize(kLargestDatagram);
    const int nCount = receiveDatagram(nTimeout);
    if (nCount > 0) m_nDatagram = static_cast<std::size_t>(nCount);
    return nCount;
}

int chSocketUDP::ReceiveFrom(std::vector<unsigned char>& out, chSocketAddr* pFrom, int nTimeout) {
    const int nCount = ReceiveToBuffer(nTimeout);
    if (nCount < 1) return nCount;
    out.assign(m_buffer.data(), m_buffer.data() + m_nDatagram);
    m_nDatagram = 0;
    if (pFrom != nullptr) *pFrom = m_sender;
    return nCount;
}

bool chSocketUDP::SendTo(const void* pData, int nBytes, const chSocketAddr& to) {
    if (pData == nullptr || nBytes < 1) return true;
    int nSent;
    do {
        nSent = sockSendTo(fd(), pData, nBytes, 0, to.toSocketAddr(), kAddressLength);
    } while (nSent == -1 && errno == EINTR);
    if (nSent == -1) {
        // Whatever failed, the next call finds a socket that can take data.
        const vdx::ErrnoSaver keep;
        vdx::net::waitFor(fd(), POLLOUT, -1);
    }
    return nSent == nBytes;
}
