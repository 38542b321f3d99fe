// Events over the loop-back interface.
#include <atomic>
#include <chrono>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vdx/socket.h>
#include <vdx/sync.h>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

TEST(SocketEvent, OpenAndClosed) {
    chEvent_Socket event;
    EXPECT_EQ(event.fd(), -1);
    EXPECT_EQ(event.port(), 0);
    EXPECT_FALSE(event.SendEvent(40000));
    EXPECT_FALSE(event.WaitEvent(-1));
    event.ResetEvent();
    EXPECT_TRUE(event.OpenEvent());
    const int nPort = event.port();
    EXPECT_GT(nPort, 0);
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
    EXPECT_FALSE(event.WaitEvent(0));
    EXPECT_TRUE(event.SetEvent());
    EXPECT_TRUE(other.SendEvent(event.port()));
    EXPECT_TRUE(event.WaitEvent(-1));
    EXPECT_TRUE(event.WaitEvent(1000));
    EXPECT_FALSE(event.WaitEvent(0));
    EXPECT_FALSE(other.WaitEvent(0));
    for (int i = 0; i < 20; ++i)
        event.SetEvent();
    event.ResetEvent();
    EXPECT_FALSE(event.WaitEvent(0));
    const auto start = Clock::now();
    EXPECT_FALSE(event.WaitEvent(30));
    EXPECT_GE(Clock::now() - start, milliseconds(29));
    EXPECT_FALSE(event.WaitEvent(-2));
}

TEST(SocketEvent, WaitsBesideOtherSocketsForAnotherProcess) {
    chEvent_Socket event;
    chEvent_Socket quiet;
    event.OpenEvent();
    quiet.OpenEvent();
    const pid_t pid = fork();
    if (pid == 0) {
        chEvent_Socket sender;
        _exit(sender.OpenEvent() && sender.SendEvent(event.port()) ? 0 : 1);
    }
    chFD_SET set(event.fd());
    set.add(quiet.fd());
    EXPECT_EQ(set.readSelect(20000), 1);
    EXPECT_TRUE(set.isSet(event.fd()));
    EXPECT_FALSE(set.isSet(quiet.fd()));
    EXPECT_TRUE(event.WaitEvent(0));
    int nStatus = -1;
    waitpid(pid, &nStatus, 0);
    EXPECT_EQ(nStatus, 0);
}

TEST(SocketEvent, ResetSocketMovesToAnotherPort) {
    chEvent_Socket event;
    event.OpenEvent();
    chEvent_Socket holder;  // Keeps the old port's number from coming back.
    holder.OpenEvent();
    event.SetEvent();
    EXPECT_TRUE(event.ResetSocket());
    EXPECT_FALSE(event.WaitEvent(0));
    EXPECT_NE(event.port(), holder.port());
    EXPECT_TRUE(event.SetEvent());
    EXPECT_TRUE(event.WaitEvent(1000));
}

TEST(SocketEvent, AFailedSendIsRepeatedOverANewSocket) {
    chEvent_Socket event;
    chEvent_Socket target;
    target.OpenEvent();
    event.OpenEvent();
    const int nOld = event.fd();
    dup2(open("/dev/null", O_RDWR | O_CLOEXEC), nOld);  // No socket any more.
    EXPECT_TRUE(event.SendEvent(target.port()));
    EXPECT_TRUE(target.WaitEvent(1000));
    EXPECT_TRUE(event.SetEvent());
    EXPECT_TRUE(event.WaitEvent(1000));
}

TEST(SocketEvent, FailureIsTracedWhenNoSocketCanBeMade) {
    chEvent_Socket event;
    event.OpenEvent();
    dup2(open("/dev/null", O_RDWR | O_CLOEXEC), event.fd());
    testing::internal::CaptureStdout();
    rlimit old;
    getrlimit(RLIMIT_NOFILE, &old);
    const rlimit none{0, old.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const bool bSet = event.SetEvent();
    const bool bWaited = event.WaitEvent(0);
    setrlimit(RLIMIT_NOFILE, &old);
    const std::string trace = testing::internal::GetCapturedStdout();
    EXPECT_FALSE(bSet);
    EXPECT_FALSE(bWaited);
    EXPECT_NE(trace.find("chEvent_Socket::SetEvent failed!\n"), std::string::npos) << trace;
    EXPECT_EQ(event.fd(), -1);
    EXPECT_TRUE(event.OpenEvent());
}

TEST(SocketEvent, AFailedReceivePauses) {
    chEvent_Socket event;
    event.OpenEvent();
    dup2(open("/dev/null", O_RDWR | O_CLOEXEC), event.fd());  // Readable, but no datagram comes.
    auto start = Clock::now();
    EXPECT_FALSE(event.WaitEvent(0));
    EXPECT_GE(Clock::now() - start, milliseconds(100));
    start = Clock::now();
    event.ResetEvent();
    EXPECT_GE(Clock::now() - start, milliseconds(100));
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    event.printfWarning();
    EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
}

TEST(SocketEvent, SetFromManyThreads) {
    chEvent_Socket event;
    event.OpenEvent();
    std::atomic<int> nSent{0};
    std::thread setters[3];
    for (auto& setter : setters) {
        setter = std::thread([&] {
            for (int i = 0; i < 100; ++i) {
                if (event.SetEvent()) ++nSent;
                if (i % 20 == 0) std::this_thread::sleep_for(milliseconds(1));
            }
        });
    }
    int nTaken = 0;
    while (event.WaitEvent(nTaken < 300 ? 2000 : 0))
        ++nTaken;
    for (auto& setter : setters)
        setter.join();
    EXPECT_EQ(nSent, 300);
    EXPECT_EQ(nTaken, 300);
}

}  // namespace
