// Walking directories and filtering names.
#include <vdx/find_file.h>

#include <algorithm>
#include <random>
#include <regex>

#include <gtest/gtest.h>

#include <vdx/path.h>

#include "path/wildcard.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

TEST(chPathWalker, ReadsNamesWithoutDots) {
    const TempDir dir;
    for (const char* szName : {"a", ".hidden", "...", "..x", "d/below"})
        dir.write(szName);
    chPathWalker walker(dir.path());
    std::vector<std::string> names;
    for (std::string name; walker.ReadFileName(name);)
        names.push_back(name);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"...", "..x", ".hidden", "a", "d"}));
}

TEST(chPathWalker, ClosedOrEmptyYieldsNothing) {
    const TempDir dir;
    std::string name = "stale";
    chPathWalker walker("");
    EXPECT_FALSE(walker.ReadFileName(name));
    EXPECT_EQ(name, "");
    walker.ClosePath();
    EXPECT_FALSE(walker.OpenPath(dir / "none"));
    EXPECT_FALSE(walker.OpenPath(""));
    EXPECT_FALSE(walker.ReadFileName(name));
    EXPECT_TRUE(walker.OpenPath(dir.path()));
    EXPECT_FALSE(walker.ReadFileName(name)) << "an empty directory";
    walker.ClosePath();
    EXPECT_FALSE(walker.ReadFileName(name));
}

struct FilterCase {
    std::string filter, name;
    bool bAccept, bDeny;
};

TEST(chFileFilter, Table) {
    const FilterCase rows[] = {
        {"*.txt;*.log;-~*", "a.txt", true, false},
        {"*.txt;*.log;-~*", "b.log", true, false},
        {"*.txt;*.log;-~*", "~a.txt", true, true},
        {"*.txt;*.log;-~*", "a.txt.bak", false, false},
        {"", "anything", true, false},
        {"", "", true, false},
        {";;", "anything", true, false},
        {"-*.o", "a.c", true, false},
        {"-*.o", "a.o", true, true},
        {"*.TXT", "a.txt", false, false},
        {"a?c", "abc", true, false},
        {"a?c", "abbc", false, false},
        {"a?c", "ac", false, false},
        {"file(1).txt", "file(1).txt", true, false},
        {"file(1).txt", "file1.txt", false, false},
        {"[a]", "[a]", true, false},
        {"[a]", "a", false, false},
        {"$^{}+", "$^{}+", true, false},
        {"a.c", "abc", false, false},
        {"+*.c", "x.c", true, false},
        {"++x", "+x", true, false},
        {"+-x", "-x", true, false},
        {"-+x", "+x", true, true},
        {"+", "", true, false},
        {"+", "x", false, false},
        {"-", "", true, true},
        {" *.c", "x.c", false, false},
        {" *.c", " x.c", true, false},
        {"a*|b?", "abc", true, false},
        {"a*|b?", "bx", true, false},
        {"a*|b?", "bxx", false, false},
        {"a|", "", true, false},
        {"\\d*", "7up", true, false},
        {"\\d*", "up7", false, false},
        {"\\w|x*", "q", true, false},
        {"\\*", "...", true, false},
        {"\\(a\\)\\1", "\\a\\a\\", true, false},
        {"\\(a\\)\\1", "\\a\\b\\", false, false},
        {"???", "\xE2\x82\xAC", true, false},
        {"*", "a\nb", false, false},
        {"*\n*", "a\nb", true, false},
        {"*\n*", "a\n\nb", false, false},
        {"a?b", "a\rb", false, false},
        {"*a*", "x\na", false, false},
        {std::string("a\0*", 3), std::string("a\0b", 3), true, false},
        {std::string("a\0*", 3), "ab", false, false},
    };
    for (const FilterCase& row : rows) {
        SCOPED_TRACE(row.filter + " on " + row.name);
        const chFileFilter filter(row.filter);
        EXPECT_EQ(filter.IsAcceptFileName(row.name), row.bAccept);
        EXPECT_EQ(filter.IsDenyFileName(row.name), row.bDeny);
    }
}

TEST(chFileFilter, SettingReplacesBothLists) {
    chFileFilter filter("*.a;-x*");
    const chFileFilter copy = filter;
    filter.SetFilter("*.b");
    EXPECT_FALSE(filter.IsAcceptFileName("x.a"));
    EXPECT_TRUE(filter.IsAcceptFileName("x.b"));
    EXPECT_FALSE(filter.IsDenyFileName("x.b"));
    EXPECT_TRUE(copy.IsAcceptFileName("x.a"));
    EXPECT_TRUE(copy.IsDenyFileName("x.a"));
    const chFileFilter moved = std::move(filter);
    EXPECT_TRUE(moved.IsAcceptFileName("x.b"));
    EXPECT_FALSE(filter.IsAcceptFileName("x.a")) << "still a filter";
}

TEST(chFileFilter, InvalidExpressionsThrow) {
    EXPECT_THROW(chFileFilter("a\\"), std::regex_error);
    EXPECT_THROW(chFileFilter("\\(*"), std::regex_error);
    EXPECT_THROW(chFileFilter("(a)\\1"), std::regex_error) << "there is no group";
    EXPECT_THROW(chFileFilter(std::string(2000, 'a') + "\\d"), std::regex_error);
    chFileFilter filter("*.old");
    EXPECT_THROW(filter.SetFilter("*.a;b\\;*.c"), std::regex_error);
    EXPECT_TRUE(filter.IsAcceptFileName("x.a")) << "those before the invalid one stand";
    EXPECT_FALSE(filter.IsAcceptFileName("x.old"));
    EXPECT_FALSE(filter.IsAcceptFileName("x.c"));
}

TEST(chFileFilter, ExpressionText) {
    EXPECT_EQ(chFileFilter::fileExpress2REText("*?.$()+-[]^{}|\\a/"),
              ".*.\\.\\$\\(\\)\\+\\-\\[\\]\\^\\{\\}|\\a/");
}

TEST(chFileFilter, VeryLongNamesAndPatternsEnd) {
    const std::string name(1000000, 'a');
    EXPECT_TRUE(chFileFilter("*a*a*a*").IsAcceptFileName(name));
    EXPECT_FALSE(chFileFilter("*a*a*a*b").IsAcceptFileName(name));
    EXPECT_FALSE(chFileFilter("*b*a").IsAcceptFileName(name));
    EXPECT_TRUE(chFileFilter(name + "*").IsAcceptFileName(name));
    EXPECT_TRUE(chFileFilter(std::string(100000, '*')).IsAcceptFileName(name));
    EXPECT_FALSE(chFileFilter("\\w*").IsAcceptFileName(name)) << "too long for an expression";
    EXPECT_TRUE(chFileFilter("\\w*").IsAcceptFileName(name.substr(0, 4096)));
    EXPECT_FALSE(chFileFilter("*a*a*a*a*a*a\\d").IsAcceptFileName(name.substr(0, 255)));
}

// The same answers as the regular expression that a pattern means, for all short
// patterns and names over the characters that matter.
TEST(Wildcard, AgreesWithTheExpression) {
    const auto textsOver = [](const std::string& alphabet, std::size_t nLongest) {
        std::vector<std::string> texts{""};
        for (std::size_t nFrom = 0, nSize = 1; nSize <= nLongest; ++nSize) {
            const std::size_t nTo = texts.size();
            for (; nFrom < nTo; ++nFrom) {
                for (const char c : alphabet)
                    texts.push_back(texts[nFrom] + c);
            }
        }
        return texts;
    };
    const std::vector<std::string> names = textsOver("ab\n", 5);
    for (const std::string& pattern : textsOver("a*?\n", 4)) {
        const vdx::Wildcard wildcard(pattern);
        const std::regex expression(chFileFilter::fileExpress2REText(pattern));
        for (const std::string& name : names) {
            ASSERT_EQ(wildcard.matches(name), std::regex_match(name, expression))
                << testing::PrintToString(pattern) << " on " << testing::PrintToString(name);
        }
    }
}

TEST(Wildcard, FindsLineEndsAnywhereInLongNames) {
    const vdx::Wildcard all("*");
    for (std::size_t nSize = 1; nSize <= 40; ++nSize) {
        for (std::size_t i = 0; i < nSize; ++i) {
            std::string name(nSize, '\x8D');  // Line ends with a high bit are none.
            EXPECT_TRUE(all.matches(name));
            name[i] = i % 2 ? '\n' : '\r';
            EXPECT_FALSE(all.matches(name)) << nSize << ' ' << i;
        }
    }
}

std::vector<std::string> sorted(const std::list<std::string>& paths) {
    std::vector<std::string> result(paths.begin(), paths.end());
    std::sort(result.begin(), result.end());
    return result;
}

// Without the directory, for short tables.
std::vector<std::string> found(const TempDir& dir, const char* szFilter, bool bRecursive) {
    std::vector<std::string> result = sorted(vdxFindFile(dir.path().c_str(), szFilter, bRecursive));
    for (std::string& path : result)
        path.erase(0, dir.path().size() + 1);
    return result;
}

using Names = std::vector<std::string>;

TEST(vdxFindFile, FiltersNamesAndDescends) {
    const TempDir dir;
    for (const char* szName :
         {"a.txt", "b.log", "~c.txt", "sub/d.txt", "sub/deep/e.txt", "~skip/f.txt", "x.d/g.c"}) {
        dir.write(szName);
    }
    dir.makeDir("empty.txt");
    EXPECT_EQ(found(dir, "*.txt;-~*", true), (Names{"a.txt", "sub/d.txt", "sub/deep/e.txt"}));
    EXPECT_EQ(found(dir, "*.txt;-~*", false), (Names{"a.txt"}));
    EXPECT_EQ(found(dir, "-*.d;-sub", true), (Names{"a.txt", "b.log", "~c.txt", "~skip/f.txt"}));
    EXPECT_EQ(found(dir, nullptr, false), (Names{"a.txt", "b.log", "~c.txt"}));
    EXPECT_EQ(vdxFindFile((dir / "sub//").c_str(), "d*", false).front(), dir / "sub/d.txt");
}

TEST(vdxFindFile, LinksAreFollowedOnce) {
    const TempDir dir;
    const TempDir outside;
    outside.write("far.txt");
    dir.write("a/near.txt");
    for (const char* szName : {"loop1", "loop2", "a/loop3"})
        fs::create_symlink(dir.path(), dir / szName);
    fs::create_symlink(outside.path(), dir / "out1");
    fs::create_symlink(outside.path(), dir / "out2");
    fs::create_symlink(outside / "far.txt", dir / "file.txt");
    fs::create_symlink(dir / "missing", dir / "dangling.txt");
    Names names = found(dir, "*.txt", true);
    ASSERT_EQ(names.size(), 4u);
    EXPECT_EQ(names[0], "a/near.txt") << "under its own name, not a link's";
    EXPECT_EQ(names[1], "dangling.txt");
    EXPECT_EQ(names[2], "file.txt");
    EXPECT_TRUE(names[3] == "out1/far.txt" || names[3] == "out2/far.txt") << names[3];
    EXPECT_EQ(found(dir, "", false), (Names{"dangling.txt", "file.txt"}));
}

TEST(vdxFindFile, AppendsWithoutRepeating) {
    const TempDir dir;
    dir.write("a");
    dir.write("b");
    std::list<std::string> paths{"before", dir / "b"};
    vdxFindFile(dir.path(), "", paths, false);
    EXPECT_EQ(sorted(paths), (Names{dir / "a", dir / "b", "before"}));
    EXPECT_EQ(paths.front(), "before");
    vdxFindFile(dir.path(), "", paths);
    EXPECT_EQ(paths.size(), 3u);
}

TEST(vdxFindFile, NothingToFind) {
    const TempDir dir;
    EXPECT_TRUE(vdxFindFile(nullptr, "*", true).empty());
    EXPECT_TRUE(vdxFindFile("", "*", true).empty());
    EXPECT_TRUE(vdxFindFile((dir / "none").c_str(), "*", true).empty());
    EXPECT_TRUE(vdxFindFile(dir.write("file").c_str(), "*", true).empty());
    EXPECT_THROW(vdxFindFile(dir.path().c_str(), "\\", true), std::regex_error);
}

TEST(vdxFindFile, DeepTreesAndOddNames) {
    const TempDir dir;
    std::string deep = dir / "d";
    while (deep.size() < 3800)
        deep += "/deeper_and_deeper";
    ASSERT_TRUE(pathCreateDirectory(deep));
    std::ofstream(deep + "/bottom") << 'x';
    dir.write("\xFF\xFE odd\nname");
    EXPECT_EQ(vdxFindFile(dir.path().c_str(), "bottom", true).front(), deep + "/bottom");
    EXPECT_EQ(vdxFindFile(dir.path().c_str(), "*odd\nname", true).size(), 1u);
    EXPECT_EQ(vdxFindFile(dir.path().c_str(), "*name", true).size(), 0u) << "a star stops at the line end";
}

}  // namespace
