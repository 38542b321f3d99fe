// Addresses: the checks with their oddities, the full parser, values and layouts.
#include <arpa/inet.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include <vdx/address.h>

namespace {

in6_addr v6(const char* szText) {
    in6_addr address;
    EXPECT_EQ(inet_pton(AF_INET6, szText, &address), 1) << szText;
    return address;
}

in_addr v4(const char* szText) {
    in_addr address;
    EXPECT_EQ(inet_pton(AF_INET, szText, &address), 1) << szText;
    return address;
}

// The rule as it is written down.
bool scansAsIPv4(const std::string& text) {
    if (text.size() >= 16) return false;
    char buffer[16] = {};
    text.copy(buffer, text.size());
    unsigned a, b, c, d;
    char rest;
    return std::sscanf(buffer, "%u.%u.%u.%u%c", &a, &b, &c, &d, &rest) == 4 && a < 256 && b < 256 &&
           c < 256 && d < 256;
}

std::string randomText(std::mt19937& random, const std::string& alphabet, std::size_t nLongest) {
    std::string text(random() % (nLongest + 1), ' ');
    for (char& c : text)
        c = alphabet[random() % alphabet.size()];
    return text;
}

TEST(sockIsValidIPv4, ReadsAsTheScanRuleDoes) {
    struct Row {
        std::string text;
        bool bValid;
        const char* szAddress;  // What chInAddr makes of it.
    };
    const Row rows[] = {{"1.2.3.4", true, "1.2.3.4"},
                        {"255.255.255.255", true, "255.255.255.255"},
                        {"1.2.3.4x", false, ""},
                        {"1.2.3.4 ", false, ""},
                        {"256.1.1.1", false, ""},
                        {"1.2.3", false, ""},
                        {"", false, ""},
                        {"001.002.003.0004", false, ""},  // 16 characters.
                        {"010.1.1.1", true, "8.1.1.1"},   // Passed as decimal, stored as octal.
                        {" 1.2.3.4", true, "255.255.255.255"},
                        {"1.\t2.3.4", true, "255.255.255.255"},
                        {"+1.2.3.4", true, "255.255.255.255"},
                        {"-1.2.3.4", false, ""},
                        {"-0.2.3.4", true, "255.255.255.255"},
                        {std::string("1.2.3.4\0junk", 12), true, "1.2.3.4"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(sockIsValidIPv4(row.text), row.bValid);
        EXPECT_EQ(scansAsIPv4(row.text), row.bValid);
        if (row.bValid) {
            EXPECT_EQ(chInAddr(row.text).toString(), row.szAddress);
        }
    }
}

TEST(sockIsValidIPv4, AgreesWithTheScanRuleOnRandomTexts) {
    std::mt19937 random(1);
    const std::string alphabets[] = {std::string("0125.+- \t\0x", 11), "0123456789...", "12."};
    int nValid = 0;
    for (int i = 0; i < 300000; ++i) {
        const std::string text = randomText(random, alphabets[i % 3], 17);
        const bool bValid = scansAsIPv4(text);
        nValid += bValid;
        ASSERT_EQ(sockIsValidIPv4(text), bValid) << "[" << text << "]";
        if (!bValid) continue;
        in_addr expected;
        fromString(text, expected);
        ASSERT_EQ(chInAddr(text), chInAddr(expected)) << "[" << text << "]";
    }
    EXPECT_GT(nValid, 1000);
}

TEST(sockIsValidIPv6, CountsEightGroups) {
    struct Row {
        const char* szText;
        bool bValid;
    };
    const Row rows[] = {{"1:2:3:4:5:6:7:8", true},
                        {"1:2:3:4:5:6:7:8/64", true},
                        {"1:2:3:4:5:6:7:8/", true},
                        {"1:2:3:4:5:6:7:8/128", true},
                        {"1:2:3:4:5:6:7:8/129", false},
                        {"1:2:3:4:5:6:7:8/6a", false},
                        {"1:2:3:4:5:6:7:8/18446744073709551617", false},
                        {"1:2:3:4:5:6:7:8/64/64", false},
                        {"ABCD:ef01:0:0:0:0:0:ffff", true},
                        {"12345:2:3:4:5:6:7:8", false},
                        {"1:2:3:4:5:6:7:g", false},
                        {"1:2:3:4:5:6:7", false},
                        {"1:2:3:4:5:6:7:8:9", false},
                        {"1:2:3:4:5:6:7:8:9:a::", false},  // Refused before the empty group.
                        {"xyz::", false},
                        {"::1/129", false},
                        {"0:0:0:0:0:ffff:1.2.3.4", false},
                        {":", false},
                        {"", false},
                        {"1111:2222:3333:4444:5555:6666:7777:88888", false}};
    for (const Row& row : rows)
        EXPECT_EQ(sockIsValidIPv6(row.szText), row.bValid) << row.szText;
}

TEST(sockIsValidIPv6, DoesNotReturnForAnEmptyGroup) {
    for (const char* szText : {"::1", "1:2:", ":1", "::", "1:2:3:4:5:6:7::"}) {
        const pid_t nChild = fork();
        if (nChild == 0) _exit(sockIsValidIPv6(szText) ? 1 : 2);
        usleep(50000);
        int nStatus = 0;
        EXPECT_EQ(waitpid(nChild, &nStatus, WNOHANG), 0) << szText;
        kill(nChild, SIGKILL);
        waitpid(nChild, &nStatus, 0);
    }
}

TEST(sockParseAddress, TakesEveryTextFormAndNothingElse) {
    struct Row {
        std::string text;
        const char* szAddress;  // Null: refused.
    };
    const Row rows[] = {{"::", "::"},
                        {"::1", "::1"},
                        {"2001:DB8::8:800:200c:417A", "2001:db8::8:800:200c:417a"},
                        {"FF01:0:0:0:0:0:0:101", "ff01::101"},
                        {"1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0"},
                        {"::ffff:129.144.52.38", "::ffff:129.144.52.38"},
                        {"0:0:0:0:0:0:13.1.68.3", "::13.1.68.3"},
                        {"[fe80::1]", "fe80::1"},
                        {"192.168.1.5", "192.168.1.5"},
                        {"0.0.0.0", "0.0.0.0"},
                        {"1::2::3", nullptr},
                        {"1:2:3:4:5:6:7:8:9", nullptr},
                        {"12345::", nullptr},
                        {":::", nullptr},
                        {":1", nullptr},
                        {"1:", nullptr},
                        {"::1.2.3.256", nullptr},
                        {"::1.2.3", nullptr},
                        {"[::1", nullptr},
                        {"::1]", nullptr},
                        {"[[::1]]", nullptr},
                        {"[1.2.3.4]", nullptr},
                        {"[]", nullptr},
                        {"", nullptr},
                        {"::1/64", nullptr},
                        {"fe80::1%eth0", nullptr},
                        {" ::1", nullptr},
                        {std::string("::1\0", 4), nullptr},
                        {"010.1.1.1", nullptr},
                        {"1.2.3.0004", nullptr},
                        {"1.2.3.4 ", nullptr},
                        {"1.2.3", nullptr},
                        {"localhost", nullptr},
                        {std::string(100000, ':'), nullptr}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text.substr(0, 60));
        chInAddr address = v4("9.9.9.9");
        EXPECT_EQ(sockParseAddress(row.text, address), row.szAddress != nullptr);
        EXPECT_STREQ(address.toString().c_str(), row.szAddress != nullptr ? row.szAddress : "9.9.9.9");
    }
}

TEST(sockParseAddress, ReadsWhatIsPrinted) {
    std::mt19937 random(2);
    for (int i = 0; i < 20000; ++i) {
        in6_addr bytes;
        for (unsigned char& b : bytes.s6_addr)
            b = random() % 3 == 0 ? static_cast<unsigned char>(random()) : 0;
        const chInAddr address =
            random() % 2 == 0 ? chInAddr(bytes) : chInAddr(in_addr{static_cast<in_addr_t>(random())});
        chInAddr parsed;
        ASSERT_TRUE(sockParseAddress(address.toString().c_str(), parsed)) << address.toString();
        ASSERT_EQ(parsed, address);
    }
}

TEST(AddressText, KeepsTheSystemsForms) {
    EXPECT_EQ(toString(v4("0.10.200.255")), "0.10.200.255");
    const std::string text = toString(v6("2001:db8::1"));
    EXPECT_EQ(text.size(), 46u);
    EXPECT_EQ(text, std::string("2001:db8::1").append(35, '\0'));
    EXPECT_EQ(chInAddr(v6("2001:db8::1")).toString(), text);
    EXPECT_EQ(toString(chInAddr()), "");

    in_addr bad;
    EXPECT_TRUE(fromString("no address", bad));
    EXPECT_EQ(bad.s_addr, INADDR_NONE);
    in6_addr kept = v6("::7");
    EXPECT_TRUE(fromString("no address", kept));
    EXPECT_EQ(toString(kept), toString(v6("::7")));
    chInAddr none(v4("1.1.1.1"));
    EXPECT_TRUE(fromString("no address", none));
    EXPECT_FALSE(none.hasData());
    EXPECT_EQ(chInAddr("1:2:3:4:5:6:7:8"), chInAddr(v6("1:2:3:4:5:6:7:8")));
    EXPECT_EQ(chInAddr("1:2:3:4:5:6:7:8/64"), chInAddr(v6("::")));

    char szSmall[4];
    in_addr any{};
    EXPECT_EQ(sockInet_ntop(AF_INET, &any, szSmall, -1), nullptr);
    EXPECT_EQ(sockInet_pton(AF_INET, "1.2.3.4", &any), 1);
    EXPECT_EQ(chInAddr(any).toString(), "1.2.3.4");
}

TEST(AddressRules, LocalAndRemote) {
    struct Row {
        const char* szText;
        bool bLocal;
        bool bRemote;
    };
    const Row rows[] = {{"0.0.0.0", true, false},
                        {"255.255.255.255", false, false},
                        {"0.0.254.169", false, false},
                        {"169.254.0.0", true, true},
                        {"169.254.7.7", true, true},
                        {"127.0.0.1", true, true},
                        {"ff02::1", false, true},
                        {"::", true, false},
                        {"::1", true, false},
                        {"::2", true, true},
                        {"0:0:1::", true, true},
                        {"fe80::1", true, false},
                        {"febf::1", true, false},
                        {"fec0::1", true, true},
                        {"::ffff:127.0.0.1", true, true},
                        {"2001:db8::1", true, true}};
    for (const Row& row : rows) {
        chInAddr address;
        ASSERT_TRUE(sockParseAddress(row.szText, address));
        EXPECT_EQ(address.isValidLocalAddr(), row.bLocal) << row.szText;
        EXPECT_EQ(address.isValidRemoteAddr(), row.bRemote) << row.szText;
        // A socket address excludes one less.
        const bool bOdd = address == chInAddr(v4("0.0.254.169"));
        const chSocketAddr socketAddress(address, 9);
        EXPECT_EQ(socketAddress.isValidLocalAddr(), row.bLocal || bOdd) << row.szText;
        EXPECT_EQ(socketAddress.isValidRemoteAddr(), row.bRemote || bOdd) << row.szText;
        EXPECT_EQ(socketAddress.toInAddr(), address);
    }
    EXPECT_FALSE(chInAddr().isValidLocalAddr());
    EXPECT_FALSE(chInAddr().isValidRemoteAddr());
}

TEST(chInAddr, ComparesTheBytesOfItsFamily) {
    chInAddr left(v4("1.2.3.4"));
    chInAddr right(v6("102:304::9"));
    EXPECT_NE(left, right);
    right = v4("1.2.3.4");
    right.toIn6Addr().s6_addr[15] = 1;  // Beyond an IPv4 address.
    EXPECT_EQ(left, right);
    right = right.toInAddr();
    EXPECT_EQ(right.toIn6Addr().s6_addr[15], 0);
    left.clear();
    EXPECT_EQ(left, chInAddr());
    EXPECT_NE(left, right);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&left.toInAddr()) % alignof(in_addr), 0u);
}

TEST(chSocketAddr, IsThePlatformsAddress) {
    const chSocketAddr address("10.0.0.1", 8080);
    sockaddr_in in;
    std::memcpy(&in, address.toSocketAddr(), sizeof in);
    EXPECT_EQ(in.sin_family, AF_INET);
    EXPECT_EQ(in.sin_port, htons(8080));
    EXPECT_EQ(in.sin_addr.s_addr, v4("10.0.0.1").s_addr);

    chSocketAddr six;
    EXPECT_TRUE(six.CreateSocketAddr(chInAddr(v6("fe80::5")), 1));
    sockaddr_in6 in6;
    std::memcpy(&in6, six.toSocketAddr(), sizeof in6);
    EXPECT_EQ(in6.sin6_family, AF_INET6);
    EXPECT_EQ(in6.sin6_port, htons(1));
    EXPECT_EQ(in6.sin6_flowinfo, 0u);
    EXPECT_EQ(in6.sin6_scope_id, 0u);
    EXPECT_EQ(std::memcmp(&in6.sin6_addr, v6("fe80::5").s6_addr, 16), 0);
    EXPECT_EQ(six.toString(), "fe80::5:1");

    chSocketAddr other = six;
    reinterpret_cast<sockaddr_in6*>(other.toSocketAddr())->sin6_scope_id = 7;
    EXPECT_TRUE(other == six);
    other.CreateSocketAddr(chInAddr(v6("fe80::5")), 2);
    EXPECT_FALSE(other == six);
}

TEST(chSocketAddr, SaysWhatIsMissing) {
    chSocketAddr address;
    EXPECT_FALSE(address.CreateSocketAddr("10.0.0.1", 0));
    EXPECT_EQ(address.toInAddr().toString(), "10.0.0.1");
    EXPECT_EQ(address.toString(), "10.0.0.1:0");
    EXPECT_FALSE(address.isValidLocalAddr());
    EXPECT_FALSE(address.isValidRemoteAddr());

    EXPECT_FALSE(address.CreateSocketAddr("host.example", 80));
    const chSocketAddr zero;
    EXPECT_EQ(std::memcmp(address.toSocketAddr(), zero.toSocketAddr(), 28), 0);
    EXPECT_TRUE(address == zero);
    EXPECT_FALSE(address.hasData());
    EXPECT_EQ(address.port(), 0);
    EXPECT_EQ(address.toString(), ":0");

    address.CreateSocketAddr("1.2.3.4", 5);
    address.reset();
    EXPECT_FALSE(address.hasData());
    EXPECT_FALSE(address.toInAddr().hasData());

    address.toSocketAddr()->sa_family = AF_UNIX;
    EXPECT_FALSE(address == address);
}

}  // namespace
