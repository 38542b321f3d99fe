// The choice of the host's address: over made-up lists, and over real interfaces in a
// namespace of the test's own.
#include <net/if.h>

#include <gtest/gtest.h>

#include <vdx/host_info.h>

#include "net/interface_table.h"
#include "net/namespace.h"
#include "net/peer.h"
#include "support/failing_calls.h"
#include "support/vectors.h"

namespace {

using namespace vdx::net;

// "name=address", or "name~address" for an interface that is not up.
HostAddress entry(const std::string& field) {
    const auto nAt = field.find_first_of("=~");
    HostAddress result{field.substr(0, nAt), field[nAt] == '=' ? unsigned{IFF_UP} : 0u, {}};
    EXPECT_TRUE(sockParseAddress(field.substr(nAt + 1), result.address)) << field;
    return result;
}

TEST(InterfaceChoice, IsAsTheVectorsSay) {
    const auto rows = readVectors("interfaces.vec");
    ASSERT_GT(rows.size(), 35u);
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row));
        std::vector<HostAddress> list;
        for (std::size_t i = 5; i < row.size(); ++i)
            list.push_back(entry(row[i]));
        const std::string preferred = row[1] == "-" ? "" : row[1];
        const SlotAddresses slots =
            fillSlots(kInterfaceTable, list, row[0] == "4" ? AF_INET : AF_INET6, preferred);
        const int nSlot = chooseSlot(kInterfaceTable, slots, preferred);
        ASSERT_EQ(std::to_string(nSlot), row[2]);
        EXPECT_EQ(nSlot < 0 ? "" : addressText(slots[static_cast<std::size_t>(nSlot)].address),
                  row[3] == "-" ? "" : row[3]);
        EXPECT_EQ(activeInterface(kInterfaceTable, list), row[4] == "-" ? "" : row[4]);
    }
}

class HostInfo : public peer::InNamespace {};

TEST_F(HostInfo, KnowsNothingWithoutInterfaces) {
    int nSlot = 7;
    EXPECT_EQ(getIPAddress("", nSlot), "");
    EXPECT_EQ(nSlot, -1);
    EXPECT_EQ(getIPv6Address("en1", nSlot), "");
    EXPECT_EQ(nSlot, 3);
    EXPECT_FALSE(sockIsNetworkAvaiable() || sockIsMobileTraffic());
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
    const std::pair<const char*, const char*> interfaces[] = {
        {"en0", "192.0.2.5"}, {"tun7", "192.0.2.77"}, {"wwan0", "203.0.113.9"}, {"other", "198.51.100.1"}};
    for (const auto& [szName, szAddress] : interfaces) {
        addInterface(szName);
        addAddress(szName, szAddress);
        EXPECT_EQ(sockGetAdapterByIPAddress(szAddress), szName);
        EXPECT_EQ(sockGetLocalIPAddress(szName).toString(), szAddress);
    }
    addAddress("en0", "2001:db8::5/64 nodad");
    int nSlot = 0;
    EXPECT_EQ(getIPAddress("en0", nSlot), "192.0.2.5");
    EXPECT_EQ(nSlot, 2);
    EXPECT_EQ(sockGetLocalIPString("en0"), "192.0.2.77");
    EXPECT_EQ(sockGetLocalIPv6Address("x"), "2001:db8::5");
    EXPECT_EQ(sockGetIPAddressList(),
              (std::vector<std::string>{"192.0.2.77", "192.0.2.5", "203.0.113.9", "2001:db8::5"}));
    EXPECT_TRUE(sockIsNetworkAvaiable());
    const std::string none = "0.0.0.0";
    const std::string slots[] = {none, none, "192.0.2.77", "192.0.2.5", none, none, "203.0.113.9", none};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(sockGetLocalIPAddress(i - 1).toString(), slots[i]) << i;

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
    const long nDescriptors = peer::openDescriptors();
    for (const char* szCall : {"if_nametoindex", "socket", "bind"}) {
        vdxtest::t_failure = {.nLeft = 0, .nError = EPERM, .name = szCall};
        EXPECT_FALSE(link.CreateSocket("lo") || link.Send("x", 1));
        EXPECT_EQ(peer::openDescriptors(), nDescriptors) << szCall;
    }
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
        while (!stop.stop_requested())
            sockSendTo(fd, "x", 1, MSG_DONTWAIT, peer::nameOf(fd).toSocketAddr());
    });
    std::vector<unsigned char> frame;
    for (int i = 0; i < 300; ++i) {
        chEthernetSocket link;
        EXPECT_TRUE(link.CreateSocket("eth0"));
        EXPECT_EQ(link.Receive(frame, 0), -1);  // The interface is down, which is said once.
        EXPECT_EQ(link.Receive(frame, 0), 0);
    }
}

}  // namespace
