// System V map files: key files, two processes, limits, killed processes.
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vdx/map_file.h>

#include "support/temp_dir.h"

namespace {

int s_nShmgetError = 0;  // Not 0: shmget fails so.
int s_nShmatError = 0;
int s_nFtokError = 0;

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names.
extern "C" {
int __real_shmget(key_t key, size_t nSize, int nFlags);
void* __real_shmat(int id, const void* p, int nFlags);
key_t __real_ftok(const char* szPath, int nId);

int __wrap_shmget(key_t key, size_t nSize, int nFlags) {
    if (s_nShmgetError == 0) return __real_shmget(key, nSize, nFlags);
    errno = s_nShmgetError;
    return -1;
}
void* __wrap_shmat(int id, const void* p, int nFlags) {
    if (s_nShmatError == 0) return __real_shmat(id, p, nFlags);
    errno = s_nShmatError;
    return reinterpret_cast<void*>(-1);
}
key_t __wrap_ftok(const char* szPath, int nId) {
    if (s_nFtokError == 0) return __real_ftok(szPath, nId);
    errno = s_nFtokError;
    return -1;
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

class MapFile : public testing::Test {
protected:
    ~MapFile() override {
        s_nShmgetError = s_nShmatError = s_nFtokError = 0;
        chMapFile file;
        file.OpenMapFile(m_name);
        file.DestroyMapFile();
    }
    bool keyFileExists() const { return std::filesystem::exists(m_path); }
    // Users attached to the segment, -1 when there is none.
    int users() const {
        shmid_ds status;
        const int id = keyFileExists() ? __real_shmget(__real_ftok(m_path.c_str(), 'S'), 0, 0) : -1;
        return id == -1 || shmctl(id, IPC_STAT, &status) == -1 ? -1 : static_cast<int>(status.shm_nattch);
    }

    const std::string m_name = "maptest" + std::to_string(getpid());
    const std::string m_path = "/tmp/vdx_" + m_name;
};

// What a call writes to standard error.
template <class Call>
std::string errorsOf(const Call& call) {
    testing::internal::CaptureStderr();
    call();
    return testing::internal::GetCapturedStderr();
}

void expectEnd(const std::string& line, const std::string& end) {
    ASSERT_GE(line.size(), end.size());
    EXPECT_EQ(line.substr(line.size() - end.size()), end);
}

int waitFor(pid_t pid) {
    int nStatus = 0;
    waitpid(pid, &nStatus, 0);
    return nStatus;
}

TEST(FileKey, PathOfAName) {
    const struct {
        const char* szName;
        const char* szPath;
    } rows[] = {{"", "/tmp/vdx_"},
                {"queue", "/tmp/vdx_queue"},
                {"a/b", "a/b"},
                {"/var/run/x", "/var/run/x"},
                {"x/", "x/"}};
    for (const auto& row : rows)
        EXPECT_EQ(xFileKey().buildFilePath(row.szName), row.szPath);
}

TEST(FileKey, MakesAnEmptyFileForEverybody) {
    const TempDir dir;
    const std::string path = dir / "key";
    xFileKey key;
    EXPECT_EQ(errorsOf([&] { EXPECT_EQ(key.OpenFileKey(path, 'S', false), xFileKey::NO_KEY); }), "");
    umask(077);
    const std::uint32_t nKey = key.OpenFileKey(path, 'S', true);
    EXPECT_EQ(umask(022), 077u);
    EXPECT_EQ(nKey, static_cast<std::uint32_t>(ftok(path.c_str(), 'S')));
    struct stat status;
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777u, 0666u);
    EXPECT_EQ(status.st_size, 0);
    EXPECT_NE(key.OpenFileKey(path, 'T', false), nKey);
    key.CloseFileKey();
    key.DestroyFileKey();  // Holds no path any more.
    EXPECT_EQ(xFileKey().OpenFileKey(path, 'S', false), nKey);
    key.buildFilePath(path);
    key.DestroyFileKey();
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(FileKey, FailuresAreTold) {
    const TempDir dir;
    xFileKey key;
    const std::string missing = dir / "none/key";
    expectEnd(errorsOf([&] { EXPECT_EQ(key.OpenFileKey(missing, 'S', true), xFileKey::NO_KEY); }),
              "Create file[" + missing + "] fail: No such file or directory\n");

    const std::string link = dir / "link";
    ASSERT_EQ(symlink((dir / "target").c_str(), link.c_str()), 0);
    expectEnd(errorsOf([&] { EXPECT_EQ(key.OpenFileKey(link, 'S', true), xFileKey::NO_KEY); }),
              "Create file[" + link + "] fail: File exists\n");
    EXPECT_FALSE(std::filesystem::exists(dir / "target"));

    const std::string path = dir.write("key");
    s_nFtokError = EACCES;
    expectEnd(errorsOf([&] { EXPECT_EQ(key.OpenFileKey(path, 'S', true), xFileKey::NO_KEY); }),
              "ftok [" + path + "] fail: Permission denied\n");
    s_nFtokError = 0;
}

TEST_F(MapFile, FirstOneCreatesOthersAttach) {
    chMapFile first;
    chMapFile second;
    EXPECT_EQ(first.getData(), nullptr);
    EXPECT_FALSE(first.IsCreateByMe());
    auto* a = static_cast<char*>(first.OpenMapFile(m_name, 5000));
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(first.getData(), a);
    EXPECT_TRUE(first.IsCreateByMe());
    auto* b = static_cast<char*>(second.OpenMapFile(m_name, 5000));
    ASSERT_NE(b, nullptr);
    EXPECT_NE(a, b);
    EXPECT_FALSE(second.IsCreateByMe());
    std::strcpy(a + 4000, "shared");
    first.Flush();
    EXPECT_STREQ(b + 4000, "shared");

    first.CloseMapFile();
    EXPECT_EQ(first.getData(), nullptr);
    EXPECT_FALSE(first.IsCreateByMe());
    EXPECT_EQ(users(), 1);
    second.CloseMapFile();
    EXPECT_EQ(users(), 0);
    b = static_cast<char*>(second.OpenMapFile(m_name));
    ASSERT_NE(b, nullptr);
    EXPECT_STREQ(b + 4000, "shared");
    EXPECT_NE(second.OpenMapFile(m_name, 1), nullptr);  // Opened again: one use, not two.
    EXPECT_EQ(users(), 1);
    second.DestroyMapFile();
    EXPECT_EQ(users(), -1);
    EXPECT_FALSE(keyFileExists());
    second.DestroyMapFile();
    EXPECT_EQ(second.getData(), nullptr);
}

TEST_F(MapFile, AttachingToNothingIsSilent) {
    chMapFile file;
    EXPECT_EQ(errorsOf([&] { EXPECT_EQ(file.OpenMapFile(m_name), nullptr); }), "");
    EXPECT_FALSE(keyFileExists());
    const std::string name = m_name;
    xFileKey().OpenFileKey(name, 'S', true);  // A key file alone is no segment.
    EXPECT_EQ(errorsOf([&] { EXPECT_EQ(file.OpenMapFile(m_name), nullptr); }), "");
    EXPECT_EQ(file.getData(), nullptr);
}

TEST_F(MapFile, DestructorDetaches) {
    {
        chMapFile file;
        ASSERT_NE(file.OpenMapFile(m_name, 100), nullptr);
        EXPECT_EQ(users(), 1);
    }
    EXPECT_EQ(users(), 0);
}

TEST_F(MapFile, TwoProcessesShareTheBytes) {
    chMapFile file;
    auto* pNumbers = static_cast<int*>(file.OpenMapFile(m_name, 4096));
    ASSERT_NE(pNumbers, nullptr);
    pNumbers[0] = 17;
    const pid_t pid = fork();
    if (pid == 0) {
        chMapFile other;
        auto* pTheirs = static_cast<int*>(other.OpenMapFile(m_name, 4096));
        if (pTheirs == nullptr || other.IsCreateByMe() || pTheirs[0] != 17) _exit(1);
        pTheirs[1] = 18;
        other.CloseMapFile();
        _exit(0);
    }
    EXPECT_EQ(waitFor(pid), 0);
    EXPECT_EQ(pNumbers[1], 18);
}

TEST_F(MapFile, AKilledProcessLeavesSegmentAndContent) {
    int pipes[2];
    ASSERT_EQ(pipe(pipes), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        chMapFile theirs;
        auto* pNumbers = static_cast<int*>(theirs.OpenMapFile(m_name, 4096));
        if (pNumbers != nullptr) pNumbers[0] = 99;
        (void)!write(pipes[1], "x", 1);
        pause();
        _exit(0);
    }
    char c;
    ASSERT_EQ(read(pipes[0], &c, 1), 1);
    EXPECT_EQ(users(), 1);
    kill(pid, SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(waitFor(pid)));
    EXPECT_EQ(users(), 0);
    chMapFile file;
    auto* pNumbers = static_cast<int*>(file.OpenMapFile(m_name, 4096));
    ASSERT_NE(pNumbers, nullptr);
    EXPECT_FALSE(file.IsCreateByMe());
    EXPECT_EQ(pNumbers[0], 99);
    file.DestroyMapFile();
    EXPECT_EQ(users(), -1);
    close(pipes[0]);
    close(pipes[1]);
}

TEST_F(MapFile, ASmallerSegmentOfOthersIsRefused) {
    chMapFile small;
    ASSERT_NE(small.OpenMapFile(m_name, 100), nullptr);
    char key[20];
    (void)std::snprintf(key, sizeof key, "%X", static_cast<unsigned>(ftok(m_path.c_str(), 'S')));
    chMapFile large;
    expectEnd(errorsOf([&] { EXPECT_EQ(large.OpenMapFile(m_name, 100000), nullptr); }),
              "Try Create mapfile[" + m_name + "] fail (Invalid argument)! key=" + key + " \n");
    EXPECT_EQ(large.getData(), nullptr);
    EXPECT_NE(large.OpenMapFile(m_name, 50), nullptr);
}

TEST_F(MapFile, SystemLimitsAreTold) {
    chMapFile file;
    for (const int nError : {ENOSPC, EINVAL, ENOMEM}) {
        s_nShmgetError = nError;
        const std::string line = errorsOf([&] { EXPECT_EQ(file.OpenMapFile(m_name, 4096), nullptr); });
        EXPECT_NE(line.find("mapfile[" + m_name + "] fail (" + strerror(nError) + ")! key="),
                  std::string::npos)
            << line;
        EXPECT_FALSE(file.IsCreateByMe());
        // Kept: without a key file it asks for the key -1.
        EXPECT_NE(errorsOf([&] { file.OpenMapFile("/nowhere/x", 8); }).find(")! key=FFFFFFFF \n"),
                  std::string::npos);
        s_nShmgetError = 0;
    }
    for (const int nSize : {0, -1}) {
        EXPECT_NE(errorsOf([&] { EXPECT_EQ(file.OpenMapFile(m_name, nSize), nullptr); }), "");
    }
    s_nShmatError = EMFILE;
    expectEnd(errorsOf([&] { EXPECT_EQ(file.OpenMapFile(m_name, 4096), nullptr); }),
              "shmat [" + m_name + "] fail (Too many open files)!\n");
    EXPECT_EQ(file.getData(), reinterpret_cast<void*>(-1));
    EXPECT_TRUE(file.IsCreateByMe());
    file.DestroyMapFile();
    s_nShmatError = 0;
    EXPECT_EQ(users(), -1);
    EXPECT_EQ(file.getData(), nullptr);
}

}  // namespace
