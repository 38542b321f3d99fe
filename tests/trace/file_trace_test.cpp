// Rotating log files.
#include <vdx/file_trace.h>

#include <sys/resource.h>
#include <climits>
#include <csignal>
#include <filesystem>
#include <map>
#include <string>

#include <gtest/gtest.h>
#include <vdx/platform.h>

#include "support/child.h"
#include "support/temp_dir.h"

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

// Files t-0.log to t-(n - 1).log, each holding its own number.
void makeFiles(const TempDir& dir, int nCount) {
    for (int i = 0; i < nCount; ++i)
        dir.write(name(i), std::to_string(i));
}

TEST(chFileTrace, DefaultNameStandsUnderTheRoot) {
    const auto result = vdxtest::runInChild([] {
        setenv("APP_ROOT", "/var/app", 1);
        const chFileTrace log;
        std::printf("%s", log.GetFileName(3).c_str());
        return 0;
    });
    const std::string program = std::filesystem::path(vdxGetExeFileName()).filename();
    EXPECT_EQ(result.out, "/var/app/log/" + program + "-3.log");
}

TEST(chFileTrace, NamesAndZeroKeepsTheEarlierValues) {
    const TempDir dir;
    chFileTrace log;
    EXPECT_TRUE(log.OpenFileTrace(dir / "t", 1, 2));
    EXPECT_TRUE(log.OpenFileTrace(dir / "u", 0, 0));
    EXPECT_EQ(log.GetFileName(0), dir / "u-0.log");
    EXPECT_EQ(log.GetFileName(-1), dir / "u--1.log");
    EXPECT_TRUE(log.OpenFileTrace("", 0, 0));
    const std::string line(1024, 'x');
    for (int i = 0; i < 4; ++i)
        log.WriteLogLine(line);
    EXPECT_EQ(contents(dir.path()), (Files{{"u-0.log", line + '\n'}, {"u-1.log", line + '\n'}}));
}

TEST(chFileTrace, RotatesBeforeTheLineThatFindsTheFileFull) {
    const TempDir dir;
    chFileTrace log;
    log.OpenFileTrace(dir / "t", 1, 3);
    // 256 bytes a line without the newline: four fill a file exactly.
    Files expected;
    for (int n = 0; n < 17; ++n) {
        std::string line = std::to_string(n);
        line.resize(256, '.');
        EXPECT_TRUE(log.WriteLogLine(line));
        if (n >= 8) expected[name(n >= 16 ? 2 : n >= 12 ? 1 : 0)] += line + '\n';
    }
    EXPECT_EQ(contents(dir.path()), expected);
}

TEST(chFileTrace, DefaultLimitsAreFiveFilesOf400KiB) {
    const TempDir dir;
    chFileTrace log;
    log.OpenFileTrace(dir / "t", 0, 0);
    const std::string line(4096, 'x');
    for (int n = 0; n < 100 * 6 + 1; ++n)
        log.WriteLogLine(line);
    const Files files = contents(dir.path());
    ASSERT_EQ(files.size(), 5u);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(files.at(name(i)).size(), 100u * 4097);
    EXPECT_EQ(files.at(name(4)).size(), 4097u);
}

TEST(chFileTrace, OpeningTidiesWhatIsThere) {
    const struct {
        const char* szLabel;
        int nFound, nCount;
        Files expected;  // After one more line, "+".
    } rows[] = {
        {"none", 0, 3, {{name(0), "+\n"}}},
        {"fewer than allowed", 2, 3, {{name(0), "0"}, {name(1), "1+\n"}}},
        {"as many as allowed", 3, 3, {{name(0), "0"}, {name(1), "1"}, {name(2), "2+\n"}}},
        {"seven for five",
         7,
         5,
         {{name(0), "2"}, {name(1), "3"}, {name(2), "4"}, {name(3), "5"}, {name(4), "6+\n"}}},
        {"seven for two", 7, 2, {{name(0), "5"}, {name(1), "6+\n"}}},
        {"a negative number of files", 2, -1, {{name(0), "0"}, {name(-2), "+\n"}}},
        {"the smallest number of files", 1, INT_MIN, {{name(0), "0"}, {name(INT_MAX), "+\n"}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szLabel);
        const TempDir dir;
        makeFiles(dir, row.nFound);
        chFileTrace log;
        EXPECT_TRUE(log.OpenFileTrace(dir / "t", 1, row.nCount));
        EXPECT_TRUE(log.WriteLogLine("+"));
        EXPECT_EQ(contents(dir.path()), row.expected);
    }
}

TEST(chFileTrace, AReopenedFileCountsFromItsSize) {
    const TempDir dir;
    dir.write(name(0), std::string(1024, 'a'));
    chFileTrace log;
    log.OpenFileTrace(dir / "t", 1, 2);
    log.WriteLogLine("b");
    EXPECT_EQ(contents(dir.path()), (Files{{name(0), std::string(1024, 'a')}, {name(1), "b\n"}}));
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

TEST(chFileTrace, AMissingFolderLosesLinesUntilItIsThere) {
    const TempDir dir;
    chFileTrace log;
    EXPECT_TRUE(log.OpenFileTrace(dir / "logs/t", 1, 2));
    EXPECT_TRUE(log.WriteLogLine("lost"));
    EXPECT_TRUE(log.Flush());
    dir.makeDir("logs");
    EXPECT_TRUE(log.WriteLogLine("first"));
    EXPECT_EQ(TempDir::read(dir / "logs/t-0.log"), "first\n");
    // A folder that vanishes: the next rotation finds none, later ones do again.
    std::filesystem::remove_all(dir / "logs");
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(log.WriteLogLine(std::string(1024, 'x')));
    dir.makeDir("logs");
    EXPECT_TRUE(log.WriteLogLine("back"));
    EXPECT_EQ(contents(dir / "logs"), (Files{{"t-1.log", "back\n"}}));
}

TEST(chFileTrace, AFullDiskKeepsWhatWasWritten) {
    const TempDir dir;
    const auto result = vdxtest::runInChild([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{600, RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &limit);
        chFileTrace log;
        log.OpenFileTrace(dir / "t", 100, 2);
        for (int i = 0; i < 100; ++i)
            log.WriteLogLine("line " + std::to_string(i));
        return 0;
    });
    EXPECT_EQ(result.nStatus, 0);
    const std::string text = TempDir::read(dir / name(0));
    EXPECT_EQ(text.size(), 600u);
    std::string expected;
    for (int i = 0; expected.size() < 300; ++i)
        expected += "line " + std::to_string(i) + '\n';
    EXPECT_EQ(text.substr(0, expected.size()), expected);
}

TEST(chFileTrace, CopiesShareTheOpenFile) {
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
    }
    EXPECT_EQ(TempDir::read(dir / name(0)), "one\ntwo\nthree\nfour\n");
    const auto after = dymicAllocHelper::getInstance()->getCounts();
    EXPECT_EQ(after.nAlloc - before.nAlloc, after.nFree - before.nFree);
}

TEST(chFileTrace, TheFileIsClosedOnExec) {
    const TempDir dir;
    chFileTrace log;
    log.OpenFileTrace(dir / "t", 1, 2);
    log.WriteLogLine("x");
    const auto result = vdxtest::runProgram({"/bin/sh", "-c", "ls -l /proc/self/fd"});
    EXPECT_EQ(result.exitCode(), 0);
    EXPECT_EQ(result.out.find("t-0.log"), std::string::npos) << result.out;
}

}  // namespace
