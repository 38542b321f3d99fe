// Rotating log files.
#include <vdx/file_trace.h>

#include <sys/resource.h>
#include <climits>
#include <csignal>
#include <map>

#include <gtest/gtest.h>
#include <vdx/platform.h>

#include "support/child.h"

namespace {

using Files = std::map<std::string, std::string>;

Files contents(const std::string& folder) {
    Files files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        files[entry.path().filename()] = TempDir::read(entry.path());
    return files;
}

std::string name(int nIndex) {
    return "t-" + std::to_string(nIndex) + ".log";
}

TEST(chFileTrace, DefaultNameStandsUnderTheRoot) {
    const auto result = vdxtest::runInChild([] {
        setenv("APP_ROOT", "/var/app", 1);
        std::printf("%s", chFileTrace().GetFileName(3).c_str());
        return 0;
    });
    const std::string program = std::filesystem::path(vdxGetExeFileName()).filename();
    EXPECT_EQ(result.out, "/var/app/log/" + program + "-3.log");
}

TEST(chFileTrace, RotatesBeforeTheLineThatFindsTheFileFull) {
    const struct {
        const char* szLabel;
        int nKiB, nCount;
        std::size_t nLine;  // Bytes without the newline, which is not counted.
        int nLinesPerFile, nLines, nFilesLeft;
    } rows[] = {
        {"four lines fill a file exactly", 1, 3, 256, 4, 17, 3},
        {"one line more than fits", 1, 2, 1000, 2, 7, 2},
        {"a file for each line", 1, 1, 1024, 1, 3, 1},
        {"five of 400 KiB unless told otherwise", 0, 0, 4096, 100, 601, 5},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szLabel);
        const TempDir dir;
        chFileTrace log;
        EXPECT_TRUE(log.OpenFileTrace(dir / "t", row.nKiB, row.nCount));
        const int nFirstFile = (row.nLines - 1) / row.nLinesPerFile + 1 - row.nFilesLeft;
        Files expected;
        for (int n = 0; n < row.nLines; ++n) {
            std::string line = std::to_string(n);
            line.resize(row.nLine, '.');
            EXPECT_TRUE(log.WriteLogLine(line));
            const int nFile = n / row.nLinesPerFile - nFirstFile;
            if (nFile >= 0) expected[name(nFile)] += line + '\n';
        }
        EXPECT_TRUE(contents(dir.path()) == expected);
    }
}

TEST(chFileTrace, ZeroKeepsTheEarlierValuesAndAReopenedFileCountsFromItsSize) {
    const TempDir dir;
    const std::string line(1024, 'x');
    for (int i = 0; i < 4; ++i) {
        chFileTrace log;
        log.OpenFileTrace(dir / "t", 1, 2);
        log.OpenFileTrace(dir / "u", 0, 0);
        log.OpenFileTrace("", 0, 0);
        EXPECT_EQ(log.GetFileName(-1), dir / "u--1.log");
        log.WriteLogLine(line);
    }
    EXPECT_EQ(contents(dir.path()), (Files{{"u-0.log", line + '\n'}, {"u-1.log", line + '\n'}}));
}

TEST(chFileTrace, OpeningTidiesWhatIsThere) {
    const struct {
        const char* szLabel;
        int nFound, nCount;  // Each file holds its own number.
        Files expected;      // After one more line, "+".
    } rows[] = {
        {"none", 0, 3, {{name(0), "+\n"}}},
        {"fewer than allowed", 2, 3, {{name(0), "0"}, {name(1), "1+\n"}}},
        {"as many as allowed", 3, 3, {{name(0), "0"}, {name(1), "1"}, {name(2), "2+\n"}}},
        {"six for four", 6, 4, {{name(0), "2"}, {name(1), "3"}, {name(2), "4"}, {name(3), "5+\n"}}},
        {"seven for two", 7, 2, {{name(0), "5"}, {name(1), "6+\n"}}},
        {"a negative number of files", 2, -1, {{name(0), "0"}, {name(-2), "+\n"}}},
        {"the smallest number of files", 1, INT_MIN, {{name(0), "0"}, {name(INT_MAX), "+\n"}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szLabel);
        const TempDir dir;
        for (int i = 0; i < row.nFound; ++i)
            dir.write(name(i), std::to_string(i));
        chFileTrace log;
        EXPECT_TRUE(log.OpenFileTrace(dir / "t", 1, row.nCount));
        EXPECT_TRUE(log.WriteLogLine("+"));
        EXPECT_EQ(contents(dir.path()), row.expected);
    }
}

TEST(chFileTrace, RawLinesWaitForTheFlush) {
    const TempDir dir;
    chFileTrace log;
    EXPECT_TRUE(log.Flush());
    log.OpenFileTrace(dir / "t", 1, 2);
    EXPECT_TRUE(log.WriteLogLineRaw("head ", "line"));
    EXPECT_EQ(TempDir::read(dir / name(0)), "");
    EXPECT_TRUE(log.WriteLogLineRaw(nullptr, ""));
    EXPECT_TRUE(log.Flush());
    EXPECT_EQ(TempDir::read(dir / name(0)), "head line\n\n");
    EXPECT_TRUE(log.WriteLogLine("head ", "two"));
    EXPECT_EQ(TempDir::read(dir / name(0)), "head line\n\nhead two\n");
    // Heads count: 1024 - 17 more bytes fill the file.
    log.WriteLogLine(std::string(1000, 'x').c_str(), "1234567");
    log.WriteLogLine("next");
    EXPECT_EQ(TempDir::read(dir / name(1)), "next\n");
}

TEST(chFileTrace, AFullDiskKeepsWhatWasWritten) {
    const TempDir dir;
    const auto result = vdxtest::runInChild([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{600, RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &limit);
        chFileTrace log;
        log.OpenFileTrace(dir / "t", 100, 2);
        for (int i = 100; i < 300; ++i)
            log.WriteLogLine("line " + std::to_string(i));
        return 0;
    });
    EXPECT_EQ(result.nStatus, 0);
    std::string expected;
    for (int i = 100; expected.size() < 600; ++i)
        expected += "line " + std::to_string(i) + '\n';
    EXPECT_EQ(TempDir::read(dir / name(0)), expected.substr(0, 600));
}

TEST(chFileTrace, CopiesShareTheOpenFileWhichIsClosedOnExec) {
    const TempDir dir;
    const auto before = dymicAllocHelper::getInstance()->getCounts();
    {
        chFileTrace first;
        first.OpenFileTrace(dir / "t", 1, 2);
        first.WriteLogLine("one");
        chFileTrace second(first);
        second.WriteLogLine("two");
        first = chFileTrace();
        second.WriteLogLine("three");
        second = *&second;
        second.WriteLogLine("four");
        const auto result = vdxtest::runProgram({"/bin/sh", "-c", "ls -l /proc/self/fd"});
        EXPECT_EQ(result.exitCode(), 0);
        EXPECT_EQ(result.out.find("t-0.log"), std::string::npos) << result.out;
    }
    EXPECT_EQ(TempDir::read(dir / name(0)), "one\ntwo\nthree\nfour\n");
    const auto after = dymicAllocHelper::getInstance()->getCounts();
    EXPECT_EQ(after.nAlloc - before.nAlloc, after.nFree - before.nFree);
}

}  // namespace
