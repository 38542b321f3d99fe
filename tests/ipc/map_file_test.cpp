// System V map files: key files, two users, limits, killed processes.
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>

#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vdx/map_file.h>

#include "support/child.h"
#include "support/failing_calls.h"
#include "support/temp_dir.h"

using vdxtest::t_failure;

extern "C" {
VDX_FAILING(int, shmget, (key_t key, size_t nSize, int nFlags), (key, nSize, nFlags), -1)
VDX_FAILING(void*, shmat, (int id, const void* p, int nFlags), (id, p, nFlags), reinterpret_cast<void*>(-1))
VDX_FAILING(key_t, ftok, (const char* szPath, int nId), (szPath, nId), -1)
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

// The call returns what a failure gives, and writes a line with this end to standard error.
template <class Call, class Result>
void expectFailure(const Call& call, Result failure, const std::string& end) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(call(), failure) << end;
    const std::string line = testing::internal::GetCapturedStderr();
    EXPECT_EQ(line.substr(line.size() - std::min(line.size(), end.size())), end);
    EXPECT_EQ(line.empty(), end.empty()) << line;
}

TEST(FileKey, PathOfAName) {
    const std::pair<const char*, const char*> rows[] = {{"", "/tmp/vdx_"},
                                                        {"queue", "/tmp/vdx_queue"},
                                                        {"a/b", "a/b"},
                                                        {"/var/run/x", "/var/run/x"},
                                                        {"x/", "x/"}};
    for (const auto& [szName, szPath] : rows)
        EXPECT_EQ(xFileKey().buildFilePath(szName), szPath);
}

TEST(FileKey, FailuresAreTold) {
    const TempDir dir;
    const auto open = [](const std::string& path, bool bCreate) {
        return [=] { return xFileKey().OpenFileKey(path, 'S', bCreate); };
    };
    expectFailure(open(dir / "key", false), xFileKey::NO_KEY, "");
    const std::string missing = dir / "none/key";
    expectFailure(open(missing, true), xFileKey::NO_KEY,
                  "Create file[" + missing + "] fail: No such file or directory\n");
    const std::string link = dir / "link";
    std::filesystem::create_symlink(dir / "target", link);
    expectFailure(open(link, true), xFileKey::NO_KEY, "Create file[" + link + "] fail: File exists\n");
    EXPECT_FALSE(std::filesystem::exists(dir / "target"));
    const std::string path = dir.write("key");
    t_failure = {.nLeft = 0, .nError = EACCES, .name = "ftok"};
    expectFailure(open(path, true), xFileKey::NO_KEY, "ftok [" + path + "] fail: Permission denied\n");
}

TEST_F(MapFile, FirstOneCreatesOthersAttach) {
    chMapFile first;
    chMapFile second;
    EXPECT_EQ(first.getData(), nullptr);
    umask(077);
    auto* a = static_cast<char*>(first.OpenMapFile(m_name, 5000));
    EXPECT_EQ(umask(022), 077u);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(first.getData(), a);
    EXPECT_TRUE(first.IsCreateByMe());
    // Its key file is empty, and for everybody.
    EXPECT_EQ(std::filesystem::status(m_path).permissions(), std::filesystem::perms{0666});
    EXPECT_TRUE(std::filesystem::is_empty(m_path));
    auto* b = static_cast<char*>(second.OpenMapFile(m_name, 5000));
    ASSERT_NE(b, nullptr);
    EXPECT_NE(a, b);
    EXPECT_FALSE(second.IsCreateByMe());
    std::strcpy(a + 4000, "shared");
    EXPECT_STREQ(b + 4000, "shared");

    first.CloseMapFile();
    first.DestroyMapFile();  // Closed, it has nothing to remove.
    EXPECT_EQ(first.getData(), nullptr);
    EXPECT_FALSE(first.IsCreateByMe());
    b = static_cast<char*>(second.OpenMapFile(m_name));  // Opened again: one use, not two.
    EXPECT_EQ(b, second.getData());
    EXPECT_STREQ(b + 4000, "shared");
    EXPECT_EQ(users(), 1);
    second.DestroyMapFile();
    EXPECT_EQ(users(), -1);
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(MapFile, AttachingToNothingIsSilent) {
    chMapFile file;
    const auto attach = [&] { return file.OpenMapFile(m_name); };
    expectFailure(attach, nullptr, "");
    EXPECT_FALSE(std::filesystem::exists(m_path));
    xFileKey().OpenFileKey(m_name, 'S', true);  // A key file alone is no segment.
    expectFailure(attach, nullptr, "");
    EXPECT_EQ(file.getData(), nullptr);
}

TEST_F(MapFile, AKilledProcessLeavesSegmentAndContent) {
    const auto child = vdxtest::runInChild([&] {
        chMapFile file;
        void* p = file.OpenMapFile(m_name, 4096);
        if (p != nullptr) std::strcpy(static_cast<char*>(p), "left");
        return raise(SIGKILL);
    });
    EXPECT_EQ(child.signal(), SIGKILL);
    EXPECT_EQ(users(), 0);
    {
        chMapFile file;
        const void* p = file.OpenMapFile(m_name, 4096);
        ASSERT_NE(p, nullptr);
        EXPECT_FALSE(file.IsCreateByMe());
        EXPECT_STREQ(static_cast<const char*>(p), "left");
        EXPECT_EQ(users(), 1);
    }
    EXPECT_EQ(users(), 0);  // The destructor detaches.
}

TEST_F(MapFile, FailuresAreTold) {
    chMapFile small;
    ASSERT_NE(small.OpenMapFile(m_name, 100), nullptr);
    char key[20];
    (void)std::snprintf(key, sizeof key, ")! key=%X \n", static_cast<unsigned>(ftok(m_path.c_str(), 'S')));
    chMapFile file;
    const auto open = [&](const std::string& name, int nSize) {
        return [=, &file] { return file.OpenMapFile(name, nSize); };
    };
    const std::string refused = "Try Create mapfile[" + m_name + "] fail (";
    expectFailure(open(m_name, 100000), nullptr, refused + "Invalid argument" + key);
    expectFailure(open(m_name, -1), nullptr, refused + "Invalid argument" + key);
    for (const int nError : {ENOSPC, EINVAL, ENOMEM}) {
        t_failure = {.nLeft = 0, .nError = nError, .name = "shmget", .nTimes = INT_MAX};
        expectFailure(open(m_name, 4096), nullptr, refused + strerror(nError) + key);
        EXPECT_FALSE(file.IsCreateByMe());
    }
    // Kept: without a key file it asks for the key -1.
    expectFailure(open("/nowhere/x", 8), nullptr, " fail (Cannot allocate memory)! key=FFFFFFFF \n");
    t_failure = {};
    small.DestroyMapFile();
    t_failure = {.nLeft = 0, .nError = EMFILE, .name = "shmat"};
    expectFailure(open(m_name, 4096), nullptr, "shmat [" + m_name + "] fail (Too many open files)!\n");
    EXPECT_EQ(file.getData(), reinterpret_cast<void*>(-1));  // Kept.
    EXPECT_TRUE(file.IsCreateByMe());
    file.DestroyMapFile();
    EXPECT_EQ(users(), -1);
    EXPECT_EQ(file.getData(), nullptr);
}

}  // namespace
