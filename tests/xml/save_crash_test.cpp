// Saves that are killed: at random moments, and at each of their system calls.
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <random>

#include <gtest/gtest.h>

#include "support/child.h"
#include "support/temp_dir.h"
#include "xml/save_versions.h"
#include "xml/xml_support.h"

namespace {

const std::string SAVE_LOOP = VDX_TEST_BIN_DIR "/test_xml_save_loop";

// Bigger numbers are later versions: a whole document must load, and no older one
// than has been loaded before.
void expectWhole(const std::string& szPath, int& nLast) {
    chXmlFile file;
    ASSERT_TRUE(file.LoadFromFile(szPath));
    const int nVersion = xmltest::versionOf(file);
    ASSERT_GE(nVersion, nLast);
    nLast = nVersion;
    ASSERT_NE(0, access((szPath + ".new").c_str(), F_OK));
    ASSERT_NE(0, access((szPath + ".old").c_str(), F_OK));
}

TEST(chXmlFileCrash, KilledAtRandomMoments) {
    const TempDir dir;
    const std::string szPath = dir / "f.xml";
    ASSERT_EQ(0, vdxtest::runProgram({SAVE_LOOP, szPath, "0", "1"}).exitCode());
    std::mt19937 random(6);
    int nLast = 0;
    for (int i = 0; i < 300; ++i) {
        const pid_t idChild = fork();
        if (idChild == 0) {
            execl(SAVE_LOOP.c_str(), SAVE_LOOP.c_str(), szPath.c_str(), std::to_string(nLast + 1).c_str(),
                  "0", nullptr);
            _exit(9);
        }
        const timespec wait{0, static_cast<long>(1000000 + random() % 30000000)};
        nanosleep(&wait, nullptr);
        kill(idChild, SIGKILL);
        int nStatus = 0;
        waitpid(idChild, &nStatus, 0);
        ASSERT_TRUE(WIFSIGNALED(nStatus)) << WEXITSTATUS(nStatus);
        ASSERT_NO_FATAL_FAILURE(expectWhole(szPath, nLast)) << i;
    }
    EXPECT_GT(nLast, 0);  // It did save between the kills.
}

// strace kills the program as it enters the n-th call of a name; and makes it fail.
class chXmlFileFaults : public ::testing::Test {
protected:
    static constexpr const char* CALLS[] = {"openat", "write", "fsync",  "fdatasync",  "rename",
                                            "unlink", "close", "fchmod", "newfstatat", "?renameat2"};

    void SetUp() override {
        if (access("/usr/bin/strace", X_OK) != 0) GTEST_SKIP() << "strace is not installed";
        const std::string szPath = m_dir / "probe";
        if (vdxtest::runProgram({"/usr/bin/strace", "-o", m_dir / "log", "/bin/true"}).exitCode() != 0) {
            GTEST_SKIP() << "strace may not trace here";
        }
    }
    int runInjected(const std::string& szFault, const std::string& szPath, int nVersion) {
        return vdxtest::runProgram({"/usr/bin/strace", "-f", "-o", m_dir / "log", "-e", szFault, SAVE_LOOP,
                                    szPath, std::to_string(nVersion), "1"})
            .nStatus;
    }
    TempDir m_dir;
};

TEST_F(chXmlFileFaults, KilledAtEachSystemCall) {
    int nKilled = 0;
    for (const std::string szCall : CALLS) {
        for (int nTime = 1; nTime < 40; ++nTime) {
            const std::string szPath = m_dir / "f.xml";
            ASSERT_EQ(0, vdxtest::runProgram({SAVE_LOOP, szPath, "1", "1"}).exitCode());
            const int nStatus =
                runInjected("inject=" + szCall + ":signal=KILL:when=" + std::to_string(nTime), szPath, 2);
            if (!WIFSIGNALED(nStatus)) break;
            ++nKilled;
            int nLast = 1;
            ASSERT_NO_FATAL_FAILURE(expectWhole(szPath, nLast)) << szCall << nTime;
            ASSERT_LE(nLast, 2);
        }
    }
    EXPECT_GT(nKilled, 20);
}

// The name of the error does not matter: a call that fails must not cost the file.
TEST_F(chXmlFileFaults, FailingAtEachSystemCall) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address sanitizer makes such calls of its own and ends the program when they fail";
#endif
    int nRefused = 0;
    for (const std::string szCall : CALLS) {
        for (int nTime = 1; nTime < 40; ++nTime) {
            const std::string szPath = m_dir / "f.xml";
            ASSERT_EQ(0, vdxtest::runProgram({SAVE_LOOP, szPath, "1", "1"}).exitCode());
            const int nStatus =
                runInjected("inject=" + szCall + ":error=EIO:when=" + std::to_string(nTime), szPath, 2);
            ASSERT_TRUE(WIFEXITED(nStatus)) << szCall << nTime;
            const std::string szLog = TempDir::read(m_dir / "log");
            if (szLog.find("(INJECTED)") == std::string::npos) break;
            if (WEXITSTATUS(nStatus) != 0 && WEXITSTATUS(nStatus) != 3)
                continue;  // The loader failed, not the save.
            nRefused += WEXITSTATUS(nStatus) == 3;
            int nLast = WEXITSTATUS(nStatus) == 0 ? 2 : 1;
            ASSERT_NO_FATAL_FAILURE(expectWhole(szPath, nLast)) << szCall << nTime;
        }
    }
    EXPECT_GT(nRefused, 5);
}

}  // namespace
