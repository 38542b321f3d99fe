// The relay is killed, at random moments and while it renames files, and started again:
// its files keep all that was in them.
#include <csignal>
#include <random>
#include <sstream>

#include <gtest/gtest.h>

#include <vdx/password.h>
#include <vdx/xml.h>

#include "support/child.h"

namespace {

class RelayKill : public ::testing::Test {
protected:
    // Most of the time it writes to its book, whose files rotate every 400 lines.
    std::vector<std::string> command(const char* szSeconds) const {
        return {RELAY_PROGRAM, "--root",    m_dir.path(), "--survey", m_dir.path(),
                "--clients",   "2",         "--packets",  "10",       "--lines",
                "5000",        "--seconds", szSeconds,    "--growth", "1000000"};
    }

    // Runs it by way of another program, which kills it.
    void runUnder(std::vector<std::string> args, const char* szSeconds) {
        const std::vector<std::string> relay = command(szSeconds);
        args.insert(args.end(), relay.begin(), relay.end());
        const vdxtest::ChildResult result = vdxtest::runProgram(args);
        ASSERT_TRUE(result.signal() == SIGKILL || result.exitCode() == 128 + SIGKILL)
            << result.out << result.err;
        expectNothingLost();
    }

    // Whole lines of all files of a log, in their order. Half a line may stand at the end only.
    std::vector<std::string> linesOf(const std::string& log) const {
        std::vector<std::string> lines;
        std::string half;
        for (const std::string& name : filesOf(log)) {
            EXPECT_EQ(half, "") << log;
            half = TempDir::read(name);
            std::istringstream text(half);
            half.erase(0, half.rfind('\n') + 1);
            for (std::string line; std::getline(text, line) && !text.eof();)
                lines.push_back(line);
        }
        return lines;
    }

    std::vector<std::string> filesOf(const std::string& log) const {
        std::vector<std::string> names;
        for (int i = 0; i < 4; ++i) {
            const std::string name = m_dir / ("log/" + log + "-" + std::to_string(i) + ".log");
            if (std::filesystem::exists(name)) names.push_back(name);
        }
        return names;
    }

    // What was there at the last look is still there, or has been rotated away by what
    // followed it.
    void expectNothingLost() {
        long nFirst = -1, nNext = 0;
        for (const std::string& line : linesOf("book")) {
            long nLine = -1;
            std::sscanf(line.c_str(), "line %ld", &nLine);
            ASSERT_EQ(line, "line " + std::to_string(nLine) + " of the relay's book, kept for a while");
            if (nFirst < 0) nFirst = nNext = nLine;
            ASSERT_EQ(nLine, nNext);
            nNext = nLine + 1;
        }
        ASSERT_GE(nNext, m_nNext);
        m_nNext = nNext;
        for (const std::string& line : linesOf("trace"))
            ASSERT_TRUE(line.rfind("[M:") == 0 || line.ends_with("bytes first.")) << line;

        // A copy: loading brings the files in order, which is the relay's own business.
        const TempDir copy;
        std::filesystem::copy(m_dir.makeDir("data"), copy.path());
        chXmlFile file;
        file.LoadFromFile(copy / "relay.xml");
        const chXmlElement root = file.FindChildElement("relay");
        const int nStarts = std::atoi(root.GetOption("starts", "0").c_str());
        ASSERT_GE(nStarts, m_nStarts);
        ASSERT_TRUE(nStarts == 0 || pswDecrypt(root.GetOption("password", "")) == "a tone & a <word>");
        m_nStarts = nStarts;
    }

    // And a last run finds all in order.
    void finish() {
        const vdxtest::ChildResult last = vdxtest::runProgram(command("0"));
        EXPECT_EQ(last.exitCode(), 0) << last.out;
        ASSERT_NO_FATAL_FAILURE(expectNothingLost());
    }

    TempDir m_dir;
    long m_nNext = 0;
    int m_nStarts = 0;
};

TEST_F(RelayKill, AtRandomMoments) {
    std::mt19937 random(9);
    int nWritten = 0;
    for (int i = 0; i < 40; ++i) {
        const long nBefore = m_nNext;
        const std::string wait = "0." + std::to_string(1001 + random() % 250).substr(1);
        ASSERT_NO_FATAL_FAILURE(runUnder({"/usr/bin/timeout", "-s", "KILL", wait}, "100")) << wait;
        nWritten += m_nNext > nBefore;
    }
    EXPECT_GT(m_nStarts, 5);
    EXPECT_GT(nWritten, 5);
    finish();
}

// The kernel ends a write between two pages of the file when the process is killed.
TEST_F(RelayKill, InTheMiddleOfALine) {
    ASSERT_EQ(vdxtest::runProgram(command("0")).exitCode(), 0);
    for (const char* szLog : {"book", "trace"}) {
        ASSERT_FALSE(filesOf(szLog).empty());
        const std::string newest = filesOf(szLog).back();
        std::filesystem::resize_file(newest, std::filesystem::file_size(newest) - 7);
    }
    ASSERT_NO_FATAL_FAILURE(expectNothingLost());
    finish();
    EXPECT_EQ(m_nNext % 5000, 4999);  // The line that was cut is written anew.
}

TEST_F(RelayKill, WhileItRenames) {
    const std::string strace = "/usr/bin/strace";
    if (access(strace.c_str(), X_OK) != 0 ||
        vdxtest::runProgram({strace, "-o", "/dev/null", "/bin/true"}).exitCode() != 0) {
        GTEST_SKIP() << "strace is missing or may not trace here";
    }
    ASSERT_EQ(vdxtest::runProgram(command("0")).exitCode(), 0);
    for (const char* szCall : {"rename", "unlink"}) {
        for (int nTime = 1; nTime <= 8; ++nTime) {
            const std::string fault =
                std::string("inject=") + szCall + ":signal=KILL:when=" + std::to_string(nTime);
            ASSERT_NO_FATAL_FAILURE(runUnder({strace, "-f", "-o", "/dev/null", "-e", fault}, "0")) << fault;
        }
    }
    finish();
}

}  // namespace
