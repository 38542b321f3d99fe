// Events over the loop-back interface.
#include <atomic>
#include <chrono>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <vdx/sync.h>

#include "support/threads.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Puts what is no socket in the socket's place: readable, but no datagram comes.
void breakSocket(const chEvent_Socket& event) {
    ASSERT_NE(dup2(open("/dev/null", O_RDWR | O_CLOEXEC), event.fd()), -1);
}

TEST(SocketEvent, OpenAndClosed) {
    chEvent_Socket event;
    EXPECT_EQ(event.fd(), -1);
    EXPECT_EQ(event.port(), 0);
    EXPECT_FALSE(event.SendEvent(40000));
    EXPECT_FALSE(event.WaitEvent(-1));
    event.ResetEvent();
    EXPECT_TRUE(event.OpenEvent());
    const int nPort = event.port();
    EXPECT_EQ(fcntl(event.fd(), F_GETFD), FD_CLOEXEC);
    EXPECT_TRUE(event.OpenEvent());
    EXPECT_EQ(event.port(), nPort);
    for (const int nBad : {0, -1, 65536})
        EXPECT_FALSE(event.SendEvent(nBad));
    event.CloseEvent();
    event.CloseEvent();
    EXPECT_EQ(event.fd(), -1);
    EXPECT_EQ(event.port(), 0);
}

TEST(SocketEvent, EachSignalIsTakenOnce) {
    chEvent_Socket event;
    chEvent_Socket other;
    event.OpenEvent();
    other.OpenEvent();
    EXPECT_TRUE(event.SetEvent());
    EXPECT_TRUE(other.SendEvent(event.port()));
    EXPECT_TRUE(event.WaitEvent(-1));
    EXPECT_TRUE(event.WaitEvent(1000));
    for (const int nTimeout : {0, -2})
        EXPECT_FALSE(event.WaitEvent(nTimeout));
    EXPECT_FALSE(other.WaitEvent(0));
    for (int i = 0; i < 20; ++i)
        event.SetEvent();
    event.ResetEvent();
    EXPECT_FALSE(event.WaitEvent(0));
    event.SetEvent();
    EXPECT_TRUE(event.ResetSocket());  // A new socket has none of the old one's.
    EXPECT_FALSE(event.WaitEvent(0));
    EXPECT_TRUE(event.SetEvent());
    EXPECT_TRUE(event.WaitEvent(1000));
}

TEST(SocketEvent, ABrokenSocketPausesAndIsReplaced) {
    chEvent_Socket event;
    chEvent_Socket target;
    target.OpenEvent();
    event.OpenEvent();
    breakSocket(event);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const auto start = Clock::now();
    EXPECT_FALSE(event.WaitEvent(0));
    EXPECT_GE(Clock::now() - start, milliseconds(100));
    event.ResetEvent();
    EXPECT_GE(Clock::now() - start, milliseconds(200));
    event.printfWarning();
    EXPECT_GE(Clock::now() - start, milliseconds(300));
    EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(event.SendEvent(target.port()));
    EXPECT_TRUE(target.WaitEvent(1000));
    EXPECT_TRUE(event.SetEvent());
    EXPECT_TRUE(event.WaitEvent(1000));

    breakSocket(event);
    rlimit old;
    getrlimit(RLIMIT_NOFILE, &old);
    const rlimit none{0, old.rlim_max};
    testing::internal::CaptureStdout();
    setrlimit(RLIMIT_NOFILE, &none);  // Now there is nothing to replace it.
    EXPECT_FALSE(event.SetEvent());
    EXPECT_FALSE(event.WaitEvent(0));
    setrlimit(RLIMIT_NOFILE, &old);
    const std::string trace = testing::internal::GetCapturedStdout();
    EXPECT_NE(trace.find("chEvent_Socket::SetEvent failed!\n"), std::string::npos) << trace;
    EXPECT_EQ(event.fd(), -1);
    EXPECT_TRUE(event.OpenEvent());
}

TEST(SocketEvent, SetFromManyThreads) {
    chEvent_Socket event;
    event.OpenEvent();
    std::atomic<int> nSent{0};
    int nTaken = 0;
    vdxtest::runTogether(4, [&](int nThread) {
        while (nThread == 0 && event.WaitEvent(nTaken < 300 ? 2000 : 0))
            ++nTaken;
        for (int i = 0; nThread > 0 && i < 100; ++i) {
            nSent += event.SetEvent();
            if (i % 20 == 0) std::this_thread::sleep_for(milliseconds(1));
        }
    });
    EXPECT_EQ(nSent, 300);
    EXPECT_EQ(nTaken, 300);
}

}  // namespace
