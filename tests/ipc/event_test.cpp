// Named events.
#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>
#include <functional>
#include <list>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <vdx/log.h>
#include <vdx/sync.h>

#include "support/child.h"

namespace {
std::atomic<bool> s_bClockJumps{false};
}

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names.
extern "C" {
int __real_clock_gettime(clockid_t clock, timespec* pTime);
int __wrap_clock_gettime(clockid_t clock, timespec* pTime) {
    static std::atomic<int> s_nCalls{0};
    const int nResult = __real_clock_gettime(clock, pTime);
    if (clock == CLOCK_REALTIME && s_bClockJumps) pTime->tv_sec += ++s_nCalls % 2 == 0 ? 3600 : -3600;
    return nResult;
}
int __wrap_gettimeofday(timeval* pTime, void*) {
    timespec now;
    const int nResult = __wrap_clock_gettime(CLOCK_REALTIME, &now);
    *pTime = {now.tv_sec, now.tv_nsec / 1000};
    return nResult;
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

TEST(NamedEvent, CountsItsSignals) {
    chEvent event;
    EXPECT_TRUE(event.OpenEvent("count"));
    EXPECT_TRUE(event.WaitEvent(0));  // A new event starts with one.
    EXPECT_FALSE(event.WaitEvent(0));
    EXPECT_TRUE(event.SetEvent());
    EXPECT_TRUE(event.SetEvent());
    EXPECT_TRUE(event.WaitEvent(-1));
    EXPECT_TRUE(event.WaitEvent(-2));
    EXPECT_FALSE(event.WaitEvent(0));
    EXPECT_FALSE(event.WaitEvent(-2));
    for (int i = 0; i < 10; ++i)
        event.SetEvent();
    event.ResetEvent();
    EXPECT_FALSE(event.WaitEvent(0));
}

TEST(NamedEvent, OneForAllWhoOpenTheName) {
    chEvent first;
    chEvent second;
    first.OpenEvent("shared");
    second.OpenEvent("shared");
    EXPECT_TRUE(first.IsCreateByMe());
    EXPECT_TRUE(second.IsCreateByMe());  // The same thread made it.
    bool bElsewhere = true;
    std::thread([&] { bElsewhere = second.IsCreateByMe(); }).join();
    EXPECT_FALSE(bElsewhere);
    EXPECT_TRUE(second.WaitEvent(0));
    EXPECT_FALSE(first.WaitEvent(0));
    first.SetEvent();
    first.CloseEvent();
    first.CloseEvent();  // Gives back its own use only.
    EXPECT_TRUE(second.WaitEvent(0));
    first.OpenEvent("shared");
    EXPECT_FALSE(first.WaitEvent(0));  // The old one, not a new one with its signal.
    first.DestroyEvent();
    second.CloseEvent();
    first.OpenEvent("shared");
    EXPECT_TRUE(first.WaitEvent(0));
}

TEST(NamedEvent, ClosedDoesNothing) {
    chEvent event;
    EXPECT_FALSE(event.IsCreateByMe());
    EXPECT_TRUE(event.SetEvent());
    EXPECT_FALSE(event.WaitEvent(-1));
    event.ResetEvent();
    event.CloseEvent();
    chEvent::ReleaseNamedEventInfo("nobody opened this");
    EXPECT_FALSE(event.WaitEvent(0));
}

TEST(NamedEvent, UsersAreCountedByName) {
    const auto pInfo = chEvent::GetNamedEventInfo("info");
    chEvent event;
    event.OpenEvent("info");
    EXPECT_TRUE(event.WaitEvent(0));
    EXPECT_EQ(chEvent::GetNamedEventInfo("info"), pInfo);
    chEvent::ReleaseNamedEventInfo("info");
    chEvent::ReleaseNamedEventInfo("info");
    chEvent::ReleaseNamedEventInfo("info");  // The last user as the table sees it.
    event.SetEvent();
    EXPECT_TRUE(event.WaitEvent(0));
    chEvent fresh;
    fresh.OpenEvent("info");
    EXPECT_TRUE(fresh.WaitEvent(0));
    EXPECT_FALSE(fresh.WaitEvent(0));
}

TEST(NamedEvent, WaitsAsLongAsItSays) {
    chEvent event;
    event.OpenEvent("timed");
    event.ResetEvent();
    const auto start = Clock::now();
    EXPECT_FALSE(event.WaitEvent(50));
    EXPECT_GE(Clock::now() - start, milliseconds(50));
    EXPECT_LT(Clock::now() - start, milliseconds(5000));

    std::thread setter([&] {
        std::this_thread::sleep_for(milliseconds(20));
        event.SetEvent();
    });
    EXPECT_TRUE(event.WaitEvent(60000));
    setter.join();
    EXPECT_LT(Clock::now() - start, milliseconds(30000));
}

// Signals come all the while, and the system's clock is set an hour forth and back at each look.
TEST(NamedEvent, SignalsAndASetClockChangeNoWait) {
    s_bClockJumps = true;
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 3000}, {0, 3000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    chEvent event;
    event.OpenEvent("signals");
    event.ResetEvent();
    chEvent_Socket socketEvent;
    socketEvent.OpenEvent();
    std::list<TraceNode*> records;
    const std::function<bool()> waits[] = {[&] { return event.WaitEvent(60); },
                                           [&] { return socketEvent.WaitEvent(60); },
                                           [&] { return qvGetLog(records, 60'000) != 0; }};
    for (const auto& wait : waits) {
        const auto start = Clock::now();
        EXPECT_FALSE(wait());
        EXPECT_GE(Clock::now() - start, milliseconds(50)) << &wait - waits;
        EXPECT_LT(Clock::now() - start, milliseconds(20'000)) << &wait - waits;
    }
    chMutex mutex;
    mutex.OpenMutex("signals");
    mutex.Lock(-1);
    std::atomic<bool> bFree{false};
    std::thread waiter([&] {
        EXPECT_TRUE(mutex.Lock(1) == 1 && bFree);
        mutex.Unlock();
    });
    std::this_thread::sleep_for(milliseconds(30));
    bFree = true;
    mutex.Unlock();
    waiter.join();
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
}

TEST(NamedEvent, EverySignalWakesOneWaiter) {
    constexpr int nThreads = 4;
    constexpr int nSignals = 4000;
    chEvent event;
    event.OpenEvent("many");
    event.ResetEvent();
    std::atomic<int> nTaken{0};
    std::vector<std::thread> waiters;
    for (int t = 0; t < nThreads; ++t) {
        waiters.emplace_back([&] {
            chEvent mine;
            mine.OpenEvent("many");
            while (nTaken < nSignals) {
                if (mine.WaitEvent(20)) ++nTaken;
            }
        });
    }
    std::thread setters[2];
    for (auto& setter : setters) {
        setter = std::thread([&] {
            for (int i = 0; i < nSignals / 2; ++i)
                event.SetEvent();
        });
    }
    for (auto& setter : setters)
        setter.join();
    for (auto& waiter : waiters)
        waiter.join();
    EXPECT_EQ(nTaken, nSignals);
    EXPECT_FALSE(event.WaitEvent(0));
}

// In a forked child: 0 when the event works and closes, although threads that do not exist here used it.
int useInChild(chEvent& event) {
    alarm(20);
    chEvent other;
    other.OpenEvent("comes and goes");
    event.ResetEvent();
    event.SetEvent();
    if (!event.WaitEvent(0) || event.WaitEvent(1)) return 1;
    event.CloseEvent();  // The last user: what waiters had is destroyed.
    return 0;
}

TEST(NamedEvent, AForkedChildFindsNoneInUse) {
    chEvent waited;
    chEvent busy;
    waited.OpenEvent("waited");
    busy.OpenEvent("busy");
    waited.ResetEvent();
    std::atomic<bool> bStop{false};
    std::thread waiter([&] {
        while (!bStop)
            waited.WaitEvent(-1);
    });
    std::thread user([&] {
        while (!bStop) {
            chEvent opened;
            opened.OpenEvent("comes and goes");
            for (int i = 0; i < 100; ++i)
                busy.SetEvent();
        }
    });
    std::this_thread::sleep_for(milliseconds(20));  // The waiter waits.
    for (int i = 0; i < 40; ++i) {
        chEvent& event = i % 2 == 0 ? waited : busy;
        EXPECT_EQ(vdxtest::runInChild([&] { return useInChild(event); }).nStatus, 0) << i;
    }
    bStop = true;
    waited.SetEvent();
    waiter.join();
    user.join();
    waited.ResetEvent();
    waited.SetEvent();
    EXPECT_TRUE(waited.WaitEvent(0));  // The parent's own goes on.
}

}  // namespace
