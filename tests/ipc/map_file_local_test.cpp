// Map files within the process.
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <vdx/map_file.h>
#include <vdx/node_alloc.h>

#include "support/child.h"

namespace {

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
    EXPECT_FALSE(second.IsCreateByMe());
    EXPECT_EQ(first.OpenMapFile("a", 100), p);
    EXPECT_FALSE(first.IsCreateByMe());  // The mark of the creator does not come back.
    first.DestroyMapFile();
    second.DestroyMapFile();
    EXPECT_EQ(liveBlocks(), nBefore);
}

TEST(MapFileLocal, NamesAreComparedExactly) {
    const std::string names[] = {"", "a", "A", "a ", std::string("a\0b", 3), std::string("a\0c", 3)};
    chMapFile_Local files[std::size(names)];
    for (std::size_t i = 0; i < std::size(names); ++i) {
        EXPECT_NE(files[i].OpenMapFile(names[i], 8), nullptr);
        EXPECT_TRUE(files[i].IsCreateByMe());
    }
    for (auto& file : files)
        file.CloseMapFile();
}

TEST(MapFileLocal, OpenedAgainLeavesTheOldName) {
    const std::uint32_t nBefore = liveBlocks();
    chMapFile_Local file;
    ASSERT_NE(file.OpenMapFile("one", 8), nullptr);
    ASSERT_NE(file.OpenMapFile("two", 8), nullptr);
    EXPECT_EQ(liveBlocks(), nBefore + 1);
    file.CloseMapFile();
    EXPECT_EQ(file.OpenMapFile("three", -1), nullptr);
    file.CloseMapFile();
    EXPECT_EQ(liveBlocks(), nBefore);
}

TEST(MapFileLocal, ManyThreadsOpenAndClose) {
    const std::uint32_t nBefore = liveBlocks();
    std::atomic<bool> bGo{false};
    std::atomic<int> nCreated{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            while (!bGo)
                std::this_thread::yield();
            for (int i = 0; i < 3000; ++i) {
                chMapFile_Local file;
                if (file.OpenMapFile(i % 2 ? "x" : "y", 64) == nullptr) std::abort();
                nCreated += file.IsCreateByMe();
                file.CloseMapFile();
            }
        });
    }
    bGo = true;
    for (auto& thread : threads)
        thread.join();
    EXPECT_GT(nCreated, 0);
    EXPECT_EQ(liveBlocks(), nBefore);
}

TEST(MapFileLocal, UsableInAForkedChild) {
    const int nBad = vdxtest::forkWhileBusy(
        30,
        [] {
            chMapFile_Local file;
            file.OpenMapFile("fork", 16);
            file.CloseMapFile();
        },
        [] {
            chMapFile_Local file;
            const bool bOpen = file.OpenMapFile("child", 16) != nullptr;
            file.CloseMapFile();
            return bOpen;
        });
    EXPECT_EQ(nBad, 0);
}

}  // namespace
