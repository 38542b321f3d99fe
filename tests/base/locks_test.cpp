// Locks: owners, depth, misuse, many threads, fork.
#include <vdx/locks.h>

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <csignal>
#include <thread>
#include <vector>

#include <vdx/platform.h>

#include "support/child.h"

using vdxtest::runInChild;

TEST(chCriticalSection, KnowsItsHolder) {
    chCriticalSection lock;
    EXPECT_FALSE(lock.IsLocked());
    EXPECT_FALSE(lock.IsLockedByThisThread());
    ASSERT_TRUE(lock.Lock());
    EXPECT_TRUE(lock.IsLockedByThisThread());
    std::thread([&] {
        EXPECT_TRUE(lock.IsLocked());
        EXPECT_FALSE(lock.IsLockedByThisThread());
    }).join();
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
    EXPECT_EQ(result.err.rfind("[\x1b[1;33mW:\x1b[00m] ", 0), 0u) << result.err;
    const std::string tail = ") Try to unlock a NOLOCKED CriticalSection.\n";
    ASSERT_GE(result.err.size(), tail.size());
    EXPECT_EQ(result.err.substr(result.err.size() - tail.size()), tail);
    EXPECT_EQ(result.out, "");
}

TEST(chCriticalSection, SerialisesThreads) {
    chCriticalSection lock;
    long nCount = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 20'000; ++n) {
                lock.Lock();
                ++nCount;
                lock.Unlock();
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(nCount, 80'000);
}

TEST(chReentrantCritical, FreesAtTheLastLeave) {
    chReentrantCritical& lock = getStaticObjectCritical();
    for (int i = 0; i < 3; ++i)
        lock.Enter();
    lock.Leave();
    lock.Leave();
    EXPECT_TRUE(lock.IsLockedByThisThread());
    lock.Leave();
    EXPECT_FALSE(lock.IsLocked());
}

TEST(chReentrantCritical, LeavingWithoutHoldingAborts) {
    EXPECT_EQ(runInChild([] {
                  chReentrantCritical lock;
                  lock.Leave();
                  return 0;
              }).signal(),
              SIGABRT);
}

TEST(StaticObjectCritical, IsFreeInAForkedChildWhoeverHeldIt) {
    const int nBad = vdxtest::forkWhileBusy(
        20,
        [] {
            const chReentrantGuard guard(getStaticObjectCritical());
            vdxSwitchToThread();
        },
        [] {
            int nValue = 1;
            return vdxInterlockedIncrement(nValue) == 2 && !getStaticObjectCritical().IsLocked();
        });
    EXPECT_EQ(nBad, 0);
}

TEST(StaticObjectCritical, ForkWhileHeldKeepsItHeldInBoth) {
    const chReentrantGuard guard(getStaticObjectCritical());
    EXPECT_EQ(runInChild([] { return getStaticObjectCritical().IsLockedByThisThread() ? 0 : 1; }).exitCode(),
              0);
    EXPECT_TRUE(getStaticObjectCritical().IsLockedByThisThread());
}

TEST(StaticObjectCritical, TwoThreadsForkAtOnce) {
    EXPECT_EQ(runInChild([] {
                  alarm(60);
                  getStaticObjectCritical();
                  const auto forkOften = [] {
                      for (int i = 0; i < 100; ++i) {
                          const pid_t idChild = fork();
                          // Not _exit: in it the thread sanitizer misses the parent's other thread.
                          if (idChild == 0)
                              syscall(SYS_exit_group, getStaticObjectCritical().IsLocked() ? 1 : 0);
                          int nStatus = -1;
                          waitpid(idChild, &nStatus, 0);
                          if (nStatus != 0) _exit(2);
                      }
                  };
                  std::thread other(forkOften);
                  forkOften();
                  other.join();
                  return getStaticObjectCritical().IsLocked() ? 1 : 0;
              }).exitCode(),
              0);
}

TEST(Interlocked, CountsAcrossThreadsAndUnderTheStaticLock) {
    int nValue = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 10'000; ++n) {
                vdxInterlockedIncrement(nValue);
                vdxInterlockedIncrement(nValue);
                vdxInterlockedDecrement(nValue);
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(nValue, 40'000);

    const chReentrantGuard guard(getStaticObjectCritical());
    EXPECT_EQ(vdxInterlockedIncrement(nValue), 40'001);
    EXPECT_TRUE(getStaticObjectCritical().IsLockedByThisThread());
    int nEdge = 2'147'483'647;
    EXPECT_EQ(vdxInterlockedIncrement(nEdge), -2'147'483'647 - 1);
    EXPECT_EQ(vdxInterlockedDecrement(nEdge), 2'147'483'647);
}

TEST(xReadWriteLock, ManyReadersOrOneWriter) {
    xReadWriteLock lock;
    ASSERT_TRUE(lock.LockRead());
    std::thread([&] {
        ASSERT_TRUE(lock.tryLockRead());
        EXPECT_EQ(lock.UnlockRead(), 0);
    }).join();
    EXPECT_EQ(lock.UnlockRead(), 0);

    ASSERT_TRUE(lock.LockWrite());
    std::thread([&] { EXPECT_FALSE(lock.tryLockRead()); }).join();
    EXPECT_EQ(lock.UnlockWrite(), 0);
    EXPECT_TRUE(lock.tryLockRead());
    EXPECT_EQ(lock.UnlockWrite(), 0);  // One release serves both modes.
}
