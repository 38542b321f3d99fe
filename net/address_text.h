// IPv4 texts, read and written without the C library's detours.
#pragma once

#include <netinet/in.h>
#include <string>
#include <string_view>

namespace vdx::net {

// Room for a dotted text and its final zero byte.
constexpr int kIPv4TextSize = 16;

// The rule of sockIsValidIPv4, and the address that inet_addr makes of a text which
// passes it (they differ: inet_addr reads a leading zero as octal).
bool parseLooseIPv4(std::string_view text, in_addr& out);

// Four decimal numbers up to 255, without leading zeros, and nothing else.
bool parseStrictIPv4(const std::string& text, in_addr& out);

// Writes the dotted text without a zero byte; returns its length (7 to 15).
int printIPv4(const in_addr& address, char (&szOut)[kIPv4TextSize]);

}  // namespace vdx::net
