// Sockets as macOS has them.
#include "net/socket_port.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <cerrno>

namespace vdx::net {

namespace {

int prepare(int nFd) {
    if (nFd < 0) return nFd;
    const int nOn = 1;
    fcntl(nFd, F_SETFD, FD_CLOEXEC);
    setsockopt(nFd, SOL_SOCKET, SO_NOSIGPIPE, &nOn, sizeof nOn);
    return nFd;
}

int unblocked(int nFd) {
    if (nFd >= 0) fcntl(nFd, F_SETFL, O_NONBLOCK);
    return nFd;
}

}  // namespace

// The option on each socket does it; no flag is needed.
const int kSendFlags = 0;

// Kept: the number of the option, passed as flags.
const int kStreamSendFlags = 0x1022;

void setFamily(sockaddr* pAddress, int nFamily) {
    // The first two bytes here: the length and the family.
    auto* pBytes = reinterpret_cast<unsigned char*>(pAddress);
    pBytes[0] = nFamily == AF_INET6 ? 28 : 16;
    pBytes[1] = static_cast<unsigned char>(nFamily);
}

int openSocket(int nDomain, int nType, int nProtocol) {
    return prepare(socket(nDomain, nType, nProtocol));
}

int acceptSocket(int nFd, sockaddr* pAddress, socklen_t* pLength) {
    return prepare(accept(nFd, pAddress, pLength));
}

int openStreamSocket(int nDomain) {
    return unblocked(openSocket(nDomain, SOCK_STREAM, 0));
}

int acceptStream(int nFd, sockaddr* pAddress, socklen_t* pLength) {
    return unblocked(acceptSocket(nFd, pAddress, pLength));
}

int openLinkSocket(const char*) {
    errno = ENOTSUP;
    return -1;
}

}  // namespace vdx::net
