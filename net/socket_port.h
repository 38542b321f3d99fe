// What a platform supplies for the sockets.
#pragma once

#include <sys/socket.h>

namespace vdx::net {

// Writes the family, and the length byte where socket addresses have one.
void setFamily(sockaddr* pAddress, int nFamily);

// socket(2) and accept(2) whose descriptor is closed on exec and raises no signal
// when the peer is gone. -1 and errno on failure.
int openSocket(int nDomain, int nType, int nProtocol);
int acceptSocket(int nFd, sockaddr* pAddress, socklen_t* pLength);

// The same, non-blocking from the start.
int openStreamSocket(int nDomain);
int acceptStream(int nFd, sockaddr* pAddress, socklen_t* pLength);

// Flags that each send carries so that a closed peer is an error, not a signal; those
// of chSocketTCP.
extern const int kSendFlags;
extern const int kStreamSendFlags;

// A raw link-layer socket bound to an interface. -1 and errno where there is no such
// interface, no privilege, or no such socket at all.
int openLinkSocket(const char* szInterface);

}  // namespace vdx::net
