// The choice among the addresses of the host's interfaces.
#include "net/interface_table.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <algorithm>
#include <memory>

namespace vdx::net {

namespace {

chInAddr fromSystem(const sockaddr* pAddress) {
    if (pAddress == nullptr) return {};
    if (pAddress->sa_family == AF_INET) return reinterpret_cast<const sockaddr_in*>(pAddress)->sin_addr;
    if (pAddress->sa_family == AF_INET6) return reinterpret_cast<const sockaddr_in6*>(pAddress)->sin6_addr;
    return {};
}

bool startsWithAny(std::string_view name, const std::array<std::string_view, 4>& families) {
    return std::any_of(families.begin(), families.end(),
                       [&](std::string_view family) { return !family.empty() && name.starts_with(family); });
}

// How strong an interface's claim to its slot is.
int rank(const InterfaceSlot& slot, std::string_view name, std::string_view preferred) {
    if (name == preferred) return 2;
    return name == slot.name ? 1 : 0;
}

}  // namespace

std::vector<HostAddress> listHostAddresses() {
    std::vector<HostAddress> list;
    ifaddrs* pFirst = nullptr;
    if (getifaddrs(&pFirst) != 0) return list;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(pFirst, freeifaddrs);
    for (const ifaddrs* p = pFirst; p != nullptr; p = p->ifa_next) {
        const chInAddr address = fromSystem(p->ifa_addr);
        if (address.hasData()) list.push_back({p->ifa_name, p->ifa_flags, address});
    }
    return list;
}

int slotOf(const InterfaceTable& table, std::string_view name) {
    for (int i = 0; i < kSlots; ++i) {
        if (name == table[static_cast<std::size_t>(i)].name) return i;
    }
    for (int i = 0; i < kSlots; ++i) {
        if (startsWithAny(name, table[static_cast<std::size_t>(i)].families)) return i;
    }
    return -1;
}

SlotAddresses fillSlots(const InterfaceTable& table, const std::vector<HostAddress>& list, int nFamily,
                        std::string_view preferred) {
    SlotAddresses slots;
    for (const HostAddress& entry : list) {
        const int nSlot = entry.address.family() == nFamily ? slotOf(table, entry.name) : -1;
        if (nSlot < 0) continue;
        const InterfaceSlot& row = table[static_cast<std::size_t>(nSlot)];
        SlotAddress& slot = slots[static_cast<std::size_t>(nSlot)];
        const bool bSame = slot.interfaceName == entry.name;
        const bool bStronger = rank(row, entry.name, preferred) > rank(row, slot.interfaceName, preferred);
        if (slot.interfaceName.empty() || bSame || bStronger) slot = {entry.name, entry.address};
    }
    return slots;
}

bool isUsable(const SlotAddress& slot) {
    const chInAddr& address = slot.address;
    return address.isValidLocalAddr() && !(address.isIPv4() && address.toInAddr().s_addr == INADDR_ANY);
}

int chooseSlot(const InterfaceTable& table, const SlotAddresses& slots, std::string_view preferred) {
    const auto first = std::find_if(slots.begin(), slots.end(), isUsable);
    const int nPreferred = preferred.empty() ? -1 : slotOf(table, preferred);
    if (nPreferred >= 0 && (first == slots.end() || isUsable(slots[static_cast<std::size_t>(nPreferred)]))) {
        return nPreferred;
    }
    return first == slots.end() ? -1 : static_cast<int>(first - slots.begin());
}

std::string addressText(const chInAddr& address) {
    return address.toString().c_str();
}

std::string activeInterface(const InterfaceTable& table, const std::vector<HostAddress>& list) {
    std::vector<HostAddress> up;
    std::copy_if(list.begin(), list.end(), std::back_inserter(up),
                 [](const HostAddress& entry) { return (entry.nFlags & IFF_UP) != 0; });
    const SlotAddresses slots = fillSlots(table, up, AF_INET, {});
    for (std::size_t i = 0; i < kSlots; ++i) {
        if (table[i].bMayBeActive && slots[i].address.hasData()) return slots[i].interfaceName;
    }
    return {};
}

}  // namespace vdx::net
