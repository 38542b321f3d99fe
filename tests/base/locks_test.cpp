// Locks, and what is created once under them: owners, depth, misuse, many threads, fork.
#include <vdx/locks.h>

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <climits>
#include <csignal>
#include <mutex>
#include <set>
#include <tuple>

#include <vdx/platform.h>

#include "base/singleton.h"
#include "siblings/modulelog/module_log.h"
#include "siblings/modulelog/system_log.h"
#include "support/child.h"
#include "support/threads.h"

using vdxtest::runInChild;
using vdxtest::runTogether;

TEST(chCriticalSection, KnowsItsHolder) {
    chCriticalSection lock;
    EXPECT_FALSE(lock.IsLocked() || lock.IsLockedByThisThread());
    ASSERT_TRUE(lock.Lock());
    EXPECT_TRUE(lock.IsLocked() && lock.IsLockedByThisThread());
    runTogether(1, [&](int) { EXPECT_TRUE(lock.IsLocked() && !lock.IsLockedByThisThread()); });
    lock.Unlock();
    EXPECT_FALSE(lock.IsLocked());
}

TEST(chCriticalSection, UnlockOfAFreeLockOnlyWarns) {
    const auto result = runInChild([] {
        chCriticalSection lock;
        lock.Lock();
        lock.Unlock();
        lock.Unlock();
        const bool bFree = lock.Lock();  // The mutex itself was left alone.
        lock.Unlock();
        return bFree ? 0 : 1;
    });
    EXPECT_EQ(result.exitCode(), 0);
    EXPECT_TRUE(result.err.starts_with("[\x1b[1;33mW:\x1b[00m] ")) << result.err;
    EXPECT_TRUE(result.err.ends_with(") Try to unlock a NOLOCKED CriticalSection.\n")) << result.err;
}

TEST(chReentrantCritical, IsFreeAfterTheLastLeaveAndAbortsAtOneMore) {
    const auto result = runInChild([] {
        chReentrantCritical lock;
        for (int i = 0; i < 3; ++i)
            lock.Enter();
        lock.Leave();
        lock.Leave();
        if (!lock.IsLockedByThisThread()) return 1;
        lock.Leave();
        if (lock.IsLocked()) return 2;
        lock.Leave();
        return 3;
    });
    EXPECT_EQ(result.signal(), SIGABRT) << result.exitCode();
}

TEST(Interlocked, CountsAcrossThreadsAndUnderTheStaticLock) {
    chCriticalSection lock;
    int nLocked = 0, nValue = 0;
    runTogether(4, [&](int) {
        for (int n = 0; n < 10'000; ++n) {
            lock.Lock();
            ++nLocked;
            lock.Unlock();
            vdxInterlockedIncrement(nValue);
            vdxInterlockedIncrement(nValue);
            vdxInterlockedDecrement(nValue);
        }
    });
    EXPECT_EQ(nLocked, 40'000);
    EXPECT_EQ(nValue, 40'000);

    const chReentrantGuard guard(getStaticObjectCritical());
    EXPECT_EQ(vdxInterlockedIncrement(nValue), 40'001);
    EXPECT_TRUE(getStaticObjectCritical().IsLockedByThisThread());
    int nEdge = INT_MAX;
    EXPECT_EQ(vdxInterlockedIncrement(nEdge), INT_MIN);
    EXPECT_EQ(vdxInterlockedDecrement(nEdge), INT_MAX);
}

// As the C library's function: under a lock that a fork does not free.
extern "C" void __wrap_syslog(int, const char*, ...) {
    static std::mutex s_mutex;
    const std::lock_guard guard(s_mutex);
    vdxSwitchToThread();
}

TEST(ForkedChild, FindsNoLockHeldThatAnotherThreadHad) {
    const std::tuple<const char*, void (*)(), bool (*)()> rows[] = {
        {"static objects",
         [] {
             const chReentrantGuard guard(getStaticObjectCritical());
             vdxSwitchToThread();
         },
         [] {
             int nValue = 1;
             return vdxInterlockedIncrement(nValue) == 2 && !getStaticObjectCritical().IsLocked();
         }},
        {"module log", [] { vdx::setModuleLogSink(nullptr, nullptr); },
         [] {
             SpdLog_ModuleTrace(vdx::ModuleLogLevel::Info, "child", "text");
             return true;
         }},
        {"system log", [] { vdx::writeSystemLog("text"); },
         [] {
             vdx::writeSystemLog("text");
             return true;
         }},
    };
    for (const auto& [szLabel, pBusy, pInChild] : rows)
        EXPECT_EQ(vdxtest::forkWhileBusy(30, pBusy, pInChild), 0) << szLabel;
}

TEST(StaticObjectCritical, ForkWhileHeldKeepsItHeldInBoth) {
    const chReentrantGuard guard(getStaticObjectCritical());
    EXPECT_EQ(runInChild([] { return getStaticObjectCritical().IsLockedByThisThread(); }).exitCode(), 1);
    EXPECT_TRUE(getStaticObjectCritical().IsLockedByThisThread());
}

TEST(StaticObjectCritical, TwoThreadsForkAtOnce) {
    const auto forkOften = [](int) {
        for (int i = 0; i < 100; ++i) {
            const pid_t idChild = fork();
            // Not _exit: in it the thread sanitizer misses the parent's other thread.
            if (idChild == 0) syscall(SYS_exit_group, getStaticObjectCritical().IsLocked() ? 1 : 0);
            int nStatus = -1;
            waitpid(idChild, &nStatus, 0);
            if (nStatus != 0) _exit(2);
        }
    };
    const auto result = runInChild([&] {
        alarm(60);
        runTogether(2, forkOften);
        return getStaticObjectCritical().IsLocked() ? 1 : 0;
    });
    EXPECT_EQ(result.exitCode(), 0);
}

TEST(xReadWriteLock, ManyReadersOrOneWriter) {
    xReadWriteLock lock;
    ASSERT_TRUE(lock.LockRead());
    runTogether(2, [&](int) { EXPECT_TRUE(lock.tryLockRead() && lock.UnlockRead() == 0); });
    EXPECT_EQ(lock.UnlockRead(), 0);
    ASSERT_TRUE(lock.LockWrite());
    runTogether(1, [&](int) { EXPECT_FALSE(lock.tryLockRead()); });
    EXPECT_EQ(lock.UnlockWrite(), 0);
    EXPECT_TRUE(lock.tryLockRead());
    EXPECT_EQ(lock.UnlockWrite(), 0);  // One release serves both modes.
}

namespace {

// A process-wide object that takes a while to create, at the second try.
struct Slow {
    static constexpr const char* SINGLETON_NAME = "Slow";
    static inline int s_nTried = 0;
    Slow() {
        vdxSleep(120);
        if (s_nTried++ == 0) throw std::bad_alloc();
    }
};

}  // namespace

TEST(Singleton, ThreadsThatComeDuringCreationGetTheSameObject) {
    EXPECT_THROW(vdx::Singleton<Slow>::getInstance(), std::bad_alloc);
    EXPECT_EQ(vdx::Singleton<Slow>::findInstance(), nullptr);
    Slow* aFound[8];
    runTogether(8, [&](int i) { aFound[i] = &vdx::Singleton<Slow>::getInstance(); });
    EXPECT_EQ(std::set<Slow*>(aFound, aFound + 8), std::set{vdx::Singleton<Slow>::findInstance()});
    EXPECT_EQ(Slow::s_nTried, 2);
}
