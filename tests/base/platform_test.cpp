// Identities, waiting, errors, directories, the clock, the end of a process; and what happens when the
// system refuses: some of its calls are replaced.
#include <vdx/platform.h>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <climits>
#include <cstring>
#include <optional>
#include <regex>
#include <tuple>

#include <vdx/directories.h>
#include <vdx/locks.h>
#include <vdx/named_object.h>
#include <vdx/node_alloc.h>
#include <vdx/time.h>
#include <vdx/trace_helper.h>

#include "support/calls.h"
#include "support/child.h"
#include "support/failing_calls.h"
#include "support/threads.h"

using vdxtest::runInChild;

namespace {

// What the replaced calls do; each case is a process of its own.
timeval s_clock{};
void (*s_pReenter)() = [] {};
std::optional<std::string> s_linkTarget;

}  // namespace

extern "C" {

VDX_FAILING(int, pthread_mutex_lock, (pthread_mutex_t * pMutex), (pMutex), EINVAL)
VDX_REPLACED(int, settimeofday, (const timeval* pTime, const struct timezone*)) {
    s_clock = *pTime;
    return vdxtest::fails("settimeofday") ? -1 : 0;
}
VDX_REPLACED(ssize_t, readlink, (const char* szPath, char* pBuffer, std::size_t nSize)) {
    if (!s_linkTarget) return __real_readlink(szPath, pBuffer, nSize);
    return s_linkTarget->empty() ? -1 : static_cast<ssize_t>(s_linkTarget->copy(pBuffer, nSize));
}
// Both are called while a singleton is constructed.
VDX_REPLACED(int, pthread_mutex_init, (pthread_mutex_t * pMutex, const pthread_mutexattr_t* pAttributes)) {
    s_pReenter();
    return __real_pthread_mutex_init(pMutex, pAttributes);
}
VDX_REPLACED(char*, getenv, (const char* szName)) {
    s_pReenter();
    return __real_getenv(szName);
}

}  // extern "C"

TEST(Platform, IdentitiesAreTheSystemsAndFollowAFork) {
    const auto right = [] {
        return vdxGetCurrentTaskId() == static_cast<std::uint32_t>(syscall(SYS_gettid)) &&
               vdxGetCurrentProcessId() == getpid() && vdxGetCurrentThreadId() != 0;
    };
    const auto rightInBoth = [&](int) { EXPECT_TRUE(right() && runInChild(right).exitCode() == 1); };
    rightInBoth(0);
    vdxtest::runTogether(1, rightInBoth);
}

TEST(Platform, ProbesAreLenientAndKeptEntryPointsDoNothing) {
    EXPECT_TRUE(vdxIsValidThreadID(pthread_self()));
    for (const int nId : {0, 1, -1, getpid(), 1 << 30, INT_MAX, INT_MIN}) {
        EXPECT_EQ(vdxIsValidTaskID(nId), nId != 0) << nId;
        EXPECT_TRUE(vdxIsValidProcessID(nId)) << nId;
    }
    vdxHookCrashSignal();
    EXPECT_TRUE(KillProcessAppByName("test_base") == 0 && vdxGetCPUTickCount() == 0);
    EXPECT_STREQ(__szVersion_VER_VDX_LIB, "2.0.5.35");
}

TEST(Platform, SleepsEndAtTheTimeOrAtASignal) {
    EXPECT_EQ(vdxSwitchToThread(), 0);
    for (int (*const pWait)(int) : {vdxSleep, vdxDelay}) {
        vdxtest::expectMs(60, 10'000, [&] { EXPECT_EQ(pWait(60), 0); });
        EXPECT_EQ(pWait(-1), -1);
        EXPECT_EQ(vdxGetLastError(), std::uint32_t{EINVAL});
        const vdxtest::Signaller signals;
        vdxtest::expectMs(0, 10'000, [&] { EXPECT_EQ(pWait(20'000), -1); });
        EXPECT_EQ(errno, EINTR);
    }
}

TEST(Platform, ErrorTextsAreTheSystems) {
    errno = ENOENT;
    EXPECT_EQ(vdxTransLastError(), "No such file or directory");
    EXPECT_EQ(vdxTransLastError(EACCES), "Permission denied");
    EXPECT_EQ(vdxTransLastError(0xFFFFFFFFU), std::string(std::strerror(-1)));
}

TEST(Platform, Directories) {
    EXPECT_EQ(vdxGetTempDirectory(), "/tmp");
    setenv("HOME", "/home/of", 1);
    EXPECT_EQ(vdxGetHomeDirectory(), "/home/of");
    unsetenv("HOME");
    EXPECT_EQ(vdxGetHomeDirectory(), "");
    const TempDir dir;
    const std::string folder = std::string(100, 'a') + "/" + std::string(100, 'b') + "/";
    for (const std::size_t nSize : {254u, 255u, 256u, 300u}) {
        const std::string path = dir.makeDir(folder + std::string(nSize - (dir / folder).size(), 'c'));
        std::filesystem::current_path(path);
        EXPECT_EQ(vdxGetCurrentDirectory(), nSize < 256 ? path : "") << nSize;
    }
    std::filesystem::current_path("/");
}

// Also in an application that handles the signal.
TEST(Platform, AbortWaitsThenEndsTheProcess) {
    for (const bool bIgnored : {false, true}) {
        const auto nStart_ms = vdxGetTickCount();
        const auto result = runInChild([&]() -> int {
            if (bIgnored) signal(SIGABRT, SIG_IGN);
            vdxAbort();
        });
        EXPECT_GE(vdxGetTickCount() - nStart_ms, 300u);
        EXPECT_TRUE(bIgnored ? result.exitCode() == 6 : result.signal() == SIGABRT) << result.nStatus;
    }
}

TEST(SystemFault, TheClockIsSetToSecondsAndMicroseconds) {
    EXPECT_TRUE(chTime::setSystemTime(chTime::time1970() - chTime(0, 1)));
    EXPECT_EQ(s_clock.tv_sec, -1);
    EXPECT_EQ(s_clock.tv_usec, 999'000);
    vdxtest::t_failure = {.nLeft = 0, .nError = EPERM, .name = "settimeofday"};
    EXPECT_FALSE(chTime::setSystemTime(chTime(2024, 2, 29, 13, 45, 7, 89)));
    EXPECT_EQ(s_clock.tv_sec, 1'709'214'307);
    EXPECT_EQ(s_clock.tv_usec, 89'000);
}

// Of errno, although the call returns its own number.
TEST(SystemFault, ALockThatFailsWarnsWithTheTextOfErrno) {
    const auto result = runInChild([] {
        chCriticalSection lock;
        vdxtest::t_failure = {.nLeft = 0, .nError = EDOM, .name = "pthread_mutex_lock"};
        EXPECT_FALSE(lock.Lock() || lock.IsLocked());
    });
    const std::string text = std::string(") pthread_mutex_lock fail:(") + std::strerror(EDOM) + ").\n";
    EXPECT_TRUE(result.err.ends_with(text)) << result.err;
}

TEST(SystemFault, TheProgramsNameIsCutOrEmpty) {
    for (const std::size_t nSize : {0u, 1u, 254u, 255u, 256u, 300u}) {
        s_linkTarget = std::string(nSize, 'e');
        EXPECT_EQ(vdxGetExeFileName(), s_linkTarget->substr(0, 255));
    }
}

TEST(SystemFault, DescriptorsThatCannotBeListedAreTracedToo) {
    const auto result = runInChild([] {
        EXPECT_EQ(getFdCounts(), 0);
        const rlimit none{0, 0};
        setrlimit(RLIMIT_NOFILE, &none);
        EXPECT_EQ(getFdCounts(), 0);
    });
    const std::regex lines(
        "getFdCounts: current task:\\[(\\d+)\\] fds:(\\d+)\n[^]*"
        "getFdCounts: current fds: open failed! current task:\\[\\1\\] \\[/proc/\\1/fd\\]\\[24\\]\n");
    std::smatch match;
    ASSERT_TRUE(std::regex_search(result.out, match, lines)) << result.out;
    EXPECT_GE(std::stoi(match[2]), 6) << "three, the folder itself, '.' and '..'";
}

TEST(SystemFault, EverySingletonNamesItselfWhenItsConstructionComesBack) {
    const std::tuple<const char*, void (*)(), bool> rows[] = {
        {"uCTraceHelper", [] { uCTraceHelper::getInstance(); }, true},
        {"uCSystemNamedObjectHelper", [] { uCSystemNamedObjectHelper::getInstance(); }, true},
        {"dymicAllocHelper", [] { dymicAllocHelper::getInstance(); }, true},
        {"RootPath", [] { appRootPath(); }, false},
    };
    for (const auto& [szName, pCreate, bToStderr] : rows) {
        const auto result = runInChild([&pCreate = pCreate] {
            s_pReenter = pCreate;
            return pCreate(), 0;
        });
        EXPECT_EQ(result.signal(), SIGABRT) << szName;
        EXPECT_EQ(bToStderr ? result.err : result.out,
                  std::string("[\x1b[1;31mE:\x1b[00m] re-enter static instance of ") + szName + "\n");
    }
}
