// Named events.
#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

#include <gtest/gtest.h>
#include <sys/time.h>

#include <vdx/sync.h>

#include "support/child.h"
#include "support/threads.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

TEST(NamedEvent, CountsItsSignals) {
    chEvent event;
    EXPECT_FALSE(event.IsCreateByMe());  // Closed, it does nothing.
    EXPECT_TRUE(event.SetEvent());
    EXPECT_FALSE(event.WaitEvent(-1));
    event.ResetEvent();
    EXPECT_TRUE(event.OpenEvent("count"));
    EXPECT_TRUE(event.WaitEvent(0));  // A new event starts with one.
    EXPECT_FALSE(event.WaitEvent(0));
    for (int i = 0; i < 10; ++i)
        EXPECT_TRUE(event.SetEvent());
    EXPECT_TRUE(event.WaitEvent(-1));
    EXPECT_TRUE(event.WaitEvent(-2));
    event.ResetEvent();
    EXPECT_FALSE(event.WaitEvent(0));
    EXPECT_FALSE(event.WaitEvent(-2));
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

TEST(NamedEvent, UsersAreCountedByName) {
    chEvent::ReleaseNamedEventInfo("nobody opened this");
    const auto pInfo = chEvent::GetNamedEventInfo("info");
    chEvent event;
    event.OpenEvent("info");
    event.ResetEvent();
    EXPECT_EQ(chEvent::GetNamedEventInfo("info"), pInfo);
    for (int i = 0; i < 3; ++i)
        chEvent::ReleaseNamedEventInfo("info");
    event.SetEvent();  // Still its own, but no longer in the table.
    EXPECT_TRUE(event.WaitEvent(0));
    chEvent fresh;
    fresh.OpenEvent("info");
    EXPECT_TRUE(fresh.WaitEvent(0));
}

// The system's signals come all the while.
TEST(NamedEvent, WaitsAsLongAsItSaysWhateverInterrupts) {
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
    const std::function<bool()> waits[] = {[&] { return event.WaitEvent(50); },
                                           [&] { return socketEvent.WaitEvent(51); }};
    for (const auto& wait : waits) {
        const auto start = Clock::now();
        EXPECT_FALSE(wait());
        EXPECT_GE(Clock::now() - start, milliseconds(50)) << &wait - waits;
        EXPECT_LT(Clock::now() - start, milliseconds(20'000)) << &wait - waits;
    }
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
}

TEST(NamedEvent, EverySignalWakesOneWaiter) {
    constexpr int nEach = 1000;
    chEvent event;
    event.OpenEvent("many");
    event.ResetEvent();
    vdxtest::runTogether(8, [&](int nThread) {
        chEvent mine;
        mine.OpenEvent("many");
        for (int i = 0; nThread % 2 == 0 && i < nEach; ++i) {
            if (i % 100 == 0) std::this_thread::sleep_for(milliseconds(1));  // Until others wait.
            EXPECT_TRUE(mine.SetEvent());
        }
        for (int nTaken = 0; nThread % 2 == 1 && nTaken < nEach;)
            nTaken += mine.WaitEvent(-1);
    });
    EXPECT_FALSE(event.WaitEvent(0));
}

// Threads that do not exist in the child waited, opened and closed when it was forked.
TEST(NamedEvent, AForkedChildFindsNoneInUse) {
    chEvent waited;
    waited.OpenEvent("waited");
    waited.ResetEvent();
    const auto wait = [&] { waited.WaitEvent(1); };
    const auto set = [] {
        chEvent other;
        other.OpenEvent("comes and goes");
        for (int i = 0; i < 100; ++i)
            other.SetEvent();
    };
    const auto inChild = [&] {
        chEvent other;
        other.OpenEvent("comes and goes");
        other.ResetEvent();
        waited.SetEvent();
        const bool bWorks = waited.WaitEvent(0) && !waited.WaitEvent(1) && !other.WaitEvent(0);
        waited.CloseEvent();  // The last user: what waiters had is destroyed.
        return bWorks;
    };
    EXPECT_EQ(vdxtest::forkWhileBusy(40, wait, inChild), 0);
    EXPECT_EQ(vdxtest::forkWhileBusy(40, set, inChild), 0);
    waited.SetEvent();
    EXPECT_TRUE(waited.WaitEvent(0));  // The parent's own goes on.
}

}  // namespace
