// Sets of descriptors to wait for.
#include <cerrno>

#include <vdx/socket.h>
#include <vdx/time.h>

#include "net/wait.h"

namespace {

// Adds the members of one set to another.
void unite(fd_set& into, const fd_set& other, int nMax) {
    for (int nFd = 0; nFd <= nMax; ++nFd) {
        if (FD_ISSET(nFd, &other)) FD_SET(nFd, &into);
    }
}

}  // namespace

chFD_SET::chFD_SET() {
    clear();
}

chFD_SET::chFD_SET(int nFd) {
    clear();
    add(nFd);
}

bool chFD_SET::add(int nFd) {
    if (!vdx::net::canWaitFor(nFd)) {
        m_bRefused = true;
        return false;
    }
    FD_SET(nFd, &m_set);
    if (nFd > m_nMax) m_nMax = nFd;
    return true;
}

void chFD_SET::clear() {
    FD_ZERO(&m_set);
    m_nMax = -1;
    m_bRefused = false;
}

bool chFD_SET::isSet(int nFd) const {
    return vdx::net::canWaitFor(nFd) && FD_ISSET(nFd, &m_set);
}

int chFD_SET::readSelect(int nTimeout) {
    return select(nTimeout, true);
}
int chFD_SET::writeSelect(int nTimeout) {
    return select(nTimeout, false);
}

int chFD_SET::select(int nTimeout, bool bRead) {
    if (m_bRefused) {
        errno = EBADF;
        return -1;
    }
    vdx::net::WaitLimit limit(nTimeout);
    // Two copies: the system would write both answers over each other in one.
    fd_set ready;
    fd_set exceptional;
    int nResult;
    do {
        ready = exceptional = m_set;
        const chTimeval left(limit.left());
        timeval time{left.seconds, left.microseconds};
        timeval* pTime = nTimeout == -1 ? nullptr : &time;
        nResult =
            ::select(m_nMax + 1, bRead ? &ready : nullptr, bRead ? nullptr : &ready, &exceptional, pTime);
    } while (nResult < 0 && errno == EINTR);
    if (nResult < 0) return -1;
    m_set = ready;
    unite(m_set, exceptional, m_nMax);
    return nResult;
}
