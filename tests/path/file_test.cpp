// Files read and written, and every operation on files with each of its calls of the system failing
// in turn: what it says is true, nothing is lost that was written, and no descriptor stays open.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include <vdx/find_file.h>
#include <vdx/path.h>

#include "siblings/pmrfile/file_stdio.h"
#include "siblings/pmrfile/whole_file.h"
#include "support/failing_calls.h"
#include "support/temp_dir.h"

using vdxtest::t_failure;

extern "C" {
VDX_FAILING(int, open, (const char* p, int nFlags, mode_t mode), (p, nFlags, mode), -1)
VDX_FAILING(int, fstat, (int fd, struct stat* pOut), (fd, pOut), -1)
VDX_FAILING(int, stat, (const char* p, struct stat* pOut), (p, pOut), -1)
VDX_FAILING(int, lstat, (const char* p, struct stat* pOut), (p, pOut), -1)
VDX_FAILING(int, fstatat, (int fd, const char* p, struct stat* pOut, int n), (fd, p, pOut, n), -1)
VDX_FAILING(int, ftruncate, (int fd, off_t n), (fd, n), -1)
VDX_FAILING(ssize_t, read, (int fd, void* p, size_t n), (fd, p, n), -1)
VDX_FAILING(ssize_t, write, (int fd, const void* p, size_t n), (fd, p, n), -1)
VDX_FAILING(ssize_t, copy_file_range, (int a, off_t* pA, int b, off_t* pB, size_t n, unsigned f),
            (a, pA, b, pB, n, f), -1)
VDX_FAILING(DIR*, opendir, (const char* p), (p), nullptr)
VDX_FAILING(DIR*, fdopendir, (int fd), (fd), nullptr)
VDX_FAILING(dirent*, readdir, (DIR * p), (p), nullptr)
VDX_FAILING(int, mkdir, (const char* p, mode_t mode), (p, mode), -1)
VDX_FAILING(int, remove, (const char* p), (p), -1)
VDX_FAILING(int, unlink, (const char* p), (p), -1)
VDX_FAILING(int, unlinkat, (int fd, const char* p, int n), (fd, p, n), -1)
VDX_REPLACED(int, close, (int fd)) {
    const int nResult = __real_close(fd);  // The descriptor is released all the same.
    return vdxtest::fails("close") ? -1 : nResult;
}
}

namespace {

namespace fs = std::filesystem;

long openDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

// Runs the operation in a fresh directory with its first, its second, ... call failing, until it
// makes no more of them; `check` gets the directory and what the operation said.
void failEachCall(const std::function<void(const TempDir&)>& prepare,
                  const std::function<bool(const TempDir&)>& operation,
                  const std::function<void(const TempDir&, bool)>& check) {
    bool bFailed = true;
    int nCall = 0;
    for (; bFailed && nCall < 200; ++nCall) {
        SCOPED_TRACE(nCall);
        const TempDir dir;
        prepare(dir);
        const long nBefore = openDescriptors();
        t_failure = {.nLeft = nCall, .nError = nCall % 2 ? EIO : ENOSPC};
        const bool bSaid = operation(dir);
        bFailed = t_failure.nLeft < 0;
        t_failure = {};
        EXPECT_EQ(openDescriptors(), nBefore);
        EXPECT_TRUE(bSaid || bFailed);
        check(dir, bSaid);
    }
    EXPECT_TRUE(!bFailed && nCall > 3) << "it has no end, or the calls were not replaced";
}

const std::string CONTENT(200'000, 'c');

// A copy, then the removal of the source, which must not be made unless the copy is whole.
TEST(FileFault, AMovedFileIsInOnePlaceAtLeast) {
    failEachCall(
        [](const TempDir& dir) {
            dir.write("from", CONTENT);
            dir.write("to", std::string(300'000, 'o'));
        },
        [](const TempDir& dir) { return pathRenameFileEx(dir / "from", dir / "to"); },
        [](const TempDir& dir, bool bSaid) {
            const bool bThere = TempDir::read(dir / "to") == CONTENT;
            EXPECT_TRUE(bThere || TempDir::read(dir / "from") == CONTENT);
            EXPECT_TRUE(!bSaid || (bThere && !fs::exists(dir / "from")));
        });
}

TEST(FileFault, DirectoriesAreThereWhenTheySaySo) {
    failEachCall([](const TempDir&) {}, [](const TempDir& dir) { return pathCreateDirectory(dir / "a/b/c"); },
                 [](const TempDir& dir, bool bSaid) { EXPECT_EQ(fs::exists(dir / "a/b/c"), bSaid); });
}

TEST(FileFault, ATreeIsWalkedAndRemovedButForWhatFailed) {
    int nUntouched = 0, nOneLeft = 0;
    failEachCall(
        [](const TempDir& dir) {
            for (const char* szName : {"kept", "tree/a", "tree/sub/b", "tree/sub/deep/c"})
                dir.write(szName);
            fs::create_symlink("..", dir / "tree/link");
        },
        [](const TempDir& dir) {
            return vdxFindFile(dir.path().c_str(), "", true).size() <= 4 && pathRemoveDirectory(dir / "tree");
        },
        [&](const TempDir& dir, bool bSaid) {
            EXPECT_TRUE(fs::exists(dir / "kept"));
            int nLeft = 0;
            for (const char* szName : {"tree/a", "tree/sub/b", "tree/sub/deep/c", "tree/link"})
                nLeft += fs::exists(fs::symlink_status(dir / szName));
            EXPECT_TRUE(!bSaid || nLeft == 0 || nLeft == 4) << "or it does not open: true, nothing is done";
            nUntouched += bSaid && nLeft == 4;
            nOneLeft += !bSaid && nLeft == 1;
        });
    EXPECT_GT(nUntouched, 0);
    EXPECT_GE(nOneLeft, 4) << "one that stays does not stop the rest";
}

// An interrupted call is made again, or what it said does not matter.
TEST(FileFault, WholeFilesAreReadAndWrittenOrNot) {
    for (const bool bInterrupted : {true, false}) {
        std::string text;
        failEachCall([&](const TempDir&) { text.clear(); },
                     [&](const TempDir& dir) {
                         if (bInterrupted) t_failure.nError = EINTR;
                         return vdxWriteBinFile(dir / "f", CONTENT) && vdxDumpTextFileA(dir / "f", text);
                     },
                     [&](const TempDir&, bool bSaid) {
                         EXPECT_TRUE(text == (bSaid ? CONTENT : ""));
                         EXPECT_TRUE(bSaid || !bInterrupted);
                     });
    }
}

TEST(chFileStdio, WritesAppendsAndReadsElements) {
    const TempDir dir;
    const std::string path = dir.write("f", "stale and longer");
    chFileStdio file;
    EXPECT_FALSE(file.Open(dir / "none", chFileStdio::OPEN_READ));
    EXPECT_TRUE(file.Open(path, 4097) && file.WriteString("first"));
    ASSERT_TRUE(file.Open(path, 12288)) << "opening closes the file held so far";
    EXPECT_EQ(file.GetPosition(), 5);
    EXPECT_EQ(file.Write("+second", 1, 7), 7u);
    EXPECT_TRUE(file.Sync());
    EXPECT_EQ(TempDir::read(path), "first+second");
    ASSERT_TRUE(file.Open(path, 0));
    char buffer[12];
    EXPECT_TRUE(file.Read(buffer, 5, 2) == 2 && !file.IsEOF());
    EXPECT_TRUE(file.Read(buffer, 5, 1) == 0 && file.IsEOF() && !file.HasFailed());
    EXPECT_EQ(file.Write("x", 1, 1), 0u) << "open for reading";
    EXPECT_FALSE(file.Open(path, 1)) << "unknown mode";
    EXPECT_FALSE(file.Open(dir.path(), chFileStdio::OPEN_READ)) << "a directory";
    EXPECT_FALSE(file.IsFileOpened() || file.WriteString("x") || file.Sync());
    EXPECT_TRUE(file.IsEOF() && file.GetPosition() == -1 && file.Close()) << "nothing is open";
}

TEST(FullDisk, IsReportedByFlushByCloseAndByWholeWrites) {
    chFileStdio file;
    EXPECT_TRUE(file.Open("/dev/full", chFileStdio::OPEN_APPEND) && file.WriteString("buffered"));
    EXPECT_FALSE(file.Flush() || file.Close());
    EXPECT_TRUE(file.Open("/dev/full", chFileStdio::OPEN_CREATE) && file.WriteString("buffered"));
    EXPECT_FALSE(file.Close()) << "only the close writes it";
    EXPECT_FALSE(vdxWriteBinFile("/dev/full", "x"));
    EXPECT_FALSE(pathCopyFile("/proc/self/status", "/dev/full"));
}

// Pipes and processes do not tell their size beforehand.
TEST(WholeFiles, AreReadToTheEndWhateverTheirSize) {
    const TempDir dir;
    const std::string pipe = dir / "pipe", copy = dir / "copy", sent(300000, '\0');
    std::string text;
    std::vector<unsigned char> binary;
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread toCopy([&] { EXPECT_TRUE(vdxWriteBinFile(pipe, sent)); });
    EXPECT_TRUE(pathCopyFile(pipe, copy));
    toCopy.join();
    EXPECT_TRUE(vdxDumpBinFile(copy, binary));
    EXPECT_TRUE(std::string(binary.begin(), binary.end()) == sent);
    std::thread toRead([&] { EXPECT_TRUE(pathCopyFile(copy, pipe)); });
    EXPECT_TRUE(vdxDumpTextFileA(pipe, text));
    toRead.join();
    EXPECT_TRUE(text == sent);
    EXPECT_TRUE(pathCopyFile("/proc/self/status", copy) && vdxDumpTextFileA(copy, text));
    EXPECT_NE(text.find("Threads:"), std::string::npos);
    EXPECT_TRUE(vdxWriteBinFile(copy, "", true) && vdxDumpTextFileA(copy, text));
    EXPECT_EQ(text, "");
}

}  // namespace
