// Connections: receiving into the buffer and taking bytes out of it.
#include <poll.h>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include <vdx/socket.h>

#include "net/wait.h"

namespace {

constexpr std::size_t kSmallestStorage = 4096;

// What one receive asks for at most, whatever is missing: memory is taken as bytes
// arrive, not as a peer or caller announces them.
constexpr std::size_t kLargestReceive = 256 * 1024;

bool isNothingThere() {
    return errno == EAGAIN || errno == EWOULDBLOCK;
}

}  // namespace

// --- The buffer -------------------------------------------------------------

unsigned char* chSocketTCP::Bytes::room(std::size_t nBytes) {
    if (storage.size() - nEnd >= nBytes) return storage.data() + nEnd;
    const std::size_t nLive = size();
    if (nBegin >= nLive && storage.size() - nLive >= nBytes) {
        std::memmove(storage.data(), data(), nLive);
    } else {
        std::vector<unsigned char> larger(std::max({nLive + nBytes, nLive * 2, kSmallestStorage}));
        if (nLive > 0) std::memcpy(larger.data(), data(), nLive);
        storage.swap(larger);
    }
    nBegin = 0;
    nEnd = nLive;
    return storage.data() + nEnd;
}

void chSocketTCP::Bytes::drop(std::size_t nBytes) {
    nBegin += nBytes;
    if (nBegin == nEnd) clear();
}

// --- Receiving --------------------------------------------------------------

// Tries first, and waits only when nothing is there; after a send the answer cannot
// be there yet as a rule, and the try is saved.
int chSocketTCP::receiveInto(void* pOut, std::size_t nBytes, vdx::net::WaitLimit& limit) {
    bool bTry = !(m_bReplyAwaited && limit.mayWait());
    m_bReplyAwaited = false;
    while (vdx::net::canWaitFor(fd())) {
        if (bTry) {
            const ssize_t nCount = recv(fd(), pOut, nBytes, MSG_DONTWAIT);
            if (nCount > 0) return static_cast<int>(nCount);
            if (nCount == 0 || (!isNothingThere() && errno != EINTR)) break;
        }
        bTry = true;
        if (!limit.mayWait()) return 0;
        const int nReady = vdx::net::waitFor(fd(), POLLIN, limit);
        if (nReady == 0) return 0;
        if (nReady < 0) break;
    }
    dropConnection();
    return -1;
}

int chSocketTCP::receiveSome(std::size_t nMaxBytes, vdx::net::WaitLimit& limit) {
    const std::size_t nAsk = std::min(nMaxBytes, kLargestReceive);
    const int nCount = receiveInto(m_received.room(nAsk), nAsk, limit);
    if (nCount > 0) m_received.nEnd += static_cast<std::size_t>(nCount);
    return nCount;
}

int chSocketTCP::selectAndReceive(int nMaxBytes, int nTimeout) {
    if (nMaxBytes < 1) return 0;
    vdx::net::WaitLimit limit(nTimeout);
    if (nTimeout >= -1) return receiveSome(static_cast<std::size_t>(nMaxBytes), limit);
    dropConnection();  // The system refuses to wait so.
    errno = EINVAL;
    return -1;
}

bool chSocketTCP::receiveUntil(std::int64_t nWanted, int nTimeout) {
    vdx::net::WaitLimit limit(nTimeout);
    for (;;) {
        const std::int64_t nMissing = nWanted - static_cast<std::int64_t>(m_received.size());
        if (nMissing < 1) return true;
        if (nTimeout < 1 || !m_bConnected || limit.isOver()) return false;
        if (receiveSome(static_cast<std::size_t>(nMissing), limit) < 1) return false;
    }
}

// --- Taking bytes out -------------------------------------------------------

bool chSocketTCP::waitForBufferBytes(int nBytes, int nTimeout) {
    return receiveUntil(nBytes, nTimeout);
}

bool chSocketTCP::peek(std::vector<unsigned char>& out, int nOffset, int nBytes, int nTimeout) {
    if (nOffset < 0 || nBytes < 0 || !receiveUntil(std::int64_t{nOffset} + nBytes, nTimeout)) return false;
    const unsigned char* pFrom = m_received.data() + nOffset;
    out.assign(pFrom, pFrom + nBytes);
    return true;
}

bool chSocketTCP::peek(void* pOut, int nOffset, int nBytes, int nTimeout) {
    if (nOffset < 0 || nBytes < 0 || !receiveUntil(std::int64_t{nOffset} + nBytes, nTimeout)) return false;
    if (nBytes > 0) std::memcpy(pOut, m_received.data() + nOffset, static_cast<std::size_t>(nBytes));
    return true;
}

void chSocketTCP::seek(int nBytes) {
    if (nBytes > 0) m_received.drop(std::min(static_cast<std::size_t>(nBytes), m_received.size()));
}

void chSocketTCP::seekToEnd() {
    m_received.clear();
}

int chSocketTCP::Receive(void* pOut, int nBytes, int nTimeout) {
    receiveUntil(nBytes, nTimeout);
    if (m_received.size() == 0 && !m_bConnected) return -1;
    const std::size_t nCount = std::min(m_received.size(), static_cast<std::size_t>(std::max(nBytes, 0)));
    if (nCount > 0) {
        std::memcpy(pOut, m_received.data(), nCount);
        m_received.drop(nCount);
    }
    return static_cast<int>(nCount);
}

int chSocketTCP::ReceiveToBuffer(int nTimeout) {
    if (m_bConnected && m_received.size() == 0) selectAndReceive(65535, nTimeout);
    if (m_received.size() > 0) return static_cast<int>(std::min<std::size_t>(m_received.size(), INT_MAX));
    return m_bConnected ? 0 : -1;
}

int chSocketTCP::ReceiveStream(std::vector<unsigned char>& out, int nTimeout) {
    const int nCount = ReceiveToBuffer(nTimeout);
    if (nCount < 1) return nCount;
    out.assign(m_received.data(), m_received.data() + m_received.size());
    m_received.clear();
    return nCount;
}
