// Waiting for one descriptor, and time limits that start when something is waited for.
#pragma once

#include <poll.h>
#include <cstdint>

namespace vdx::net {

// Descriptors that can be waited for: those that fit a descriptor set. The system
// could wait for larger ones by poll, but the interface promises one limit for all.
bool canWaitFor(int nFd);

// A time limit for a call that may wait several times. The clock is first read when
// the first wait begins: calls that need not wait do not pay for it.
class WaitLimit {
public:
    explicit WaitLimit(int nTimeout) : m_nTimeout(nTimeout) {}

    // What a wait may take now: the whole limit at first, then what is left of it;
    // -1 without limit.
    int left();

    // Whether a wait has used the time up. Reads no clock before the first wait.
    bool isOver() { return m_nEnd != 0 && left() == 0; }

    bool mayWait() const { return m_nTimeout != 0; }

private:
    int m_nTimeout;
    std::uint64_t m_nEnd = 0;  // On the boot clock; 0: not started.
};

// Waits for events (POLLIN or POLLOUT) of one descriptor, its end and errors included.
// 1, 0 after the time limit, -1 and errno. A signal does not end it.
int waitFor(int nFd, short nEvents, WaitLimit& limit);
int waitFor(int nFd, short nEvents, int nTimeout);

}  // namespace vdx::net
