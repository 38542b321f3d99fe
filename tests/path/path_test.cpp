// Paths, as texts and in the file system. Long texts of any bytes: fuzz/path_fuzz.cpp.
#include <vdx/path.h>

#include <sys/stat.h>
#include <unistd.h>
#include <regex>
#include <set>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include <vdx/platform.h>

#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

TEST(pathTidy, Table) {
    const std::string withZero("/a\0b/c", 6);
    const struct {
        std::string path, expected;
    } rows[] = {
        {"/a/./b/../c//d/", "/a/c/d"}, {"abc/d", "/bc/d"},   {"/A/\xC3\xA9/\xFF", "/A/\xC3\xA9/\xFF"},
        {"/\\a/b\\..", "/\\a/b\\.."},  {withZero, withZero},
    };
    for (const auto& row : rows)
        EXPECT_EQ(pathTidy(row.path), row.expected) << "of " << row.path;
    EXPECT_THROW(pathTidy(""), std::out_of_range);
}

// What the first group of an expression matches, or nothing.
std::string matched(const std::string& path, const char* szExpression) {
    std::smatch match;
    std::regex_search(path, match, std::regex(szExpression));
    return match.size() > 1 ? match[1].str() : "";
}

void expectPartsLikeExpressions(const std::string& path) {
    const std::string name = matched(path, "([^/]*)$"), last = matched(path, "([^/]*)/*$");
    const std::size_t nSize = path.size();
    ASSERT_EQ(pathGetFileExtension(path), matched(path, "([.][^./]*)$"));
    ASSERT_EQ(pathGetFileName(path), name);
    ASSERT_EQ(pathGetFirstPart(path), matched(path, "^/*([^/]*)"));
    ASSERT_EQ(pathGetLastPart(path), last);
    // Kept: separators at the end count, and without any other character the path stays whole.
    const bool bWhole = last.empty() || last.size() == nSize;
    ASSERT_EQ(pathRemoveLastPart(path), path.substr(0, bWhole ? nSize : nSize - last.size() - 1));
    ASSERT_EQ(pathReplaceFileName(path, "n/"), path.substr(0, nSize - name.size()) + "n/");
    ASSERT_EQ(pathAppend(path, path), matched(path, "^(.*?)/*$") + "/" + matched(path, "^/*(.*)"));
    // Kept: the search is not stopped by separators, and without a '.' the extension is all.
    ASSERT_EQ(pathReplaceExtern(path, ".x"), matched(path, "^(.*)[.]") + ".x");
}

void expectTidyLikeTheStandardLibrary(const std::string& tail) {
    std::string expected = fs::path("/" + tail).lexically_normal().string();
    // It keeps separators at the end.
    while (expected.size() > 1 && expected.back() == '/')
        expected.pop_back();
    ASSERT_EQ(pathTidy("/" + tail), expected);
    ASSERT_EQ(pathTidy("x" + tail), expected) << "the first letter is taken for the root";
}

// On all paths of the characters that matter.
TEST(PathTexts, EveryShortPath) {
    std::vector<std::string> paths{""};
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const std::string path = paths[i];
        SCOPED_TRACE(path);
        expectTidyLikeTheStandardLibrary(path);
        if (path.size() <= 6) expectPartsLikeExpressions(path);
        if (path.size() == 9) continue;
        for (const char c : {'/', '.', 'a'})
            paths.push_back(path + c);
    }
}

TEST(pathTidy, LongPathsInLinearTime) {
    std::string up, down;
    for (int i = 0; i < 1000000; ++i) {
        down += "/part";
        up += "/..";
    }
    EXPECT_EQ(pathTidy(down + "/." + up + "/x"), "/x");
}

TEST(pathGetAbsolutePath, TakesPathOrBaseOrExecutable) {
    const std::string home = pathRemoveLastPart(vdxGetExeFileName());
    EXPECT_EQ(pathGetAbsolutePath("x/../y", "/base"), "/base/y");
    EXPECT_EQ(pathGetAbsolutePath("/p/.", "/base"), "/p");
    EXPECT_EQ(pathGetAbsolutePath("", "/base/"), "/base");
    EXPECT_EQ(pathGetAbsolutePath("x", "rel"), "/el/x") << "the base's first letter is taken for the root";
    EXPECT_EQ(pathGetAbsolutePath("x", ""), home + "/x");
    EXPECT_EQ(pathGetRelativePath("/a/b", "/a"), "") << "kept: it computes nothing";
    EXPECT_EQ(pathGetRelativePath(nullptr, nullptr), "");
}

TEST(PathTests, KindsOfEntries) {
    const TempDir dir;
    const std::string file = dir.write("file", "12345"), sparse = dir.write("sparse");
    ASSERT_EQ(truncate(sparse.c_str(), 0x180000005), 0);
    fs::create_symlink(file, dir / "link");
    fs::create_symlink(dir.path(), dir / "dirlink");
    fs::create_symlink(dir / "missing", dir / "dangling");
    const struct {
        std::string path;
        unsigned nKind;  // 0: none.
        std::int64_t nSize;
    } rows[] = {
        {sparse, S_IFREG, 0x180000005},  // The int keeps its low bits.
        {dir / "link", S_IFREG, 5},     {dir / "dirlink", S_IFDIR, pathFileSize(dir.path())},
        {dir / "dangling", 0, -1},      {"", 0, -1},
        {file + "/below", 0, -1},       {std::string(100000, 'x'), 0, -1},
    };
    for (const auto& [path, nKind, nSize] : rows) {
        SCOPED_TRACE(path.substr(0, 100));
        EXPECT_EQ(pathStat(path) & S_IFMT, nKind);
        EXPECT_EQ(pathFileExist(path), nKind != 0);
        EXPECT_EQ(pathDirectoryExist(path), nKind == S_IFDIR);
        EXPECT_EQ(pathFileSizei64(path), nSize);
        EXPECT_EQ(pathFileSize(path), static_cast<int>(nSize));
    }
}

TEST(pathCreateDirectory, CreatesWhatIsMissing) {
    const TempDir dir;
    const std::string file = dir.write("file");
    const mode_t nMask = umask(027);
    for (const char* szName : {"a/b/c", "a/b/c", "x//y///z", "t//u//"}) {
        EXPECT_TRUE(pathCreateDirectory(dir / szName)) << szName;
        EXPECT_EQ(pathStat(dir / szName), static_cast<unsigned>(S_IFDIR | 0750)) << szName;
    }
    umask(nMask);
    EXPECT_TRUE(pathCreateDirectory("/"));
    EXPECT_FALSE(pathMkdir(dir / "a")) << "it is there";
    std::string deep = "/tmp";
    for (int i = 0; i < 100000; ++i)
        deep += "/none";
    const std::string separators(1000000, '/');
    // Kept, the last ones: nothing directly under the root, nothing below a relative first part.
    for (const std::string& path : {file, file + "/below", dir / std::string(300, 'n'), deep,
                                    separators + "x" + separators, std::string("/vdx_test_under_the_root"),
                                    std::string("vdx_test"), std::string("vdx_test/b"), std::string()}) {
        EXPECT_FALSE(pathCreateDirectory(path)) << path.substr(0, 100);
    }
}

// A directory "full" of all kinds of entries, and other things to remove.
void makeEntries(const TempDir& dir) {
    for (const char* szName : {"file", "outside/kept", "full/a/b/file", "full/.hidden"})
        dir.write(szName);
    dir.makeDir("empty");
    mkfifo((dir / "full/pipe").c_str(), 0600);
    for (const char* szName : {"dangling", "full/a/dangling"})
        fs::create_symlink(dir / "missing", dir / szName);
    for (const char* szName : {"link", "other", "full/link"})
        fs::create_symlink(dir / "outside", dir / szName);
    fs::create_symlink("..", dir / "full/a/up");
    fs::create_symlink(dir / "outside/kept", dir / "full/filelink");
}

// None removes what a link points to.
TEST(PathRemoval, EachRemovesItsKinds) {
    using Names = std::set<std::string>;
    const struct {
        const char* szLabel;
        bool (*pRemove)(const std::string&);
        Names removed;
    } rows[] = {
        {"file", pathRemoveFile, {"file", "link"}},
        {"empty directory", pathRemoveEmptyDirectory, {"dangling", "empty", "file", "link"}},
        {"directory", pathRemoveDirectory, {"empty", "full", "link", "other//"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szLabel);
        const TempDir dir;
        makeEntries(dir);
        Names removed, left;
        for (const char* szName : {"none", "dangling", "empty", "file", "full", "link", "other//"}) {
            if (row.pRemove(dir / szName)) removed.insert(szName);
            if (fs::exists(fs::symlink_status(dir / szName))) left.insert(szName);
        }
        EXPECT_EQ(removed, row.removed);
        EXPECT_EQ(removed.size() + left.size(), 6u) << "there or gone, as was said";
        EXPECT_TRUE(fs::exists(dir / "outside/kept"));
        EXPECT_FALSE(row.pRemove(""));
    }
}

TEST(PathMoves, LeaveTheTargetOrTheSource) {
    const struct {
        bool (*pMove)(const std::string&, const std::string&);
        const char *szFrom, *szTo;
        bool bMoved;
    } rows[] = {
        {pathRenameFile, "file", "old", true},
        {pathRenameFile, "none", "new", false},
        {pathRenameFileEx, "file", "old", true},
        {pathRenameFileEx, "none", "none", true},  // Equal texts: nothing is asked.
        {pathRenameFileEx, "none", "new", false},
        {pathRenameFileEx, "file", "./file", false},  // The same file by another name.
        {pathCopyFile, "file", "old", true},
        {pathCopyFile, "empty", "old", true},
        {pathCopyFile, "none", "new", false},
        {pathCopyFile, "", "new", false},               // A directory cannot be read,
        {pathCopyFile, "file", "", false},              // nor written,
        {pathCopyFile, "file", "none/to", false},       // nor is one made.
        {pathCopyFile, "proc/self/mem", "old", false},  // Nothing lies at its start: a read error.
        {pathCopyFile, "file", "./file", false},        // The same file
        {pathCopyFile, "file", "link", false},
        {pathCopyFile, "file", "hard", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szFrom + std::string(" to ") + row.szTo);
        const TempDir dir;
        const std::string file = dir.write("file", "content");
        dir.write("empty", "");
        dir.write("old", "older and longer content");
        fs::create_directory_symlink("/proc", dir / "proc");
        fs::create_symlink(file, dir / "link");
        fs::create_hard_link(file, dir / "hard");
        const std::string content = row.bMoved ? TempDir::read(dir / row.szFrom) : "content";
        EXPECT_EQ(row.pMove(dir / row.szFrom, dir / row.szTo), row.bMoved);
        EXPECT_EQ(TempDir::read(row.bMoved ? dir / row.szTo : file), content);
        EXPECT_FALSE(!row.bMoved && fs::exists(dir / "new")) << "no target for a source that does not open";
    }
}

}  // namespace
