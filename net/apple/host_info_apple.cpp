// Interfaces as macOS names and describes them.
#include <net/if.h>
#include <net/if_dl.h>
#include <net/route.h>
#include <sys/socket.h>
#include <sys/sysctl.h>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include "net/interface_table.h"

namespace vdx::net {

// "en1" and "en7" are not tested for the active interface. Kept: unlike in the choice
// of an address.
const InterfaceTable kInterfaceTable = {{
    {"en2", {}, true},
    {"utun0", {}, true},
    {"en0", {}, true},
    {"en1", {}, false},
    {"en7", {}, false},
    {"pdp_ip0", {}, true},
}};

bool readHardwareAddress(const char*, unsigned nIndex, unsigned char* pOut) {
    int request[] = {CTL_NET, AF_ROUTE, 0, AF_LINK, NET_RT_IFLIST, static_cast<int>(nIndex)};
    std::size_t nBytes = 0;
    if (sysctl(request, 6, nullptr, &nBytes, nullptr, 0) < 0) {
        std::printf("Error: sysctl, take 1/n");
        return false;
    }
    std::vector<char> answer;
    try {
        answer.resize(nBytes);
    } catch (const std::bad_alloc&) {
        std::printf("Could not allocate memory. error!/n");
        return false;
    }
    constexpr std::size_t kAddressAt = sizeof(if_msghdr) + offsetof(sockaddr_dl, sdl_data);
    if (sysctl(request, 6, answer.data(), &nBytes, nullptr, 0) < 0 ||
        nBytes < sizeof(if_msghdr) + sizeof(sockaddr_dl)) {
        std::printf("Error: sysctl, take 2");
        return false;
    }
    // The address stands behind the name in the first message's link-layer address.
    const auto* pLink = reinterpret_cast<const sockaddr_dl*>(answer.data() + sizeof(if_msghdr));
    if (kAddressAt + pLink->sdl_nlen + 6 > nBytes) return false;
    std::memcpy(pOut, answer.data() + kAddressAt + pLink->sdl_nlen, 6);
    return true;
}

}  // namespace vdx::net
