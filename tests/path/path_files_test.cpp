// Paths in the file system.
#include <vdx/path.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <thread>

#include <gtest/gtest.h>

#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

TEST(PathTests, KindsOfEntries) {
    const TempDir dir;
    const std::string file = dir.write("file", "12345");
    fs::create_symlink(file, dir / "link");
    fs::create_symlink(dir.path(), dir / "dirlink");
    fs::create_symlink(dir / "missing", dir / "dangling");
    chmod(file.c_str(), 0640);
    const struct {
        std::string path;
        bool bExists, bDirectory;
        std::int64_t nSize;  // -2: whatever it is.
    } rows[] = {
        {file, true, false, 5},
        {dir / "link", true, false, 5},
        {dir.path(), true, true, -2},
        {dir / "dirlink", true, true, -2},
        {dir / "dangling", false, false, -1},
        {dir / "none", false, false, -1},
        {"", false, false, -1},
        {file + "/below", false, false, -1},
        {std::string(100000, 'x'), false, false, -1},
        {"/dev/null", true, false, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path.substr(0, 100));
        EXPECT_EQ(pathFileExist(row.path), row.bExists);
        EXPECT_EQ(pathStat(row.path) != 0, row.bExists);
        EXPECT_EQ(pathDirectoryExist(row.path), row.bDirectory);
        if (row.nSize == -2) continue;
        EXPECT_EQ(pathFileSizei64(row.path), row.nSize);
        EXPECT_EQ(pathFileSize(row.path), static_cast<int>(row.nSize));
    }
    EXPECT_EQ(pathStat(file), static_cast<unsigned>(S_IFREG | 0640));
}

TEST(PathTests, SizesBeyondTheIntKeepTheirLowBits) {
    const TempDir dir;
    const std::string file = dir.write("sparse");
    for (const std::int64_t nSize : {0x7FFFFFFFLL, 0x80000000LL, 0x100000005LL}) {
        ASSERT_EQ(truncate(file.c_str(), nSize), 0);
        EXPECT_EQ(pathFileSizei64(file), nSize);
        EXPECT_EQ(pathFileSize(file), static_cast<int>(static_cast<std::uint32_t>(nSize)));
    }
}

TEST(pathCreateDirectory, CreatesWhatIsMissing) {
    const TempDir dir;
    dir.write("file");
    EXPECT_TRUE(pathCreateDirectory(dir / "a/b/c"));
    EXPECT_TRUE(pathDirectoryExist(dir / "a/b/c"));
    EXPECT_TRUE(pathCreateDirectory(dir / "a/b/c")) << "it is there";
    EXPECT_TRUE(pathCreateDirectory(dir / "x//y///z"));
    EXPECT_TRUE(pathDirectoryExist(dir / "x/y/z"));
    EXPECT_TRUE(pathCreateDirectory(dir / "t//u//"));
    EXPECT_TRUE(pathDirectoryExist(dir / "t/u"));
    EXPECT_TRUE(pathCreateDirectory("/"));
    EXPECT_FALSE(pathCreateDirectory(dir / "file")) << "a file has that name";
    EXPECT_FALSE(pathCreateDirectory(dir / "file/below"));
    EXPECT_FALSE(pathCreateDirectory("/vdx_test_directly_under_the_root"));
    EXPECT_FALSE(pathCreateDirectory("vdx_test_no_separator"));
    EXPECT_FALSE(pathCreateDirectory("vdx_test_relative/b"));
    EXPECT_FALSE(pathCreateDirectory(""));
    EXPECT_FALSE(pathCreateDirectory(dir / std::string(300, 'n')));
}

TEST(pathCreateDirectory, LongPathsEnd) {
    std::string deep = "/tmp";
    for (int i = 0; i < 100000; ++i)
        deep += "/none";
    EXPECT_FALSE(pathCreateDirectory(deep));
    EXPECT_FALSE(pathCreateDirectory(std::string(1000000, '/') + "x" + std::string(1000000, '/')));
}

TEST(pathMkdir, HasTheModeLessTheMask) {
    const TempDir dir;
    const mode_t nMask = umask(027);
    EXPECT_TRUE(pathMkdir(dir / "d"));
    umask(nMask);
    EXPECT_EQ(pathStat(dir / "d"), static_cast<unsigned>(S_IFDIR | 0750));
    EXPECT_FALSE(pathMkdir(dir / "d"));
    EXPECT_FALSE(pathMkdir(dir / "none/d"));
}

TEST(pathRemoveFile, RemovesFilesOnly) {
    const TempDir dir;
    const std::string file = dir.write("file");
    fs::create_symlink(dir / "missing", dir / "dangling");
    EXPECT_FALSE(pathRemoveFile(""));
    EXPECT_FALSE(pathRemoveFile(dir / "none"));
    EXPECT_FALSE(pathRemoveFile(dir.makeDir("d")));
    EXPECT_FALSE(pathRemoveFile(dir / "dangling"));
    EXPECT_TRUE(pathRemoveFile(file));
    EXPECT_FALSE(pathFileExist(file));
}

TEST(pathRemoveEmptyDirectory, LeavesFullOnes) {
    const TempDir dir;
    dir.write("full/file");
    EXPECT_FALSE(pathRemoveEmptyDirectory(dir / "full"));
    EXPECT_TRUE(pathRemoveEmptyDirectory(dir.makeDir("empty")));
    EXPECT_TRUE(pathRemoveEmptyDirectory(dir / "full/file")) << "a file goes as well";
}

TEST(pathRemoveDirectory, RemovesLinksNotWhatTheyPointTo) {
    const TempDir dir;
    const std::string kept = dir.write("outside/kept");
    dir.write("tree/a/b/file");
    dir.write("tree/.hidden");
    dir.makeDir("tree/empty");
    fs::create_symlink(dir / "outside", dir / "tree/dirlink");
    fs::create_symlink(kept, dir / "tree/a/filelink");
    fs::create_symlink(dir / "missing", dir / "tree/a/dangling");
    fs::create_symlink("..", dir / "tree/a/up");
    ASSERT_EQ(mkfifo((dir / "tree/pipe").c_str(), 0600), 0);
    EXPECT_TRUE(pathRemoveDirectory(dir / "tree"));
    EXPECT_FALSE(fs::exists(dir / "tree"));
    EXPECT_TRUE(pathFileExist(kept));

    for (const char* szName : {"link", "link//"}) {
        fs::create_symlink(dir / "outside", dir / "link");
        EXPECT_TRUE(pathRemoveDirectory(dir / szName)) << "the path itself is a link";
        EXPECT_FALSE(fs::is_symlink(dir / "link"));
        EXPECT_TRUE(pathFileExist(kept));
    }
}

TEST(pathRemoveDirectory, RefusesWhatIsNoDirectory) {
    const TempDir dir;
    fs::create_symlink(dir / "missing", dir / "dangling");
    EXPECT_FALSE(pathRemoveDirectory(""));
    EXPECT_FALSE(pathRemoveDirectory(dir / "none"));
    EXPECT_FALSE(pathRemoveDirectory(dir.write("file")));
    EXPECT_FALSE(pathRemoveDirectory(dir / "dangling"));
    EXPECT_TRUE(fs::is_symlink(dir / "dangling"));
}

TEST(pathRemoveDirectory, DeepTree) {
    const TempDir dir;
    std::string deep = dir / "d";
    while (deep.size() < 3900)
        deep += "/deeper_and_deeper";
    ASSERT_TRUE(pathCreateDirectory(deep));
    EXPECT_TRUE(pathRemoveDirectory(dir / "d"));
    EXPECT_FALSE(pathDirectoryExist(dir / "d"));
}

// The superuser is refused nothing, so the tests of missing rights give it up.
class Unprivileged {
public:
    Unprivileged() : m_bChanged(geteuid() == 0 && seteuid(65534) == 0) {}
    ~Unprivileged() {
        if (m_bChanged && seteuid(0) != 0) abort();
    }

private:
    bool m_bChanged;
};

TEST(pathRemoveDirectory, WhatCannotBeRemovedDoesNotStopTheRest) {
    const TempDir dir;
    chmod(dir.path().c_str(), 0777);
    dir.write("tree/locked/stays");
    dir.write("tree/goes");
    dir.write("tree/sub/goes");
    for (const char* szName : {"tree", "tree/sub"})
        chmod((dir / szName).c_str(), 0777);
    chmod((dir / "tree/locked").c_str(), 0555);
    fs::create_directory(dir / "closed");
    chmod((dir / "closed").c_str(), 0000);
    {
        const Unprivileged user;
        if (geteuid() != 0) {
            EXPECT_FALSE(pathRemoveDirectory(dir / "tree"));
            EXPECT_TRUE(pathRemoveDirectory(dir / "closed")) << "does not open: true, and nothing is done";
        }
    }
    EXPECT_TRUE(pathFileExist(dir / "tree/locked/stays"));
    EXPECT_FALSE(pathFileExist(dir / "tree/goes"));
    EXPECT_FALSE(pathFileExist(dir / "tree/sub"));
    EXPECT_TRUE(pathDirectoryExist(dir / "closed"));
    chmod((dir / "tree/locked").c_str(), 0755);
}

TEST(pathRename, MovesWithinAndByCopy) {
    const TempDir dir;
    dir.write("a", "content");
    EXPECT_TRUE(pathRenameFile(dir / "a", dir / "b"));
    EXPECT_FALSE(pathRenameFile(dir / "a", dir / "c"));
    dir.write("c", "older and longer content");
    EXPECT_TRUE(pathRenameFileEx(dir / "b", dir / "c"));
    EXPECT_EQ(TempDir::read(dir / "c"), "content");
    EXPECT_FALSE(pathFileExist(dir / "b"));
    EXPECT_TRUE(pathRenameFileEx(dir / "c", dir / "c"));
    EXPECT_TRUE(pathRenameFileEx(dir / "none", dir / "none")) << "equal texts: nothing is asked";
    EXPECT_FALSE(pathRenameFileEx(dir / "none", dir / "d"));
    EXPECT_FALSE(pathRenameFileEx(dir / "c", dir.path() + "//c")) << "the same file by another name";
    EXPECT_EQ(TempDir::read(dir / "c"), "content");
}

TEST(pathCopyFile, AnyLength) {
    const TempDir dir;
    for (const std::size_t nSize : {0u, 1u, 65535u, 65536u, 65537u, 1000000u}) {
        SCOPED_TRACE(nSize);
        std::string bytes(nSize, 'b');
        for (std::size_t i = 0; i < nSize; i += 97)
            bytes[i] = static_cast<char>(i);
        dir.write("from", bytes);
        EXPECT_TRUE(pathCopyFile(dir / "from", dir / "to"));
        EXPECT_EQ(TempDir::read(dir / "to"), bytes);
        dir.write("to", std::string(2000000, 'o'));
        EXPECT_TRUE(pathCopyFile(dir / "from", dir / "to")) << "over a longer one";
        EXPECT_EQ(TempDir::read(dir / "to"), bytes);
    }
    EXPECT_TRUE(pathCopyFile(dir / "none", dir / "none")) << "equal texts: nothing is asked";
}

TEST(pathCopyFile, WhatHasNoSize) {
    const TempDir dir;
    EXPECT_TRUE(pathCopyFile("/proc/self/status", dir / "status"));
    EXPECT_NE(TempDir::read(dir / "status").find("Threads:"), std::string::npos);
    const std::string pipe = dir / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::string sent(300000, 'p');
    std::thread writer([&] { std::ofstream(pipe) << sent; });
    EXPECT_TRUE(pathCopyFile(pipe, dir / "received"));
    writer.join();
    EXPECT_EQ(TempDir::read(dir / "received"), sent);
    EXPECT_TRUE(pathCopyFile(dir / "received", "/dev/null"));
}

TEST(pathCopyFile, FailuresEndAndLoseNothing) {
    const TempDir dir;
    const std::string file = dir.write("file", "content");
    EXPECT_FALSE(pathCopyFile(dir.path(), dir / "to")) << "a directory cannot be read";
    EXPECT_FALSE(pathFileExist(dir / "to")) << "nor is a target made";
    EXPECT_FALSE(pathCopyFile("/proc/self/mem", dir / "to")) << "nothing lies at its start: a read error";
    EXPECT_FALSE(pathCopyFile(dir / "none", dir / "to"));
    EXPECT_FALSE(pathCopyFile("", dir / "to"));
    EXPECT_FALSE(pathCopyFile(file, dir.path()));
    EXPECT_FALSE(pathCopyFile(file, dir / "none/to"));
    EXPECT_FALSE(pathCopyFile(file, "/dev/full"));
    fs::create_symlink(file, dir / "link");
    fs::create_hard_link(file, dir / "hard");
    for (const std::string& other : {dir.path() + "//file", dir / "link", dir / "hard"}) {
        EXPECT_FALSE(pathCopyFile(file, other)) << other;
        EXPECT_EQ(TempDir::read(file), "content");
    }
}

}  // namespace
