// The choice of the host's address: over made-up lists, and over real interfaces in a
// namespace of the test's own.
#include <net/if.h>

#include <gtest/gtest.h>

#include <vdx/host_info.h>

#include "net/interface_table.h"
#include "net/namespace.h"
#include "net/peer.h"
#include "support/child.h"

namespace {

using namespace vdx::net;

// The six bare names.
const InterfaceTable kBareTable = {{{"en2", {}, true},
                                    {"utun0", {}, true},
                                    {"en0", {}, true},
                                    {"en1", {}, false},
                                    {"en7", {}, false},
                                    {"pdp_ip0", {}, true}}};

HostAddress entry(const char* szName, const char* szAddress, unsigned nFlags = IFF_UP) {
    chInAddr address;
    EXPECT_TRUE(sockParseAddress(szAddress, address));
    return {szName, nFlags, address};
}

TEST(InterfaceChoice, FollowsTheOrderOfTheSlots) {
    const HostAddress tunnel = entry("utun0", "10.9.9.9");
    const HostAddress primary = entry("en0", "10.0.0.1");
    const struct {
        const char* szLabel;
        std::vector<HostAddress> list;
        const char* szPreferred;
        int nSlot;
        const char* szAddress;
    } rows[] = {
        {"tunnel before primary", {primary, tunnel}, "", 1, "10.9.9.9"},
        {"preferred wins", {primary, tunnel}, "en0", 2, "10.0.0.1"},
        {"preferred unknown", {primary}, "en9", 2, "10.0.0.1"},
        {"preferred unusable", {entry("en0", "0.0.0.0"), entry("en1", "10.0.0.1")}, "en0", 3, "10.0.0.1"},
        {"nothing, none preferred", {}, "", -1, ""},
        {"nothing, one preferred", {}, "en1", 3, ""},
        {"nothing usable, one preferred", {entry("en0", "0.0.0.0")}, "en0", 2, "0.0.0.0"},
        {"nothing usable", {entry("en0", "0.0.0.0"), entry("en1", "255.255.255.255")}, "", -1, ""},
        {"outside the table", {entry("lo0", "127.0.0.1"), entry("en5", "10.0.0.1")}, "", -1, ""},
        {"a later entry replaces", {primary, entry("en0", "10.0.0.2")}, "", 2, "10.0.0.2"},
        {"link-local counts", {entry("en0", "169.254.3.4")}, "", 2, "169.254.3.4"},
        {"other family", {entry("en0", "2001:db8::1"), entry("pdp_ip0", "10.0.0.1")}, "", 5, "10.0.0.1"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szLabel);
        const SlotAddresses slots = fillSlots(kBareTable, row.list, AF_INET, row.szPreferred);
        ASSERT_EQ(chooseSlot(kBareTable, slots, row.szPreferred), row.nSlot);
        EXPECT_EQ(
            addressText(row.nSlot < 0 ? chInAddr() : slots[static_cast<std::size_t>(row.nSlot)].address),
            row.szAddress);
    }
    const std::vector<HostAddress> six = {entry("en0", "ff02::1"), entry("en1", "fe80::1")};
    EXPECT_EQ(chooseSlot(kBareTable, fillSlots(kBareTable, six, AF_INET6, ""), ""), 3);
}

TEST(InterfaceChoice, TheActiveInterfaceIsUpAndHasAnAddress) {
    EXPECT_EQ(activeInterface(kBareTable, {entry("en0", "10.0.0.1", 0), entry("pdp_ip0", "10.0.0.2")}),
              "pdp_ip0");
    EXPECT_EQ(activeInterface(kBareTable, {entry("en1", "10.0.0.1"), entry("en7", "10.0.0.2")}), "");
    EXPECT_EQ(activeInterface(kBareTable, {entry("en0", "0.0.0.0"), entry("en2", "::1")}), "en0");
}

TEST(InterfaceChoice, LinuxNamesHaveTheirSlots) {
    const std::pair<const char*, int> rows[] = {
        {"usb0", 0},  {"tun0", 1},   {"wg0", 1},   {"utun3", 1},    {"eth0", 2},   {"enp3s0", 2},
        {"wlan0", 3}, {"wlp2s0", 3}, {"bond0", 4}, {"wwan0", 5},    {"rmnet1", 5}, {"pdp_ip0", 5},
        {"en2", 0},   {"en1", 3},    {"lo", -1},   {"docker0", -1}, {"", -1},      {"veth1", -1}};
    for (const auto& [szName, nSlot] : rows)
        EXPECT_EQ(slotOf(kInterfaceTable, szName), nSlot) << szName;

    // Several in one slot: the preferred one, the exact name, the first; its last address.
    std::vector<HostAddress> list = {entry("eth0", "10.0.0.1"), entry("eth1", "10.0.0.2"),
                                     entry("eth0", "10.0.0.3"), entry("enp9", "10.0.0.4")};
    const auto primary = [&](const char* szPreferred) {
        return addressText(fillSlots(kInterfaceTable, list, AF_INET, szPreferred)[2].address);
    };
    EXPECT_EQ(primary(""), "10.0.0.3");
    EXPECT_EQ(primary("eth1"), "10.0.0.2");
    list.push_back(entry("en0", "10.0.0.5"));
    EXPECT_EQ(primary(""), "10.0.0.5");
    EXPECT_EQ(primary("enp9"), "10.0.0.4");
}

class HostInfo : public peer::InNamespace {};

TEST_F(HostInfo, KnowsNothingWithoutInterfaces) {
    int nSlot = 7;
    EXPECT_EQ(getIPAddress("", nSlot), "");
    EXPECT_EQ(nSlot, -1);
    EXPECT_EQ(getIPv6Address("en1", nSlot), "");
    EXPECT_EQ(nSlot, 3);
    EXPECT_FALSE(sockIsNetworkAvaiable());
    EXPECT_FALSE(sockIsMobileTraffic());
    EXPECT_EQ(sockGetLocalIPAddress("lo").toString(), "127.0.0.1");
    EXPECT_EQ(sockGetAdapterByIPAddress("127.0.0.1"), "lo");
    for (const char* szAddress : {"", "127.0.0.2", "127.0.0.1 ", "127.1", static_cast<const char*>(nullptr)})
        EXPECT_EQ(sockGetAdapterByIPAddress(szAddress), "");
    for (const char* szName : {"", "none", "a name that is longer than any interface's"}) {
        EXPECT_EQ(sockGetLocalIPAddress(szName).toString(), "0.0.0.0");
        const auto read = [&] { EXPECT_EQ(std::memcmp(sockGetHardwareAddress(szName), "\0\0\0\0\0", 6), 0); };
        EXPECT_EQ(peer::printedBy(read), "Error: if_nametoindex error/n");
    }
}

TEST_F(HostInfo, ReadsRealInterfaces) {
    for (const char* szName : {"en0", "tun7", "wwan0", "other"})
        addInterface(szName);
    addAddress("en0", "192.0.2.5/24");
    addAddress("other", "198.51.100.1/24");
    addAddress("wwan0", "203.0.113.9/24");
    addAddress("en0", "2001:db8::5/64 nodad");
    int nSlot = 0;
    EXPECT_EQ(getIPAddress("", nSlot), "192.0.2.5");
    EXPECT_EQ(nSlot, 2);
    addAddress("tun7", "192.0.2.77/24");
    EXPECT_EQ(getIPAddress("en0", nSlot), "192.0.2.5");
    EXPECT_EQ(nSlot, 2);
    EXPECT_EQ(sockGetLocalIPString("en0"), "192.0.2.77");
    EXPECT_EQ(sockGetLocalIPv6Address("x"), "2001:db8::5");
    EXPECT_EQ(sockGetIPAddressList(),
              (std::vector<std::string>{"192.0.2.77", "192.0.2.5", "203.0.113.9", "2001:db8::5"}));
    EXPECT_TRUE(sockIsNetworkAvaiable());
    EXPECT_EQ(sockGetAdapterByIPAddress("198.51.100.1"), "other");
    EXPECT_EQ(sockGetLocalIPAddress("other").toString(), "198.51.100.1");
    EXPECT_EQ(sockGetLocalIPAddress(5).toString(), "203.0.113.9");
    for (const int nBad : {0, -1, 6})
        EXPECT_EQ(sockGetLocalIPAddress(nBad).toString(), "0.0.0.0");

    EXPECT_FALSE(sockIsMobileTraffic());  // Nothing is up.
    ASSERT_TRUE(peer::runs("ip link set wwan0 address 02:00:00:00:00:07 up"));
    EXPECT_TRUE(sockIsMobileTraffic());
    EXPECT_EQ(std::memcmp(sockGetHardwareAddress(""), "\2\0\0\0\0\7", 6), 0);
    ASSERT_TRUE(peer::runs("ip link set en0 address 02:00:00:00:00:09 up"));
    EXPECT_FALSE(sockIsMobileTraffic());
    EXPECT_EQ(sockGetHardwareAddress("")[5], 9);
    EXPECT_EQ(sockGetHardwareAddress("none")[5], 9);  // The earlier one stays.
}

TEST_F(HostInfo, FramesGoOverALink) {
    chEthernetSocket link;
    EXPECT_FALSE(link.CreateSocket("none"));
    EXPECT_FALSE(link.Send("x", 1));
    std::vector<unsigned char> frame;
    EXPECT_EQ(link.Receive(frame, -1), -1);

    // The loop-back interface carries frames as well.
    ASSERT_TRUE(link.CreateSocket("lo"));
    const std::string sent = std::string(12, '\0') + "\x88\xB5" + "a frame of an experimental type";
    EXPECT_EQ(link.Receive(frame, 20), 0);
    EXPECT_FALSE(link.Send(sent.data(), -1));
    EXPECT_TRUE(link.Send(sent.data(), static_cast<int>(sent.size())));
    EXPECT_EQ(link.Receive(frame, 1000), static_cast<int>(sent.size()));
    EXPECT_EQ(std::string(frame.begin(), frame.end()), sent);
}

TEST_F(HostInfo, FramesOfOtherInterfacesAreNotReceived) {
    addInterface("eth0");
    const std::jthread flooding([](const std::stop_token& stop) {
        const peer::Fd fd = peer::bound(AF_INET, SOCK_DGRAM);
        const chSocketAddr to = peer::nameOf(fd);
        while (!stop.stop_requested())
            sockSendTo(fd, "x", 1, MSG_DONTWAIT, to.toSocketAddr());
    });
    std::vector<unsigned char> frame;
    for (int i = 0; i < 300; ++i) {
        chEthernetSocket link;
        EXPECT_TRUE(link.CreateSocket("eth0"));
        EXPECT_EQ(link.Receive(frame, 0), -1);  // The interface is down, which is said once.
        EXPECT_EQ(link.Receive(frame, 0), 0);
    }
}

TEST(chEthernetSocket, FailsWithoutThePrivilege) {
    const auto child = vdxtest::runInChild([] {
        chEthernetSocket link;
        const long nDescriptors = peer::openDescriptors();
        if (setuid(65534) != 0) return 3;
        return link.CreateSocket("lo") || peer::openDescriptors() != nDescriptors ? 1 : 0;
    });
    if (child.exitCode() == 3) GTEST_SKIP() << "privileges cannot be given up here";
    EXPECT_EQ(child.exitCode(), 0);
}

}  // namespace
