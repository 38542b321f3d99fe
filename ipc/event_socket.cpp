// Events carried by datagrams on the loop-back interface.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <vdx/platform.h>
#include <vdx/socket.h>
#include <vdx/sync.h>
#include <vdx/trace.h>

#include "net/socket_port.h"
#include "net/wait.h"

namespace {

sockaddr_in loopback(int nPort) {
    sockaddr_in address{};
    vdx::net::setFamily(reinterpret_cast<sockaddr*>(&address), AF_INET);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(nPort));
    return address;
}

bool sendSignal(int nSocket, int nPort) {
    const sockaddr_in to = loopback(nPort);
    return sockSendTo(nSocket, "x", 1, 0, reinterpret_cast<const sockaddr*>(&to)) == 1;
}

// Takes one datagram; without waiting, should another reader have been quicker.
bool takeSignal(int nSocket) {
    char buffer[64];
    return sockRecvFrom(nSocket, buffer, sizeof buffer, MSG_DONTWAIT, nullptr, nullptr) > 0;
}

}  // namespace

bool chEvent_Socket::OpenEvent() {
    return fd() != -1 || ResetSocket();
}

void chEvent_Socket::CloseEvent() {
    const int nSocket = m_nSocket.exchange(-1);
    m_nPort = 0;
    if (nSocket != -1) sockClose(nSocket);
}

bool chEvent_Socket::ResetSocket() {
    CloseEvent();
    const int nSocket = vdx::net::openSocket(AF_INET, SOCK_DGRAM, 0);
    if (nSocket == -1) return false;
    sockaddr_in address = loopback(0);
    socklen_t nLength = sizeof address;
    (void)bind(nSocket, reinterpret_cast<const sockaddr*>(&address), nLength);
    (void)getsockname(nSocket, reinterpret_cast<sockaddr*>(&address), &nLength);
    m_nPort = ntohs(address.sin_port);
    m_nSocket = nSocket;
    return true;
}

bool chEvent_Socket::SetEvent() {
    if (SendEvent(port())) return true;
    vdxTrace(7, "chEvent_Socket::SetEvent failed!");
    return false;
}

bool chEvent_Socket::SendEvent(int nPort) {
    if (nPort < 1 || nPort > 65535 || fd() == -1) return false;
    if (sendSignal(fd(), nPort)) return true;
    for (int nAttempt = 1; nAttempt <= 3; ++nAttempt) {
        ResetSocket();
        if (nAttempt < 3 && sendSignal(fd(), nPort)) return true;
    }
    return false;
}

bool chEvent_Socket::isSignalled(int nTimeout) const {
    return vdx::net::waitFor(fd(), POLLIN, nTimeout) == 1;
}

bool chEvent_Socket::WaitEvent(int nTimeout) {
    if (fd() == -1 || !isSignalled(nTimeout)) return false;
    if (takeSignal(fd())) return true;
    printfWarning();
    return false;
}

void chEvent_Socket::ResetEvent() {
    if (fd() == -1) return;
    while (isSignalled(0)) {
        if (takeSignal(fd())) continue;
        printfWarning();
        return;
    }
}

void chEvent_Socket::printfWarning() {
    if (m_nFailures % 300 == 0) m_nFailures = 0;
    vdxSleep(100);
    ++m_nFailures;
}
