// Raw link-layer frames.
#include <poll.h>

#include <vdx/host_info.h>

#include "net/socket_port.h"
#include "net/wait.h"

bool chEthernetSocket::CreateSocket(const std::string& name) {
    DestroySocket();
    return m_socket.adopt(vdx::net::openLinkSocket(name.c_str()));
}

bool chEthernetSocket::Send(const void* pFrame, int nBytes) {
    return nBytes > 0 && sockSend(m_socket.fd(), pFrame, nBytes, 0) == nBytes;
}

int chEthernetSocket::Receive(std::vector<unsigned char>& frame, int nTimeout) {
    const int nReady = vdx::net::waitFor(m_socket.fd(), POLLIN, nTimeout);
    if (nReady < 1) return nReady;
    frame.resize(65535);
    const int nCount = sockRecv(m_socket.fd(), frame.data(), static_cast<int>(frame.size()), MSG_DONTWAIT);
    frame.resize(nCount > 0 ? static_cast<std::size_t>(nCount) : 0);
    return nCount;
}
