// Which addresses this host uses, and raw frames on its interfaces.
#pragma once

#include <string>
#include <vector>

#include <vdx/address.h>
#include <vdx/export.h>
#include <vdx/socket.h>

// An address is chosen among six slots, in this order of preference. An interface
// whose name is in no slot is never chosen. Exact names go before families (names
// that begin so), and within a family the interface that the system lists first.
//
//   slot  name       families on Linux    role
//   0     "en2"      usb                  wired or secondary Ethernet
//   1     "utun0"    utun tun wg ppp      tunnel: while it is up, its address is the local one
//   2     "en0"      en eth               primary Ethernet (or Wi-Fi)
//   3     "en1"      wl                   Wi-Fi (or secondary Ethernet)
//   4     "en7"      bond team br0        further Ethernet
//   5     "pdp_ip0"  ww rmnet             mobile data
//
// On macOS the six names stand alone. An address is usable unless it is 0.0.0.0 or
// chInAddr::isValidLocalAddr refuses it; link-local ones are usable.
//
// Example:
//   int nSlot = -1;
//   const std::string chosen = getIPAddress("", nSlot);  // Empty, and slot -1, without a network.
//
// Thread-safety: all functions but sockGetHardwareAddress, whose result is shared.

// The chosen address as text and its slot; the empty text and -1 without one. If the
// name `preferred` is in a slot, that slot is chosen when its address is usable, and
// also, whatever its address (even none), when no slot has a usable one. The address is
// that interface's or, should it have none, of another one in the slot.
VDX_API std::string getIPAddress(const std::string& preferred, int& index);
VDX_API std::string getIPv6Address(const std::string& preferred, int& index);

// The same without a preferred interface; the argument is not used.
VDX_API std::string sockGetLocalIPString(const std::string& unused);
VDX_API std::string sockGetLocalIPv6Address(const std::string& unused);

// The usable addresses of all slots as texts: IPv4 in order of preference, then IPv6.
VDX_API std::vector<std::string> sockGetIPAddressList();

// Whether the active interface is a mobile one. Active is the first of the slots 0, 1,
// 2, 5 (on Linux, where Wi-Fi has names of its own: 0, 1, 2, 3, 5) that is up and has
// an IPv4 address.
VDX_API bool sockIsMobileTraffic();

// Whether any slot has a usable address.
VDX_API bool sockIsNetworkAvaiable();

// The first interface (in a slot or not) whose IPv4 address reads exactly so; empty
// without one, or for null.
VDX_API std::string sockGetAdapterByIPAddress(const char* szAddress);

// The IPv4 address of an interface (in a slot or not); 0.0.0.0 when it has none.
VDX_API chInAddr sockGetLocalIPAddress(const std::string& name);

// The usable IPv4 address of a slot; 0.0.0.0 when it has none.
VDX_API chInAddr sockGetLocalIPAddress(int nSlot);

// The six bytes of an interface's hardware address; of the active interface for an
// empty name. The result is one static buffer: copy it before another call, and call
// from one thread at a time. On failure a message on standard output (ending in "/n",
// those two characters) and the buffer as it was, all zero at first.
VDX_API const unsigned char* sockGetHardwareAddress(const std::string& name);

// A raw socket that sends and receives whole link-layer frames on one interface. It
// needs the system's privilege for that; without it, and on macOS, CreateSocket fails.
class VDX_API chEthernetSocket {
public:
    // Opens the interface of that name; closes first what is open.
    bool CreateSocket(const std::string& name);
    void DestroySocket() { m_socket.DestroySocket(); }               // Nothing happens when none is open.
    bool isValidSocket() const { return m_socket.isValidSocket(); }  // Whether one is open.

    // Sends one frame, link-layer header included, all of it or none.
    bool Send(const void* pFrame, int nBytes);

    // Waits for one frame (-1: no limit). Its length; 0 after the time limit, -1 on
    // failure. A longer frame than 65535 bytes is cut.
    int Receive(std::vector<unsigned char>& frame, int nTimeout);

private:
    class Link : public chSocket {
    public:
        using chSocket::adopt;
    };
    Link m_socket;
};
