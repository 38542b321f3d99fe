// The network monitor: its rules over a made-up source, and real notices in a namespace.
#include <array>
#include <atomic>

#include <gtest/gtest.h>

#include <vdx/network_monitor.h>

#include "net/namespace.h"
#include "net/network_source.h"
#include "net/peer.h"
#include "siblings/modulelog/module_log.h"
#include "support/child.h"
#include "support/threads.h"

namespace {

using Callback = std::shared_ptr<std::function<void()>>;
using std::chrono::milliseconds;

Callback callback(std::function<void()> function) {
    return std::make_shared<std::function<void()>>(std::move(function));
}

constexpr std::uint32_t kReachable = NetworkReachabilityFlagReachable;
constexpr std::uint32_t kWWAN = kReachable | NetworkReachabilityFlagIsWWAN;
constexpr std::uint32_t kRequired = NetworkReachabilityFlagConnectionRequired;
constexpr std::uint32_t kOnDemand = NetworkReachabilityFlagConnectionOnDemand;
constexpr std::uint32_t kOnTraffic = NetworkReachabilityFlagConnectionOnTraffic;
constexpr std::uint32_t kIntervention = NetworkReachabilityFlagInterventionRequired;
constexpr std::uint32_t kUnreadable = 0xFFFFFFFF;

// Gives its notices when told to, on the caller's thread.
class FakeSource : public vdx::net::NetworkSource {
public:
    FakeSource() { vdx::net::setNetworkSource(this); }
    ~FakeSource() override { vdx::net::setNetworkSource(nullptr); }

    bool readFlags(std::uint32_t& nFlags) override {
        nFlags = nRouteFlags;
        return nFlags != kUnreadable;
    }
    std::vector<std::string> localAddresses(bool bIPv6) override { return bIPv6 ? ipv6 : ipv4; }
    std::uint64_t subscribe(std::function<void()> notice, bool bNow) override {
        m_notice = std::move(notice);
        bDue = bNow;
        return ++nSubscription;
    }
    void unsubscribe(std::uint64_t nNumber) override {
        if (nNumber != nSubscription) return;
        m_notice = nullptr;
        bDue = false;
    }
    void pause(int nMilliseconds) override {
        nPaused += nMilliseconds;
        if (duringPause) duringPause();
    }
    void followSleep(void (*)(), void (*)()) override {}

    bool isFollowed() const { return m_notice != nullptr; }

    // One change, and the reports at once that it leads to. Their number.
    int change() {
        bDue = isFollowed();
        return settle();
    }
    int settle() {
        int nReports = 0;
        for (; bDue && nReports < 20; ++nReports) {
            bDue = false;
            const auto notice = m_notice;
            notice();
        }
        return nReports;
    }

    std::uint32_t nRouteFlags = kReachable;
    std::vector<std::string> ipv4{"192.0.2.1"};
    std::vector<std::string> ipv6;
    int nPaused = 0;
    bool bDue = false;
    std::uint64_t nSubscription = 0;
    std::function<void()> duringPause;

private:
    std::function<void()> m_notice;
};

class MonitorRules : public ::testing::Test {
protected:
    void TearDown() override {
        unregisterNetworkChangedCallback(counting);
        EXPECT_FALSE(source.isFollowed());
    }
    // Registered, and past the report that follows.
    void begin() {
        registerNetworkChangedCallback(counting);
        EXPECT_EQ(source.settle(), 1);
        EXPECT_EQ(std::exchange(nCalls, 0), 1);
        source.nPaused = 0;
    }
    // A report, one more for the start after it, and a call with each, after a second.
    void expectChange() {
        EXPECT_EQ(source.change(), 2);
        EXPECT_EQ(std::exchange(nCalls, 0), 2);
        EXPECT_EQ(std::exchange(source.nPaused, 0), 1000);
    }
    FakeSource source;
    int nCalls = 0;
    Callback counting = callback([this] { ++nCalls; });
    UCNetworkReachabilityManager& manager = UCNetworkReachabilityManager::sharedManager();
};

TEST_F(MonitorRules, AChangeOfStatusIsLoggedAndCalled) {
    const std::pair<std::uint32_t, int> rows[] = {{0, 0},
                                                  {kWWAN, 1},
                                                  {kReachable | kRequired, 0},
                                                  {kReachable | kRequired | kOnDemand, 2},
                                                  {kReachable | kRequired | kOnTraffic | kIntervention, 0},
                                                  {kReachable | kRequired | kOnTraffic, 2},
                                                  {kUnreadable, -1},
                                                  {kReachable, 2},
                                                  {kRequired | kOnDemand, 0}};
    const char* const logged[] = {" Network: Unknown", "Network: No Network", "Network: 3G", "Network: Wifi"};
    const char* const shown[] = {"Unknown", "Not Reachable", "Reachable via WWAN", "Reachable via WiFi"};
    static std::vector<std::string> s_lines;
    begin();
    vdx::setModuleLogSink([](int nLevel, const char* szModule, const char* szText,
                             void*) { s_lines.push_back(std::to_string(nLevel) + szModule + "|" + szText); },
                          nullptr);
    for (const auto& [nFlags, nStatus] : rows) {
        SCOPED_TRACE(nFlags);
        source.nRouteFlags = nFlags;
        EXPECT_EQ(manager.isStatusChanged(), nFlags != kUnreadable);
        expectChange();
        EXPECT_EQ(manager.networkReachabilityStatus(), nStatus);
        EXPECT_EQ(std::exchange(s_lines, {}),
                  std::vector<std::string>(2, std::string("2xBase|") + logged[nStatus + 1]));
        EXPECT_STREQ(networkReachabilityStatusText(nStatus), shown[nStatus + 1]);
        // Nothing changed any more: it is only armed anew.
        const auto before = manager.m();
        EXPECT_FALSE(manager.isStatusChanged());
        EXPECT_EQ(source.change(), 1);
        EXPECT_EQ(nCalls + source.nPaused, 0);
        EXPECT_NE(manager.m(), before);
    }
    EXPECT_STREQ(networkReachabilityStatusText(77), "Unknown");
}

TEST_F(MonitorRules, ChangedAddressesAreCalled) {
    begin();
    // Their order counts.
    const std::vector<std::string> lists[] = {{"192.0.2.2", "192.0.2.1"}, {"192.0.2.1", "192.0.2.2"}, {}};
    for (const auto& list : lists) {
        source.ipv4 = list;
        expectChange();
        EXPECT_EQ(manager.ipv4Array(), list);
        source.ipv6 = {"2001:db8::1"};
        expectChange();
        EXPECT_EQ(manager.ipv6Array(), source.ipv6);
        EXPECT_FALSE(manager.isIpChanged());
        source.ipv6.clear();
        expectChange();
    }
}

TEST_F(MonitorRules, EntriesAreCalledInOrderAndLeaveTogether) {
    begin();
    std::string order;
    const Callback a = callback([&] { order += 'a'; });
    const Callback b = callback([&] { order += 'b'; });
    for (const Callback& p : {a, b, a})
        registerNetworkChangedCallback(p);
    onNetworkChanged();
    unregisterNetworkChangedCallback(a);
    onNetworkChanged();
    EXPECT_EQ(order, "abab");
    // From within as well: b goes before its turn, and a comes with the next run.
    *counting = [&] {
        unregisterNetworkChangedCallback(counting);
        unregisterNetworkChangedCallback(b);
        registerNetworkChangedCallback(a);
    };
    onNetworkChanged();
    EXPECT_EQ(order, "abab");
    onNetworkChanged();
    EXPECT_EQ(order, "ababa");
    EXPECT_NE(manager.m(), nullptr);
    unregisterNetworkChangedCallback(a);
    EXPECT_EQ(manager.m(), nullptr);
}

TEST_F(MonitorRules, TheLastOneMayLeaveFromAReport) {
    begin();
    *counting = [this] {
        ++nCalls;
        unregisterNetworkChangedCallback(counting);
    };
    source.ipv4.clear();
    EXPECT_EQ(source.change(), 1);
    EXPECT_EQ(std::exchange(nCalls, 0), 1);
    EXPECT_FALSE(source.isFollowed());
    // A new start in a report stands, and the report does not begin a second one.
    *counting = [this] { ++nCalls; };
    begin();
    *counting = [this] {
        if (++nCalls > 1) return;
        unregisterNetworkChangedCallback(counting);
        registerNetworkChangedCallback(counting);
    };
    source.ipv4 = {"192.0.2.9"};
    expectChange();
    // Who leaves while addresses settle is not called.
    source.duringPause = [this] { unregisterNetworkChangedCallback(counting); };
    source.ipv4.clear();
    source.change();
    EXPECT_EQ(nCalls, 0);
}

TEST_F(MonitorRules, ThrowingCallbacksEndInAWarning) {
    begin();
    const std::pair<Callback, const char*> rows[] = {
        {callback([] { throw 7; }), "network callback: unknown exception"},
        {callback(nullptr), "network callback: bad_function_call"},
        {nullptr, "network callback: bad_function_call"}};
    for (const auto& [thrower, szLine] : rows) {
        registerNetworkChangedCallback(thrower);
        source.ipv4.push_back("192.0.2.4");
        testing::internal::CaptureStderr();
        expectChange();
        EXPECT_NE(testing::internal::GetCapturedStderr().find(szLine), std::string::npos);
        EXPECT_ANY_THROW(onNetworkChanged());
        nCalls = 0;
        unregisterNetworkChangedCallback(thrower);
    }
}

TEST_F(MonitorRules, AWakeBeginsAnewWhenAddressesChanged) {
    manager.receiveWakeNote();
    EXPECT_FALSE(source.isFollowed());  // Nothing is monitored.
    begin();
    manager.receiveWakeNote();
    EXPECT_EQ(source.settle(), 0);
    source.ipv4.push_back("192.0.2.3");
    manager.receiveWakeNote();
    EXPECT_EQ(source.settle(), 1);
    EXPECT_EQ(nCalls, 1);
    // Changed addresses make a fresh monitor report at once, and so does a changed status,
    // also where nothing was monitored before.
    source.ipv4.clear();
    EXPECT_TRUE(manager.isIPsChanged());
    EXPECT_TRUE(manager.isIpChanged());
    manager.updateNetworkMonitor();
    EXPECT_TRUE(source.bDue);
    EXPECT_FALSE(manager.isIPsChanged());
    manager.stopNetworkMonitor();
    EXPECT_FALSE(source.isFollowed());
    source.nRouteFlags = 0;
    EXPECT_FALSE(manager.isStatusChanged());
    manager.updateNetworkMonitor();
    EXPECT_TRUE(source.bDue);
}

// --- The system's notices ---------------------------------------------------

// Each test leaves neither a thread nor a descriptor.
class MonitorInNamespace : public peer::InNamespace {
protected:
    void SetUp() override {
        InNamespace::SetUp();
        // A sanitizer's own thread comes with the process's first: before any is counted.
        std::thread([] {}).join();
        m_nDescriptors = peer::openDescriptors();
        m_nThreads = peer::runningThreads();
    }
    void TearDown() override {
        unregisterNetworkChangedCallback(counting);
        EXPECT_TRUE(soon([&] { return peer::runningThreads() == m_nThreads; }));
        EXPECT_TRUE(soon([&] { return peer::openDescriptors() == m_nDescriptors; }));
        InNamespace::TearDown();
    }
    void begin() {
        registerNetworkChangedCallback(counting);
        ASSERT_TRUE(soon([&] { return nCalls == 1; }));
        EXPECT_EQ(peer::runningThreads(), m_nThreads + 1);
    }
    // Waits until the condition holds.
    template <class Condition>
    static bool soon(Condition condition) {
        const peer::Stopwatch watch;
        while (!condition() && watch.ms() < 10000)
            std::this_thread::sleep_for(milliseconds(2));
        return condition();
    }
    std::atomic<int> nCalls{0};
    Callback counting = callback([this] { ++nCalls; });

private:
    long m_nDescriptors = 0;
    long m_nThreads = 0;
};

TEST_F(MonitorInNamespace, AnAddressReachesTheCallback) {
    addInterface("eth0");
    begin();
    const peer::Stopwatch watch;
    addAddress("eth0", "192.0.2.10/24");
    ASSERT_TRUE(soon([&] { return nCalls > 1; }));
    EXPECT_GE(watch.ms(), 1000);
    EXPECT_EQ(UCNetworkReachabilityManager::sharedManager().ipv4Array(),
              std::vector<std::string>{"192.0.2.10"});
    ASSERT_TRUE(soon([&] { return nCalls == 3; }));
    ASSERT_TRUE(peer::runs("ip addr del 192.0.2.10/24 dev eth0"));
    ASSERT_TRUE(soon([&] { return nCalls == 5; }));

    // Who leaves while addresses settle does not wait for that, and is called no more.
    addAddress("eth0", "192.0.2.11/24");
    std::this_thread::sleep_for(milliseconds(200));
    const peer::Stopwatch leaving;
    unregisterNetworkChangedCallback(counting);
    EXPECT_LT(leaving.ms(), 700);
    addAddress("eth0", "192.0.2.12/24");
    std::this_thread::sleep_for(milliseconds(1300));
    EXPECT_EQ(nCalls, 5);
}

TEST_F(MonitorInNamespace, ADefaultRouteMakesTheHostReachable) {
    addInterface("eth0");
    addInterface("wwan0");
    // Both ends of a pair must be up for the link to work.
    peer::runs("ip link set p_eth0 up; ip link set p_wwan0 up");
    ASSERT_TRUE(peer::runs("ip link set eth0 up && ip link set wwan0 up"));
    addAddress("eth0", "192.0.2.10/24");
    addAddress("wwan0", "198.51.100.10/24");
    begin();
    const std::pair<const char*, int> rows[] = {{"ip route add default via 198.51.100.1 metric 50", 1},
                                                {"ip route add default via 192.0.2.1 metric 20", 2},
                                                {"ip route del default metric 20", 1},
                                                {"ip route del default", 0}};
    for (const auto& [szCommand, nStatus] : rows) {
        ASSERT_TRUE(peer::runs(szCommand));
        const auto status = [] {
            return UCNetworkReachabilityManager::sharedManager().networkReachabilityStatus();
        };
        EXPECT_TRUE(soon([&, nExpected = nStatus] { return status() == nExpected; })) << szCommand;
    }
}

TEST_F(MonitorInNamespace, TheLastCallbackMayLeaveFromWithin) {
    *counting = [this] {
        unregisterNetworkChangedCallback(counting);
        ++nCalls;
    };
    for (int i = 1; i <= 20; ++i) {
        registerNetworkChangedCallback(counting);
        ASSERT_TRUE(soon([&] { return nCalls == i; }));
    }
}

TEST_F(MonitorInNamespace, ManyThreadsComeAndGo) {
    std::atomic<int> nOthers{0};
    vdxtest::runTogether(4, [&](int) {
        for (int i = 0; i < 100; ++i) {
            const Callback mine = callback([&] { ++nOthers; });
            registerNetworkChangedCallback(mine);
            if (i % 3 == 0) onNetworkChanged();
            unregisterNetworkChangedCallback(mine);
        }
    });
    EXPECT_GT(nOthers, 100);
    // It still works.
    registerNetworkChangedCallback(counting);
    EXPECT_TRUE(soon([&] { return nCalls == 1; }));
}

// Monitors of an application beside the one behind the callbacks: all get every report, until
// they stop; one that reports waits for nobody, and who stops it waits for the report's end.
TEST_F(MonitorInNamespace, EachMonitorGetsEveryReport) {
    addInterface("eth0");
    begin();
    std::array<std::atomic<int>, 2> nReports{};
    std::atomic<bool> bInside{false};
    std::array<std::shared_ptr<AFNetworkReachabilityManager>, 2> own;
    for (std::size_t i = 0; i < own.size(); ++i) {
        own[i] = AFNetworkReachabilityManager::manager();
        own[i]->setReachabilityStatusChangeBlock([&, i](int) {
            bInside = true;
            std::this_thread::sleep_for(milliseconds(20));
            ++nReports[i];
            bInside = false;
        });
        own[i]->startMonitoring(true);
        own[i]->startMonitoring(true);  // Anew: one report a change.
    }
    int nAddress = 10;
    const auto change = [&] {
        const int nFirst = nReports[0], nSecond = nReports[1], nCalled = nCalls;
        addAddress("eth0", "192.0.2." + std::to_string(nAddress++) + "/24");
        EXPECT_TRUE(soon([&] { return nReports[1] > nSecond && nCalls > nCalled; }));
        return nReports[0] > nFirst;
    };
    EXPECT_TRUE(soon([&] { return nReports[0] >= 1 && nReports[1] >= 1; }));
    EXPECT_TRUE(change());
    own[0]->stopMonitoring();
    EXPECT_FALSE(change());
    ASSERT_TRUE(soon([&] { return !bInside.load(); }));
    addAddress("eth0", "192.0.2.20/24");
    EXPECT_TRUE(soon([&] { return bInside.load(); }));
    own[1].reset();
    EXPECT_FALSE(bInside);
}

// Not with the thread sanitizer, which allows no thread in such a child.
#if !defined(__SANITIZE_THREAD__)
TEST_F(MonitorInNamespace, AForkedChildLeavesAndRegistersAnew) {
    begin();
    // The locks are in use while the process forks.
    const auto busy = [] {
        onNetworkChanged();
        UCNetworkReachabilityManager::sharedManager().isIPsChanged();
    };
    const auto inChild = [this] {
        const long nDescriptors = peer::openDescriptors();
        unregisterNetworkChangedCallback(counting);
        const int nBefore = nCalls;
        registerNetworkChangedCallback(counting);
        const bool bCalled = soon([&] { return nCalls > nBefore; });
        unregisterNetworkChangedCallback(counting);
        return bCalled && peer::openDescriptors() == nDescriptors;
    };
    EXPECT_EQ(vdxtest::forkWhileBusy(20, busy, inChild), 0);
    const int nBefore = nCalls;
    addInterface("eth0");
    addAddress("eth0", "192.0.2.10/24");
    EXPECT_TRUE(soon([&] { return nCalls > nBefore; }));  // The parent's monitor lives.
}
#endif

TEST(NetworkMonitorDeathTest, AProcessMayEndWhileItRuns) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto endWithin = [] {
        registerNetworkChangedCallback(callback([] {}));
        std::exit(0);
    };
    EXPECT_EXIT(endWithin(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
