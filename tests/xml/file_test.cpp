// Files: loading repairs, saving keeps; each call of the system failing or killing in turn, no permission.
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <random>

#include "support/child.h"
#include "support/failing_calls.h"
#include "support/temp_dir.h"
#include "xml/xml_support.h"

using namespace xmltest;
using vdxtest::KILLS, vdxtest::t_failure;

extern "C" {
VDX_FAILING(ssize_t, read, (int nFd, void* p, std::size_t n), (nFd, p, n), -1)
VDX_FAILING(int, fsync, (int nFd), (nFd), -1)
VDX_FAILING(int, stat, (const char* szName, struct stat* pStatus), (szName, pStatus), -1)
VDX_FAILING(int, fstat, (int nFd, struct stat* pStatus), (nFd, pStatus), -1)
VDX_FAILING(int, chmod, (const char* szName, mode_t nMode), (szName, nMode), -1)
VDX_FAILING(int, rename, (const char* szFrom, const char* szTo), (szFrom, szTo), -1)
VDX_FAILING(int, unlink, (const char* szName), (szName), -1)
// Where the caller gives no mode, the system ignores what is passed on.
VDX_FAILING(int, open, (const char* szName, int nFlags, mode_t nMode), (szName, nFlags, nMode), -1)

// Of more than a few bytes the system takes half at a time; one that fails or kills has done so, too.
VDX_REPLACED(ssize_t, write, (int nFd, const void* p, std::size_t n)) {
    const ssize_t nWritten = __real_write(nFd, p, n > 3 ? n / 2 : n);
    return vdxtest::fails("write") ? -1 : nWritten;
}
// One that fails has closed.
VDX_REPLACED(int, close, (int nFd)) {
    const int nResult = __real_close(nFd);
    return vdxtest::fails("close") ? -1 : nResult;
}
}

namespace {

std::string topOf(const std::string& szPath) {
    return chXmlFile(szPath).getChildElement().tagName();
}

class chXmlFiles : public LeakFree {
protected:
    TempDir m_dir;
};

// Each file that is there holds a document named after itself.
TEST_F(chXmlFiles, LoadRepairsEveryState) {
    // By what is there: 1 the file, 2 its .old, 4 its .new.
    const char* const LOADED[] = {"", "path", "old", "path", "", "path", "new", "new"};
    for (unsigned int nThere = 0; nThere < 8; ++nThere) {
        const TempDir dir;
        if (nThere & 1) dir.write("f", "<path/>");
        if (nThere & 2) dir.write("f.old", "<old/>");
        if (nThere & 4) dir.write("f.new", "<new/>");
        chXmlFile file;
        const bool bLoaded = file.LoadFromFile(dir / "f");
        EXPECT_EQ(LOADED[nThere], file.getChildElement().tagName()) << nThere;
        EXPECT_EQ(bLoaded ? 1U : 0U, entries(dir.path())) << nThere;
    }
}

TEST_F(chXmlFiles, SaveAndLoad) {
    const std::string szPath = m_dir / "f", szCopy = m_dir / "copy";
    chXmlFile file(szPath);
    EXPECT_EQ("(6 '')", dump(file));
    file.AddChildElement("a").SetOption("b", "<1>");
    EXPECT_TRUE(file.SaveToFile(szCopy) && file.SaveToFile(""));
    file.AddChildElement("second");
    EXPECT_TRUE(file.SaveToFile(""));  // Not to the copy: a save's path is not remembered.
    EXPECT_EQ("<a>\n  <b>&lt;1&gt;</b>\n</a>\n", TempDir::read(szCopy));
    EXPECT_EQ(dump(file), dump(chXmlFile(szPath)));
    EXPECT_EQ(2U, entries(m_dir.path()));
}

// The system would take the part of a name before its zero byte, for the companions as well.
TEST_F(chXmlFiles, WhatIsNoFileIsNeitherReadNorReplaced) {
    const std::string szGood = m_dir.write("good", "<a/>"), szBad = m_dir.write("bad", "<a>");
    m_dir.makeDir("good.old");     // It would tell that an unfinished .new is whole.
    m_dir.write("d.old", "<a/>");  // Files are no companions of a directory.
    m_dir.write("d.new", "<a/>");
    chXmlFile file(szGood);
    EXPECT_TRUE(file.hasChildren() && !file.SaveToFile(""));
    for (const std::string& szPath :
         {m_dir.path(), m_dir.makeDir("d"), m_dir / "missing/f", szGood + std::string("\0x", 2)})
        EXPECT_FALSE(file.SaveToFile(szPath) || file.LoadFromFile(szPath) || file.hasChildren()) << szPath;
    EXPECT_FALSE(file.LoadFromFile(szBad) || file.LoadFromFile(m_dir / "missing") || file.LoadFromFile(""));
    EXPECT_FALSE(file.SaveToFile(""));
    EXPECT_EQ("(6 '')", dump(file));
    EXPECT_EQ("<a/><a>", TempDir::read(szGood) + TempDir::read(szBad));
    EXPECT_EQ(6U, entries(m_dir.path()));
    // The path counts, though the text does not; an empty file can be read.
    EXPECT_FALSE(file.LoadFromFile(szBad));
    EXPECT_TRUE(file.SaveToFile("") && file.LoadFromFile(szBad));
}

// A link in the place of the file or of its .new is replaced, and never followed. What cannot be removed,
// renamed or read makes a save or a load fail, and costs no document.
TEST_F(chXmlFiles, LinksAndCompanionsThatStay) {
    m_dir.make({"victim", "f>victim", "g.new>victim", "linked.new>victim"});
    for (const char* szName : {"f", "g"}) {
        EXPECT_TRUE(chXmlFile().SaveToFile(m_dir / szName));
        EXPECT_FALSE(std::filesystem::is_symlink(m_dir / szName));
    }
    for (const char* szName : {"stuck", "stuck.old", "lost.old", "lost.new"})
        m_dir.write(szName, std::string("<") + szName + "/>");
    for (const char* szName : {"linked", "stuck"}) {
        t_failure = {.nLeft = 0, .nError = EIO, .name = "unlink"};
        EXPECT_FALSE(chXmlFile().SaveToFile(m_dir / szName));
    }
    t_failure = {.nLeft = 0, .nError = EIO, .name = "rename", .nTimes = 2};
    EXPECT_FALSE(chXmlFile().LoadFromFile(m_dir / "lost"));
    chXmlFile file(m_dir / "f");
    t_failure = {.nLeft = 0, .nError = EIO, .name = "read"};
    EXPECT_FALSE(file.LoadFromFile(m_dir / "stuck") || file.hasChildren());
    EXPECT_EQ("victim stuck lost.old",
              TempDir::read(m_dir / "victim") + " " + topOf(m_dir / "stuck") + " " + topOf(m_dir / "lost"));
}

struct Operation {
    const char* szLabel;
    const char* szFormer;  // The file that holds <former/> before, or null.
    const char* szNext;    // The one that holds <next/> before, or null.
    int nCalls;            // How many calls must not fail, at least.
};

// Saves <next/> in a process of its own, in which a call fails, or kills. Gives 0 for success, 1 for false, 2
// for a file that was left open; and prints the name of the call that failed.
vdxtest::ChildResult save(const Operation& operation, const TempDir& dir, const vdxtest::Failure& failure) {
    if (operation.szFormer) dir.write(operation.szFormer, "<former/>");
    if (operation.szNext) dir.write(operation.szNext, "<next/>");
    return vdxtest::runInChild([&] {
        chXmlFile file;
        file.AddChildElement("next");
        const auto nOpen = entries("/proc/self/fd");
        t_failure = failure;
        const bool bDone = file.SaveToFile(dir / "f");
        t_failure.nLeft = -1;
        std::fwrite(t_failure.failed.data(), 1, t_failure.failed.size(), stdout);
        return entries("/proc/self/fd") != nOpen ? 2 : bDone ? 0 : 1;
    });
}

// One of both documents is always there, whole: the next one after success, and after a death from the
// moment on at which it can be. Only a companion whose removal fails stays, until the next load.
TEST_F(chXmlFiles, EachCallFailingOrKilling) {
    constexpr Operation OPERATIONS[] = {
        {"over a file", "f", nullptr, 12},
        {"for the first time", nullptr, nullptr, 10},
        {"after one that died", "f.old", "f.new", 16},
    };
    for (const Operation& operation : OPERATIONS) {
        for (const int nError : {EIO, EACCES, KILLS}) {
            int nHurt = 0;
            bool bWasNext = false, bEnded = false;
            for (int n = 0; !bEnded; ++n) {
                const TempDir dir;
                const auto result = save(operation, dir, {.nLeft = n, .nError = nError});
                SCOPED_TRACE(testing::Message() << operation.szLabel << nError << " at " << n << result.out);
                const bool bKilled = result.signal() == SIGKILL, bDone = result.exitCode() == 0;
                ASSERT_TRUE(bKilled || bDone || (result.exitCode() == 1 && !result.out.empty()));
                if (!bKilled && !operation.szNext && result.out != "unlink" && result.out != "stat") {
                    ASSERT_EQ(bDone || operation.szFormer ? 1U : 0U, entries(dir.path()));
                    ASSERT_EQ(bDone || operation.szFormer, std::filesystem::exists(dir / "f"));
                }
                const std::string szTop = topOf(dir / "f"), szFormer = operation.szFormer ? "former" : "";
                ASSERT_EQ(szTop.empty() ? 0U : 1U, entries(dir.path()));
                ASSERT_TRUE(szTop == "next" ? bDone || bKilled || operation.szNext
                                            : szTop == szFormer && !bDone && !bWasNext);
                bEnded = bDone && result.out.empty();
                bWasNext = bWasNext || (bKilled && szTop == "next");
                nHurt += !bDone;
            }
            EXPECT_GE(nHurt, operation.nCalls) << operation.szLabel;
        }
    }
}

// The names change only when the disk has the text, and the directory with it; .old goes when it has the
// names. Until then the text is for its owner alone.
TEST_F(chXmlFiles, WhatIsOnTheDiskAtEachStep) {
    for (int n = 0; n < 5; ++n) {
        const TempDir dir;
        const auto result = save({"", "f", nullptr, 0}, dir, {n, KILLS, "fsync"});
        EXPECT_EQ(n < 4, result.signal() == SIGKILL) << n;
        EXPECT_EQ(n < 2 ? "<former/>" : "<next/>\n", TempDir::read(dir / "f")) << n;
        EXPECT_EQ(n < 2 ? "<next/>\n" : "", TempDir::read(dir / "f.new")) << n;
        EXPECT_EQ(n == 2 ? "<former/>" : "", TempDir::read(dir / "f.old")) << n;
        const auto nMode = std::filesystem::status(dir / "f.new").permissions();
        EXPECT_TRUE(n > 0 || nMode == std::filesystem::perms(0600)) << n;
    }
}

// What a save has reported is never lost, whenever its process dies: the last of these versions is there,
// or the one that was being saved. Each has a name and a length of its own.
TEST_F(chXmlFiles, KilledAtRandomMoments) {
    const std::string szPath = m_dir.write("f", "<v0/>");
    std::mt19937 random(7);
    std::size_t nVersion = 0;
    for (int nRound = 0; nRound < 400; ++nRound) {
        const auto nLife_us = static_cast<useconds_t>(1 + random() % 5000);
        const auto result = vdxtest::runInChild([&] {
            for (std::size_t n = nVersion + 1;; ++n) {
                chXmlFile file;
                file.AddChildElement("v" + std::to_string(n))
                    .AddChildObject(xmlText, std::string(n % 97 * 50, 'x'));
                if (!file.SaveToFile(szPath) || write(1, ".", 1) != 1) return 1;
                if (n == nVersion + 1) ualarm(nLife_us, 0);
            }
        });
        ASSERT_EQ(SIGALRM, result.signal()) << "a save failed";
        const std::size_t nSaved = nVersion + result.out.size();
        const std::string szTop = topOf(szPath);
        nVersion = nSaved + (szTop != "v" + std::to_string(nSaved));
        ASSERT_EQ("v" + std::to_string(nVersion), szTop) << nRound;
        ASSERT_EQ(1U, entries(m_dir.path()));
    }
}

// As a user without privileges, who may not write to a read-only file: it is replaced, and stays so.
TEST_F(chXmlFiles, SaveKeepsPermissions) {
    constexpr uid_t NOBODY = 65534;
    EXPECT_EQ(0, seteuid(geteuid() == 0 ? NOBODY : geteuid()));
    for (const auto nMode : {std::filesystem::perms(0666), std::filesystem::perms(0444)}) {
        const TempDir dir;
        const std::string szPath = dir.write("f", "<a/>");
        std::filesystem::permissions(szPath, nMode);
        EXPECT_TRUE(chXmlFile(szPath).SaveToFile(""));
        EXPECT_EQ(nMode, std::filesystem::status(szPath).permissions());
    }
    EXPECT_EQ(0, seteuid(getuid()));
}

}  // namespace
