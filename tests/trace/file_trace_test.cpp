// Rotating log files.
#include <vdx/file_trace.h>

#include <sys/resource.h>
#include <climits>
#include <map>
#include <tuple>

#include "support/child.h"

namespace {

using Files = std::map<std::string, std::string>;

Files contents(const TempDir& dir) {
    Files files;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        files[entry.path().filename()] = TempDir::read(entry.path());
    return files;
}

std::string name(int nIndex) {
    return "t-" + std::to_string(nIndex) + ".log";
}

// Also when it is opened anew meanwhile: it counts from its size then, and zero keeps the values.
TEST(chFileTrace, RotatesBeforeTheLineThatFindsTheFileFull) {
    // Size in KiB, number of files, bytes of a line without its newline, which is not counted; then lines
    // that a file takes, lines, and files that are left.
    const std::tuple<const char*, int, int, std::size_t, int, int, int> rows[] = {
        {"four lines fill a file exactly", 1, 3, 256, 4, 17, 3},
        {"one byte is left", 1, 2, 1023, 2, 7, 2},
        {"a file for each line", 1, 1, 1024, 1, 3, 1},
        {"five of 400 KiB unless told otherwise", 0, 0, 4096, 100, 601, 5},
    };
    for (const auto& [szLabel, nKiB, nCount, nLine, nLinesPerFile, nLines, nFilesLeft] : rows) {
        const TempDir dir;
        chFileTrace log;
        EXPECT_TRUE(log.OpenFileTrace("unused", nKiB, nCount) && log.OpenFileTrace(dir / "t", 0, 0));
        const int nFirstFile = (nLines - 1) / nLinesPerFile + 1 - nFilesLeft;
        Files expected;
        for (int n = 0; n < nLines; ++n) {
            const std::string line(nLine, static_cast<char>('a' + n % 26));
            if (n == nLinesPerFile) log.OpenFileTrace("", 0, 0);
            EXPECT_TRUE(log.WriteLogLine(line));
            const int nFile = n / nLinesPerFile - nFirstFile;
            if (nFile >= 0) expected[name(nFile)] += line + '\n';
        }
        EXPECT_TRUE(contents(dir) == expected) << szLabel;
    }
}

TEST(chFileTrace, OpeningTidiesWhatIsThere) {
    setenv("APP_ROOT", "/var/app", 1);
    EXPECT_EQ(chFileTrace().GetFileName(3), "/var/app/log/test_trace-3.log") << "the default";
    // Files found, each with its own number in it; files allowed; what there is after one more line, "+".
    const std::tuple<const char*, int, int, Files> rows[] = {
        {"none", 0, 3, {{name(0), "+\n"}}},
        {"as many as allowed", 3, 3, {{name(0), "0"}, {name(1), "1"}, {name(2), "2+\n"}}},
        {"six for four", 6, 4, {{name(0), "2"}, {name(1), "3"}, {name(2), "4"}, {name(3), "5+\n"}}},
        {"seven for two", 7, 2, {{name(0), "5"}, {name(1), "6+\n"}}},
        {"a negative number of files", 2, -1, {{name(0), "0"}, {name(-2), "+\n"}}},
        {"the smallest number of files", 1, INT_MIN, {{name(0), "0"}, {name(INT_MAX), "+\n"}}},
    };
    for (const auto& [szLabel, nFound, nCount, expected] : rows) {
        const TempDir dir, before;
        for (int i = 0; i < nFound; ++i)
            dir.write(name(i), std::to_string(i));
        chFileTrace log;
        log.OpenFileTrace(before / "t", 0, 0);
        log.WriteLogLine("-");  // Opens that file, which gets no more.
        log.OpenFileTrace(dir / "t", 1, nCount);
        log.WriteLogLine("+");
        EXPECT_EQ(contents(dir), expected) << szLabel;
    }
}

TEST(chFileTrace, RawLinesWaitForTheFlushAndCountTheirHeads) {
    const TempDir dir;
    chFileTrace log;
    EXPECT_TRUE(log.Flush());
    log.OpenFileTrace(dir / "t", 1, 2);
    EXPECT_TRUE(log.WriteLogLineRaw("head ", "line") && log.WriteLogLineRaw(nullptr, ""));
    EXPECT_EQ(contents(dir), (Files{{name(0), ""}}));
    const std::string filler(1024 - 9 - 5, 'x');
    EXPECT_TRUE(log.WriteLogLine("long ", filler));
    EXPECT_EQ(contents(dir), (Files{{name(0), "head line\n\nlong " + filler + '\n'}}));
    log.WriteLogLineRaw("", "next");
    EXPECT_TRUE(log.Flush());
    EXPECT_EQ(contents(dir)[name(1)], "next\n");
}

TEST(chFileTrace, AFullDiskKeepsWhatWasWritten) {
    const TempDir dir;
    vdxtest::runInChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{600, RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &limit);
        chFileTrace log;
        log.OpenFileTrace(dir / "t", 100, 2);
        for (int i = 0; i < 4; ++i)
            log.WriteLogLine(std::string(250, 'x'));
    });
    const std::string whole = std::string(250, 'x') + '\n';
    EXPECT_EQ(contents(dir), (Files{{name(0), whole + whole + std::string(98, 'x')}}));
}

TEST(chFileTrace, CopiesShareTheOpenFileWhichIsClosedOnExec) {
    const TempDir dir;
    chFileTrace first;
    first.OpenFileTrace(dir / "t", 1, 2);
    first.WriteLogLine("one");
    chFileTrace second(first);
    first = chFileTrace();
    second.WriteLogLine("two");
    second = *&second;
    second.WriteLogLine("three");
    const char* const szLooks = "ls -l /proc/self/fd > /dev/null && ! ls -l /proc/self/fd | grep t-0.log";
    EXPECT_EQ(vdxtest::runProgram({"/bin/sh", "-c", szLooks}).exitCode(), 0);
    EXPECT_EQ(contents(dir), (Files{{name(0), "one\ntwo\nthree\n"}}));
}

}  // namespace
