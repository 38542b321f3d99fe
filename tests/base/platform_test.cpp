// Identities, waiting, errors, directories, the end of a process.
#include <vdx/platform.h>

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstring>
#include <thread>

#include <vdx/trace.h>

#include "support/child.h"

using vdxtest::runInChild;
using Clock = std::chrono::steady_clock;

TEST(Platform, IdentitiesAreTheSystemsAndFollowAFork) {
    EXPECT_EQ(vdxGetCurrentProcessId(), getpid());
    EXPECT_EQ(vdxGetCurrentTaskId(), static_cast<std::uint32_t>(syscall(SYS_gettid)));
    EXPECT_NE(vdxGetCurrentThreadId(), 0u);
    const auto right = [] {
        return vdxGetCurrentTaskId() == static_cast<std::uint32_t>(syscall(SYS_gettid)) &&
                       vdxGetCurrentProcessId() == getpid()
                   ? 0
                   : 1;
    };
    EXPECT_EQ(runInChild(right).exitCode(), 0);
    std::thread([&] {
        EXPECT_EQ(right(), 0);
        EXPECT_EQ(runInChild(right).exitCode(), 0);
    }).join();
}

TEST(Platform, ProbesAreLenient) {
    EXPECT_TRUE(vdxIsValidThreadID(pthread_self()));
    EXPECT_FALSE(vdxIsValidTaskID(0));
    EXPECT_TRUE(vdxIsValidProcessID(0));
    for (const int nId : {1, -1, getpid(), 1 << 30, INT_MAX, INT_MIN}) {
        EXPECT_TRUE(vdxIsValidTaskID(nId)) << nId;
        EXPECT_TRUE(vdxIsValidProcessID(nId)) << nId;
    }
}

TEST(Platform, TickCountFollowsTheMonotonicClock) {
    timespec now{};
    const std::uint64_t nBefore = vdxGetTickCount();
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::uint64_t nAfter = vdxGetTickCount();
    const auto nSystem =
        static_cast<std::uint64_t>(now.tv_sec) * 1000U + static_cast<std::uint64_t>(now.tv_nsec) / 1000'000U;
    EXPECT_LE(nBefore, nSystem);
    EXPECT_LE(nSystem, nAfter);
    EXPECT_EQ(vdxGetCPUTickCount(), 0u);
}

TEST(Platform, SleepsWholeAndRejectsNegativeTimes) {
    for (int (*const pWait)(int) : {vdxSleep, vdxDelay}) {
        const auto start = Clock::now();
        EXPECT_EQ(pWait(60), 0);
        EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(60));
        errno = 0;
        EXPECT_EQ(pWait(-1), -1);
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(vdxSwitchToThread(), 0);
}

TEST(Platform, ASignalEndsASleep) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    ualarm(50'000, 0);
    const auto start = Clock::now();
    EXPECT_EQ(vdxSleep(20'000), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
}

TEST(Platform, ErrorTextsAreTheSystems) {
    errno = ENOENT;
    EXPECT_EQ(vdxGetLastError(), static_cast<std::uint32_t>(ENOENT));
    EXPECT_EQ(vdxTransLastError(), "No such file or directory");
    EXPECT_EQ(vdxTransLastError(EACCES), "Permission denied");
    EXPECT_EQ(vdxTransLastError(0xFFFFFFFFU), std::string(std::strerror(-1)));
}

TEST(Platform, Directories) {
    const TempDir dir;
    EXPECT_EQ(vdxGetExeFileName(), std::filesystem::read_symlink("/proc/self/exe").string().substr(0, 255));
    EXPECT_EQ(vdxGetTempDirectory(), "/tmp");
    EXPECT_EQ(runInChild([] {
                  unsetenv("HOME");
                  const bool bEmpty = vdxGetHomeDirectory().empty();
                  setenv("HOME", "/home/x", 1);
                  return bEmpty && vdxGetHomeDirectory() == "/home/x" ? 0 : 1;
              }).exitCode(),
              0);
    EXPECT_EQ(runInChild([&] {
                  if (chdir(dir.path().c_str()) != 0 || vdxGetCurrentDirectory() != dir.path()) return 1;
                  const std::string part(130, 'd');
                  for (int i = 0; i < 2; ++i) {
                      if (mkdir(part.c_str(), 0700) != 0 || chdir(part.c_str()) != 0) return 2;
                  }
                  return vdxGetCurrentDirectory().empty() ? 0 : 3;
              }).exitCode(),
              0);
}

TEST(Platform, AbortWaitsThenRaises) {
    const auto start = Clock::now();
    EXPECT_EQ(runInChild([]() -> int { vdxAbort(); }).signal(), SIGABRT);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(300));
    // An application that handles the signal does not keep the process alive.
    EXPECT_EQ(runInChild([]() -> int {
                  signal(SIGABRT, SIG_IGN);
                  vdxAbort();
              }).exitCode(),
              6);
}

TEST(Platform, DescriptorCountIsTraced) {
    const auto result = runInChild([] { return getFdCounts(); });
    EXPECT_EQ(result.exitCode(), 0);
    EXPECT_NE(result.out.find(" getFdCounts: current task:["), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("] fds:"), std::string::npos) << result.out;
}

TEST(Platform, ObligatoryEntryPointsDoNothing) {
    vdxHookCrashSignal();
    EXPECT_EQ(KillProcessAppByName("test_base"), 0);
    EXPECT_STREQ(__szVersion_VER_VDX_LIB, "2.0.5.35");
}
