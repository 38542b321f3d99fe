// Connections: making, accepting, ending, sending.
#include <poll.h>
#include <sys/uio.h>
#include <algorithm>
#include <cerrno>
#include <climits>

#include <vdx/platform.h>
#include <vdx/socket.h>
#include <vdx/trace.h>

#include "base/errno_saver.h"
#include "net/socket_port.h"
#include "net/wait.h"

namespace {

void traceNotSent(std::size_t nBytes, bool bConnected) {
    vdxTrace(7, "chSocketTCP::Send failed! nBytes:[%d] m_bConnected:[%d]",
             static_cast<int>(std::min<std::size_t>(nBytes, INT_MAX)), bConnected);
}

int sendOnce(int nFd, iovec* pPieces, int nPieces) {
    if (nPieces == 1)
        return static_cast<int>(send(nFd, pPieces->iov_base, pPieces->iov_len, vdx::net::kStreamSendFlags));
    msghdr message{};
    message.msg_iov = pPieces;
    message.msg_iovlen = static_cast<decltype(message.msg_iovlen)>(nPieces);
    return static_cast<int>(sendmsg(nFd, &message, vdx::net::kStreamSendFlags));
}

// Steps over bytes that were sent.
void advance(iovec*& pPieces, int& nPieces, std::size_t nBytes) {
    while (nPieces > 0 && nBytes >= pPieces->iov_len) {
        nBytes -= pPieces->iov_len;
        ++pPieces;
        --nPieces;
    }
    if (nPieces == 0) return;
    pPieces->iov_base = static_cast<char*>(pPieces->iov_base) + nBytes;
    pPieces->iov_len -= nBytes;
}

// Errors that waiting until the socket takes data can cure.
bool isCurable(int nErrno) {
    return nErrno == EAGAIN || nErrno == EWOULDBLOCK || nErrno == EINTR;
}

}  // namespace

chSocketTCP::~chSocketTCP() {
    chSocketTCP::DestroySocket();
}

// --- Making and ending ------------------------------------------------------

bool chSocketTCP::CreateSocket(int nDomain) {
    DestroySocket();
    return adopt(vdx::net::openStreamSocket(nDomain));
}

bool chSocketTCP::CreateSocket(const chSocketAddr& local) {
    if (!local.isValidLocalAddr() || !CreateSocket(local.family())) return false;
    const int nOn = 1;
    setsockopt(fd(), SOL_SOCKET, SO_REUSEADDR, &nOn, sizeof nOn);
    if (Bind(local)) {
        m_local = local;
        return true;
    }
    const vdx::ErrnoSaver keep;
    sockShutdown(fd());
    DestroySocket();
    return false;
}

bool chSocketTCP::CreateSocket(const std::string& host, int nPort) {
    return CreateSocket(chSocketAddr(host, nPort));
}

bool chSocketTCP::ConnectTo(const chSocketAddr& peer, int nTimeout) {
    // The system would take an address without family as an order to dissolve.
    if (!peer.hasData()) return false;
    m_received.clear();
    const bool bPending = m_peer.hasData() && !m_bConnected;
    if (isValidSocket() && (m_bSpent || (bPending && !(m_peer == peer)))) renewFor(peer);
    m_peer = peer;
    m_bConnected = sockAsyncConnect(fd(), peer.toSocketAddr(), nTimeout);
    m_bReplyAwaited = false;
    // Once an attempt has failed the descriptor is of no use; one that is under way
    // (nothing to be read or written yet) goes on.
    if (!m_bConnected && isValidSocket() && vdx::net::waitFor(fd(), POLLOUT, 0) != 0) m_bSpent = true;
    return m_bConnected;
}

bool chSocketTCP::ConnectTo(const std::string& host, int nPort, int nTimeout) {
    return ConnectTo(chSocketAddr(host, nPort), nTimeout);
}

// A fresh descriptor in place of a spent one, bound like it.
bool chSocketTCP::renewFor(const chSocketAddr& peer) {
    const chSocketAddr local = m_local;
    return local.hasData() ? CreateSocket(local) : CreateSocket(peer.family());
}

void chSocketTCP::dropConnection() {
    const vdx::ErrnoSaver keep;
    m_bConnected = false;
    m_bSpent = isValidSocket();
    sockShutdown(fd());
}

void chSocketTCP::Disconnect() {
    if (!m_bConnected) return;
    m_received.clear();
    dropConnection();
}

void chSocketTCP::forgetConnection() {
    m_bConnected = m_bSpent = m_bReplyAwaited = false;
    m_local = m_peer = chSocketAddr();
}

void chSocketTCP::DestroySocket() {
    Disconnect();
    chSocket::DestroySocket();
    forgetConnection();
}

bool chSocketTCP::TestConnectivity() {
    if (m_bConnected) selectAndReceive(1, 1);
    return m_bConnected;
}

// --- Accepting --------------------------------------------------------------

bool chSocketTCPServer::SocketListen(int nBacklog) {
    return sockListen(fd(), nBacklog);
}

bool chSocketTCPServer::AcceptOnSocket(chSocketTCP& client, chSocketAddr* pPeer, int nTimeout) {
    if (vdx::net::waitFor(fd(), POLLIN, nTimeout) < 1) return false;
    const bool bLong = pPeer != nullptr && pPeer->family() == AF_INET6;
    socklen_t nLength = bLong ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    const int nFd = pPeer != nullptr ? vdx::net::acceptStream(fd(), pPeer->toSocketAddr(), &nLength)
                                     : vdx::net::acceptStream(fd(), nullptr, nullptr);
    if (nFd < 0) return false;
    client.adopt(nFd);
    client.m_received.clear();
    client.m_bConnected = true;
    return true;
}

// --- Sending ----------------------------------------------------------------

bool chSocketTCP::Send(const void* pData, int nBytes) {
    if (!isValidSocket()) return false;
    if (nBytes < 1 || !m_bConnected) {
        if (nBytes != 0 || !m_bConnected) {
            vdxTrace(7, "chSocketTCP::Send failed! nBytes:[%d] m_bConnected:[%d]", nBytes, m_bConnected);
        }
        return nBytes == 0 && m_bConnected;
    }
    iovec piece{const_cast<void*>(pData), static_cast<std::size_t>(nBytes)};
    return sendPieces(&piece, 1);
}

bool chSocketTCP::sendPieces(iovec* pPieces, int nPieces) {
    std::size_t nLeft = 0;
    for (int i = 0; i < nPieces; ++i)
        nLeft += pPieces[i].iov_len;
    while (nLeft > 0 && m_bConnected) {
        const int nSent = sendOnce(fd(), pPieces, nPieces);
        if (nSent < 1 && !handleSendError(nSent)) return false;
        if (nSent == -1) continue;
        nLeft -= static_cast<std::size_t>(nSent);
        advance(pPieces, nPieces, static_cast<std::size_t>(nSent));
    }
    if (m_bConnected) {
        m_bReplyAwaited = true;
        return true;
    }
    traceNotSent(nLeft, m_bConnected);
    return false;
}

// After a send that took nothing. False only when the socket cannot be waited for; that,
// and an error that waiting cannot cure, ends the connection.
bool chSocketTCP::handleSendError(int nSent) {
    const int nErrno = errno;
    vdxTrace(7, "chSocketTCP::Send failed! nSendCount=0 errno:[%d][%s]", nErrno,
             vdxTransLastError(static_cast<unsigned>(nErrno)).c_str());
    if (nSent != -1) return true;
    if (!isCurable(nErrno)) {
        dropConnection();
        return true;
    }
    if (vdx::net::waitFor(fd(), POLLOUT, -1) >= 0) return true;
    dropConnection();  // Part of the bytes may have gone: nothing may follow them.
    return false;
}
