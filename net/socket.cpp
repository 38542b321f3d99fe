// A descriptor and its life.
#include <cerrno>

#include <vdx/socket.h>

#include "net/socket_port.h"

chSocket::~chSocket() {
    chSocket::DestroySocket();
}

bool chSocket::adopt(int nFd) {
    const int nErrno = errno;
    DestroySocket();
    m_nFd = nFd;
    errno = nErrno;
    return isValidSocket();
}

bool chSocket::CreateSocket(int nDomain, int nType, int nProtocol) {
    DestroySocket();
    return adopt(vdx::net::openSocket(nDomain, nType, nProtocol));
}

bool chSocket::Bind(const chSocketAddr& address) {
    const socklen_t nLength = address.family() == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    return bind(m_nFd, address.toSocketAddr(), nLength) == 0;
}

void chSocket::DestroySocket() {
    if (m_nFd >= 0) sockClose(m_nFd);
    m_nFd = -1;
}

int chSocket::socketSelect(int nTimeout) const {
    return chFD_SET(m_nFd).readSelect(nTimeout);
}
