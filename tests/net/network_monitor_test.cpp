// The network monitor: its rules over a made-up source, and real notices in a namespace.
#include <deque>
#include <future>

#include <gtest/gtest.h>

#include <vdx/network_monitor.h>

#include "net/namespace.h"
#include "net/network_source.h"
#include "net/peer.h"
#include "siblings/modulelog/module_log.h"
#include "support/child.h"

namespace {

using Callback = std::shared_ptr<std::function<void()>>;
using std::chrono::milliseconds;

Callback callback(std::function<void()> function) {
    return std::make_shared<std::function<void()>>(std::move(function));
}

constexpr std::uint32_t kReachable = NetworkReachabilityFlagReachable;

// Gives its notices when told to, on the caller's thread.
class FakeSource : public vdx::net::NetworkSource {
public:
    FakeSource() { vdx::net::setNetworkSource(this); }
    ~FakeSource() override { vdx::net::setNetworkSource(nullptr); }

    bool readFlags(std::uint32_t& nFlags) override {
        nFlags = nRouteFlags;
        return bReadable;
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
    void followSleep(void (*)(), void (*pWake)()) override { wake = pWake; }

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
    bool bReadable = true;
    std::vector<std::string> ipv4{"192.0.2.1"};
    std::vector<std::string> ipv6;
    int nPaused = 0;
    bool bDue = false;
    std::uint64_t nSubscription = 0;
    std::function<void()> duringPause;
    void (*wake)() = nullptr;

private:
    std::function<void()> m_notice;
};

class MonitorRules : public ::testing::Test {
protected:
    void TearDown() override {
        unregisterNetworkChangedCallback(counting);
        EXPECT_FALSE(source.isFollowed());
        vdx::setModuleLogSink(nullptr, nullptr);
    }
    // Registered, and past the report that follows.
    void begin() {
        registerNetworkChangedCallback(counting);
        EXPECT_EQ(source.settle(), 1);
        EXPECT_EQ(nCalls, 1);
        nCalls = 0;
    }
    FakeSource source;
    int nCalls = 0;
    Callback counting = callback([this] { ++nCalls; });
    UCNetworkReachabilityManager& manager = UCNetworkReachabilityManager::sharedManager();
};

TEST_F(MonitorRules, NothingChangedCallsNobody) {
    begin();
    EXPECT_EQ(manager.networkReachabilityStatus(), NetworkReachabilityStatusReachableViaWiFi);
    EXPECT_EQ(manager.ipv4Array(), source.ipv4);
    const auto before = manager.m();
    EXPECT_EQ(source.change(), 1);
    EXPECT_EQ(nCalls, 0);
    EXPECT_EQ(source.nPaused, 0);
    EXPECT_NE(manager.m(), before);  // Armed anew.
    EXPECT_TRUE(source.isFollowed());
}

TEST_F(MonitorRules, ChangesCallAfterASecond) {
    begin();
    source.ipv6.push_back("2001:db8::1");
    EXPECT_EQ(source.change(), 2);
    EXPECT_EQ(nCalls, 2);  // For the change, and for the start after it.
    EXPECT_EQ(source.nPaused, 1000);
    EXPECT_EQ(manager.ipv6Array(), source.ipv6);
    EXPECT_FALSE(manager.isIpChanged());

    source.nRouteFlags = 0;
    source.change();
    EXPECT_EQ(nCalls, 4);
    EXPECT_EQ(manager.networkReachabilityStatus(), NetworkReachabilityStatusNotReachable);
    EXPECT_EQ(source.change(), 1);
    source.bReadable = false;
    source.change();
    EXPECT_EQ(manager.networkReachabilityStatus(), NetworkReachabilityStatusUnknown);
    EXPECT_EQ(nCalls, 6);
    // The order of addresses counts.
    source.ipv4 = {"192.0.2.2", "192.0.2.1"};
    source.change();
    std::swap(source.ipv4[0], source.ipv4[1]);
    source.change();
    EXPECT_EQ(nCalls, 10);
}

TEST_F(MonitorRules, FlagsMeanAStatus) {
    constexpr std::uint32_t kRequired = NetworkReachabilityFlagConnectionRequired;
    const std::pair<std::uint32_t, int> rows[] = {
        {0, 0},
        {kReachable, 2},
        {kReachable | NetworkReachabilityFlagIsWWAN, 1},
        {kReachable | kRequired, 0},
        {kReachable | kRequired | NetworkReachabilityFlagConnectionOnDemand, 2},
        {kReachable | kRequired | NetworkReachabilityFlagConnectionOnTraffic, 2},
        {kReachable | kRequired | NetworkReachabilityFlagConnectionOnTraffic |
             NetworkReachabilityFlagInterventionRequired,
         0},
        {kRequired | NetworkReachabilityFlagConnectionOnDemand, 0}};
    begin();
    for (const auto& [nFlags, nStatus] : rows) {
        source.nRouteFlags = nFlags;
        EXPECT_EQ(manager.isStatusChanged(), manager.networkReachabilityStatus() != nStatus) << nFlags;
        source.change();
        EXPECT_EQ(manager.networkReachabilityStatus(), nStatus) << nFlags;
        EXPECT_FALSE(manager.isStatusChanged());
    }
    source.bReadable = false;
    EXPECT_FALSE(manager.isStatusChanged());
    EXPECT_STREQ(networkReachabilityStatusText(-1), "Unknown");
    EXPECT_STREQ(networkReachabilityStatusText(0), "Not Reachable");
    EXPECT_STREQ(networkReachabilityStatusText(1), "Reachable via WWAN");
    EXPECT_STREQ(networkReachabilityStatusText(2), "Reachable via WiFi");
    EXPECT_STREQ(networkReachabilityStatusText(77), "Unknown");
}

TEST_F(MonitorRules, StatusesAreLogged) {
    std::vector<std::string> lines;
    vdx::setModuleLogSink(
        [](int nLevel, const char* szModule, const char* szText, void* pLines) {
            static_cast<std::vector<std::string>*>(pLines)->push_back(std::to_string(nLevel) + szModule +
                                                                      "|" + szText);
        },
        &lines);
    begin();
    for (const std::uint32_t nFlags : {0u, kReachable | NetworkReachabilityFlagIsWWAN}) {
        source.nRouteFlags = nFlags;
        source.change();
    }
    source.bReadable = false;
    source.change();
    const std::string start = "2xBase|";
    EXPECT_EQ(lines, (std::vector<std::string>{start + "Network: Wifi", start + "Network: No Network",
                                               start + "Network: No Network", start + "Network: 3G",
                                               start + "Network: 3G", start + " Network: Unknown",
                                               start + " Network: Unknown"}));
}

TEST_F(MonitorRules, EntriesAreCalledInOrderAndLeaveTogether) {
    begin();
    std::string order;
    const Callback a = callback([&] { order += 'a'; });
    const Callback b = callback([&] { order += 'b'; });
    for (const Callback& p : {a, b, a})
        registerNetworkChangedCallback(p);
    onNetworkChanged();
    EXPECT_EQ(order, "aba");
    unregisterNetworkChangedCallback(a);
    onNetworkChanged();
    EXPECT_EQ(order, "abab");
    EXPECT_TRUE(source.isFollowed());
    unregisterNetworkChangedCallback(b);
    unregisterNetworkChangedCallback(counting);
    EXPECT_FALSE(source.isFollowed());
    EXPECT_EQ(manager.m(), nullptr);
}

TEST_F(MonitorRules, CallbacksMayRegisterAndUnregister) {
    begin();
    int nLater = 0;
    int nAdded = 0;
    const Callback later = callback([&] { ++nLater; });
    const Callback added = callback([&] { ++nAdded; });
    Callback once = callback(nullptr);
    *once = [&] {
        unregisterNetworkChangedCallback(once);
        unregisterNetworkChangedCallback(later);
        registerNetworkChangedCallback(added);
    };
    registerNetworkChangedCallback(once);
    registerNetworkChangedCallback(later);
    onNetworkChanged();
    EXPECT_EQ(nLater, 0);  // Removed before its turn.
    onNetworkChanged();
    EXPECT_EQ(nAdded, 1);
    unregisterNetworkChangedCallback(added);
}

TEST_F(MonitorRules, TheLastOneMayLeaveFromAReport) {
    begin();
    *counting = [this] {
        ++nCalls;
        unregisterNetworkChangedCallback(counting);
    };
    source.ipv4.clear();
    EXPECT_EQ(source.change(), 1);
    EXPECT_EQ(nCalls, 1);
    EXPECT_FALSE(source.isFollowed());
    // A new start in a report stands, and the report does not begin a second one.
    *counting = [this] { ++nCalls; };
    nCalls = 0;
    begin();
    *counting = [this] {
        if (++nCalls > 1) return;
        unregisterNetworkChangedCallback(counting);
        registerNetworkChangedCallback(counting);
    };
    source.ipv4 = {"192.0.2.9"};
    EXPECT_EQ(source.change(), 2);
    EXPECT_EQ(nCalls, 2);
}

TEST_F(MonitorRules, LeavingWhileAddressesSettleCallsNobody) {
    begin();
    source.duringPause = [this] { unregisterNetworkChangedCallback(counting); };
    source.ipv4.clear();
    source.change();
    EXPECT_EQ(nCalls, 0);
    EXPECT_FALSE(source.isFollowed());
}

TEST_F(MonitorRules, ThrowingCallbacksEndInAWarning) {
    begin();
    const Callback empty = callback(nullptr);
    registerNetworkChangedCallback(empty);
    EXPECT_THROW(onNetworkChanged(), std::bad_function_call);
    unregisterNetworkChangedCallback(empty);
    registerNetworkChangedCallback(nullptr);
    EXPECT_THROW(onNetworkChanged(), std::bad_function_call);
    testing::internal::CaptureStderr();
    source.ipv4.clear();
    EXPECT_EQ(source.change(), 2);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("network callback: bad_function_call"),
              std::string::npos);
    unregisterNetworkChangedCallback(nullptr);
    const Callback number = callback([] { throw 7; });
    registerNetworkChangedCallback(number);
    source.ipv4 = {"192.0.2.4"};
    testing::internal::CaptureStderr();
    source.change();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("unknown exception"), std::string::npos);
    unregisterNetworkChangedCallback(number);
}

TEST_F(MonitorRules, AWakeBeginsAnewWhenAddressesChanged) {
    manager.receiveSleepNote();
    manager.receiveWakeNote();
    EXPECT_FALSE(source.isFollowed());  // Nothing is monitored.
    begin();
    manager.receiveWakeNote();
    EXPECT_EQ(source.settle(), 0);
    source.ipv4.push_back("192.0.2.3");
    manager.receiveWakeNote();
    EXPECT_EQ(source.settle(), 1);
    EXPECT_EQ(nCalls, 1);

    source.ipv4.clear();
    EXPECT_TRUE(manager.isIPsChanged());
    EXPECT_TRUE(manager.isIpChanged());
    manager.updateNetworkMonitor();  // The flag makes it report at once.
    EXPECT_TRUE(source.bDue);
    EXPECT_FALSE(manager.isIPsChanged());
    manager.stopNetworkMonitor();
    EXPECT_FALSE(source.bDue);
    // The status counts as well, and also where nothing was monitored before.
    source.nRouteFlags = 0;
    EXPECT_FALSE(manager.isStatusChanged());
    manager.updateNetworkMonitor();
    EXPECT_TRUE(source.bDue);
}

TEST(AFNetworkReachabilityManager, ReportsWhileItLives) {
    FakeSource source;
    std::vector<int> reports;
    {
        const auto monitor = AFNetworkReachabilityManager::manager();
        monitor->setReachabilityStatusChangeBlock([&](int nStatus) { reports.push_back(nStatus); });
        monitor->startMonitoring(false);
        EXPECT_EQ(source.settle(), 0);
        monitor->startMonitoring(true);
        EXPECT_EQ(source.settle(), 1);
        std::uint32_t nFlags = 0;
        EXPECT_TRUE(monitor->networkReachability(nFlags));
        EXPECT_EQ(nFlags, kReachable);
    }
    EXPECT_FALSE(source.isFollowed());
    EXPECT_EQ(reports, std::vector<int>{2});
    EXPECT_EQ(AFNetworkReachabilityManager::localIPAddresses(false), source.ipv4);
}

// --- The system's notices ---------------------------------------------------

class MonitorInNamespace : public peer::InNamespace {
protected:
    void SetUp() override {
        InNamespace::SetUp();
        // A sanitizer's own thread comes with the process's first: before any is counted.
        std::thread([] {}).join();
    }
    // Waits until the condition holds.
    template <class Condition>
    static bool soon(Condition condition, int nMilliseconds = 10000) {
        const peer::Stopwatch watch;
        while (!condition() && watch.ms() < nMilliseconds)
            std::this_thread::sleep_for(milliseconds(2));
        return condition();
    }
    std::atomic<int> nCalls{0};
    Callback counting = callback([this] { ++nCalls; });
};

TEST_F(MonitorInNamespace, AnAddressReachesTheCallback) {
    addInterface("eth0");
    const int nDescriptors = peer::openDescriptors();
    const int nThreads = peer::runningThreads();
    registerNetworkChangedCallback(counting);
    ASSERT_TRUE(soon([&] { return nCalls == 1; }));
    EXPECT_EQ(peer::runningThreads(), nThreads + 1);

    int nBefore = nCalls;
    const peer::Stopwatch watch;
    addAddress("eth0", "192.0.2.10/24");
    ASSERT_TRUE(soon([&] { return nCalls > nBefore; }));
    EXPECT_GE(watch.ms(), 1000);
    EXPECT_EQ(UCNetworkReachabilityManager::sharedManager().ipv4Array(),
              std::vector<std::string>{"192.0.2.10"});
    ASSERT_TRUE(soon([&] { return nCalls == nBefore + 2; }));

    nBefore = nCalls;
    ASSERT_TRUE(peer::runs("ip addr del 192.0.2.10/24 dev eth0"));
    ASSERT_TRUE(soon([&] { return nCalls == nBefore + 2; }));

    unregisterNetworkChangedCallback(counting);
    nBefore = nCalls;
    addAddress("eth0", "192.0.2.11/24");
    EXPECT_TRUE(soon([&] { return peer::runningThreads() == nThreads; }));
    EXPECT_EQ(peer::openDescriptors(), nDescriptors);
    std::this_thread::sleep_for(milliseconds(1300));
    EXPECT_EQ(nCalls, nBefore);
}

TEST_F(MonitorInNamespace, ADefaultRouteMakesTheHostReachable) {
    addInterface("eth0");
    addInterface("wwan0");
    auto& source = vdx::net::platformNetworkSource();
    std::uint32_t nFlags = 9;
    ASSERT_TRUE(source.readFlags(nFlags));
    EXPECT_EQ(nFlags, 0u);
    // Both ends of a pair must be up for the link to work.
    peer::runs("ip link set p_eth0 up; ip link set p_wwan0 up");
    ASSERT_TRUE(peer::runs("ip link set eth0 up && ip link set wwan0 up"));
    addAddress("eth0", "192.0.2.10/24");
    addAddress("wwan0", "198.51.100.10/24");
    ASSERT_TRUE(peer::runs("ip route add default via 198.51.100.1 metric 50"));
    const auto becomes = [&](std::uint32_t nExpected) {
        return soon([&] { return source.readFlags(nFlags) && nFlags == nExpected; });
    };
    EXPECT_TRUE(becomes(kReachable | NetworkReachabilityFlagIsWWAN));
    ASSERT_TRUE(peer::runs("ip route add default via 192.0.2.1 metric 20"));
    EXPECT_TRUE(becomes(kReachable));

    registerNetworkChangedCallback(counting);
    auto& manager = UCNetworkReachabilityManager::sharedManager();
    EXPECT_TRUE(soon([&] { return manager.networkReachabilityStatus() == 2; }));
    ASSERT_TRUE(peer::runs("ip route del default metric 20"));
    EXPECT_TRUE(soon([&] { return manager.networkReachabilityStatus() == 1; }));
    ASSERT_TRUE(peer::runs("ip route del default"));
    EXPECT_TRUE(soon([&] { return manager.networkReachabilityStatus() == 0; }));
    unregisterNetworkChangedCallback(counting);
}

TEST_F(MonitorInNamespace, LeavingEndsTheWaitForAddressesToSettle) {
    addInterface("eth0");
    registerNetworkChangedCallback(counting);
    ASSERT_TRUE(soon([&] { return nCalls == 1; }));
    addAddress("eth0", "192.0.2.10/24");
    std::this_thread::sleep_for(milliseconds(200));
    const peer::Stopwatch watch;
    unregisterNetworkChangedCallback(counting);
    EXPECT_LT(watch.ms(), 700);
    EXPECT_EQ(nCalls, 1);
}

TEST_F(MonitorInNamespace, TheLastCallbackMayLeaveFromWithin) {
    const int nDescriptors = peer::openDescriptors();
    const int nThreads = peer::runningThreads();
    for (int i = 1; i <= 20; ++i) {
        *counting = [this] {
            unregisterNetworkChangedCallback(counting);
            ++nCalls;
        };
        registerNetworkChangedCallback(counting);
        ASSERT_TRUE(soon([&] { return nCalls == i; }));
    }
    EXPECT_TRUE(
        soon([&] { return peer::runningThreads() == nThreads && peer::openDescriptors() == nDescriptors; }));
}

TEST_F(MonitorInNamespace, ManyThreadsComeAndGo) {
    const int nDescriptors = peer::openDescriptors();
    const int nThreads = peer::runningThreads();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([this] {
            for (int i = 0; i < 100; ++i) {
                const Callback mine = callback([this] { ++nCalls; });
                registerNetworkChangedCallback(mine);
                if (i % 3 == 0) onNetworkChanged();
                unregisterNetworkChangedCallback(mine);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GT(nCalls, 100);
    EXPECT_TRUE(
        soon([&] { return peer::runningThreads() == nThreads && peer::openDescriptors() == nDescriptors; }));
    // It still works.
    const int nBefore = nCalls;
    registerNetworkChangedCallback(counting);
    EXPECT_TRUE(soon([&] { return nCalls > nBefore; }));
    unregisterNetworkChangedCallback(counting);
}

// Not with the sanitizers: one allows no thread in such a child, the other's allocator keeps
// its locks as the threads of the parent process held them.
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
TEST_F(MonitorInNamespace, AForkedChildLeavesAndRegistersAnew) {
    registerNetworkChangedCallback(counting);
    ASSERT_TRUE(soon([&] { return nCalls == 1; }));
    std::atomic<bool> bStop{false};
    // The locks are in use while the process forks.
    std::thread busy([&] {
        while (!bStop) {
            onNetworkChanged();
            UCNetworkReachabilityManager::sharedManager().isIPsChanged();
        }
    });
    for (int i = 0; i < 20; ++i) {
        const auto child = vdxtest::runInChild([&] {
            alarm(20);  // Should it hang.
            const int nDescriptors = peer::openDescriptors();
            unregisterNetworkChangedCallback(counting);
            std::atomic<bool> bCalled{false};
            const Callback anew = callback([&] { bCalled = true; });
            registerNetworkChangedCallback(anew);
            if (!soon([&] { return bCalled.load(); })) return 1;
            unregisterNetworkChangedCallback(anew);
            return peer::openDescriptors() == nDescriptors ? 0 : 2;
        });
        EXPECT_EQ(child.exitCode(), 0) << child.signal();
    }
    bStop = true;
    busy.join();
    const int nBefore = nCalls;
    addInterface("eth0");
    addAddress("eth0", "192.0.2.10/24");
    EXPECT_TRUE(soon([&] { return nCalls > nBefore; }));  // The parent's monitor lives.
    unregisterNetworkChangedCallback(counting);
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
