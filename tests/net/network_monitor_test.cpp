// The network monitor: its rules over a made-up source, and real notices in a namespace.
#include <atomic>

#include <gtest/gtest.h>

#include <vdx/network_monitor.h>

#include "net/namespace.h"
#include "net/network_source.h"
#include "siblings/modulelog/module_log.h"
#include "support/child.h"
#include "support/threads.h"
#include "support/vectors.h"

namespace {

using Callback = std::shared_ptr<std::function<void()>>;
using Texts = std::vector<std::string>;
using std::chrono::milliseconds;

Callback callback(std::function<void()> function) {
    return std::make_shared<std::function<void()>>(std::move(function));
}

// The source of the monitor itself: gives its notices when told to, on the test's thread.
class MonitorRules : public ::testing::Test, protected vdx::net::NetworkSource {
protected:
    MonitorRules() { vdx::net::setNetworkSource(this); }
    ~MonitorRules() override { vdx::net::setNetworkSource(nullptr); }
    void TearDown() override {
        unregisterNetworkChangedCallback(counting);
        EXPECT_FALSE(notice);
    }
    bool readFlags(std::uint32_t& nFlags) override {
        nFlags = nRouteFlags;
        return nFlags != kUnreadable;
    }
    Texts localAddresses(bool bIPv6) override { return bIPv6 ? ipv6 : ipv4; }
    std::uint64_t subscribe(std::function<void()> fresh, bool bNow) override {
        notice = std::move(fresh);
        bDue = bNow;
        ++nSubscription;
        if (bAtOnce) {
            reporting = std::thread(notice);
            std::this_thread::sleep_for(milliseconds(50));
        }
        return nSubscription;
    }
    void unsubscribe(std::uint64_t nNumber) override {
        if (nNumber != nSubscription) return;
        notice = nullptr;
        bDue = false;
    }
    void waitForEnded() override {}
    void pause(int nMilliseconds) override {
        nPaused += nMilliseconds;
        if (inPause) inPause();
    }
    void followSleep(void (*)(), void (*)()) override {}

    // Registered, and past the report that follows.
    void begin() {
        registerNetworkChangedCallback(counting);
        EXPECT_EQ(settle(), 1);
        EXPECT_EQ(std::exchange(nCalls, 0), 1);
    }
    // One change, and the reports at once that it leads to. Their number.
    int change() {
        bDue = notice != nullptr;
        return settle();
    }
    int settle() {
        int nReports = 0;
        for (; std::exchange(bDue, false) && nReports < 20; ++nReports) {
            const auto current = notice;
            current();
        }
        return nReports;
    }
    // A report, one more for the start after it, and a call with each, after a second.
    void expectChange() {
        nPaused = 0;
        EXPECT_EQ(change(), 2);
        EXPECT_EQ(std::exchange(nCalls, 0), 2);
        EXPECT_EQ(std::exchange(nPaused, 0), 1000);
    }

    static constexpr std::uint32_t kUnreadable = 0xFFFFFFFF;
    std::uint32_t nRouteFlags = NetworkReachabilityFlagReachable;
    Texts ipv4{"192.0.2.1"}, ipv6;
    int nPaused = 0, nCalls = 0;
    bool bDue = false, bAtOnce = false;
    std::thread reporting;
    std::uint64_t nSubscription = 0;
    std::function<void()> notice, inPause;
    Callback counting = callback([this] { ++nCalls; });
    UCNetworkReachabilityManager& manager = UCNetworkReachabilityManager::sharedManager();
};

TEST_F(MonitorRules, AChangeIsLoggedAndCalled) {
    const char* const logged[] = {" Network: Unknown", "Network: No Network", "Network: 3G", "Network: Wifi"};
    const char* const shown[] = {"Unknown", "Not Reachable", "Reachable via WWAN", "Reachable via WiFi"};
    static Texts s_lines;
    begin();
    vdx::setModuleLogSink([](int nLevel, const char* szModule, const char* szText,
                             void*) { s_lines.push_back(std::to_string(nLevel) + szModule + "|" + szText); },
                          nullptr);
    const auto rows = readVectors("network_changes.vec");
    EXPECT_GT(rows.size(), 15u);
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row));
        nRouteFlags = static_cast<std::uint32_t>(std::stoul(row[0], nullptr, 16));
        const int nStatus = std::stoi(row[1]);
        const bool bOther = nStatus != manager.networkReachabilityStatus();
        ipv4 = ipv6 = {};
        for (std::size_t i = 2; i < row.size(); ++i)
            (row[i].find(':') == std::string::npos ? ipv4 : ipv6).push_back(row[i]);
        EXPECT_EQ(manager.isStatusChanged(), bOther && nRouteFlags != kUnreadable);
        expectChange();
        EXPECT_EQ(manager.networkReachabilityStatus(), nStatus);
        EXPECT_TRUE(manager.ipv4Array() == ipv4 && manager.ipv6Array() == ipv6);
        EXPECT_EQ(std::exchange(s_lines, {}), Texts(2, std::string("2xBase|") + logged[nStatus + 1]));
        EXPECT_STREQ(networkReachabilityStatusText(nStatus), shown[nStatus + 1]);
        // Nothing changed any more: it is only armed anew.
        const auto before = manager.m();
        EXPECT_FALSE(manager.isStatusChanged() || manager.isIpChanged());
        EXPECT_EQ(change(), 1);
        EXPECT_EQ(nCalls + nPaused, 0);
        EXPECT_NE(manager.m(), before);
    }
    EXPECT_STREQ(networkReachabilityStatusText(77), "Unknown");
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
    // From within as well: b goes before its turn, and a comes with the next run.
    *counting = [&] {
        unregisterNetworkChangedCallback(counting);
        unregisterNetworkChangedCallback(b);
        registerNetworkChangedCallback(a);
    };
    onNetworkChanged();
    EXPECT_EQ(order, "aba");
    onNetworkChanged();
    EXPECT_EQ(order, "abaa");
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
    ipv4.clear();
    EXPECT_EQ(change(), 1);
    EXPECT_EQ(std::exchange(nCalls, 0), 1);
    EXPECT_FALSE(notice);
    // A new start in a report stands, and the report does not begin a second one.
    *counting = [this] { ++nCalls; };
    begin();
    *counting = [this] {
        if (++nCalls > 1) return;
        unregisterNetworkChangedCallback(counting);
        registerNetworkChangedCallback(counting);
    };
    ipv4 = {"192.0.2.9"};
    expectChange();
}

// Whoever removes the next one's callbacks waits for the next monitor alone.
TEST_F(MonitorRules, AMonitorThatEndsCallsNoneOfTheNext) {
    begin();
    int nOthers = 0;
    const Callback other = callback([&] { ++nOthers; });
    std::function<void()> replace = [&] {
        unregisterNetworkChangedCallback(counting);
        registerNetworkChangedCallback(other);
    };
    vdx::setModuleLogSink(
        [](int, const char*, const char*, void* pReplace) {
            if (const auto once = std::exchange(*static_cast<decltype(&replace)>(pReplace), nullptr)) once();
        },
        &replace);
    ipv4.clear();
    EXPECT_EQ(change(), 2);
    EXPECT_EQ(nCalls, 0);
    EXPECT_EQ(nOthers, 1);
    unregisterNetworkChangedCallback(other);
}

// A thread that starts may be slow: its monitor's first report comes, and ends the monitor, before it goes
// on.
TEST_F(MonitorRules, AFirstReportMayStopItsMonitor) {
    bAtOnce = true;
    const auto own = AFNetworkReachabilityManager::manager();
    own->setReachabilityStatusChangeBlock([&](int) { own->stopMonitoring(); });
    own->startMonitoring(true);
    reporting.join();
    EXPECT_FALSE(notice);
}

TEST_F(MonitorRules, AFreshMonitorWhileAddressesSettleLosesNoChange) {
    begin();
    inPause = [this] { manager.updateNetworkMonitor(); };
    ipv4.clear();
    EXPECT_EQ(change(), 2);
    EXPECT_EQ(nCalls, 1);
    inPause = [this] { manager.stopNetworkMonitor(); };
    ipv4 = {"192.0.2.5"};
    EXPECT_EQ(change(), 1);
    EXPECT_EQ(nCalls, 1);
}

TEST_F(MonitorRules, ThrowingCallbacksEndInAWarning) {
    begin();
    const std::pair<Callback, const char*> rows[] = {
        {callback([] { throw 7; }), "network callback: unknown exception"},
        {callback(nullptr), "network callback: bad_function_call"},
        {nullptr, "network callback: bad_function_call"}};
    for (const auto& [thrower, szLine] : rows) {
        registerNetworkChangedCallback(thrower);
        ipv4.push_back("192.0.2.4");
        const std::string warning = peer::printedBy([this] { expectChange(); });
        EXPECT_NE(warning.find(szLine), warning.npos);
        EXPECT_ANY_THROW(onNetworkChanged());
        nCalls = 0;
        unregisterNetworkChangedCallback(thrower);
    }
}

TEST_F(MonitorRules, AWakeBeginsAnewWhenAddressesChanged) {
    manager.receiveWakeNote();
    EXPECT_FALSE(notice);  // Nothing is monitored.
    begin();
    manager.receiveWakeNote();
    EXPECT_EQ(settle(), 0);
    ipv4.push_back("192.0.2.3");
    manager.receiveWakeNote();
    EXPECT_EQ(settle(), 1);
    EXPECT_EQ(nCalls, 1);
    // Changed addresses make a fresh monitor report at once, and so does a changed status,
    // also where nothing was monitored before.
    ipv4.clear();
    EXPECT_TRUE(manager.isIPsChanged() && manager.isIpChanged());
    manager.updateNetworkMonitor();
    EXPECT_TRUE(bDue);
    EXPECT_FALSE(manager.isIPsChanged());
    manager.stopNetworkMonitor();
    EXPECT_FALSE(notice);
    nRouteFlags = 0;
    EXPECT_FALSE(manager.isStatusChanged());
    manager.updateNetworkMonitor();
    EXPECT_TRUE(bDue);
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
        addInterface("eth0");
        m_nThreads = peer::runningThreads();  // The system has forgotten that one by now, too.
    }
    void TearDown() override {
        unregisterNetworkChangedCallback(counting);
        EXPECT_TRUE(vdxtest::soon([&] { return peer::runningThreads() == m_nThreads; }));
        EXPECT_EQ(peer::openDescriptors(), m_nDescriptors);
        InNamespace::TearDown();
    }
    void begin() {
        registerNetworkChangedCallback(counting);
        ASSERT_TRUE(reaches(1));
        EXPECT_EQ(peer::runningThreads(), m_nThreads + 1);
    }
    bool reaches(int nExpected) {
        return vdxtest::soon([&] { return nCalls >= nExpected; });
    }
    std::atomic<int> nCalls{0};
    Callback counting = callback([this] { ++nCalls; });
    long m_nDescriptors = 0, m_nThreads = 0;
};

TEST_F(MonitorInNamespace, AnAddressReachesTheCallback) {
    begin();
    peer::expectMs(1000, 10000, [this] {
        addAddress("eth0", "192.0.2.10/24");
        ASSERT_TRUE(reaches(2));
    });
    EXPECT_EQ(UCNetworkReachabilityManager::sharedManager().ipv4Array(), Texts{"192.0.2.10"});
    ASSERT_TRUE(reaches(3));
    ASSERT_TRUE(peer::runs("ip addr del 192.0.2.10/24 dev eth0"));
    ASSERT_TRUE(reaches(5));

    // Who leaves while addresses settle does not wait for that, and is called no more.
    addAddress("eth0", "192.0.2.11/24");
    std::this_thread::sleep_for(milliseconds(200));
    peer::expectMs(0, 700, [this] { unregisterNetworkChangedCallback(counting); });
    addAddress("eth0", "192.0.2.12/24");
    std::this_thread::sleep_for(milliseconds(1300));
    EXPECT_EQ(nCalls, 5);
}

TEST_F(MonitorInNamespace, ADefaultRouteMakesTheHostReachable) {
    addInterface("wwan0");
    // Both ends of a pair must be up for the link to work.
    peer::runs("ip link set p_eth0 up; ip link set p_wwan0 up");
    ASSERT_TRUE(peer::runs("ip link set eth0 up && ip link set wwan0 up"));
    addAddress("eth0", "192.0.2.10/24");
    addAddress("wwan0", "198.51.100.10/24");
    begin();
    const std::pair<const char*, int> rows[] = {{"add default via 198.51.100.1 metric 50", 1},
                                                {"add default via 192.0.2.1 metric 20", 2},
                                                {"del default metric 20", 1},
                                                {"del default", 0}};
    for (const auto& [szCommand, nStatus] : rows) {
        ASSERT_TRUE(peer::runs(std::string("ip route ") + szCommand));
        const auto isReached = [nExpected = nStatus] {
            return UCNetworkReachabilityManager::sharedManager().networkReachabilityStatus() == nExpected;
        };
        EXPECT_TRUE(vdxtest::soon(isReached)) << szCommand;
    }
}

TEST_F(MonitorInNamespace, TheLastCallbackMayLeaveFromWithin) {
    *counting = [this] {
        unregisterNetworkChangedCallback(counting);
        ++nCalls;
    };
    for (int i = 1; i <= 20; ++i) {
        registerNetworkChangedCallback(counting);
        ASSERT_TRUE(reaches(i));
    }
    EXPECT_EQ(nCalls, 20);
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
    begin();  // It still works.
}

// Monitors of an application beside the one behind the callbacks: all get every report, until
// they stop; one that reports waits for nobody, and who stops it waits for the report's end.
TEST_F(MonitorInNamespace, EachMonitorGetsEveryReport) {
    begin();
    std::atomic<int> nReports[2]{};
    std::atomic<bool> bInside{false};
    std::shared_ptr<AFNetworkReachabilityManager> own[2];
    for (int i = 0; i < 2; ++i) {
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
    EXPECT_TRUE(vdxtest::soon([&] { return nReports[0] >= 1 && nReports[1] >= 1; }));
    for (const bool bFirst : {true, false}) {
        if (!bFirst) own[0]->stopMonitoring();
        const int nFirst = nReports[0], nSecond = nReports[1], nCalled = nCalls;
        addAddress("eth0", bFirst ? "192.0.2.10/24" : "192.0.2.11/24");
        EXPECT_TRUE(vdxtest::soon([&] { return nReports[1] > nSecond && nCalls > nCalled; }));
        EXPECT_EQ(nReports[0] > nFirst, bFirst);
    }
    ASSERT_TRUE(vdxtest::soon([&] { return !bInside; }));
    addAddress("eth0", "192.0.2.20/24");
    EXPECT_TRUE(vdxtest::soon([&] { return bInside.load(); }));
    own[1].reset();
    EXPECT_FALSE(bInside);
}

// Also where another thread, or the callback itself, has removed it, or the monitor that reports was
// replaced.
TEST_F(MonitorInNamespace, NobodyComesBackWhileTheCallbackRuns) {
    std::atomic<bool> bInside{false};
    std::function<void()> first;
    const Callback slow = callback([&] {
        first();
        bInside = true;
        std::this_thread::sleep_for(milliseconds(100));
        bInside = false;
    });
    const auto nothing = [] {};
    const auto restart = [] { UCNetworkReachabilityManager::sharedManager().startNetworkMonitor(); };
    const auto countInChild = [this] {
        vdxtest::runInChild([this] { EXPECT_EQ(peer::openDescriptors(), m_nDescriptors); });
    };
    const std::function<void()> rows[][2] = {{nothing, nothing},
                                             {nothing, restart},
                                             {[&] { unregisterNetworkChangedCallback(slow); }, countInChild}};
    for (const auto& [inCallback, meanwhile] : rows) {
        first = inCallback;
        registerNetworkChangedCallback(slow);
        ASSERT_TRUE(vdxtest::soon([&] { return bInside.load(); }));
        meanwhile();
        vdxtest::runTogether(2, [&](int) {
            unregisterNetworkChangedCallback(slow);
            EXPECT_FALSE(bInside);
        });
    }
}

// Not with the thread sanitizer, which allows no thread in such a child.
#if !defined(__SANITIZE_THREAD__)
TEST_F(MonitorInNamespace, AForkedChildLeavesAndRegistersAnew) {
    begin();
    // The locks are in use while the process forks.
    const auto own = AFNetworkReachabilityManager::manager();
    const auto setBlocks = [&] { own->setReachabilityStatusChangeBlock([](int) {}); };
    const auto useManager = [] {
        onNetworkChanged();
        UCNetworkReachabilityManager::sharedManager().isIPsChanged();
    };
    const auto inChild = [&] {
        const long nDescriptors = peer::openDescriptors();
        own->stopMonitoring();
        unregisterNetworkChangedCallback(counting);
        nCalls = 0;
        registerNetworkChangedCallback(counting);
        const bool bCalled = reaches(1);
        unregisterNetworkChangedCallback(counting);
        return bCalled && peer::openDescriptors() == nDescriptors;
    };
    EXPECT_EQ(vdxtest::forkWhileBusy(10, useManager, inChild), 0);
    EXPECT_EQ(vdxtest::forkWhileBusy(10, setBlocks, inChild), 0);
    nCalls = 0;
    addAddress("eth0", "192.0.2.10/24");
    EXPECT_TRUE(reaches(1));  // The parent's monitor lives.
}
#endif

TEST(NetworkMonitor, AProcessMayEndWhileItRuns) {
    const auto endWithin = [] {
        registerNetworkChangedCallback(callback([] {}));
        std::exit(0);
        return 1;
    };
    EXPECT_EQ(vdxtest::runInChild(endWithin).nStatus, 0);
}

}  // namespace
