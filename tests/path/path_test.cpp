// Paths, as texts and in the file system. Long texts of any bytes: fuzz/path_fuzz.cpp.
#include <vdx/path.h>

#include <sys/stat.h>
#include <unistd.h>
#include <regex>
#include <vector>

#include <gtest/gtest.h>

#include <vdx/platform.h>

#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

TEST(pathTidy, TakesAnyBytesAndAnyLength) {
    const std::string odd("/A\\..\0/\xC3\xA9/b\xFF/\\c", 15);
    EXPECT_EQ(pathTidy(odd), odd);
    EXPECT_THROW(pathTidy(""), std::out_of_range);
    std::string up, down;
    for (int i = 0; i < 1000000; ++i) {  // In linear time.
        down += "/part";
        up += "/..";
    }
    EXPECT_EQ(pathTidy(down + "/." + up + "/x"), "/x");
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

// On all paths of the characters that matter.
TEST(PathTexts, EveryShortPath) {
    std::vector<std::string> paths{""};
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const std::string path = paths[i];
        SCOPED_TRACE(path);
        std::string tidy = fs::path("/" + path).lexically_normal().string();
        while (tidy.size() > 1 && tidy.back() == '/')  // The standard library keeps separators at the end.
            tidy.pop_back();
        ASSERT_EQ(pathTidy("/" + path), tidy);
        ASSERT_EQ(pathTidy("x" + path), tidy) << "the first letter is taken for the root";
        if (path.size() <= 6) expectPartsLikeExpressions(path);
        for (std::size_t n = 0; n < 3 && path.size() < 9; ++n)
            paths.push_back(path + "/.a"[n]);
    }
}

TEST(pathGetAbsolutePath, TakesPathOrBaseOrExecutable) {
    EXPECT_EQ(pathGetAbsolutePath("x/../y", "/base"), "/base/y");
    EXPECT_EQ(pathGetAbsolutePath("/p/.", "/base"), "/p");
    EXPECT_EQ(pathGetAbsolutePath("", "/base/"), "/base");
    EXPECT_EQ(pathGetAbsolutePath("x", "rel"), "/el/x") << "the base's first letter is taken for the root";
    EXPECT_EQ(pathGetAbsolutePath("x", ""), pathRemoveLastPart(vdxGetExeFileName()) + "/x");
    EXPECT_EQ(pathGetRelativePath("/a/b", "/a"), "") << "kept: it computes nothing";
}

TEST(PathTests, KindsOfEntries) {
    using Facts = std::tuple<unsigned, bool, bool, std::int64_t, int>;
    const auto factsOf = [](const std::string& path) {
        return Facts(pathStat(path) & S_IFMT, pathFileExist(path), pathDirectoryExist(path),
                     pathFileSizei64(path), pathFileSize(path));
    };
    const TempDir dir;
    const std::string file = dir.write("file", "12345");
    dir.make({"sparse", "link>file", "dirlink>.", "dangling>missing"});
    EXPECT_EQ(truncate((dir / "sparse").c_str(), 0x180000005), 0);  // The int keeps the low bits.
    EXPECT_EQ(factsOf(dir / "sparse"),
              Facts(S_IFREG, true, false, 0x180000005, static_cast<int>(0x80000005)));
    EXPECT_EQ(factsOf(dir / "link"), Facts(S_IFREG, true, false, 5, 5));
    const int nDirectory = pathFileSize(dir.path());
    EXPECT_EQ(factsOf(dir / "dirlink"), Facts(S_IFDIR, true, true, nDirectory, nDirectory));
    for (const std::string& none :
         {dir / "dangling", std::string(), file + "/below", std::string(100000, 'x')})
        EXPECT_EQ(factsOf(none), Facts(0, false, false, -1, -1)) << none.substr(0, 100);
}

TEST(pathCreateDirectory, CreatesWhatIsMissing) {
    const TempDir dir;
    const std::string file = dir.write("file");
    umask(027);
    for (const char* szName : {"a/b/c", "a/b/c", "x//y///z", "t//u//"}) {
        EXPECT_TRUE(pathCreateDirectory(dir / szName)) << szName;
        EXPECT_EQ(pathStat(dir / szName), static_cast<unsigned>(S_IFDIR | 0750)) << szName;
    }
    EXPECT_TRUE(pathCreateDirectory("/"));
    std::string deep = dir.path();
    for (int i = 0; i < 100000; ++i)
        deep += "/none";
    // Kept, the last ones: nothing directly under the root, nothing below a relative first part.
    for (const std::string& path :
         {file, file + "/below", dir / std::string(300, 'n'), deep, std::string("/vdx_test_under_the_root"),
          std::string("vdx_test/b"), std::string()}) {
        EXPECT_FALSE(pathCreateDirectory(path)) << path.substr(0, 100);
    }
    EXPECT_FALSE(fs::exists(dir / "none")) << "a part of what cannot be made whole";
}

// None removes what a link points to.
TEST(PathRemoval, EachRemovesItsKinds) {
    const std::pair<bool (*)(const std::string&), std::string> rows[] = {
        {pathRemoveFile, "file link "},
        {pathRemoveEmptyDirectory, "dangling empty file link "},
        {pathRemoveDirectory, "empty full link other// "},
    };
    for (const auto& [pRemove, expected] : rows) {
        const TempDir dir;
        dir.make({"file", "outside/kept", "full/a/b/file", "full/.hidden", "empty/", "dangling>missing",
                  "full/a/dangling>missing", "link>outside", "other>outside", "full/link>../outside",
                  "full/a/up>..", "full/filelink>../outside/kept"});
        mkfifo((dir / "full/pipe").c_str(), 0600);
        std::string removed;
        for (const char* szName : {"dangling", "empty", "file", "full", "link", "other//"}) {
            const bool bRemoved = pRemove(dir / szName);
            if (bRemoved) removed.append(szName).append(" ");
            EXPECT_NE(fs::exists(fs::symlink_status(dir / szName)), bRemoved) << szName;
        }
        EXPECT_EQ(removed, expected);
        EXPECT_TRUE(fs::exists(dir / "outside/kept"));
        EXPECT_FALSE(pRemove(dir / "none") || pRemove(""));
    }
}

TEST(PathMoves, LeaveTheTargetOrTheSource) {
    using Move = bool (*)(const std::string&, const std::string&);
    const std::tuple<Move, std::string, std::string, bool> rows[] = {
        {pathRenameFile, "file", "longer", true},
        {pathRenameFile, "none", "new", false},
        {pathRenameFileEx, "none", "none", true},     // Equal texts: nothing is asked.
        {pathRenameFileEx, "file", "./file", false},  // The same file by another name.
        {pathCopyFile, "file", "longer", true},
        {pathCopyFile, "", "new", false},                  // A directory cannot be read,
        {pathCopyFile, "file", "", false},                 // nor written,
        {pathCopyFile, "file", "none/to", false},          // nor is one made.
        {pathCopyFile, "proc/self/mem", "longer", false},  // Nothing lies at its start: a read error.
    };
    for (const auto& [pMove, from, to, bMoved] : rows) {
        SCOPED_TRACE(from + " to " + to);
        const TempDir dir;
        dir.make({"file", "longer", "proc>/proc"});
        const std::string content = TempDir::read(dir / (bMoved ? from : "file"));
        EXPECT_EQ(pMove(dir / from, dir / to), bMoved);
        EXPECT_EQ(TempDir::read(dir / (bMoved ? to : "file")), content);
        EXPECT_FALSE(!bMoved && fs::exists(dir / "new")) << "no target for a source that does not open";
    }
}

}  // namespace
