// Which addresses this host uses.
#include <net/if.h>
#include <sys/ioctl.h>
#include <cstdio>
#include <cstring>

#include <vdx/host_info.h>

#include "net/interface_table.h"

using namespace vdx::net;

namespace {

std::string chosenAddress(int nFamily, const std::string& preferred, int& index) {
    const SlotAddresses slots = fillSlots(kInterfaceTable, listHostAddresses(), nFamily, preferred);
    index = chooseSlot(kInterfaceTable, slots, preferred);
    return index < 0 ? std::string() : addressText(slots[static_cast<std::size_t>(index)].address);
}

void appendUsable(const std::vector<HostAddress>& list, int nFamily, std::vector<std::string>& out) {
    for (const SlotAddress& slot : fillSlots(kInterfaceTable, list, nFamily, {})) {
        if (isUsable(slot)) out.push_back(addressText(slot.address));
    }
}

chInAddr anyAddress() {
    return in_addr{INADDR_ANY};
}

}  // namespace

std::string getIPAddress(const std::string& preferred, int& index) {
    return chosenAddress(AF_INET, preferred, index);
}

std::string getIPv6Address(const std::string& preferred, int& index) {
    return chosenAddress(AF_INET6, preferred, index);
}

std::string sockGetLocalIPString(const std::string&) {
    int nSlot;
    return getIPAddress({}, nSlot);
}

std::string sockGetLocalIPv6Address(const std::string&) {
    int nSlot;
    return getIPv6Address({}, nSlot);
}

std::vector<std::string> sockGetIPAddressList() {
    const std::vector<HostAddress> list = listHostAddresses();
    std::vector<std::string> result;
    appendUsable(list, AF_INET, result);
    appendUsable(list, AF_INET6, result);
    return result;
}

bool sockIsMobileTraffic() {
    const std::string name = activeInterface(kInterfaceTable, listHostAddresses());
    return slotOf(kInterfaceTable, name) == kMobileSlot;
}

bool sockIsNetworkAvaiable() {
    return !sockGetIPAddressList().empty();
}

std::string sockGetAdapterByIPAddress(const char* szAddress) {
    if (szAddress == nullptr || *szAddress == '\0') return {};
    for (const HostAddress& entry : listHostAddresses()) {
        if (entry.address.isIPv4() && entry.address.toString() == szAddress) return entry.name;
    }
    return {};
}

chInAddr sockGetLocalIPAddress(const std::string& name) {
    chSocket socket;
    ifreq request{};
    // A longer name than the system's is no interface's; it must not be cut to one.
    if (name.size() >= sizeof request.ifr_name || !socket.CreateSocket(AF_INET, SOCK_DGRAM, 0))
        return anyAddress();
    name.copy(request.ifr_name, name.size());
    request.ifr_addr.sa_family = AF_INET;
    if (ioctl(socket.fd(), SIOCGIFADDR, &request) != 0) return anyAddress();
    sockaddr_in address;
    std::memcpy(&address, &request.ifr_addr, sizeof address);
    return address.sin_addr;
}

chInAddr sockGetLocalIPAddress(int nSlot) {
    if (nSlot < 0 || nSlot >= kSlots) return anyAddress();
    const SlotAddresses slots = fillSlots(kInterfaceTable, listHostAddresses(), AF_INET, {});
    const SlotAddress& slot = slots[static_cast<std::size_t>(nSlot)];
    return isUsable(slot) ? slot.address : anyAddress();
}

const unsigned char* sockGetHardwareAddress(const std::string& name) {
    static unsigned char s_address[6];
    const std::string chosen = name.empty() ? activeInterface(kInterfaceTable, listHostAddresses()) : name;
    const unsigned nIndex = chosen.size() < IF_NAMESIZE ? if_nametoindex(chosen.c_str()) : 0;
    if (nIndex == 0) {
        std::printf("Error: if_nametoindex error/n");
    } else {
        readHardwareAddress(chosen.c_str(), nIndex, s_address);
    }
    return s_address;
}
