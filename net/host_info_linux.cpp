// Interfaces as Linux names and describes them.
#include <net/if.h>
#include <sys/ioctl.h>
#include <cstdio>
#include <cstring>

#include <vdx/socket.h>

#include "net/interface_table.h"

namespace vdx::net {

// Wi-Fi has names of its own here and is often the only interface: it may be active.
const InterfaceTable kInterfaceTable = {{
    {"en2", {"usb"}, true},
    {"utun0", {"utun", "tun", "wg", "ppp"}, true},
    {"en0", {"en", "eth"}, true},
    {"en1", {"wl"}, true},
    {"en7", {"bond", "team", "br0"}, false},
    {"pdp_ip0", {"ww", "rmnet"}, true},
}};

bool readHardwareAddress(const char* szName, unsigned, unsigned char* pOut) {
    chSocket socket;
    ifreq request{};
    std::strncpy(request.ifr_name, szName, sizeof request.ifr_name - 1);
    if (!socket.CreateSocket(AF_INET, SOCK_DGRAM, 0) || ioctl(socket.fd(), SIOCGIFHWADDR, &request) != 0) {
        std::printf("Error: sysctl, take 2");
        return false;
    }
    std::memcpy(pOut, request.ifr_hwaddr.sa_data, 6);
    return true;
}

}  // namespace vdx::net
