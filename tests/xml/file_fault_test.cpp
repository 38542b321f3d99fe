// Files when the system refuses: each call failing or killing in turn, no space, no permission.
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <filesystem>

#include <gtest/gtest.h>

#include "support/child.h"
#include "support/temp_dir.h"
#include "xml/failing_calls.h"
#include "xml/xml_support.h"

namespace {

class chXmlFileFaults : public xmltest::LeakFree {
protected:
    static std::size_t entries(const std::string& szDirectory) {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(szDirectory), {}));
    }
    static std::string topOf(const std::string& szPath) {
        return chXmlFile(szPath).getChildElement().tagName();
    }
};

constexpr int ERRORS[] = {EIO, ENOSPC, EACCES};

// Saving over a file, and for the first time. Only a companion whose removal fails stays.
TEST_F(chXmlFileFaults, EachCallOfASave) {
    for (const bool bFormer : {true, false}) {
        for (const int nError : ERRORS) {
            std::size_t nRefused = 0;
            for (long n = 0;; ++n) {
                const TempDir dir;
                const std::string szPath = dir / "f";
                if (bFormer) dir.write("f", "<former/>");
                chXmlFile file;
                file.AddChildElement("next");
                const auto nOpen = entries("/proc/self/fd");
                xmltest::setFileCallsLeft(n, nError);
                const bool bSaved = file.SaveToFile(szPath);
                xmltest::setFileCallsLeft(-1);
                const std::string szCall = xmltest::failedFileCall();
                SCOPED_TRACE(szCall + " at " + std::to_string(n));
                ASSERT_EQ(nOpen, entries("/proc/self/fd"));
                const bool bThere = bSaved || bFormer;
                if (szCall != "unlink" && szCall != "stat") {
                    ASSERT_EQ(bThere ? 1U : 0U, entries(dir.path()));
                    ASSERT_EQ(bThere, std::filesystem::exists(szPath));
                }
                ASSERT_EQ(bSaved ? "next" : bFormer ? "former" : "", topOf(szPath));
                ASSERT_EQ(bThere ? 1U : 0U, entries(dir.path()));
                if (szCall.empty()) {
                    ASSERT_TRUE(bSaved);
                    break;
                }
                nRefused += !bSaved;
            }
            EXPECT_GT(nRefused, 5U);
        }
    }
}

// A load either succeeds or gives an empty document; a later one finds a whole file.
TEST_F(chXmlFileFaults, EachCallOfALoad) {
    for (const bool bInterrupted : {false, true}) {
        std::size_t nRefused = 0;
        for (long n = 0;; ++n) {
            const TempDir dir;
            const std::string szPath = dir / "f";
            dir.write(bInterrupted ? "f.old" : "f", "<former/>");
            dir.write("f.new", "<next/>");
            chXmlFile file;
            const auto nOpen = entries("/proc/self/fd");
            xmltest::setFileCallsLeft(n, ERRORS[n % 3]);
            const bool bLoaded = file.LoadFromFile(szPath);
            xmltest::setFileCallsLeft(-1);
            const std::string szCall = xmltest::failedFileCall();
            SCOPED_TRACE(szCall + " at " + std::to_string(n));
            ASSERT_EQ(nOpen, entries("/proc/self/fd"));
            ASSERT_EQ(bLoaded, file.hasChildren());
            ASSERT_EQ(xmlDocument, file.type());
            const std::string szTop = topOf(szPath);
            ASSERT_TRUE(szTop == "former" || (bInterrupted && szTop == "next")) << szTop;
            ASSERT_TRUE(!bLoaded || file.getChildElement().tagName() == szTop);
            ASSERT_EQ(1U, entries(dir.path()));
            if (szCall.empty()) {
                ASSERT_EQ(bInterrupted ? "next" : "former", szTop);
                break;
            }
            nRefused += !bLoaded;
        }
        EXPECT_GT(nRefused, 1U);
    }
}

// The process dies at each call: of a save over a file, of the first save, of a load after
// a save that died. Then one of both documents is there, and from the moment on at which
// it can be the next one, never the former again.
TEST_F(chXmlFileFaults, KilledAtEachCall) {
    const struct {
        const char* szFormer;  // Its file, or null.
        const char* szNext;
    } STATES[] = {{"f", nullptr}, {nullptr, nullptr}, {"f.old", "f.new"}};
    for (const auto& state : STATES) {
        bool bNext = false;
        for (long n = 0;; ++n) {
            const TempDir dir;
            const std::string szPath = dir / "f";
            if (state.szFormer) dir.write(state.szFormer, "<former/>");
            if (state.szNext) dir.write(state.szNext, "<next/>");
            const auto result = vdxtest::runInChild([&] {
                chXmlFile file;
                file.AddChildElement("next");
                xmltest::setFileCallsLeft(n, xmltest::KILLS);
                const bool bDone = state.szNext ? file.LoadFromFile(szPath) : file.SaveToFile(szPath);
                xmltest::setFileCallsLeft(-1);
                return bDone ? 0 : 1;
            });
            const std::string szTop = topOf(szPath);
            bNext = bNext || szTop == "next";
            ASSERT_EQ(bNext ? "next" : state.szFormer ? "former" : "", szTop) << n;
            ASSERT_EQ(szTop.empty() ? 0U : 1U, entries(dir.path()));
            if (result.signal() == 0) {
                ASSERT_EQ(0, result.exitCode());
                EXPECT_TRUE(bNext && n > 8);
                break;
            }
        }
    }
}

// A disk of sixteen pages.
TEST_F(chXmlFileFaults, AFullDiskKeepsTheOldFile) {
    const TempDir dir;
    const auto result = vdxtest::runInChild([&] {
        if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("none", dir.path().c_str(), "tmpfs", 0, "size=64k") != 0) {
            return 77;
        }
        chXmlFile file(dir.write("f", "<a/>"));
        chXmlElement top = file.getChildElement();
        top.SetOption("long", std::string(100000, 'x'));
        if (file.SaveToFile("") || TempDir::read(dir / "f") != "<a/>" || entries(dir.path()) != 1) return 1;
        top.SetOption("long", std::string(30000, 'x'));
        return file.SaveToFile("") && topOf(dir / "f") == "a" && entries(dir.path()) == 1 ? 0 : 2;
    });
    if (result.exitCode() == 77) GTEST_SKIP() << "the kernel refuses a mount namespace";
    EXPECT_EQ(0, result.exitCode());
}

// As a user without privileges: a read-only file is replaced and stays read-only, a
// directory without permission leaves all as it is.
TEST_F(chXmlFileFaults, Permissions) {
    const TempDir dir;
    const std::string szPath = dir.write("f", "<a/>");
    constexpr uid_t NOBODY = 65534;
    if (getuid() == 0) {
        ASSERT_EQ(0, chown(dir.path().c_str(), NOBODY, NOBODY));
        ASSERT_EQ(0, chown(szPath.c_str(), NOBODY, NOBODY));
    }
    const auto result = vdxtest::runInChild([&] {
        if (getuid() == 0 && (setgid(NOBODY) != 0 || setuid(NOBODY) != 0)) return 1;
        chmod(szPath.c_str(), 0444);
        chXmlFile file(szPath);
        file.AddChildElement("b");
        if (!file.SaveToFile("") ||
            (std::filesystem::status(szPath).permissions() != std::filesystem::perms(0444)))
            return 2;
        chmod(dir.path().c_str(), 0555);
        file.AddChildElement("c");
        if (file.SaveToFile("") || file.SaveToFile(dir / "other")) return 3;
        chmod(szPath.c_str(), 0);
        if (file.LoadFromFile(szPath) || file.hasChildren()) return 4;
        chmod(szPath.c_str(), 0644);
        chmod(dir.path().c_str(), 0755);
        return 0;
    });
    EXPECT_EQ(0, result.exitCode());
    EXPECT_EQ("<a/>\n<b/>\n", TempDir::read(szPath));
    EXPECT_EQ(1U, entries(dir.path()));
}

}  // namespace
