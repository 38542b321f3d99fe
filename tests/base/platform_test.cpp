// Identities, waiting, errors, directories, the clock, the end of a process; and what happens when the
// system refuses: some of its calls are replaced.
#include <vdx/platform.h>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
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

#include "support/child.h"
#include "support/threads.h"

using vdxtest::runInChild;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

namespace {

// What the replaced calls do; each case is a process of its own.
timeval s_clock{};
int s_nClockResult = 0;
bool s_bNoLock = false;
void (*s_pReenter)() = nullptr;
std::optional<std::string> s_linkTarget;

void reenter() {
    if (s_pReenter) s_pReenter();
}

}  // namespace

extern "C" {

int __wrap_settimeofday(const timeval* pTime, const struct timezone*) {
    s_clock = *pTime;
    return s_nClockResult;
}

int __real_pthread_mutex_lock(pthread_mutex_t* pMutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* pMutex) {
    return s_bNoLock ? EINVAL : __real_pthread_mutex_lock(pMutex);
}

ssize_t __real_readlink(const char* szPath, char* pBuffer, std::size_t nSize);
ssize_t __wrap_readlink(const char* szPath, char* pBuffer, std::size_t nSize) {
    if (!s_linkTarget) return __real_readlink(szPath, pBuffer, nSize);
    return s_linkTarget->empty() ? -1 : static_cast<ssize_t>(s_linkTarget->copy(pBuffer, nSize));
}

// Both are called while a singleton is constructed.
int __real_pthread_mutex_init(pthread_mutex_t* pMutex, const pthread_mutexattr_t* pAttributes);
int __wrap_pthread_mutex_init(pthread_mutex_t* pMutex, const pthread_mutexattr_t* pAttributes) {
    reenter();
    return __real_pthread_mutex_init(pMutex, pAttributes);
}
char* __real_getenv(const char* szName);
char* __wrap_getenv(const char* szName) {
    reenter();
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

TEST(Platform, ProbesAreLenient) {
    EXPECT_TRUE(vdxIsValidThreadID(pthread_self()));
    for (const int nId : {0, 1, -1, getpid(), 1 << 30, INT_MAX, INT_MIN}) {
        EXPECT_EQ(vdxIsValidTaskID(nId), nId != 0) << nId;
        EXPECT_TRUE(vdxIsValidProcessID(nId)) << nId;
    }
}

TEST(Platform, KeptEntryPointsDoNothing) {
    vdxHookCrashSignal();
    EXPECT_EQ(KillProcessAppByName("test_base"), 0);
    EXPECT_EQ(vdxGetCPUTickCount(), 0u);
    EXPECT_STREQ(__szVersion_VER_VDX_LIB, "2.0.5.35");
}

TEST(Platform, SleepsEndAtTheTimeOrAtASignal) {
    for (int (*const pWait)(int) : {vdxSleep, vdxDelay}) {
        const auto start = Clock::now();
        EXPECT_EQ(pWait(60), 0);
        EXPECT_GE(Clock::now() - start, milliseconds(60));
        EXPECT_EQ(pWait(-1), -1);
        EXPECT_EQ(vdxGetLastError(), static_cast<std::uint32_t>(EINVAL));
    }
    EXPECT_EQ(vdxSwitchToThread(), 0);

    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    ualarm(50'000, 0);
    const auto start = Clock::now();
    EXPECT_EQ(vdxSleep(20'000), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_LT(Clock::now() - start, milliseconds(10'000));
}

TEST(Platform, ErrorTextsAreTheSystems) {
    errno = ENOENT;
    EXPECT_EQ(vdxTransLastError(), "No such file or directory");
    EXPECT_EQ(vdxTransLastError(EACCES), "Permission denied");
    EXPECT_EQ(vdxTransLastError(0xFFFFFFFFU), std::string(std::strerror(-1)));
}

TEST(Platform, Directories) {
    EXPECT_EQ(vdxGetTempDirectory(), "/tmp");
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

TEST(Platform, AbortWaitsThenRaises) {
    const auto start = Clock::now();
    EXPECT_EQ(runInChild([]() -> int { vdxAbort(); }).signal(), SIGABRT);
    EXPECT_GE(Clock::now() - start, milliseconds(300));
    // An application that handles the signal does not keep the process alive.
    const auto abortIgnored = []() -> int {
        signal(SIGABRT, SIG_IGN);
        vdxAbort();
    };
    EXPECT_EQ(runInChild(abortIgnored).exitCode(), 6);
}

TEST(SystemFault, TheClockIsSetToSecondsAndMicroseconds) {
    EXPECT_TRUE(chTime::setSystemTime(chTime::time1970() - chTime(0, 1)));
    EXPECT_EQ(s_clock.tv_sec, -1);
    EXPECT_EQ(s_clock.tv_usec, 999'000);
    s_nClockResult = -1;
    EXPECT_FALSE(chTime::setSystemTime(chTime(2024, 2, 29, 13, 45, 7, 89)));
    EXPECT_EQ(s_clock.tv_sec, 1'709'214'307);
    EXPECT_EQ(s_clock.tv_usec, 89'000);
}

TEST(SystemFault, ALockThatFailsWarnsWithTheTextOfErrno) {
    const auto result = runInChild([] {
        chCriticalSection lock;
        errno = EDOM;
        s_bNoLock = true;
        const bool bLocked = lock.Lock();
        s_bNoLock = false;
        return bLocked || lock.IsLocked() ? 1 : 0;
    });
    EXPECT_EQ(result.exitCode(), 0);
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
        getFdCounts();
        const rlimit none{0, 0};
        setrlimit(RLIMIT_NOFILE, &none);
        return getFdCounts();
    });
    EXPECT_EQ(result.exitCode(), 0);
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
        SCOPED_TRACE(szName);
        const auto result = runInChild([&pCreate = pCreate] {
            s_pReenter = pCreate;
            pCreate();
            return 0;
        });
        EXPECT_EQ(result.signal(), SIGABRT);
        EXPECT_EQ(bToStderr ? result.err : result.out,
                  std::string("[\x1b[1;31mE:\x1b[00m] re-enter static instance of ") + szName + "\n");
    }
}
