// Arbitrary texts to the address parsers: they agree with the system's, and what is
// printed reads back.
#include <arpa/inet.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <vdx/address.h>

namespace {

void check(bool bTrue) {
    if (!bTrue) std::abort();
}

// Texts for which the check by contract does not return, and a few more.
bool mayHoldEmptyGroup(const std::string& text) {
    const std::string address = text.substr(0, text.find('/'));
    return address.find("::") != address.npos ||
           (!address.empty() && (address.front() == ':' || address.back() == ':'));
}

bool scansAsIPv4(const std::string& text) {
    unsigned a, b, c, d;
    char rest;
    return text.size() < 16 && std::sscanf(text.c_str(), "%u.%u.%u.%u%c", &a, &b, &c, &d, &rest) == 4 &&
           a < 256 && b < 256 && c < 256 && d < 256;
}

bool systemParses(const std::string& text, chInAddr& out) {
    if (text.find('\0') != text.npos) return false;
    in_addr v4;
    in6_addr v6;
    if (inet_pton(AF_INET, text.c_str(), &v4) == 1) {
        out = v4;
        return true;
    }
    if (inet_pton(AF_INET6, text.c_str(), &v6) != 1) return false;
    out = v6;
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string text(reinterpret_cast<const char*>(pData), nSize);
    check(sockIsValidIPv4(text) == scansAsIPv4(text));

    chInAddr parsed;
    chInAddr bySystem;
    const bool bParsed = sockParseAddress(text, parsed);
    const bool bBracketed = text.size() > 2 && text.front() == '[' && text.back() == ']';
    check(bBracketed || bParsed == systemParses(text, bySystem));
    check(bBracketed || parsed == bySystem);
    if (bParsed) {
        chInAddr again;
        check(sockParseAddress(parsed.toString().c_str(), again) && again == parsed);
    }
    if (mayHoldEmptyGroup(text)) return 0;
    const bool bValidIPv6 = sockIsValidIPv6(text);
    const bool bPrefix = text.find('/') != text.npos;
    check(!bValidIPv6 || bPrefix || (bParsed && parsed.isIPv6()));
    const chSocketAddr address(text, 80);
    check(address.hasData() == (bValidIPv6 || sockIsValidIPv4(text)));
    return 0;
}
