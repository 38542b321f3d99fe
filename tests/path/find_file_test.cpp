// Walking directories and filtering names. Wildcards against a plain version of them: fuzz/path_fuzz.cpp.
#include <vdx/find_file.h>

#include <sys/resource.h>
#include <algorithm>
#include <regex>
#include <set>

#include <gtest/gtest.h>

#include <vdx/path.h>

#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

TEST(chPathWalker, ReadsNamesWithoutDots) {
    const TempDir dir;
    std::string name = "stale";
    chPathWalker walker(dir.path());
    EXPECT_FALSE(walker.ReadFileName(name)) << "an empty directory";
    walker.ClosePath();
    EXPECT_FALSE(walker.OpenPath(dir / "none") || walker.ReadFileName(name) || !name.empty());
    for (const char* szName : {"a", ".hidden", "...", "..x", "d/below"})
        dir.write(szName);
    EXPECT_TRUE(walker.OpenPath(dir.path()));
    std::set<std::string> names;
    while (walker.ReadFileName(name))
        names.insert(name);
    EXPECT_EQ(names, (std::set<std::string>{"...", "..x", ".hidden", "a", "d"}));
}

struct FilterRow {
    std::string filter;
    Names accepted, refused, denied;
};

void expectFilter(const FilterRow& row) {
    const chFileFilter filter(row.filter);
    const auto answer = [&](const std::string& name) {
        return std::string(filter.IsAcceptFileName(name) ? "+" : "") +
               (filter.IsDenyFileName(name) ? "-" : "");
    };
    SCOPED_TRACE(row.filter.substr(0, 20));
    for (const std::string& name : row.accepted)
        EXPECT_EQ(answer(name), "+") << name.substr(0, 20);
    for (const std::string& name : row.refused)
        EXPECT_EQ(answer(name), "") << name.substr(0, 20);
    for (const std::string& name : row.denied)
        EXPECT_TRUE(filter.IsDenyFileName(name)) << name;
}

TEST(chFileFilter, Table) {
    const std::string longName(1000000, 'a');  // The time must not grow with the ways to divide it.
    const FilterRow rows[] = {
        {"*.txt;*.log;-~*", {"a.txt", "b.log"}, {"a.txt.bak", "a.TXT"}, {"~a.txt"}},
        {";;", {"anything", ""}, {}, {}},
        {"-*.o", {"a.c"}, {}, {"a.o"}},
        {"-+x;+", {""}, {"x"}, {"+x"}},
        {"-", {"x"}, {}, {""}},
        {"+*.c; *.d;++x", {"x.c", " x.d", "+x"}, {"x.d"}, {}},
        {"file(1).txt", {"file(1).txt"}, {"file1.txt", "file(1)xtxt"}, {}},
        {"[a]$^{}+", {"[a]$^{}+"}, {"a$^{}+"}, {}},
        {"???", {"\xE2\x82\xAC"}, {"\xC3\xA9"}, {}},
        {std::string("a\0*", 3), {std::string("a\0b", 3)}, {"ab"}, {}},
        {"a*|b?|", {"abc", "bx", ""}, {"bxx"}, {}},
        {"\\d*", {"7up", "7" + longName.substr(0, 4095)}, {"up7", "7" + longName}, {}},
        {"\\w|x*", {"q", "xyz"}, {"qq"}, {}},
        {"\\(a\\)\\1", {"\\a\\a\\"}, {"\\a\\b\\"}, {}},
        {"*a*a*a*", {longName}, {}, {}},
        {"*a*a*a*b;*b*a", {}, {longName}, {}},
        {longName + "*", {longName}, {}, {}},
        {std::string(100000, '*'), {longName}, {}, {}},
        {"*a*a*a*a*a*a\\d", {}, {longName.substr(0, 255)}, {}},
    };
    for (const FilterRow& row : rows)
        expectFilter(row);
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
        EXPECT_TRUE(filter.IsAcceptFileName("x.a")) << "those before the invalid one stand";
        EXPECT_FALSE(filter.IsAcceptFileName("x.c") || filter.IsAcceptFileName("x.old"));
    }
}

TEST(vdxFindFile, FiltersDescendsAndFollowsLinksOnce) {
    const TempDir dir, outside;
    outside.write("far.txt");
    dir.makeDir("empty.txt");
    for (const char* szName : {"a.txt", "b.log", "~c.txt", "sub/d.txt", "~skip/f.txt", "x.d/g.c"})
        dir.write(szName);
    for (const char* szName : {"loop", "sub/loop1", "sub/loop2"})
        fs::create_symlink(dir.path(), dir / szName);
    for (const char* szName : {"out1", "out2"})
        fs::create_symlink(outside.path(), dir / szName);
    fs::create_symlink(dir / "missing", dir / "dangling.txt");
    const struct {
        const char* szFilter;
        bool bRecursive;
        Names found;
    } rows[] = {
        {"*.txt;-~*;-out1", true, {"a.txt", "dangling.txt", "out2/far.txt", "sub/d.txt"}},
        {"*.txt;-~*", false, {"a.txt", "dangling.txt"}},
        {"-*.d;-sub;-out?;-d*", true, {"a.txt", "b.log", "~c.txt", "~skip/f.txt"}},
        {nullptr, false, {"a.txt", "b.log", "dangling.txt", "~c.txt"}},
    };
    for (const auto& row : rows) {
        Names found;
        for (const std::string& path : vdxFindFile(dir.path().c_str(), row.szFilter, row.bRecursive))
            found.push_back(path.substr(dir.path().size() + 1));
        std::sort(found.begin(), found.end());
        EXPECT_EQ(found, row.found);
    }
    EXPECT_EQ(vdxFindFile(dir.path().c_str(), "far*", true).size(), 1u) << "by one of its links";
    EXPECT_EQ(vdxFindFile((dir / "sub//").c_str(), "d*", false).front(), dir / "sub/d.txt");
}

TEST(vdxFindFile, AppendsWithoutRepeating) {
    const TempDir dir;
    dir.write("a");
    dir.write("b");
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
    rlimit files;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &files), 0);
    const rlimit few = {20, files.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    EXPECT_EQ(vdxFindFile(dir.path().c_str(), "odd\n*", true).front(), deep + "/odd\nname\xFF");
    EXPECT_TRUE(pathRemoveDirectory(dir / "d"));
    setrlimit(RLIMIT_NOFILE, &files);
    EXPECT_FALSE(pathDirectoryExist(dir / "d"));
}

}  // namespace
