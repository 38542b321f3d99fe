// What an exhausted pool leaves behind.
#include <filesystem>
#include <new>

#include <gtest/gtest.h>

#include <vdx/directories.h>
#include <vdx/platform.h>
#include <vdx/pool.h>

#include "support/temp_dir.h"

namespace {

struct Segment {
    alignas(8) unsigned char bytes[32 + 256];
    basePoolAlloc* pPool;

    Segment() : pPool(new (bytes + 8) basePoolAlloc) {
        std::memset(bytes, 0x11, 8);
        std::memset(bytes + 32, 0x22, 256);
        pPool->init_pool(bytes + 32, 256);
    }
};

TEST(PoolDump, HoldsOwnerAllocatorAndBlock) {
    const TempDir dir;
    dir.makeDir("log");
    vdxSetAppDocPath(dir.path());
    Segment segment;
    ASSERT_NE(segment.pPool->alloc(100), nullptr);
    const std::string before(segment.bytes, segment.bytes + sizeof segment.bytes);
    errno = EDOM;
    EXPECT_EQ(segment.pPool->alloc(1000), nullptr);
    EXPECT_EQ(errno, EDOM);
    char name[100];
    (void)std::snprintf(name, sizeof name, "log/%d-%p.data.dump", vdxGetCurrentProcessId(),
                        static_cast<void*>(segment.bytes));
    EXPECT_EQ(TempDir::read(dir / name), before);
    EXPECT_EQ(std::string(segment.bytes, segment.bytes + sizeof segment.bytes), before);
}

TEST(PoolDump, WithoutItsFolderNothingIsWrittenOrSaid) {
    const TempDir dir;
    vdxSetAppDocPath(dir.path());
    Segment segment;
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    errno = EDOM;
    EXPECT_EQ(segment.pPool->alloc(1000), nullptr);
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(testing::internal::GetCapturedStderr() + testing::internal::GetCapturedStdout(), "");
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
    EXPECT_EQ(segment.pPool->get_available_bytes(segment.pPool->alloc(248)), 248);
}

TEST(PoolDump, LookingFirstWritesNoDump) {
    const TempDir dir;
    vdxSetAppDocPath(dir.path());
    dir.makeDir("log");
    Segment segment;
    EXPECT_EQ(segment.pPool->find_big_enough_cell(1000), nullptr);
    EXPECT_TRUE(std::filesystem::is_empty(dir / "log"));
}

}  // namespace
