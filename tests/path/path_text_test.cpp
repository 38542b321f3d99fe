// Paths as texts.
#include <vdx/path.h>

#include <filesystem>
#include <random>
#include <stdexcept>

#include <gtest/gtest.h>

#include <vdx/platform.h>

namespace {

struct TextCase {
    std::string path;
    std::string expected;
};

template <class Function>
void expectAll(const std::vector<TextCase>& rows, Function function) {
    for (const TextCase& row : rows)
        EXPECT_EQ(function(row.path), row.expected) << "of " << row.path;
}

const std::string WITH_ZERO("/a\0b/c", 6);

TEST(pathTidy, Table) {
    expectAll({{"/a/./b/../c//d/", "/a/c/d"},
               {"/..", "/"},
               {"/", "/"},
               {"//", "/"},
               {"/a/b/../..", "/"},
               {"/../../a", "/a"},
               {"/a/../../b", "/b"},
               {"/.../..a/a../.b", "/.../..a/a../.b"},
               {"abc/d", "/bc/d"},
               {"x", "/"},
               {".", "/"},
               {"..", "/"},
               {"a..", "/"},
               {"/./", "/"},
               {"/A/\xC3\xA9/\xFF", "/A/\xC3\xA9/\xFF"},
               {WITH_ZERO, WITH_ZERO},
               {"/\\a/b\\..", "/\\a/b\\.."}},
              pathTidy);
    EXPECT_THROW(pathTidy(""), std::out_of_range);
}

// Texts of the characters that matter, all that are short.
template <class Visit>
void forAllShortPaths(std::size_t nLongest, Visit visit) {
    const std::string alphabet = "/.a";
    std::string path;
    for (std::size_t nSize = 1; nSize <= nLongest; ++nSize) {
        std::size_t nTexts = 1;
        for (std::size_t i = 0; i < nSize; ++i)
            nTexts *= alphabet.size();
        for (std::size_t n = 0; n < nTexts; ++n) {
            path.clear();
            for (std::size_t i = 0, rest = n; i < nSize; ++i, rest /= alphabet.size())
                path += alphabet[rest % 3];
            visit(path);
        }
    }
}

TEST(pathTidy, AgreesWithTheStandardLibraryOnEveryShortPath) {
    forAllShortPaths(9, [](const std::string& tail) {
        const std::string path = "/" + tail;
        std::string expected = std::filesystem::path(path).lexically_normal().string();
        // It leaves separators alone when there is nothing else.
        while (expected.size() > 1 && expected.back() == '/')
            expected.pop_back();
        ASSERT_EQ(pathTidy(path), expected) << path;
    });
}

TEST(pathTidy, LongPathsInLinearTime) {
    std::string up, down;
    for (int i = 0; i < 1000000; ++i) {
        down += "/part";
        up += "/..";
    }
    EXPECT_EQ(pathTidy(down + up), "/");
    EXPECT_EQ(pathTidy(down + "/." + up + "/x"), "/x");
    EXPECT_EQ(pathTidy(down), down);
}

TEST(pathGetAbsolutePath, TakesPathOrBaseOrExecutable) {
    EXPECT_EQ(pathGetAbsolutePath("x/../y", "/base"), "/base/y");
    EXPECT_EQ(pathGetAbsolutePath("/p/.", "/base"), "/p");
    EXPECT_EQ(pathGetAbsolutePath("", "/base/"), "/base");
    EXPECT_EQ(pathGetAbsolutePath("../../..", "/base"), "/");
    EXPECT_EQ(pathGetAbsolutePath("x", "rel"), "/el/x") << "the base's first letter is taken for the root";
    const std::string home = pathRemoveLastPart(vdxGetExeFileName());
    EXPECT_EQ(pathGetAbsolutePath("x", ""), home + "/x");
    EXPECT_EQ(pathGetAbsolutePath("", ""), home);
    EXPECT_EQ(pathGetRelativePath("/a/b", "/a"), "");
    EXPECT_EQ(pathGetRelativePath(nullptr, nullptr), "");
}

TEST(PathParts, Table) {
    const struct {
        std::string path, extension, fileName, first, last, withoutLast;
    } rows[] = {
        {"", "", "", "", "", ""},
        {"/", "", "", "", "", "/"},
        {"///", "", "", "", "", "///"},
        {"abc", "", "abc", "abc", "abc", "abc"},
        {"/abc", "", "abc", "abc", "abc", ""},
        {"abc/", "", "", "abc", "abc", ""},
        {"/a/b", "", "b", "a", "b", "/a"},
        {"/a/b/", "", "", "a", "b", "/a/"},
        {"//a/b//", "", "", "a", "b", "//a/b"},
        {"a//b", "", "b", "a", "b", "a/"},
        {"/a/b.txt", ".txt", "b.txt", "a", "b.txt", "/a"},
        {"/a.b/c", "", "c", "a.b", "c", "/a.b"},
        {"c.tar.gz", ".gz", "c.tar.gz", "c.tar.gz", "c.tar.gz", "c.tar.gz"},
        {".hidden", ".hidden", ".hidden", ".hidden", ".hidden", ".hidden"},
        {"/a/b.", ".", "b.", "a", "b.", "/a"},
        {"/a/..", ".", "..", "a", "..", "/a"},
        {WITH_ZERO, "", "c", std::string("a\0b", 3), "c", std::string("/a\0b", 4)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(pathGetFileExtension(row.path), row.extension);
        EXPECT_EQ(pathGetFileName(row.path), row.fileName);
        EXPECT_EQ(pathGetFirstPart(row.path), row.first);
        EXPECT_EQ(pathGetLastPart(row.path), row.last);
        EXPECT_EQ(pathRemoveLastPart(row.path), row.withoutLast);
    }
}

TEST(PathJoining, Table) {
    const struct {
        std::string a, b, appended, replaced, extended;
    } rows[] = {
        {"", "", "/", "", ""},
        {"", "b", "/b", "b", "b"},
        {"a", "", "a/", "", ""},
        {"/a//", "//b", "/a/b", "/a////b", "//b"},
        {"/", "/", "/", "//", "/"},
        {"/d.x/file", ".txt", "/d.x/file/.txt", "/d.x/.txt", "/d.txt"},
        {"file", ".txt", "file/.txt", ".txt", ".txt"},
        {"/a/file.c", ".o", "/a/file.c/.o", "/a/.o", "/a/file.o"},
        {".rc", ".o", ".rc/.o", ".o", ".o"},
        {"file.c", "", "file.c/", "", "file"},
        {"a.b.c", "d", "a.b.c/d", "d", "a.bd"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.a + " and " + row.b);
        EXPECT_EQ(pathAppend(row.a, row.b), row.appended);
        EXPECT_EQ(pathReplaceFileName(row.a, row.b), row.replaced);
        EXPECT_EQ(pathReplaceExtern(row.a, row.b), row.extended);
    }
}

// What the texts promise about each other, on every short path.
TEST(PathParts, FitTogetherOnEveryShortPath) {
    forAllShortPaths(8, [](const std::string& path) {
        const std::string name = pathGetFileName(path);
        ASSERT_EQ(pathReplaceFileName(path, name), path);
        ASSERT_TRUE(name.ends_with(pathGetFileExtension(path))) << path;
        const std::string last = pathGetLastPart(path);
        const std::string first = pathGetFirstPart(path);
        ASSERT_EQ(last.empty(), first.empty()) << path;
        const std::size_t nCut = last.size() + 1;
        const bool bWhole = last.empty() || nCut > path.size();
        ASSERT_EQ(pathRemoveLastPart(path), bWhole ? path : path.substr(0, path.size() - nCut)) << path;
    });
}

}  // namespace
