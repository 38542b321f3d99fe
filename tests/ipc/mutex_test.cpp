// What is shared by name within the process: mutexes and local map files.
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

#include <gtest/gtest.h>

#include <vdx/map_file.h>
#include <vdx/node_alloc.h>
#include <vdx/sync.h>

#include "support/threads.h"

namespace {

template <class Call>
auto onOtherThread(const Call& call) {
    decltype(call()) result{};
    std::thread([&] { result = call(); }).join();
    return result;
}

std::uint32_t liveBlocks() {
    const auto counts = dymicAllocHelper::getInstance()->getCounts();
    return counts.nAlloc - counts.nFree;
}

TEST(MapFileLocal, OneBlockUntilTheLastOneCloses) {
    const std::uint32_t nBefore = liveBlocks();
    chMapFile_Local first;
    chMapFile_Local second;
    EXPECT_FALSE(first.IsCreateByMe());
    auto* p = static_cast<char*>(first.OpenMapFile("a", 100));
    ASSERT_NE(p, nullptr);
    std::strcpy(p, "kept");
    EXPECT_EQ(second.OpenMapFile("a", 1 << 30), p);  // The size is that of the first.
    EXPECT_TRUE(first.IsCreateByMe());
    EXPECT_FALSE(second.IsCreateByMe());
    EXPECT_EQ(liveBlocks(), nBefore + 1);

    first.CloseMapFile();
    first.CloseMapFile();  // Gives back its own use only.
    EXPECT_EQ(liveBlocks(), nBefore + 1);
    EXPECT_STREQ(p, "kept");
    EXPECT_EQ(first.OpenMapFile("a", 100), p);
    EXPECT_FALSE(first.IsCreateByMe());  // The mark of the creator does not come back.
    second.DestroyMapFile();
    EXPECT_NE(first.OpenMapFile("b", 100), nullptr);  // Leaves the old name.
    EXPECT_EQ(liveBlocks(), nBefore + 1);
    EXPECT_EQ(first.OpenMapFile("c", -1), nullptr);
    first.CloseMapFile();
    EXPECT_EQ(liveBlocks(), nBefore);
}

TEST(NamedMutex, OneLockForAllWhoOpenTheName) {
    chMutex first;
    chMutex second;
    chMutex other;
    EXPECT_EQ(first.Lock(-1), 0);  // Closed, it does nothing.
    first.Unlock();
    EXPECT_FALSE(first.IsLockedByThisThread());
    EXPECT_FALSE(first.IsCreateByMe());
    EXPECT_TRUE(first.OpenMutex("m"));
    EXPECT_TRUE(second.OpenMutex("m"));
    EXPECT_TRUE(other.OpenMutex("n"));
    EXPECT_TRUE(first.IsCreateByMe());
    EXPECT_FALSE(second.IsCreateByMe());
    for (const int nTimeout : {0, -1, 5})  // Its thread may lock again.
        EXPECT_EQ(first.Lock(nTimeout), 1);
    EXPECT_FALSE(other.IsLockedByThisThread());
    EXPECT_FALSE(onOtherThread([&] { return second.IsLockedByThisThread(); }));
    std::atomic<bool> bFree{false};
    std::thread waiter([&] {
        EXPECT_TRUE(second.Lock(1) == 1 && bFree);  // Kept: it waits without limit.
        second.Unlock();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    for (int nDepth = 3; nDepth > 0; --nDepth) {
        EXPECT_TRUE(second.IsLockedByThisThread()) << nDepth;
        bFree = nDepth == 1;
        second.Unlock();
    }
    waiter.join();
    EXPECT_FALSE(first.IsLockedByThisThread());
    first.CloseMutex();
    EXPECT_EQ(first.Lock(-1), 0);
    EXPECT_FALSE(second.IsCreateByMe());
    EXPECT_TRUE(first.OpenMutex("m"));
    EXPECT_FALSE(first.IsCreateByMe());
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

TEST(NamedTable, ManyThreadsOpenUseAndClose) {
    const std::uint32_t nBefore = liveBlocks();
    long nCount = 0;
    chMutex keeps;  // One name stays, the other ones come and go.
    keeps.OpenMutex("0");
    vdxtest::runTogether(4, [&](int) {
        for (int i = 0; i < 4000; ++i) {
            chMutex mutex;
            mutex.OpenMutex("0");
            mutex.Lock(-1);
            ++nCount;
            mutex.Unlock();
            mutex.OpenMutex("1");
            mutex.Lock(-1);
            mutex.Unlock();
            chMapFile_Local file;
            if (file.OpenMapFile("1", 64) == nullptr) std::abort();
            file.CloseMapFile();
        }
    });
    EXPECT_EQ(nCount, 16000);
    EXPECT_EQ(liveBlocks(), nBefore);
}

}  // namespace
