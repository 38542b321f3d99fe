// Mutexes and events by name, events over the loop-back interface.
#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>

#include <vdx/map_file.h>
#include <vdx/named_object.h>
#include <vdx/sync.h>

#include "support/calls.h"
#include "support/child.h"
#include "support/failing_calls.h"
#include "support/threads.h"

namespace {

using std::chrono::milliseconds;
using vdxtest::expectMs;

// The process ends when a thread frees what it does not hold.
void expectAbort(chMutex& mutex) {
    const auto unlock = [&] { return std::thread([&] { mutex.Unlock(); }).join(), 0; };
    EXPECT_EQ(vdxtest::runInChild(unlock).signal(), SIGABRT);
}

TEST(NamedMutex, OneLockForAllWhoOpenTheName) {
    chMutex first, second, other;
    EXPECT_EQ(first.Lock(-1), 0);  // Closed, it does nothing.
    first.Unlock();
    EXPECT_FALSE(first.IsLockedByThisThread() || first.IsCreateByMe());
    EXPECT_TRUE(first.OpenMutex("m") && second.OpenMutex("m") && other.OpenMutex("n"));
    EXPECT_TRUE(first.IsCreateByMe() && !second.IsCreateByMe());
    expectAbort(second);
    for (const int nTimeout : {0, -1, 5})  // Its thread may lock again.
        EXPECT_EQ(first.Lock(nTimeout), 1);
    expectAbort(second);
    EXPECT_FALSE(other.IsLockedByThisThread());
    std::atomic<bool> bFree{false};
    std::thread waiter([&] {
        EXPECT_FALSE(second.IsLockedByThisThread());
        EXPECT_TRUE(second.Lock(1) == 1 && bFree);  // Kept: it waits without limit.
        second.Unlock();
    });
    std::this_thread::sleep_for(milliseconds(30));
    for (int nDepth = 3; nDepth > 0; --nDepth) {
        EXPECT_TRUE(second.IsLockedByThisThread()) << nDepth;
        bFree = nDepth == 1;
        second.Unlock();
    }
    waiter.join();
    EXPECT_FALSE(first.IsLockedByThisThread());
    first.CloseMutex();
    first.OpenMutex("m");
    EXPECT_FALSE(first.IsCreateByMe() || second.IsCreateByMe());  // The creator has left.
    other.OpenMutex("m");                                         // The last user of the other name.
    first.OpenMutex("n");
    EXPECT_TRUE(first.IsCreateByMe());
}

TEST(NamedThings, ManyThreadsOpenUseAndClose) {
    long counts[2] = {};
    chMutex keeps;  // One name stays, the other ones come and go.
    keeps.OpenMutex("0");
    bool bCreated;
    const auto shared = [&] { return static_cast<int*>(nameGetSystemObject("counter", 4, &bCreated)); };
    vdxtest::runTogether(4, [&](int) {
        chMutex mutex;
        chEvent event;
        chMapFile_Local file;
        for (int i = 0; i < 8000; ++i) {
            event.OpenEvent("1");
            mutex.OpenMutex(std::to_string(i % 2));
            mutex.Lock(-1);
            ++counts[i % 2];
            mutex.Unlock();
            EXPECT_NE(file.OpenMapFile("1", 64), nullptr);
            file.CloseMapFile();
            nameHelperLock();
            int* pCount = shared();
            *pCount = bCreated ? 1 : *pCount + 1;
            nameHelperUnlock();
        }
    });
    EXPECT_EQ(counts[0] + counts[1], 32000);
    EXPECT_EQ(*shared(), 32000);
}

// What both kinds have in common. Half of the threads set, the others wait.
template <class Event, class... Name>
void expectCounter(Event& event, int nThreads, int nEach, const Name&... name) {
    EXPECT_FALSE(event.WaitEvent(-1));  // Closed, it does nothing.
    event.ResetEvent();
    EXPECT_TRUE(event.OpenEvent(name...));
    event.ResetEvent();
    EXPECT_FALSE(event.WaitEvent(0) || event.WaitEvent(-2));
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(event.SetEvent());
    EXPECT_TRUE(event.WaitEvent(-1) && event.WaitEvent(1000));
    event.ResetEvent();
    EXPECT_FALSE(event.WaitEvent(0));
    {
        const vdxtest::Signaller interrupts;
        expectMs(50, 10000, [&] { EXPECT_FALSE(event.WaitEvent(50)); });
    }
    for (const int nTogether : {2, nThreads}) {  // A single waiter must be woken, too.
        vdxtest::runTogether(nTogether, [&](int nThread) {
            const bool bSets = nThread % 2 == 0;
            for (int nDone = 0; nDone < nEach;) {
                if (bSets && nDone % 100 == 0) std::this_thread::sleep_for(milliseconds(1));  // Others wait.
                nDone += bSets ? event.SetEvent() : event.WaitEvent(-1);
            }
        });
    }
    EXPECT_FALSE(event.WaitEvent(0));
}

TEST(NamedEvent, CountsItsSignals) {
    chEvent event;
    EXPECT_TRUE(event.SetEvent());
    expectCounter(event, 8, 1000, "count");
    EXPECT_TRUE(event.SetEvent() && event.WaitEvent(-2));
}

TEST(NamedEvent, UsersAreCountedByName) {
    chEvent::ReleaseNamedEventInfo("nobody opened this");
    const auto pInfo = chEvent::GetNamedEventInfo("shared");
    chEvent first, second;
    EXPECT_FALSE(first.IsCreateByMe());
    first.OpenEvent("shared");
    second.OpenEvent("shared");
    EXPECT_TRUE(second.IsCreateByMe());  // The same thread made it.
    std::thread([&] { EXPECT_FALSE(second.IsCreateByMe()); }).join();
    EXPECT_TRUE(second.WaitEvent(0));  // A new event starts with a signal.
    second.CloseEvent();
    second.CloseEvent();       // Gives back its own use only.
    first.OpenEvent("other");  // Leaves the old name.
    EXPECT_EQ(chEvent::GetNamedEventInfo("shared"), pInfo);
    chEvent::ReleaseNamedEventInfo("shared");
    chEvent::ReleaseNamedEventInfo("shared");
    second.OpenEvent("shared");
    EXPECT_TRUE(second.WaitEvent(0));
}

// Threads that do not exist in the child waited, opened and closed when it was forked.
TEST(NamedEvent, AForkedChildFindsNoneInUse) {
    chEvent waited;
    waited.OpenEvent("waited");
    waited.ResetEvent();
    const auto inChild = [&] {
        chEvent other;
        other.OpenEvent("comes and goes");
        other.ResetEvent();
        waited.SetEvent();
        const bool bWorks = waited.WaitEvent(0) && !waited.WaitEvent(1) && !other.WaitEvent(0);
        waited.CloseEvent();  // The last user: what waiters had is destroyed.
        return bWorks;
    };
    const auto wait = [&] { waited.WaitEvent(1); };
    const auto set = [] {
        chEvent other;
        other.OpenEvent("comes and goes");
        for (int i = 0; i < 100; ++i)
            other.SetEvent();
    };
    EXPECT_EQ(vdxtest::forkWhileBusy(40, wait, inChild), 0);
    EXPECT_EQ(vdxtest::forkWhileBusy(40, set, inChild), 0);
}

TEST(SocketEvent, OpenAndClosed) {
    chEvent_Socket event;
    EXPECT_FALSE(event.SendEvent(40000));
    expectCounter(event, 2, 150);  // No more than the system keeps.
    const int nPort = event.port();
    EXPECT_EQ(fcntl(event.fd(), F_GETFD), FD_CLOEXEC);
    EXPECT_TRUE(event.OpenEvent());
    for (const int nBad : {0, -1, 65536})
        EXPECT_FALSE(event.SendEvent(nBad));
    EXPECT_EQ(event.port(), nPort);
    event.SetEvent();
    EXPECT_TRUE(event.ResetSocket());  // A new socket has none of the old one's.
    EXPECT_FALSE(event.WaitEvent(0));
    EXPECT_TRUE(event.SetEvent() && event.WaitEvent(1000));
    event.CloseEvent();
    EXPECT_TRUE(event.fd() == -1 && event.port() == 0);
}

// Puts what is no socket in the socket's place: readable, but no datagram comes.
void breakSocket(const chEvent_Socket& event) {
    ASSERT_NE(dup2(open("/dev/null", O_RDWR | O_CLOEXEC), event.fd()), -1);
}

TEST(SocketEvent, ABrokenSocketPausesAndIsReplaced) {
    chEvent_Socket event, target;
    event.OpenEvent();
    target.OpenEvent();
    breakSocket(event);
    const std::string nothing = vdxtest::printedBy([&] {
        expectMs(100, 10000, [&] { EXPECT_FALSE(event.WaitEvent(0)); });
        expectMs(100, 10000, [&] { event.ResetEvent(); });
        expectMs(100, 10000, [&] { event.printfWarning(); });
    });
    EXPECT_EQ(nothing, "");
    EXPECT_TRUE(event.SendEvent(target.port()) && target.WaitEvent(1000));

    breakSocket(event);
    vdxtest::t_failure = {.nLeft = 0, .nError = EMFILE, .name = "socket", .nTimes = 3};
    const std::string trace =
        vdxtest::printedBy([&] { EXPECT_FALSE(event.SetEvent() || event.WaitEvent(0)); });
    EXPECT_TRUE(trace.ends_with("chEvent_Socket::SetEvent failed!\n")) << trace;
    EXPECT_EQ(event.fd(), -1);
    EXPECT_TRUE(event.OpenEvent());
}

}  // namespace
