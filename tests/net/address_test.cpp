// Addresses: texts and their oddities, rules, values, layouts. The fuzzer of addresses
// compares the full parser with the system's.
#include <arpa/inet.h>
#include <csignal>
#include <cstring>

#include <gtest/gtest.h>

#include <vdx/address.h>

#include "support/child.h"
#include "support/vectors.h"

namespace {

chInAddr parse(const std::string& text) {
    chInAddr address;
    EXPECT_TRUE(sockParseAddress(text, address)) << text;
    return address;
}

// Whether the check still runs after a while; then a signal ends it.
bool hangs(const std::string& text) {
    const auto check = [&] {
        ualarm(30000, 0);
        return sockIsValidIPv6(text) ? 1 : 2;
    };
    return vdxtest::runInChild(check).signal() == SIGALRM;
}

TEST(AddressText, IsReadAsTheVectorsSay) {
    const auto rows = readVectors("addresses.vec");
    ASSERT_GT(rows.size(), 50u);
    for (const auto& row : rows) {
        SCOPED_TRACE(row[0]);
        if (row[1] == "hangs") {
            EXPECT_TRUE(hangs(row[0]));
        } else {
            EXPECT_EQ(sockIsValidIPv4(row[0]), row[1].find('.') != row[1].npos);
            EXPECT_EQ(sockIsValidIPv6(row[0]), row[1].find(':') != row[1].npos);
            EXPECT_STREQ(chInAddr(row[0]).toString().c_str(), row[1] == "-" ? "" : row[1].c_str());
        }
        chInAddr address("9.9.9.9");
        EXPECT_EQ(sockParseAddress(row[0], address), row[2] != "-");
        EXPECT_STREQ(address.toString().c_str(), row[2] == "-" ? "9.9.9.9" : row[2].c_str());
        if (row[2] == "-") continue;
        EXPECT_EQ(address.isValidLocalAddr(), row[3].starts_with('l'));
        EXPECT_EQ(address.isValidRemoteAddr(), row[3].ends_with('r'));
        // A socket address excludes one less.
        const bool bOdd = row[0] == "0.0.254.169";
        EXPECT_EQ(chSocketAddr(address, 9).isValidLocalAddr(), address.isValidLocalAddr() || bOdd);
        EXPECT_EQ(chSocketAddr(address, 9).isValidRemoteAddr(), address.isValidRemoteAddr() || bOdd);
        EXPECT_EQ(chSocketAddr(address, 9).toInAddr(), address);
    }
    // And what no file of vectors can hold.
    EXPECT_EQ(chInAddr(" 1.2.3.4").toString(), "255.255.255.255");
    EXPECT_EQ(chInAddr(std::string("1.2.3.4\0junk", 12)).toString(), "1.2.3.4");
    chInAddr kept;
    for (const std::string& text : {std::string(), std::string("::1\0", 4), std::string(100000, ':')})
        EXPECT_FALSE(sockParseAddress(text, kept));
}

TEST(AddressText, KeepsTheSystemsForms) {
    EXPECT_EQ(parse("2001:db8::1").toString(), std::string("2001:db8::1").append(35, '\0'));
    EXPECT_EQ(toString(chInAddr()), "");
    EXPECT_FALSE(chInAddr().isValidLocalAddr());
    EXPECT_FALSE(chInAddr().isValidRemoteAddr());
    // What is no address.
    in_addr bad;
    EXPECT_TRUE(fromString("no address", bad));
    EXPECT_EQ(toString(bad), "255.255.255.255");
    in6_addr kept = parse("::7").toIn6Addr();
    EXPECT_TRUE(fromString("no address", kept));
    EXPECT_EQ(chInAddr(kept), parse("::7"));
    chInAddr none("1.1.1.1");
    EXPECT_TRUE(fromString("no address", none));
    EXPECT_EQ(none, chInAddr());

    char szSmall[4];
    EXPECT_EQ(sockInet_ntop(AF_INET, &bad, szSmall, -1), nullptr);
    EXPECT_EQ(sockInet_pton(AF_INET, "1.2.3.4", &bad), 1);
    EXPECT_EQ(toString(bad), "1.2.3.4");
}

TEST(chInAddr, ComparesTheBytesOfItsFamily) {
    const chInAddr left = parse("1.2.3.4");
    chInAddr right = left.toInAddr();
    EXPECT_NE(left, parse("102:304::9"));
    right.toIn6Addr().s6_addr[15] = 1;  // Beyond an IPv4 address.
    EXPECT_EQ(left, right);
    right = right.toInAddr();
    EXPECT_EQ(right.toIn6Addr().s6_addr[15], 0);
    right.clear();
    EXPECT_NE(left, right);
}

TEST(chSocketAddr, IsThePlatformsAddress) {
    const sockaddr_in in{
        .sin_family = AF_INET, .sin_port = htons(8080), .sin_addr{htonl(0x0A000001)}, .sin_zero{}};
    EXPECT_EQ(std::memcmp(chSocketAddr("10.0.0.1", 8080).toSocketAddr(), &in, sizeof in), 0);

    sockaddr_in6 in6{};
    in6.sin6_family = AF_INET6;
    in6.sin6_port = htons(1);
    in6.sin6_addr = parse("fe80::5").toIn6Addr();
    chSocketAddr six;
    EXPECT_TRUE(six.CreateSocketAddr(parse("fe80::5"), 1));
    EXPECT_EQ(std::memcmp(six.toSocketAddr(), &in6, sizeof in6), 0);
    EXPECT_EQ(six.toString(), "fe80::5:1");

    in6.sin6_scope_id = 7;
    std::memcpy(six.toSocketAddr(), &in6, sizeof in6);
    EXPECT_TRUE(six == chSocketAddr(parse("fe80::5"), 1));
    EXPECT_FALSE(six == chSocketAddr(parse("fe80::5"), 2));
    EXPECT_FALSE(six == chSocketAddr(parse("fe80::6"), 1));
}

TEST(chSocketAddr, SaysWhatIsMissing) {
    chSocketAddr address;
    EXPECT_FALSE(address.CreateSocketAddr("10.0.0.1", 0));
    EXPECT_EQ(address.toString(), "10.0.0.1:0");
    EXPECT_FALSE(address.isValidLocalAddr() || address.isValidRemoteAddr());

    EXPECT_FALSE(address.CreateSocketAddr("host.example", 80));
    EXPECT_EQ(std::memcmp(address.toSocketAddr(), chSocketAddr().toSocketAddr(), 28), 0);
    EXPECT_TRUE(address == chSocketAddr());
    EXPECT_EQ(address.toString(), ":0");

    address.CreateSocketAddr("1.2.3.4", 5);
    address.reset();
    EXPECT_FALSE(address.hasData());
    EXPECT_EQ(address.port(), 0);
    address.toSocketAddr()->sa_family = AF_UNIX;
    EXPECT_FALSE(address == address);
}

}  // namespace
