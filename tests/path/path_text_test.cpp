// Paths as texts. Long ones of any bytes: fuzz/path_fuzz.cpp.
#include <vdx/path.h>

#include <filesystem>
#include <regex>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include <vdx/platform.h>

namespace {

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
    std::string expected = std::filesystem::path("/" + tail).lexically_normal().string();
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

}  // namespace
