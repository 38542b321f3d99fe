// Sockets as Linux has them.
#include "net/socket_port.h"

#include <linux/if_ether.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <unistd.h>
#include <cerrno>

namespace vdx::net {

const int kSendFlags = MSG_NOSIGNAL;
const int kStreamSendFlags = MSG_NOSIGNAL;

void setFamily(sockaddr* pAddress, int nFamily) {
    pAddress->sa_family = static_cast<sa_family_t>(nFamily);
}

int openSocket(int nDomain, int nType, int nProtocol) {
    return socket(nDomain, nType | SOCK_CLOEXEC, nProtocol);
}

int acceptSocket(int nFd, sockaddr* pAddress, socklen_t* pLength) {
    return accept4(nFd, pAddress, pLength, SOCK_CLOEXEC);
}

int openStreamSocket(int nDomain) {
    return openSocket(nDomain, SOCK_STREAM | SOCK_NONBLOCK, 0);
}

int acceptStream(int nFd, sockaddr* pAddress, socklen_t* pLength) {
    return accept4(nFd, pAddress, pLength, SOCK_CLOEXEC | SOCK_NONBLOCK);
}

int openLinkSocket(const char* szInterface) {
    const unsigned nIndex = if_nametoindex(szInterface);
    if (nIndex == 0) return -1;
    // Without a protocol it receives nothing until it is bound: else it would begin with
    // frames of all interfaces.
    const int nFd = openSocket(AF_PACKET, SOCK_RAW, 0);
    if (nFd < 0) return -1;
    sockaddr_ll link{};
    link.sll_family = AF_PACKET;
    link.sll_protocol = htons(ETH_P_ALL);
    link.sll_ifindex = static_cast<int>(nIndex);
    if (bind(nFd, reinterpret_cast<sockaddr*>(&link), sizeof link) == 0) return nFd;
    const int nErrno = errno;
    close(nFd);
    errno = nErrno;
    return -1;
}

}  // namespace vdx::net
