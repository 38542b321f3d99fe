// Host addresses, socket addresses and their texts; IPv4 and IPv6.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <cstdint>
#include <string>

#include <vdx/export.h>

// Example:
//   chInAddr host;
//   if (!sockParseAddress("[2001:db8::1]", host)) return false;
//   chSocketAddr server(host, 8080);
//   vdxOutputDebugString("%s", server.toString().c_str());  // 2001:db8::1:8080
//
// Thread-safety: values and functions without shared state; one object is changed
// by one thread at a time.

// A host address without a port: none, IPv4 or IPv6.
class VDX_API chInAddr {
public:
    chInAddr() = default;                          // No address.
    chInAddr(const std::string& text);             // As fromString, its warning included.
    chInAddr(const in_addr& address);              // IPv4.
    chInAddr(const in6_addr& address);             // IPv6.
    chInAddr& operator=(const in_addr& address);   // Becomes this IPv4 address.
    chInAddr& operator=(const in6_addr& address);  // Becomes this IPv6 address.

    // No address again.
    void clear();

    // Takes a text that sockIsValidIPv4 or sockIsValidIPv6 accepts, else becomes no
    // address. Always true: ask hasData.
    // Warning: does not return for a text with an empty IPv6 group ("::1"), and
    // understands no compressed form. sockParseAddress does both right.
    // An IPv6 text with a prefix ("1:2:3:4:5:6:7:8/64") gives the all-zero address.
    bool fromString(const std::string& text);

    // IPv4: dotted decimal. IPv6: 46 characters, the text followed by zero bytes, so
    // take it by c_str(). No address: the empty text.
    std::string toString() const;

    int family() const { return m_nFamily; }               // 0, AF_INET or AF_INET6.
    bool hasData() const { return m_nFamily != 0; }        // Whether there is an address.
    bool isIPv4() const { return m_nFamily == AF_INET; }   // False without an address, as isIPv6.
    bool isIPv6() const { return m_nFamily == AF_INET6; }  // False without an address, as isIPv4.

    // The address bytes, whatever the family; network byte order.
    in_addr& toInAddr();
    const in_addr& toInAddr() const;
    in6_addr& toIn6Addr();
    const in6_addr& toIn6Addr() const;

    // Whether a socket of this host may be bound to it. IPv6: no multicast address.
    // IPv4: neither 255.255.255.255 nor the one address whose stored number, read
    // in the host's byte order, is 0xA9FE0000 (0.0.254.169 on little-endian hosts;
    // the link-local range as a whole is not excluded).
    bool isValidLocalAddr() const;

    // Whether a peer can have it. IPv4: as above and not 0.0.0.0. IPv6: neither
    // "::", "::1" nor link-local (fe80::/10).
    bool isValidRemoteAddr() const;

    // Same family and same bytes of that family; no address equals no address.
    bool operator==(const chInAddr& other) const;
    bool operator!=(const chInAddr& other) const { return !(*this == other); }

private:
    std::uint16_t m_nFamily = 0;
    // Aligned as the system's address types are: references to them are handed out.
    alignas(in6_addr) unsigned char m_address[16] = {};
};

// The platform's socket address (family, port, host address), large enough for
// either family: handed to the socket calls as it is. IPv6 flow information and
// scope are always 0.
class VDX_API chSocketAddr {
public:
    chSocketAddr();                                    // All zero.
    chSocketAddr(const chInAddr& host, int nPort);     // As CreateSocketAddr.
    chSocketAddr(const std::string& host, int nPort);  // The same; the host as chInAddr::fromString.

    // Fills in host and port (its low 16 bits), after zeroing everything. False for
    // no host address, which leaves all zero, and for port 0, which leaves the rest
    // filled in.
    bool CreateSocketAddr(const chInAddr& host, int nPort);
    bool CreateSocketAddr(const std::string& host, int nPort);

    // Makes the family 0; the other bytes stay.
    void reset();
    bool hasData() const { return family() != 0; }

    // The address for the calls of the system: sizeof(chSocketAddr) bytes may be written.
    sockaddr* toSocketAddr() { return &m_address.any; }
    const sockaddr* toSocketAddr() const { return &m_address.any; }
    chInAddr toInAddr() const;  // No address when the family is another one.
    int port() const;           // Host byte order; 0 without an address.
    int family() const { return m_address.any.sa_family; }

    // The port is not 0, and the address is no IPv6 multicast and not
    // 255.255.255.255.
    bool isValidLocalAddr() const;

    // The port is not 0, and the address is neither 0.0.0.0 nor 255.255.255.255;
    // IPv6 as chInAddr::isValidRemoteAddr.
    bool isValidRemoteAddr() const;

    // "address:port". An IPv6 address stands without brackets: the port follows the
    // last colon.
    std::string toString() const;

    // Same family, port and address; IPv6 flow and scope do not count. Two without
    // an address are equal.
    bool operator==(const chSocketAddr& other) const;

private:
    union {
        sockaddr any;
        sockaddr_in v4;
        sockaddr_in6 v6;
    } m_address;
};

// Parses every text form of an address in RFC 4291, 2.2 (full, compressed, with an
// IPv4 tail) and strict dotted IPv4 (four decimal numbers without leading zeros).
// An IPv6 text may stand in brackets. No prefix length, no zone, no name
// resolution. Always returns; false leaves `out` as it was.
VDX_API bool sockParseAddress(const std::string& text, chInAddr& out);

// Whether the text reads as "%u.%u.%u.%u" does, within 15 characters and with four
// numbers below 256: white space before a number and a plus sign are accepted.
VDX_API bool sockIsValidIPv4(const std::string& text);

// Whether the text is eight groups of one to four hexadecimal digits, with an
// optional "/" and prefix length up to 128. The compressed form and an IPv4 tail
// are not understood.
// Warning: does not return for a text with an empty group ("::1", "1:2:"). Kept:
// give it only texts that hold none, or use sockParseAddress.
VDX_API bool sockIsValidIPv6(const std::string& text);

// Dotted decimal.
VDX_API std::string toString(const in_addr& address);

// Always 46 characters: the text followed by zero bytes. Take it by c_str().
VDX_API std::string toString(const in6_addr& address);

// As chInAddr::toString.
VDX_API std::string toString(const chInAddr& address);

// Store what inet_addr (the all-ones address for a bad text) or inet_pton (nothing
// for a bad text) makes of it, or as chInAddr::fromString. Always true.
VDX_API bool fromString(const std::string& text, in_addr& out);
VDX_API bool fromString(const std::string& text, in6_addr& out);
VDX_API bool fromString(const std::string& text, chInAddr& out);

// The platform's inet_pton: 1, 0 for a bad text, -1 for an unknown family.
VDX_API int sockInet_pton(int nFamily, const char* szText, void* pOut);

// The platform's inet_ntop: szOut, or null with errno when nSize bytes are too few.
VDX_API const char* sockInet_ntop(int nFamily, const void* pAddress, char* szOut, int nSize);
