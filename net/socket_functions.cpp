// The platform's socket calls under their portable names.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>

#include <vdx/socket.h>

#include "net/socket_port.h"
#include "net/wait.h"

namespace {

socklen_t addressLength(const sockaddr* pAddress) {
    return pAddress != nullptr && pAddress->sa_family == AF_INET6 ? sizeof(sockaddr_in6)
                                                                  : sizeof(sockaddr_in);
}

// Refuses what would become a huge unsigned size.
bool isSize(int nBytes) {
    if (nBytes >= 0) return true;
    errno = EINVAL;
    return false;
}

// Runs a call that takes a length in and gives one out, in the system's type.
template <class Call>
int withLength(int* pLength, Call call) {
    socklen_t nLength = pLength != nullptr ? static_cast<socklen_t>(std::max(*pLength, 0)) : 0;
    const auto nResult = call(pLength != nullptr ? &nLength : nullptr);
    if (pLength != nullptr) *pLength = static_cast<int>(nLength);
    return static_cast<int>(nResult);
}

bool isConnectUnderWay() {
    // A connect that a signal interrupts goes on by itself.
    return errno == EINPROGRESS || errno == EALREADY || errno == EINTR;
}

}  // namespace

int sockClose(int nFd) {
    return close(nFd);
}

bool sockListen(int nFd, int nBacklog) {
    return listen(nFd, nBacklog) == 0;
}

bool sockSetBlocking(int nFd, bool bBlocking) {
    const int nFlags = fcntl(nFd, F_GETFL);
    if (nFlags < 0) return false;
    return fcntl(nFd, F_SETFL, bBlocking ? nFlags & ~O_NONBLOCK : nFlags | O_NONBLOCK) >= 0;
}

bool sockAsyncConnect(int nFd, const sockaddr* pAddress, int nTimeout) {
    if (connect(nFd, pAddress, addressLength(pAddress)) == 0 || errno == EISCONN) return true;
    if (!isConnectUnderWay()) return false;
    if (vdx::net::waitFor(nFd, POLLOUT, nTimeout) < 1) return false;
    int nError = 0;
    socklen_t nLength = sizeof nError;
    if (getsockopt(nFd, SOL_SOCKET, SO_ERROR, &nError, &nLength) != 0) return false;
    errno = nError;
    return nError == 0;
}

int sockAccept(int nFd, sockaddr* pAddress, int* pLength) {
    return withLength(pLength, [&](socklen_t* p) {
        return vdx::net::acceptSocket(nFd, p != nullptr ? pAddress : nullptr, p);
    });
}

int sockShutdown(int nFd) {
    return shutdown(nFd, SHUT_RDWR);
}

int sockPeekRecvLength(int nFd) {
    int nBytes = 0;
    return ioctl(nFd, FIONREAD, &nBytes) == 0 ? nBytes : -1;
}

int sockRecv(int nFd, void* pOut, int nBytes, int nFlags) {
    return isSize(nBytes) ? static_cast<int>(recv(nFd, pOut, static_cast<std::size_t>(nBytes), nFlags)) : -1;
}

int sockRecvFrom(int nFd, void* pOut, int nBytes, int nFlags, sockaddr* pFrom, int* pLength) {
    if (!isSize(nBytes)) return -1;
    return withLength(pLength, [&](socklen_t* p) {
        return recvfrom(nFd, pOut, static_cast<std::size_t>(nBytes), nFlags, p != nullptr ? pFrom : nullptr,
                        p);
    });
}

int sockSend(int nFd, const void* pData, int nBytes, int nFlags) {
    if (!isSize(nBytes)) return -1;
    return static_cast<int>(
        send(nFd, pData, static_cast<std::size_t>(nBytes), nFlags | vdx::net::kSendFlags));
}

int sockSendTo(int nFd, const void* pData, int nBytes, int nFlags, const sockaddr* pTo, int nLength) {
    if (!isSize(nBytes) || !isSize(nLength)) return -1;
    const socklen_t nTo = pTo == nullptr ? 0
                          : nLength != 0 ? static_cast<socklen_t>(nLength)
                                         : addressLength(pTo);
    return static_cast<int>(
        sendto(nFd, pData, static_cast<std::size_t>(nBytes), nFlags | vdx::net::kSendFlags, pTo, nTo));
}
