// Files: loading repairs, saving keeps; each call of the system failing or killing in turn, no space,
// no permission.
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <new>
#include <random>

#include "support/child.h"
#include "support/temp_dir.h"
#include "xml/failing_calls.h"
#include "xml/xml_support.h"

using namespace xmltest;

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
    const std::pair<std::string, const char*> CASES[] = {
        {"", ""},           {"path", "path"},     {"path new", "path"},
        {"old new", "new"}, {"path old", "path"}, {"path old new", "new"},
        {"new", ""},        {"old", "old"}};
    for (const auto& [szThere, szLoaded] : CASES) {
        const TempDir dir;
        if (szThere.find("path") != std::string::npos) dir.write("f", "<path/>");
        if (szThere.find("old") != std::string::npos) dir.write("f.old", "<old/>");
        if (szThere.find("new") != std::string::npos) dir.write("f.new", "<new/>");
        chXmlFile file;
        const bool bLoaded = file.LoadFromFile(dir / "f");
        EXPECT_EQ(szLoaded, file.getChildElement().tagName()) << szThere;
        EXPECT_EQ(bLoaded, std::filesystem::exists(dir / "f")) << szThere;
        EXPECT_EQ(bLoaded ? 1U : 0U, entries(dir.path())) << szThere;
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
    EXPECT_TRUE(file.LoadFromFile(m_dir.write("empty", "")));
}

TEST_F(chXmlFiles, ALinkIsReplacedNotFollowed) {
    const std::string szVictim = m_dir.write("victim", "<safe/>");
    for (const char* szLink : {"f", "g.new"})
        std::filesystem::create_symlink(szVictim, m_dir / szLink);
    for (const char* szName : {"f", "g"}) {
        EXPECT_TRUE(chXmlFile().SaveToFile(m_dir / szName));
        EXPECT_FALSE(std::filesystem::is_symlink(m_dir / szName));
    }
    EXPECT_EQ("<safe/>", TempDir::read(szVictim));
}

struct Operation {
    const char* szLabel;
    const char* szFormer;  // The file that holds <former/> before, or null.
    const char* szNext;    // The one that holds <next/> before, or null.
    bool bLoad;            // Else a save of <next/>.
};

// Does it in a process of its own, in which the call after nCallsLeft others fails, or kills. Gives 0
// for success, 1 for false, 2 for what must never be; and prints the name of the call that failed.
vdxtest::ChildResult perform(const Operation& operation, const TempDir& dir, long nCallsLeft, int nError) {
    if (operation.szFormer) dir.write(operation.szFormer, "<former/>");
    if (operation.szNext) dir.write(operation.szNext, "<next/>");
    return vdxtest::runInChild([&] {
        chXmlFile file;
        file.AddChildElement("next");
        const auto nOpen = entries("/proc/self/fd");
        t_fileCalls = {nCallsLeft, nError};
        const bool bDone = operation.bLoad ? file.LoadFromFile(dir / "f") : file.SaveToFile(dir / "f");
        t_fileCalls.nLeft = -1;
        std::printf("%s", t_fileCalls.szFailed);
        const bool bSame = TempDir::read(dir / "f").starts_with(file.ExportToText(true));
        const bool bSound = bDone ? bSame : dump(file) == (operation.bLoad ? "(6 '')" : "(6 ''(4 'next'))");
        return !bSound || entries("/proc/self/fd") != nOpen ? 2 : bDone ? 0 : 1;
    });
}

// One of both documents is always there, whole: the next one after success, and after a death from the
// moment on at which it can be. Only a companion whose removal fails stays, until the next load.
TEST_F(chXmlFiles, EachCallFailingOrKilling) {
    constexpr Operation OPERATIONS[] = {
        {"save over a file", "f", nullptr, false},
        {"first save", nullptr, nullptr, false},
        {"save after one that died", "f.old", "f.new", false},
        {"load after a save that died", "f.old", "f.new", true},
    };
    for (const Operation& operation : OPERATIONS) {
        for (const int nError : {EIO, EACCES, KILLS}) {
            int nHurt = 0;
            bool bWasNext = false, bEnded = false;
            for (long n = 0; !bEnded; ++n) {
                const TempDir dir;
                const auto result = perform(operation, dir, n, nError);
                SCOPED_TRACE(testing::Message() << operation.szLabel << nError << " at " << n << result.out);
                const bool bKilled = result.signal() == SIGKILL, bDone = result.exitCode() == 0;
                ASSERT_TRUE(bKilled || bDone || (result.exitCode() == 1 && !result.out.empty()));
                const bool bTidy =
                    !bKilled && !operation.szNext && result.out != "unlink" && result.out != "stat";
                const bool bThere = bDone || operation.szFormer;
                ASSERT_TRUE(!bTidy || (entries(dir.path()) == (bThere ? 1U : 0U) &&
                                       std::filesystem::exists(dir / "f") == bThere));
                const std::string szTop = topOf(dir / "f"), szFormer = operation.szFormer ? "former" : "";
                ASSERT_EQ(szTop.empty() ? 0U : 1U, entries(dir.path()));
                bEnded = bDone && result.out.empty();
                const bool bMayBeFormer = !bWasNext && !bEnded && (!bDone || operation.bLoad);
                ASSERT_TRUE(szTop == "next" ? bDone || bKilled || operation.szNext
                                            : bMayBeFormer && szTop == szFormer);
                bWasNext = bWasNext || (bKilled && szTop == "next");
                nHurt += !bDone;
            }
            EXPECT_GE(nHurt, operation.bLoad ? 2 : 8) << operation.szLabel;
        }
    }
}

// Saves the versions after nVersion, each with a number of lines of its own, and tells what was saved.
[[noreturn]] void saveVersions(const std::string& szPath, int nVersion, std::atomic<int>& nSaved) {
    for (;;) {
        ++nVersion;
        chXmlFile file;
        chXmlElement top = file.AddChildElement("top");
        for (int i = 0; i <= nVersion % 97; ++i)
            top.SetOption("line" + std::to_string(i), std::to_string(nVersion));
        if (!file.SaveToFile(szPath)) _exit(1);
        nSaved = nVersion;
    }
}

// The version that is there, and -1 if it is not whole.
int loadVersion(const std::string& szPath) {
    chXmlFile file;
    if (!file.LoadFromFile(szPath)) return -1;
    chXmlElement top = file.getChildElement();
    const std::string szVersion = top.GetOption("line0", "-1");
    const int nVersion = std::stoi(szVersion), nLast = nVersion % 97;
    for (int i = 0; i <= nLast; ++i)
        if (top.GetOption("line" + std::to_string(i), "") != szVersion) return -1;
    return nVersion;
}

// What a save has reported is never lost, whenever its process dies: the last of these versions is there,
// or the one that was being saved.
TEST_F(chXmlFiles, KilledAtRandomMoments) {
    void* pShared =
        mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, pShared);
    auto& nSaved = *new (pShared) std::atomic<int>(0);
    std::mt19937 random(7);
    int nVersion = 0;
    for (int nRound = 0; nRound < 400; ++nRound) {
        const int nBefore = nVersion;
        const pid_t idChild = fork();
        if (idChild == 0) saveVersions(m_dir / "f", nVersion, nSaved);
        for (int i = 0; i < 5000 && nSaved <= nBefore; ++i)
            usleep(1000);
        usleep(static_cast<useconds_t>(random() % 5000));
        kill(idChild, SIGKILL);
        int nStatus = 0;
        waitpid(idChild, &nStatus, 0);
        ASSERT_TRUE(WIFSIGNALED(nStatus)) << "a save failed";
        nVersion = loadVersion(m_dir / "f");
        ASSERT_GE(nVersion, nSaved) << nRound;
        ASSERT_LE(nVersion, nSaved + 1) << nRound;
        ASSERT_EQ(1U, entries(m_dir.path()));
        nSaved = nVersion;
    }
    EXPECT_GT(nVersion, 400);
    munmap(pShared, sizeof nSaved);
}

// A disk of sixteen pages.
TEST_F(chXmlFiles, AFullDiskKeepsTheOldFile) {
    const auto result = vdxtest::runInChild([&] {
        if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("none", m_dir.path().c_str(), "tmpfs", 0, "size=64k") != 0)
            return 77;
        chXmlFile file(m_dir.write("f", "<a/>"));
        chXmlElement top = file.getChildElement();
        top.SetOption("long", std::string(100000, 'x'));
        if (file.SaveToFile("") || TempDir::read(m_dir / "f") != "<a/>" || entries(m_dir.path()) != 1)
            return 1;
        top.SetOption("long", std::string(30000, 'x'));
        return file.SaveToFile("") && topOf(m_dir / "f") == "a" && entries(m_dir.path()) == 1 ? 0 : 2;
    });
    if (result.exitCode() == 77) GTEST_SKIP() << "the kernel refuses a mount namespace";
    EXPECT_EQ(0, result.exitCode());
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
