// Locks, and what is created once under them: owners, depth, misuse, many threads, fork.
#include <vdx/locks.h>

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <climits>
#include <csignal>
#include <mutex>
#include <set>

#include <vdx/platform.h>

#include "base/singleton.h"
#include "siblings/modulelog/module_log.h"
#include "siblings/modulelog/system_log.h"
#include "support/child.h"
#include "support/threads.h"

using vdxtest::runInChild;
using vdxtest::runTogether;

TEST(chCriticalSection, KnowsItsHolderAndWarnsOfAnUnlockWithoutLock) {
    const auto result = runInChild([] {
        chCriticalSection lock;
        for (int i = 0; i < 2; ++i) {  // The mutex itself is left alone by the warning.
            EXPECT_FALSE(lock.IsLocked() || lock.IsLockedByThisThread());
            ASSERT_TRUE(lock.Lock());
            EXPECT_TRUE(lock.IsLocked() && lock.IsLockedByThisThread());
            runTogether(1, [&](int) { EXPECT_TRUE(lock.IsLocked() && !lock.IsLockedByThisThread()); });
            lock.Unlock();
            if (i == 0) lock.Unlock();
        }
    });
    EXPECT_TRUE(result.err.starts_with("[\x1b[1;33mW:\x1b[00m] ")) << result.err;
    EXPECT_TRUE(result.err.ends_with(") Try to unlock a NOLOCKED CriticalSection.\n")) << result.err;
}

TEST(chReentrantCritical, IsFreeAfterTheLastLeaveAndAbortsAtOneMore) {
    chReentrantCritical lock;
    for (int i = 0; i < 3; ++i)
        lock.Enter();
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(lock.IsLockedByThisThread());
        lock.Leave();
    }
    EXPECT_FALSE(lock.IsLocked());
    EXPECT_EQ(runInChild([&] { return lock.Leave(), 0; }).signal(), SIGABRT);
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
    const auto useStatic = [] {
        const chReentrantGuard guard(getStaticObjectCritical());
        return vdxSwitchToThread() == 0;
    };
    const auto setSink = [] { vdx::setModuleLogSink(nullptr, nullptr); };
    const auto writeLog = [] { vdx::writeSystemLog("text"); };
    const auto useBoth = [] {
        SpdLog_ModuleTrace(vdx::ModuleLogLevel::Info, "child", "text");
        return true;
    };
    EXPECT_EQ(vdxtest::forkWhileBusy(30, useStatic, useStatic), 0);
    EXPECT_EQ(vdxtest::forkWhileBusy(30, setSink, useBoth), 0);
    EXPECT_EQ(vdxtest::forkWhileBusy(30, writeLog, useBoth), 0);
}

TEST(StaticObjectCritical, ForkWhileHeldKeepsItHeldInBoth) {
    const chReentrantGuard guard(getStaticObjectCritical());
    EXPECT_EQ(runInChild([] { return getStaticObjectCritical().IsLockedByThisThread(); }).exitCode(), 1);
    EXPECT_TRUE(getStaticObjectCritical().IsLockedByThisThread());
}

TEST(StaticObjectCritical, TwoThreadsForkAtOnce) {
    const auto isFree = [] { return !getStaticObjectCritical().IsLocked(); };
    // Not _exit: in it the thread sanitizer misses the parent's other thread.
    const auto forkOnce = [] { vdxtest::statusOfFork([] { return syscall(SYS_exit_group, 0) != 0; }); };
    EXPECT_EQ(vdxtest::forkWhileBusy(100, forkOnce, isFree), 0);
    EXPECT_TRUE(isFree());
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

// A fork waits for the object: the child would not have the thread that makes it.
TEST(Singleton, ThreadsAndForksDuringCreationGetTheSameObject) {
    EXPECT_THROW(vdx::Singleton<Slow>::getInstance(), std::bad_alloc);
    EXPECT_EQ(vdx::Singleton<Slow>::findInstance(), nullptr);
    Slow* aFound[9];
    const auto get = [&](int i) { return aFound[i] = &vdx::Singleton<Slow>::getInstance(); };
    runTogether(9, [&](int i) {
        if (i == 8) {
            vdxSleep(60);
            EXPECT_EQ(vdxtest::statusOfFork([&] { return alarm(10), get(i) == nullptr; }), 0);
        }
        get(i);
    });
    EXPECT_EQ(std::set<Slow*>(aFound, aFound + 9), std::set{vdx::Singleton<Slow>::findInstance()});
    EXPECT_EQ(Slow::s_nTried, 2);
}
