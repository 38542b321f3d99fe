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

// Flags that each send carries so that a closed peer is an error, not a signal.
extern const int kSendFlags;

// The domain number of a raw link-layer socket's interface: opens one on the named
// interface. -1 and errno where there is none, or no privilege.
int openLinkSocket(const char* szInterface);

}  // namespace vdx::net
