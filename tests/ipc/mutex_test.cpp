// Named mutexes.
#include <atomic>
#include <csignal>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vdx/sync.h>

namespace {

template <class Call>
auto onOtherThread(const Call& call) {
    decltype(call()) result{};
    std::thread([&] { result = call(); }).join();
    return result;
}

TEST(NamedMutex, OneLockForAllWhoOpenTheName) {
    chMutex first;
    chMutex second;
    chMutex other;
    EXPECT_TRUE(first.OpenMutex("m"));
    EXPECT_TRUE(second.OpenMutex("m"));
    EXPECT_TRUE(other.OpenMutex("n"));
    EXPECT_TRUE(first.IsCreateByMe());
    EXPECT_FALSE(second.IsCreateByMe());
    EXPECT_EQ(first.Lock(0), 1);
    EXPECT_TRUE(second.IsLockedByThisThread());
    EXPECT_FALSE(other.IsLockedByThisThread());
    EXPECT_FALSE(onOtherThread([&] { return second.IsLockedByThisThread(); }));
    second.Unlock();
    EXPECT_FALSE(first.IsLockedByThisThread());
    first.CloseMutex();
    EXPECT_FALSE(second.IsCreateByMe());
    EXPECT_TRUE(first.OpenMutex("m"));
    EXPECT_FALSE(first.IsCreateByMe());
}

TEST(NamedMutex, ItsThreadMayLockAgain) {
    chMutex mutex;
    mutex.OpenMutex("again");
    for (const int nTimeout : {-1, 0, 5})
        EXPECT_EQ(mutex.Lock(nTimeout), 1);
    mutex.Unlock();
    mutex.Unlock();
    EXPECT_TRUE(mutex.IsLockedByThisThread());
    mutex.Unlock();
    EXPECT_FALSE(mutex.IsLockedByThisThread());
    EXPECT_EQ(onOtherThread([&] {
                  const int nResult = mutex.Lock(-1);
                  mutex.Unlock();
                  return nResult;
              }),
              1);
}

TEST(NamedMutex, ClosedDoesNothing) {
    chMutex mutex;
    EXPECT_EQ(mutex.Lock(-1), 0);
    mutex.Unlock();
    mutex.CloseMutex();
    EXPECT_FALSE(mutex.IsLockedByThisThread());
    EXPECT_FALSE(mutex.IsCreateByMe());
    mutex.OpenMutex("closed");
    mutex.DestroyMutex();
    EXPECT_EQ(mutex.Lock(-1), 0);
}

TEST(NamedMutexDeathTest, UnlockedByAThreadThatDoesNotHoldIt) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    chMutex mutex;
    mutex.OpenMutex("held");
    EXPECT_EXIT(mutex.Unlock(), testing::KilledBySignal(SIGABRT), "");
    mutex.Lock(-1);
    EXPECT_EXIT(onOtherThread([&] { return mutex.Unlock(), 0; }), testing::KilledBySignal(SIGABRT), "");
    mutex.Unlock();
}

TEST(NamedMutex, ManyThreadsOpenLockAndClose) {
    std::atomic<bool> bGo{false};
    std::vector<std::thread> threads;
    long counts[2] = {};
    chMutex keeps;  // One name stays, the other one comes and goes.
    keeps.OpenMutex("0");
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            while (!bGo)
                std::this_thread::yield();
            for (int i = 0; i < 4000; ++i) {
                chMutex mutex;
                mutex.OpenMutex("0");
                mutex.Lock(-1);
                ++counts[0];
                mutex.Unlock();
                mutex.OpenMutex("1");
                mutex.Lock(-1);
                mutex.Unlock();
            }
        });
    }
    bGo = true;
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(counts[0], 16000);
}

}  // namespace
