// Arbitrary texts to the address parsers: they agree with the system's, and what is
// printed reads back.
#include <arpa/inet.h>
#include <cstdio>

#include <vdx/address.h>

#include "fuzz/fuzz.h"

namespace {

// Texts for which the check by contract does not return, and a few more.
bool mayHoldEmptyGroup(const std::string& text) {
    const std::string address = ":" + text.substr(0, text.find('/')) + ":";
    return address.size() > 2 && address.find("::") != address.npos;
}

bool scansAsIPv4(const std::string& text) {
    unsigned a, b, c, d;
    char rest;
    return text.size() < 16 && std::sscanf(text.c_str(), "%u.%u.%u.%u%c", &a, &b, &c, &d, &rest) == 4 &&
           a < 256 && b < 256 && c < 256 && d < 256;
}

chInAddr bySystem(const std::string& text) {
    in_addr v4;
    in6_addr v6;
    if (text.find('\0') != text.npos) return {};
    if (inet_pton(AF_INET, text.c_str(), &v4) == 1) return v4;
    return inet_pton(AF_INET6, text.c_str(), &v6) == 1 ? chInAddr(v6) : chInAddr();
}

}  // namespace

void fuzz(const Bytes& input) {
    const std::string text = textOf(input);
    require(sockIsValidIPv4(text) == scansAsIPv4(text));
    in_addr v4;
    require(!scansAsIPv4(text) || (fromString(text, v4) && chInAddr(text) == chInAddr(v4)));
    chInAddr parsed, again;
    const bool bParsed = sockParseAddress(text, parsed);
    const bool bBracketed = text.size() > 2 && text.front() == '[' && text.back() == ']';
    require(bParsed == parsed.hasData() && (bBracketed || parsed == bySystem(text)));
    require(!bParsed || (sockParseAddress(parsed.toString().c_str(), again) && again == parsed));
    if (mayHoldEmptyGroup(text)) return;
    const bool bValidIPv6 = sockIsValidIPv6(text);
    const bool bPrefix = text.find('/') != text.npos;
    require(!bValidIPv6 || bPrefix || parsed.isIPv6());
    require(chSocketAddr(text, 80).hasData() == (bValidIPv6 || sockIsValidIPv4(text)));
}
