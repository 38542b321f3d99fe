// Files read, written and found, names filtered; and every operation on files with each of its calls of the
// system failing in turn: what it says is true, nothing is lost that was written, and no descriptor stays
// open. Wildcards against a plain version of them: fuzz/path_fuzz.cpp.
#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <regex>
#include <set>
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
    const bool bLost = t_failure.nLeft == 0 && t_failure.nError != EINTR;  // What was written.
    if (bLost) (void)__real_ftruncate(fd, 0);
    const int nResult = __real_close(fd);  // The descriptor is released all the same.
    return vdxtest::fails("close") ? -1 : nResult;
}
}

namespace {

namespace fs = std::filesystem;

long openDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

// Calls the body with a fresh directory again and again. It runs its operation through `run`, the first time
// with the first call of the system failing, then the second, ... until the operation makes no more of them.
void failEachCall(const auto& body) {
    bool bFailed = true;
    for (int nCall = 0; bFailed; ++nCall) {
        SCOPED_TRACE(nCall);
        ASSERT_LT(nCall, 200) << "it has no end";
        body(TempDir(), [&](const auto& operation) {
            const long nBefore = openDescriptors();
            t_failure = {.nLeft = nCall, .nError = nCall % 2 ? EIO : ENOSPC};
            const bool bSaid = operation();
            bFailed = t_failure.nLeft < 0;
            t_failure = {};
            EXPECT_EQ(openDescriptors(), nBefore);
            EXPECT_TRUE(bFailed || (bSaid && nCall > 2))
                << "the calls were not replaced, or it failed without";
            return bSaid;
        });
    }
}

const std::string CONTENT(200'000, 'c');

// A copy, then the removal of the source, which must not be made unless the copy is whole.
TEST(FileFault, AMovedFileIsInOnePlaceAtLeast) {
    failEachCall([](const TempDir& dir, const auto& run) {
        const std::string from = dir.write("from", CONTENT), to = dir.write("to", CONTENT + "older");
        const bool bSaid = run([&] { return pathRenameFileEx(from, to); });
        const bool bThere = TempDir::read(to) == CONTENT;
        EXPECT_TRUE(bThere || TempDir::read(from) == CONTENT);
        EXPECT_TRUE(!bSaid || (bThere && !fs::exists(from)));
    });
}

TEST(FileFault, DirectoriesAreThereWhenTheySaySo) {
    failEachCall([](const TempDir& dir, const auto& run) {
        const bool bSaid = run([&] { return pathCreateDirectory(dir / "a/b/c"); });
        EXPECT_EQ(fs::exists(dir / "a/b/c"), bSaid);
    });
}

TEST(FileFault, ATreeIsWalkedAndRemovedButForWhatFailed) {
    int nUntouched = 0, nOneLeft = 0;
    failEachCall([&](const TempDir& dir, const auto& run) {
        dir.make({"kept", "tree/a", "tree/sub/b", "tree/sub/deep/c", "tree/link>.."});
        const bool bSaid = run([&] {
            return vdxFindFile(dir.path().c_str(), "", true).size() <= 4 && pathRemoveDirectory(dir / "tree");
        });
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
        failEachCall([&](const TempDir& dir, const auto& run) {
            std::string text;
            const bool bSaid = run([&] {
                if (bInterrupted) t_failure.nError = EINTR;
                return vdxWriteBinFile(dir / "f", CONTENT) && vdxDumpTextFileA(dir / "f", text);
            });
            EXPECT_TRUE(text == (bSaid ? CONTENT : "") && (bSaid || !bInterrupted));
        });
    }
}

TEST(chFileStdio, WritesAppendsAndReadsElements) {
    const TempDir dir;
    const std::string path = dir.write("f", "stale and longer");
    chFileStdio file;
    EXPECT_FALSE(file.Open(dir / "none", 0) || file.Open(dir.path(), 0) || file.Open(path, 1));
    EXPECT_FALSE(file.IsFileOpened() || file.WriteString("x") || file.Sync());
    EXPECT_TRUE(file.IsEOF() && file.GetPosition() == -1 && file.Close()) << "nothing is open";
    EXPECT_TRUE(file.Open(path, chFileStdio::OPEN_CREATE) && file.WriteString("first"));
    EXPECT_TRUE(file.Open(path, 12288) && file.GetPosition() == 5) << "opening closes the file held so far";
    EXPECT_TRUE(file.Write("+second", 1, 7) == 7 && file.Sync());
    EXPECT_EQ(TempDir::read(path), "first+second");
    char buffer[12];
    EXPECT_TRUE(file.Open(path, 0) && file.Read(buffer, 5, 2) == 2 && !file.IsEOF());
    EXPECT_TRUE(file.Read(buffer, 5, 1) == 0 && file.IsEOF() && !file.HasFailed());
    // A full disk is reported by a flush and by the close.
    EXPECT_TRUE(file.Open("/dev/full", 12288) && file.WriteString("buffered"));
    EXPECT_FALSE(file.Flush() || file.Close());
    EXPECT_TRUE(file.Open("/dev/full", 4097) && file.WriteString("buffered"));
    EXPECT_FALSE(file.Close());
}

// Pipes and processes do not tell their size beforehand.
TEST(WholeFiles, AreReadToTheEndWhateverTheirSize) {
    const TempDir dir;
    const std::string pipe = dir / "pipe", copy = dir / "copy", sent(300000, '\0');
    std::string text;
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::thread toCopy([&] { EXPECT_TRUE(vdxWriteBinFile(pipe, sent)); });
    EXPECT_TRUE(pathCopyFile(pipe, copy));
    toCopy.join();
    std::thread toRead([&] { EXPECT_TRUE(pathCopyFile(copy, pipe)); });
    EXPECT_TRUE(vdxDumpTextFileA(pipe, text) && text == sent);
    toRead.join();
    EXPECT_TRUE(pathCopyFile("/proc/self/status", copy) && vdxDumpTextFileA(copy, text));
    EXPECT_NE(text.find("Threads:"), std::string::npos);
    EXPECT_FALSE(vdxWriteBinFile("/dev/full", "x") || pathCopyFile(copy, "/dev/full"));
    EXPECT_TRUE(vdxWriteBinFile(copy, "", true) && vdxDumpTextFileA(copy, text) && text.empty());
}

using Names = std::vector<std::string>;

TEST(chPathWalker, ReadsNamesWithoutDots) {
    const TempDir dir;
    std::string name = "stale";
    chPathWalker walker(dir.path());
    walker.ClosePath();
    EXPECT_FALSE(walker.OpenPath(dir / "none") || walker.ReadFileName(name) || !name.empty());
    dir.make({"a", ".hidden", "...", "..x", "d/below"});
    EXPECT_TRUE(walker.OpenPath(dir.path()));
    std::set<std::string> names;
    while (walker.ReadFileName(name))
        names.insert(name);
    EXPECT_EQ(names, (std::set<std::string>{"...", "..x", ".hidden", "a", "d"}));
}

TEST(chFileFilter, Table) {
    const std::string longName(1000000, 'a');  // The time must not grow with the ways to divide it.
    const std::tuple<std::string, Names, Names, Names> rows[] = {
        // Filter, accepted, refused, denied.
        {"*.txt;*.log;-~*", {"a.txt", "b.log"}, {"a.txt.bak", "a.TXT"}, {"~a.txt"}},
        {";;", {"anything", ""}, {}, {}},
        {"-+x;+", {""}, {"x"}, {"+x"}},
        {"-", {"x"}, {}, {""}},
        {"+*.c; *.d;++x", {"x.c", " x.d", "+x"}, {"x.d"}, {}},
        {"[a](1)$^{}+.txt", {"[a](1)$^{}+.txt"}, {"a(1)$^{}+.txt", "[a](1)$^{}+xtxt"}, {}},
        {"???", {"\xE2\x82\xAC"}, {"\xC3\xA9"}, {}},
        {std::string("a\0*", 3), {std::string("a\0b", 3)}, {"ab"}, {}},
        {"a*|b?|", {"abc", "bx", ""}, {"bxx", "b\r", "a\r", "a\n"}, {}},
        {"\\d*", {"7up", "7" + longName.substr(0, 4095)}, {"up7", "7" + longName}, {}},
        {"\\w|x*", {"q", "xyz"}, {"qq"}, {}},
        {"\\(a\\)\\1", {"\\a\\a\\"}, {"\\a\\b\\"}, {}},
        {"*a*c*;*a*a*a*;x*ab*ba*", {longName, "xabba"}, {"xaba"}, {}},
        {"*a*a*a*a*a*a\\d", {}, {longName.substr(0, 255)}, {}},
    };
    for (const auto& [text, accepted, refused, denied] : rows) {
        SCOPED_TRACE(text.substr(0, 20));
        const chFileFilter filter(text);
        for (const std::string& name : accepted)
            EXPECT_TRUE(filter.IsAcceptFileName(name) && !filter.IsDenyFileName(name)) << name.substr(0, 20);
        for (const std::string& name : refused)
            EXPECT_FALSE(filter.IsAcceptFileName(name) || filter.IsDenyFileName(name)) << name.substr(0, 20);
        for (const std::string& name : denied)
            EXPECT_TRUE(filter.IsDenyFileName(name)) << name;
    }
}

TEST(chFileFilter, SettingReplacesBothLists) {
    chFileFilter filter("*.a;-x*");
    const chFileFilter copy = filter;
    filter.SetFilter("*.b");
    EXPECT_TRUE(copy.IsAcceptFileName("x.a") && copy.IsDenyFileName("x.a"));
    EXPECT_TRUE(filter.IsAcceptFileName("x.b") && !filter.IsDenyFileName("x.b"));
    const chFileFilter moved = std::move(filter);
    EXPECT_FALSE(filter.IsAcceptFileName("x.a")) << "one that was moved from is still a filter";
}

TEST(chFileFilter, ExpressionsPassAndTheInvalidThrow) {
    EXPECT_EQ(chFileFilter::fileExpress2REText("*?.$()+-[]^{}|\\a/"),
              ".*.\\.\\$\\(\\)\\+\\-\\[\\]\\^\\{\\}|\\a/");
    chFileFilter filter("*.old");
    for (const std::string& invalid :
         {std::string("a\\"), std::string("\\(*"), std::string("(a)\\1"), std::string(2000, 'a') + "\\d"}) {
        EXPECT_THROW(filter.SetFilter("*.a;" + invalid + ";*.c"), std::regex_error) << invalid;
        for (const char* szName : {"x.a", "x.c", "x.old"})  // Those before the invalid one stand.
            EXPECT_EQ(filter.IsAcceptFileName(szName), szName[2] == 'a') << szName;
    }
}

TEST(vdxFindFile, FiltersDescendsAndFollowsLinksOnce) {
    const TempDir dir, outside;
    outside.write("far.txt");
    dir.make({"sub0>sub", "empty.txt/", "a.txt", "b.log", "~c.txt", "sub/d.txt", "~skip/f.txt", "x.d/g.c",
              "loop>.", "sub1>sub", "sub/loop1>..", "sub/loop2>..", "out1>" + outside.path(),
              "out2>" + outside.path(), "dangling.txt>missing"});
    const std::tuple<const char*, bool, std::multiset<std::string>> rows[] = {
        {"*.txt;-~*;-out1", true, {"a.txt", "dangling.txt", "out2/far.txt", "sub/d.txt"}},
        {"*.txt;-~*", false, {"a.txt", "dangling.txt"}},
        {"-*.d;-sub*;-out?;-d*", true, {"a.txt", "b.log", "~c.txt", "~skip/f.txt"}},
        {nullptr, false, {"a.txt", "b.log", "dangling.txt", "~c.txt"}},
    };
    for (const auto& [szFilter, bRecursive, expected] : rows) {
        std::multiset<std::string> found;
        for (const std::string& path : vdxFindFile(dir.path().c_str(), szFilter, bRecursive))
            found.insert(path.substr(dir.path().size() + 1));
        EXPECT_EQ(found, expected);
    }
    EXPECT_EQ(vdxFindFile(dir.path().c_str(), "far*", true).size(), 1u) << "by one of its links";
    EXPECT_EQ(vdxFindFile((dir / "sub//").c_str(), "d*", false).front(), dir / "sub/d.txt");
}

TEST(vdxFindFile, AppendsWithoutRepeating) {
    const TempDir dir;
    dir.make({"a", "b"});
    std::list<std::string> paths{"before", dir / "b"};
    vdxFindFile(dir.path(), "", paths, false);
    EXPECT_EQ(paths, (std::list<std::string>{"before", dir / "b", dir / "a"}));
    vdxFindFile(dir.path(), "", paths);
    EXPECT_EQ(paths.size(), 3u);
    for (const std::string& nowhere : {std::string(), dir / "none", dir / "a"})
        EXPECT_TRUE(vdxFindFile(nowhere.c_str(), "*", true).empty()) << nowhere;
    EXPECT_TRUE(vdxFindFile(nullptr, "*", true).empty());
    EXPECT_THROW(vdxFindFile(dir.path().c_str(), "\\", true), std::regex_error);
}

// However deep the tree, with a handful of descriptors.
TEST(vdxFindFile, DeepTreesAreWalkedAndRemoved) {
    const TempDir dir;
    std::string deep = dir / "d";
    while (deep.size() < 3800)
        deep += "/deeper_and_deeper";
    ASSERT_TRUE(pathCreateDirectory(deep));
    std::ofstream(deep + "/odd\nname\xFF") << 'x';
    const rlimit few = {20, 20};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    EXPECT_EQ(vdxFindFile(dir.path().c_str(), "odd\n*", true).front(), deep + "/odd\nname\xFF");
    EXPECT_TRUE(pathRemoveDirectory(dir / "d"));
}

}  // namespace
