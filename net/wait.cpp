// Waiting for one descriptor.
#include "net/wait.h"

#include <sys/select.h>
#include <algorithm>
#include <cerrno>

#include <vdx/platform.h>

namespace vdx::net {

bool canWaitFor(int nFd) {
    return nFd >= 0 && nFd < FD_SETSIZE;
}

int WaitLimit::left() {
    if (m_nTimeout <= 0) return m_nTimeout;
    const std::uint64_t nNow = vdxGetTickCount();
    if (m_nEnd == 0) {
        m_nEnd = nNow + static_cast<std::uint64_t>(m_nTimeout);
        return m_nTimeout;
    }
    return static_cast<int>(m_nEnd - std::min(nNow, m_nEnd));
}

int waitFor(int nFd, short nEvents, WaitLimit& limit) {
    pollfd item{nFd, nEvents, 0};
    int nResult;
    do {
        const int nLeft = limit.left();
        if (!canWaitFor(nFd) || nLeft < -1) {
            errno = nLeft < -1 ? EINVAL : EBADF;
            return -1;
        }
        nResult = poll(&item, 1, nLeft);
    } while (nResult < 0 && errno == EINTR);
    if (nResult == 1 && (item.revents & POLLNVAL) != 0) {
        errno = EBADF;
        return -1;
    }
    return nResult;
}

int waitFor(int nFd, short nEvents, int nTimeout) {
    WaitLimit limit(nTimeout);
    return waitFor(nFd, nEvents, limit);
}

}  // namespace vdx::net
