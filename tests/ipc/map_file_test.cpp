// Map files: those of the system, with key files, two users, limits, killed processes; and those of the
// process.
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>

#include <gtest/gtest.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vdx/map_file.h>

#include "siblings/qvstl/format.h"
#include "support/calls.h"
#include "support/child.h"
#include "support/failing_calls.h"
#include "support/temp_dir.h"

using vdxtest::t_failure;

extern "C" {
VDX_FAILING(int, shmget, (key_t key, size_t nSize, int nFlags), (key, nSize, nFlags), -1)
VDX_FAILING(void*, shmat, (int id, const void* p, int nFlags), (id, p, nFlags), reinterpret_cast<void*>(-1))
VDX_FAILING(key_t, ftok, (const char* szPath, int nId), (szPath, nId), -1)
VDX_FAILING(int, socket, (int nFamily, int nType, int nProtocol), (nFamily, nType, nProtocol), -1)
}

namespace {

class MapFile : public testing::Test {
protected:
    ~MapFile() override {
        chMapFile file;
        file.OpenMapFile(m_name);
        file.DestroyMapFile();
    }
    // Users attached to the segment, -1 when there is none.
    int users() const {
        shmid_ds status;
        const int id = shmget(ftok(m_path.c_str(), 'S'), 0, 0);
        return id == -1 || shmctl(id, IPC_STAT, &status) == -1 ? -1 : static_cast<int>(status.shm_nattch);
    }

    const std::string m_name = "maptest" + std::to_string(getpid());
    const std::string m_path = "/tmp/vdx_" + m_name;
};

// The call returns what a failure gives, and prints a line with this end.
void expectFailure(auto call, auto failure, const std::string& end) {
    const std::string line = vdxtest::printedBy([&] { EXPECT_EQ(call(), failure) << end; });
    EXPECT_TRUE(line.ends_with(end) && line.empty() == end.empty()) << line << "is not " << end;
}

TEST(FileKey, PathOfAName) {
    const std::pair<const char*, const char*> rows[] = {
        {"", "/tmp/vdx_"}, {"queue", "/tmp/vdx_queue"}, {"a/b", "a/b"}, {"/x", "/x"}, {"x/", "x/"}};
    for (const auto& [szName, szPath] : rows)
        EXPECT_EQ(xFileKey().buildFilePath(szName), szPath);
}

TEST(FileKey, FailuresAreTold) {
    const TempDir dir;
    const std::string link = dir / "link", path = dir.write("key");
    std::filesystem::create_symlink(dir / "target", link);
    const auto open = [](const std::string& key, bool bCreate) {
        return [=] { return xFileKey().OpenFileKey(key, 'S', bCreate); };
    };
    expectFailure(open(link, false), xFileKey::NO_KEY, "");
    expectFailure(open(link, true), xFileKey::NO_KEY, "Create file[" + link + "] fail: File exists\n");
    EXPECT_FALSE(std::filesystem::exists(dir / "target"));
    expectFailure(open("none/x", true), xFileKey::NO_KEY,
                  "Create file[none/x] fail: No such file or directory\n");
    t_failure = {.nLeft = 0, .nError = EACCES, .name = "ftok"};
    expectFailure(open(path, true), xFileKey::NO_KEY, "ftok [" + path + "] fail: Permission denied\n");
}

TEST_F(MapFile, OutlivesItsProcessUntilItIsDestroyed) {
    chMapFile second;
    const auto attach = [&] { return second.OpenMapFile(m_name); };
    expectFailure(attach, nullptr, "");
    EXPECT_FALSE(std::filesystem::exists(m_path));
    umask(077);
    xFileKey().OpenFileKey(m_name, 'S', true);  // A key file alone is no segment.
    EXPECT_EQ(umask(022), 077u);
    expectFailure(attach, nullptr, "");
    // It is empty, and for everybody.
    EXPECT_EQ(std::filesystem::status(m_path).permissions(), std::filesystem::perms{0666});
    EXPECT_TRUE(std::filesystem::is_empty(m_path));

    const auto child = vdxtest::runInChild([&] {
        chMapFile file;
        std::strcpy(static_cast<char*>(file.OpenMapFile(m_name, 5000)) + 4000, "left");
        return file.IsCreateByMe() ? raise(SIGKILL) : 1;
    });
    EXPECT_EQ(child.signal(), SIGKILL);
    EXPECT_EQ(users(), 0);
    {
        chMapFile first;
        auto* p = static_cast<char*>(first.OpenMapFile(m_name, 5000));
        ASSERT_EQ(p, first.getData());
        EXPECT_STREQ(p + 4000, "left");
        EXPECT_FALSE(first.IsCreateByMe());
        EXPECT_NE(second.OpenMapFile(m_name, 5000), p);
        EXPECT_EQ(second.OpenMapFile(m_name), second.getData());  // Opened again: one use, not two.
        EXPECT_EQ(second.OpenMapFile(m_name, 5000), second.getData());
        EXPECT_EQ(users(), 2);
        first.CloseMapFile();
        first.DestroyMapFile();  // Closed, it has nothing to remove.
        EXPECT_NE(first.OpenMapFile(m_name), nullptr);
    }
    EXPECT_EQ(users(), 1);  // The destructor detaches.
    second.DestroyMapFile();
    EXPECT_EQ(users(), -1);
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(MapFile, FailuresAreTold) {
    chMapFile small;
    ASSERT_NE(small.OpenMapFile(m_name, 100), nullptr);
    EXPECT_TRUE(std::filesystem::exists(m_path));
    const auto key = qv::format_astring(")! key=%X \n", static_cast<unsigned>(ftok(m_path.c_str(), 'S')));
    chMapFile file;
    const auto open = [&](const std::string& name, int nSize) {
        return [=, &file] { return file.OpenMapFile(name, nSize); };
    };
    const std::string refused = "Try Create mapfile[" + m_name + "] fail (";
    for (const int nSize : {100000, -1})
        expectFailure(open(m_name, nSize), nullptr, refused + "Invalid argument" + key);
    t_failure = {.nLeft = 0, .nError = ENOSPC, .name = "shmget", .nTimes = 2};
    expectFailure(open(m_name, 100), nullptr, refused + "No space left on device" + key);
    EXPECT_FALSE(file.IsCreateByMe());
    // Kept: without a key file it asks for the key -1.
    t_failure = {.nLeft = 0, .nError = ENOMEM, .name = "shmget", .nTimes = 2};
    expectFailure(open("/nowhere/x", 8), nullptr, " fail (Cannot allocate memory)! key=FFFFFFFF \n");
    small.DestroyMapFile();
    t_failure = {.nLeft = 0, .nError = EMFILE, .name = "shmat"};
    expectFailure(open(m_name, 4096), nullptr, "shmat [" + m_name + "] fail (Too many open files)!\n");
    EXPECT_EQ(file.getData(), reinterpret_cast<void*>(-1));  // Kept.
    EXPECT_TRUE(file.IsCreateByMe());
    file.DestroyMapFile();
    EXPECT_EQ(users(), -1);
    EXPECT_TRUE(file.getData() == nullptr && !file.IsCreateByMe());
}

TEST(MapFileLocal, OneBlockUntilTheLastOneCloses) {
    const auto before = dymicAllocHelper::getInstance()->getCounts();
    chMapFile_Local first, second;
    EXPECT_FALSE(first.IsCreateByMe());
    void* p = first.OpenMapFile("a", 100);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(second.OpenMapFile("a", 1 << 30), p);  // The size is that of the first.
    EXPECT_TRUE(first.IsCreateByMe() && !second.IsCreateByMe());
    first.CloseMapFile();
    first.CloseMapFile();  // Gives back its own use only.
    std::memset(p, 1, 100);
    EXPECT_EQ(first.OpenMapFile("a", 100), p);
    EXPECT_FALSE(first.IsCreateByMe());  // The mark of the creator does not come back.
    second.DestroyMapFile();
    EXPECT_NE(first.OpenMapFile("b", 100), nullptr);  // Leaves the old name.
    EXPECT_EQ(first.OpenMapFile("c", -1), nullptr);
    first.CloseMapFile();
    const auto after = dymicAllocHelper::getInstance()->getCounts();
    EXPECT_EQ(after.nAlloc - before.nAlloc, 3u);  // "a", "b" and the one that failed.
    EXPECT_EQ(after.nFree - before.nFree, 3u);
}

}  // namespace
