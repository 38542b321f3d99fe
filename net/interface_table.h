// The six slots of interfaces, and the choice among their addresses.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include <vdx/address.h>

namespace vdx::net {

constexpr int kSlots = 6;
constexpr int kMobileSlot = 5;

// One row of the table. Families are name beginnings.
struct InterfaceSlot {
    std::string_view name;
    std::array<std::string_view, 4> families;
    bool bMayBeActive;  // Tested when the active interface is looked for.
};
using InterfaceTable = std::array<InterfaceSlot, kSlots>;

// This platform's table.
extern const InterfaceTable kInterfaceTable;

// An entry of the system's list: one address of one interface.
struct HostAddress {
    std::string name;
    unsigned nFlags;
    chInAddr address;
};

// The IPv4 and IPv6 entries in the system's order; empty when it gives none.
std::vector<HostAddress> listHostAddresses();

// The slot of a name; -1 when it is in none.
int slotOf(const InterfaceTable& table, std::string_view name);

// The address that each slot has.
struct SlotAddress {
    std::string interfaceName;
    chInAddr address;
};
using SlotAddresses = std::array<SlotAddress, kSlots>;

// Of several interfaces in a slot `preferred` wins, then the slot's exact name, then
// the first; of several addresses of the winner, the last.
SlotAddresses fillSlots(const InterfaceTable& table, const std::vector<HostAddress>& list, int nFamily,
                        std::string_view preferred);

bool isUsable(const SlotAddress& slot);

// The slot chosen; -1 for none.
int chooseSlot(const InterfaceTable& table, const SlotAddresses& slots, std::string_view preferred);

// The text of an address, without padding.
std::string addressText(const chInAddr& address);

// The name of the active interface; empty without one.
std::string activeInterface(const InterfaceTable& table, const std::vector<HostAddress>& list);

// Reads six bytes; writes the reason to standard output on failure. Supplied by the
// platform.
bool readHardwareAddress(const char* szName, unsigned nIndex, unsigned char* pOut);

}  // namespace vdx::net
