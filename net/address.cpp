// Host addresses and socket addresses as values.
#include <vdx/address.h>

#include <arpa/inet.h>
#include <cstddef>
#include <cstring>

#include "net/address_text.h"
#include "net/socket_port.h"

namespace {

static_assert(INET6_ADDRSTRLEN == 46 && sizeof(chSocketAddr) == 28 && sizeof(sockaddr_in) == 16);
static_assert(offsetof(sockaddr_in, sin_port) == offsetof(sockaddr_in6, sin6_port));

// Compared as stored, in the host's byte order. Kept: it was meant to be the
// link-local network, and excludes one unrelated address instead.
constexpr std::uint32_t kExcludedStoredValue = 0xA9FE0000;

bool isMulticast(const in6_addr& address) {
    return address.s6_addr[0] == 0xFF;
}

// In fe80::/10, "::" or "::1".
bool isHostBound(const in6_addr& address) {
    static const unsigned char s_zeros[15] = {};
    if (std::memcmp(address.s6_addr, s_zeros, sizeof s_zeros) == 0) return address.s6_addr[15] <= 1;
    return address.s6_addr[0] == 0xFE && (address.s6_addr[1] & 0xC0) == 0x80;
}

}  // namespace

// --- chInAddr ---------------------------------------------------------------

chInAddr::chInAddr(const std::string& text) {
    fromString(text);
}
chInAddr::chInAddr(const in_addr& address) {
    *this = address;
}
chInAddr::chInAddr(const in6_addr& address) {
    *this = address;
}

chInAddr& chInAddr::operator=(const in_addr& address) {
    const in_addr copy = address;  // It may be a reference into this object.
    clear();
    m_nFamily = AF_INET;
    std::memcpy(m_address, &copy, sizeof copy);
    return *this;
}

chInAddr& chInAddr::operator=(const in6_addr& address) {
    m_nFamily = AF_INET6;
    std::memmove(m_address, &address, sizeof address);
    return *this;
}

void chInAddr::clear() {
    m_nFamily = 0;
    std::memset(m_address, 0, sizeof m_address);
}

bool chInAddr::fromString(const std::string& text) {
    in_addr v4;
    if (vdx::net::parseStrictIPv4(text, v4) || vdx::net::parseLooseIPv4(text, v4)) {
        *this = v4;
        return true;
    }
    clear();
    if (sockIsValidIPv6(text)) {
        m_nFamily = AF_INET6;
        inet_pton(AF_INET6, text.c_str(), m_address);
    }
    return true;
}

std::string chInAddr::toString() const {
    if (isIPv6()) return ::toString(toIn6Addr());
    return isIPv4() ? ::toString(toInAddr()) : std::string();
}

in_addr& chInAddr::toInAddr() {
    return *reinterpret_cast<in_addr*>(m_address);
}
const in_addr& chInAddr::toInAddr() const {
    return *reinterpret_cast<const in_addr*>(m_address);
}
in6_addr& chInAddr::toIn6Addr() {
    return *reinterpret_cast<in6_addr*>(m_address);
}
const in6_addr& chInAddr::toIn6Addr() const {
    return *reinterpret_cast<const in6_addr*>(m_address);
}

bool chInAddr::isValidLocalAddr() const {
    if (isIPv6()) return !isMulticast(toIn6Addr());
    const std::uint32_t nStored = toInAddr().s_addr;
    return isIPv4() && nStored != INADDR_BROADCAST && nStored != kExcludedStoredValue;
}

bool chInAddr::isValidRemoteAddr() const {
    if (isIPv6()) return !isHostBound(toIn6Addr());
    return isValidLocalAddr() && toInAddr().s_addr != INADDR_ANY;
}

bool chInAddr::operator==(const chInAddr& other) const {
    if (m_nFamily != other.m_nFamily) return false;
    if (m_nFamily == 0) return true;
    return std::memcmp(m_address, other.m_address, isIPv4() ? sizeof(in_addr) : sizeof(in6_addr)) == 0;
}

// --- chSocketAddr -----------------------------------------------------------

chSocketAddr::chSocketAddr() {
    std::memset(&m_address, 0, sizeof m_address);
}
chSocketAddr::chSocketAddr(const chInAddr& host, int nPort) {
    CreateSocketAddr(host, nPort);
}
chSocketAddr::chSocketAddr(const std::string& host, int nPort) {
    CreateSocketAddr(host, nPort);
}

bool chSocketAddr::CreateSocketAddr(const chInAddr& host, int nPort) {
    std::memset(&m_address, 0, sizeof m_address);
    if (!host.hasData()) return false;
    const auto nNetworkPort = htons(static_cast<std::uint16_t>(nPort));
    if (host.isIPv6()) {
        m_address.v6.sin6_addr = host.toIn6Addr();
        m_address.v6.sin6_port = nNetworkPort;
    } else {
        m_address.v4.sin_addr = host.toInAddr();
        m_address.v4.sin_port = nNetworkPort;
    }
    vdx::net::setFamily(&m_address.any, host.family());
    return nPort != 0;
}

bool chSocketAddr::CreateSocketAddr(const std::string& host, int nPort) {
    return CreateSocketAddr(chInAddr(host), nPort);
}

void chSocketAddr::reset() {
    m_address.any.sa_family = 0;
}

chInAddr chSocketAddr::toInAddr() const {
    if (family() == AF_INET6) return chInAddr(m_address.v6.sin6_addr);
    return family() == AF_INET ? chInAddr(m_address.v4.sin_addr) : chInAddr();
}

int chSocketAddr::port() const {
    return family() == 0 ? 0 : ntohs(m_address.v4.sin_port);
}

bool chSocketAddr::isValidLocalAddr() const {
    if (port() == 0) return false;
    if (family() == AF_INET6) return !isMulticast(m_address.v6.sin6_addr);
    return family() != AF_INET || m_address.v4.sin_addr.s_addr != INADDR_BROADCAST;
}

bool chSocketAddr::isValidRemoteAddr() const {
    if (port() == 0) return false;
    if (family() == AF_INET6) return !isHostBound(m_address.v6.sin6_addr);
    const std::uint32_t nStored = m_address.v4.sin_addr.s_addr;
    return family() != AF_INET || (nStored != INADDR_ANY && nStored != INADDR_BROADCAST);
}

std::string chSocketAddr::toString() const {
    // By c_str(): an IPv6 text is padded with zero bytes.
    return std::string(toInAddr().toString().c_str()).append(":").append(std::to_string(port()));
}

bool chSocketAddr::operator==(const chSocketAddr& other) const {
    if (family() != other.family()) return false;
    if (family() == 0) return true;
    const chInAddr host = toInAddr();
    return host.hasData() && port() == other.port() && host == other.toInAddr();
}
