// Named events.
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vdx/sync.h>

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

}  // namespace
