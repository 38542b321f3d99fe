// Every operation on files with each of its calls of the system failing in turn: what it says is
// true, nothing is lost that was written, and no descriptor stays open.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <functional>

#include <gtest/gtest.h>

#include <vdx/file_trace.h>
#include <vdx/find_file.h>
#include <vdx/path.h>

#include "siblings/pmrfile/whole_file.h"
#include "support/temp_dir.h"

namespace {

int s_nCallsLeft = -1;  // Until one fails; -1: none will.
int s_nError = 0;

bool failsNow() {
    if (s_nCallsLeft < 0 || s_nCallsLeft-- > 0) return false;
    errno = s_nError;
    return true;
}

}  // namespace

// A call that fails does nothing.
#define REPLACED(result, name, parameters, arguments, failure) \
    result __real_##name parameters;                           \
    result __wrap_##name parameters {                          \
        return failsNow() ? failure : __real_##name arguments; \
    }

extern "C" {
REPLACED(int, open, (const char* p, int nFlags, mode_t mode), (p, nFlags, mode), -1)
REPLACED(int, fstat, (int fd, struct stat* pOut), (fd, pOut), -1)
REPLACED(int, stat, (const char* p, struct stat* pOut), (p, pOut), -1)
REPLACED(int, lstat, (const char* p, struct stat* pOut), (p, pOut), -1)
REPLACED(int, fstatat, (int fd, const char* p, struct stat* pOut, int n), (fd, p, pOut, n), -1)
REPLACED(int, ftruncate, (int fd, off_t n), (fd, n), -1)
REPLACED(ssize_t, read, (int fd, void* p, size_t n), (fd, p, n), -1)
REPLACED(ssize_t, write, (int fd, const void* p, size_t n), (fd, p, n), -1)
REPLACED(ssize_t, copy_file_range, (int a, off_t* pA, int b, off_t* pB, size_t n, unsigned f),
         (a, pA, b, pB, n, f), -1)
REPLACED(FILE*, fdopen, (int fd, const char* p), (fd, p), nullptr)
REPLACED(DIR*, opendir, (const char* p), (p), nullptr)
REPLACED(DIR*, fdopendir, (int fd), (fd), nullptr)
REPLACED(dirent*, readdir, (DIR * p), (p), nullptr)
REPLACED(int, mkdir, (const char* p, mode_t mode), (p, mode), -1)
REPLACED(int, rename, (const char* a, const char* b), (a, b), -1)
REPLACED(int, remove, (const char* p), (p), -1)
REPLACED(int, unlink, (const char* p), (p), -1)
REPLACED(int, unlinkat, (int fd, const char* p, int n), (fd, p, n), -1)

// This one releases the descriptor all the same.
int __real_close(int fd);
int __wrap_close(int fd) {
    const bool bFails = failsNow();
    const int nResult = __real_close(fd);
    if (bFails) errno = s_nError;
    return bFails ? -1 : nResult;
}
}  // extern "C"

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
    for (int nCall = 0; nCall < 200; ++nCall) {
        SCOPED_TRACE(nCall);
        const TempDir dir;
        prepare(dir);
        const long nBefore = openDescriptors();
        s_nCallsLeft = nCall;
        s_nError = nCall % 2 ? EIO : ENOSPC;
        const bool bSaid = operation(dir);
        const bool bNoneFailed = s_nCallsLeft >= 0;
        s_nCallsLeft = -1;
        EXPECT_EQ(openDescriptors(), nBefore);
        check(dir, bSaid);
        if (!bNoneFailed) continue;
        EXPECT_TRUE(bSaid);
        EXPECT_GT(nCall, 2) << "the calls were not replaced";
        return;
    }
    ADD_FAILURE() << "no end";
}

const std::string CONTENT(200'000, 'c');

void makeTwoFiles(const TempDir& dir) {
    dir.write("from", CONTENT);
    dir.write("to", std::string(300'000, 'o'));
}

void makeTree(const TempDir& dir) {
    dir.write("kept");
    for (const char* szName : {"tree/a", "tree/sub/b", "tree/sub/deep/c"})
        dir.write(szName);
    fs::create_symlink("..", dir / "tree/link");
}

TEST(FileFault, ACopyThatSaysTrueIsWhole) {
    failEachCall(
        makeTwoFiles, [](const TempDir& dir) { return pathCopyFile(dir / "from", dir / "to"); },
        [](const TempDir& dir, bool bSaid) {
            EXPECT_TRUE(!bSaid || TempDir::read(dir / "to") == CONTENT);
            EXPECT_TRUE(TempDir::read(dir / "from") == CONTENT);
        });
}

TEST(FileFault, InterruptedCallsAreMadeAgain) {
    const TempDir dir;
    makeTwoFiles(dir);
    std::string text;
    s_nError = EINTR;
    for (const bool bOpening : {true, false}) {
        s_nCallsLeft = bOpening ? 0 : 2;  // Before the first write the status is asked for.
        EXPECT_TRUE(vdxWriteBinFile(dir / "new", CONTENT));
        EXPECT_EQ(s_nCallsLeft, -1);
        s_nCallsLeft = bOpening ? 0 : 3;  // Before the first read it is twice.
        EXPECT_TRUE(vdxDumpTextFileA(dir / "new", text));
        EXPECT_EQ(s_nCallsLeft, -1);
        EXPECT_TRUE(text == CONTENT);
    }
}

TEST(FileFault, AMovedFileIsInOnePlaceAtLeast) {
    for (const auto pMove : {pathRenameFile, pathRenameFileEx}) {
        if (pMove == pathRenameFile) {
            const TempDir dir;
            makeTwoFiles(dir);
            s_nCallsLeft = 0;
            EXPECT_FALSE(pMove(dir / "from", dir / "to"));
            EXPECT_TRUE(TempDir::read(dir / "from") == CONTENT);
            continue;
        }
        failEachCall(
            makeTwoFiles, [&](const TempDir& dir) { return pMove(dir / "from", dir / "to"); },
            [](const TempDir& dir, bool bSaid) {
                const bool bThere = TempDir::read(dir / "to") == CONTENT;
                EXPECT_TRUE(bThere || TempDir::read(dir / "from") == CONTENT);
                EXPECT_TRUE(!bSaid || (bThere && !fs::exists(dir / "from")));
            });
    }
}

TEST(FileFault, DirectoriesAreThereWhenTheySaySo) {
    failEachCall([](const TempDir&) {}, [](const TempDir& dir) { return pathCreateDirectory(dir / "a/b/c"); },
                 [](const TempDir& dir, bool bSaid) { EXPECT_EQ(fs::exists(dir / "a/b/c"), bSaid); });
}

TEST(FileFault, ATreeThatIsSaidToBeGoneIs) {
    failEachCall(
        makeTree, [](const TempDir& dir) { return pathRemoveDirectory(dir / "tree"); },
        [](const TempDir& dir, bool bSaid) {
            EXPECT_TRUE(fs::exists(dir / "kept"));
            // True, too, when the directory could not be opened and nothing was done.
            EXPECT_TRUE(!bSaid || !fs::exists(dir / "tree") || fs::exists(dir / "tree/sub/deep/c"));
        });
}

TEST(FileFault, AWalkYieldsOnlyWhatIsThere) {
    std::list<std::string> found;
    failEachCall(
        makeTree,
        [&](const TempDir& dir) {
            found = vdxFindFile((dir / "tree").c_str(), "", true);
            return true;
        },
        [&](const TempDir&, bool) {
            EXPECT_LE(found.size(), 5u);
            for (const std::string& path : found)
                EXPECT_TRUE(fs::exists(path)) << path;
        });
    EXPECT_GE(found.size(), 3u);
}

TEST(FileFault, WholeFilesAreReadAndWrittenOrNot) {
    std::string text;
    failEachCall(
        makeTwoFiles, [&](const TempDir& dir) { return vdxDumpTextFileA(dir / "from", text); },
        [&](const TempDir&, bool bSaid) { EXPECT_TRUE(text == (bSaid ? CONTENT : "")); });
    failEachCall(
        makeTwoFiles, [](const TempDir& dir) { return vdxWriteBinFile(dir / "to", CONTENT); },
        [](const TempDir& dir, bool bSaid) { EXPECT_TRUE(!bSaid || TempDir::read(dir / "to") == CONTENT); });
}

// A line may be lost where its file does not open, an old file where it does not move; the others
// stay whole, and writing goes on.
TEST(FileFault, ALogGoesOnAfterAFaultInItsRotation) {
    failEachCall(
        [](const TempDir& dir) {
            for (int i = 0; i < 5; ++i)
                dir.write("t-" + std::to_string(i) + ".log", std::string(1023, 'x') + '\n');
        },
        [](const TempDir& dir) {
            chFileTrace log;
            bool bAll = log.OpenFileTrace(dir / "t", 1, 3);
            for (int i = 0; i < 4; ++i)
                bAll = log.WriteLogLine(std::string(1023, static_cast<char>('0' + i))) && bAll;
            return log.WriteLogLine("short") && log.WriteLogLine("last") && bAll;
        },
        [](const TempDir& dir, bool bSaid) {
            EXPECT_TRUE(bSaid);
            std::string all;
            for (const auto& entry : fs::directory_iterator(dir.path()))
                all += TempDir::read(entry.path());
            EXPECT_NE(all.find("last\n"), std::string::npos);
            for (std::size_t nBegin = 0; nBegin < all.size();) {
                const std::size_t nEnd = all.find('\n', nBegin);
                ASSERT_NE(nEnd, std::string::npos) << "a line is cut";
                const std::string line = all.substr(nBegin, nEnd - nBegin);
                EXPECT_TRUE(line == "last" || line == "short" || line == std::string(1023, line[0])) << line;
                nBegin = nEnd + 1;
            }
        });
}

}  // namespace
