// Texts of addresses: the checks, the parsers, the printers.
#include "net/address_text.h"

#include <arpa/inet.h>
#include <algorithm>
#include <cstring>

#include <vdx/address.h>
#include <vdx/characters.h>
#include <vdx/platform.h>

namespace vdx::net {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Reads what "%u" reads: white space, a sign, digits. True when the number is below
// 256 (a negative one wraps to a large value, so only -0 is). bPlain turns false
// unless the number stands bare and without a leading zero.
bool readLooseNumber(const char*& p, const char* pEnd, unsigned& nValue, bool& bPlain) {
    const char* pStart = p;
    while (p != pEnd && isSpace(*p))
        ++p;
    const bool bMinus = p != pEnd && *p == '-';
    if (p != pEnd && (*p == '-' || *p == '+')) ++p;
    const char* pDigits = p;
    for (nValue = 0; p != pEnd && isDigit(*p); ++p) {
        nValue =
            nValue * 10 + static_cast<unsigned>(*p - '0');  // At most 15 digits; below 256 checked first.
        if (nValue > 255) return false;
    }
    if (p == pDigits || (bMinus && nValue != 0)) return false;
    bPlain = bPlain && pDigits == pStart && (*pDigits != '0' || p - pDigits == 1);
    return true;
}

unsigned digitAt(const char* p) {
    return static_cast<unsigned>(*p - '0');
}  // Above 9: no digit.

// Reads one to three digits without a leading zero; below 256. The text's final zero
// byte ends it.
inline bool readPlainNumber(const char*& p, unsigned& nValue) {
    nValue = digitAt(p++);
    if (nValue > 9) return false;
    for (int i = 0; i < 2; ++i) {
        const unsigned nDigit = digitAt(p);
        if (nDigit > 9) return true;
        if (nValue == 0) return false;
        nValue = nValue * 10 + nDigit;
        ++p;
    }
    return nValue <= 255;
}

in_addr fromNumbers(const unsigned (&numbers)[4]) {
    in_addr address;
    address.s_addr = htonl(numbers[0] << 24 | numbers[1] << 16 | numbers[2] << 8 | numbers[3]);
    return address;
}

// The decimal length of a prefix: digits only, at most 128; none counts as 0.
bool isPrefixLength(std::string_view text) {
    int nValue = 0;
    for (const char c : text) {
        if (!isDigit(c)) return false;
        nValue = std::min(nValue * 10 + (c - '0'), 129);
    }
    return nValue <= 128;
}

bool isGroup(std::string_view group) {
    return group.size() <= 4 && std::all_of(group.begin(), group.end(), chIsDigit16);
}

// Kept: the check examines an empty group again and again. Sleeps, because a loop
// without any effect may not be written.
[[noreturn]] void examineForEver() {
    for (;;)
        vdxSleep(1000);
}

}  // namespace

bool parseLooseIPv4(std::string_view text, in_addr& out) {
    if (text.size() >= kIPv4TextSize) return false;
    const char* const pBegin = text.data();
    const char* p = pBegin;
    // The rule is a C string's: it ends at the first zero byte.
    const char* pEnd = std::find(p, p + text.size(), '\0');
    unsigned numbers[4];
    bool bPlain = true;
    for (int i = 0; i < 4; ++i) {
        if (i > 0 && (p == pEnd || *p++ != '.')) return false;
        if (!readLooseNumber(p, pEnd, numbers[i], bPlain)) return false;
    }
    if (p != pEnd) return false;
    if (bPlain) {
        out = fromNumbers(numbers);
    } else {
        out.s_addr = inet_addr(std::string(pBegin, pEnd).c_str());
    }
    return true;
}

bool parseStrictIPv4(const std::string& text, in_addr& out) {
    const char* p = text.c_str();
    unsigned numbers[4];
    if (!readPlainNumber(p, numbers[0]) || *p++ != '.' || !readPlainNumber(p, numbers[1]) || *p++ != '.' ||
        !readPlainNumber(p, numbers[2]) || *p++ != '.' || !readPlainNumber(p, numbers[3])) {
        return false;
    }
    if (p != text.c_str() + text.size()) return false;
    out = fromNumbers(numbers);
    return true;
}

int printIPv4(const in_addr& address, char (&szOut)[kIPv4TextSize]) {
    unsigned char bytes[4];
    std::memcpy(bytes, &address, sizeof bytes);
    char* p = szOut;
    for (int i = 0; i < 4; ++i) {
        const unsigned n = bytes[i];
        if (i > 0) *p++ = '.';
        if (n >= 100) *p++ = static_cast<char>('0' + n / 100);
        if (n >= 10) *p++ = static_cast<char>('0' + n / 10 % 10);
        *p++ = static_cast<char>('0' + n % 10);
    }
    return static_cast<int>(p - szOut);
}

}  // namespace vdx::net

using namespace vdx::net;

bool sockParseAddress(const std::string& text, chInAddr& out) {
    in_addr v4;
    if (parseStrictIPv4(text, v4)) {
        out = v4;
        return true;
    }
    std::string_view inner(text);
    if (inner.size() >= 2 && inner.front() == '[' && inner.back() == ']')
        inner = inner.substr(1, inner.size() - 2);
    char szText[INET6_ADDRSTRLEN] = {};
    // Only an IPv6 text has a colon; a zero byte would hide what follows it.
    if (inner.size() >= sizeof szText || inner.find(':') == inner.npos || inner.find('\0') != inner.npos)
        return false;
    inner.copy(szText, inner.size());
    in6_addr v6;
    if (inet_pton(AF_INET6, szText, &v6) != 1) return false;
    out = v6;
    return true;
}

bool sockIsValidIPv4(const std::string& text) {
    in_addr unused;
    return parseLooseIPv4(text, unused);
}

bool sockIsValidIPv6(const std::string& text) {
    const std::string_view all(text);
    const std::size_t nSlash = all.find('/');
    if (nSlash != all.npos && !isPrefixLength(all.substr(nSlash + 1))) return false;
    std::string_view rest = all.substr(0, nSlash);
    if (rest.size() < 2 || rest.size() > 39) return false;
    for (int nGroups = 1;; ++nGroups) {
        const std::size_t nColon = rest.find(':');
        const std::string_view group = rest.substr(0, nColon);
        if (group.empty()) examineForEver();
        if (!isGroup(group) || nGroups > 9) return false;
        if (nColon == rest.npos) return nGroups == 8;
        rest.remove_prefix(nColon + 1);
    }
}

std::string toString(const in_addr& address) {
    char szText[kIPv4TextSize];
    return std::string(szText, static_cast<std::size_t>(printIPv4(address, szText)));
}

std::string toString(const in6_addr& address) {
    std::string text(INET6_ADDRSTRLEN, '\0');
    inet_ntop(AF_INET6, &address, text.data(), INET6_ADDRSTRLEN);
    return text;
}

std::string toString(const chInAddr& address) {
    return address.toString();
}

bool fromString(const std::string& text, in_addr& out) {
    out.s_addr = inet_addr(text.c_str());
    return true;
}

bool fromString(const std::string& text, in6_addr& out) {
    inet_pton(AF_INET6, text.c_str(), &out);
    return true;
}

bool fromString(const std::string& text, chInAddr& out) {
    return out.fromString(text);
}

int sockInet_pton(int nFamily, const char* szText, void* pOut) {
    return inet_pton(nFamily, szText, pOut);
}

const char* sockInet_ntop(int nFamily, const void* pAddress, char* szOut, int nSize) {
    return inet_ntop(nFamily, pAddress, szOut, nSize > 0 ? static_cast<socklen_t>(nSize) : 0);
}
