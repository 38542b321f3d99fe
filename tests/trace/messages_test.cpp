// The message functions: where their lines go, and their exact form.
#include <vdx/trace.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <cerrno>
#include <csignal>

#include <vdx/platform.h>

#include "support/child.h"
#include "trace/lines.h"

using vdxtest::runInChild;

namespace {

const std::string RED = "[\x1b[1;31mE:\x1b[00m";
const std::string YELLOW = "[\x1b[1;33mW:\x1b[00m";

}  // namespace

TEST(Console, ColoursBySecondAndThirdCharacter) {
    const struct {
        const char* szLabel;
        std::string text, written;
    } rows[] = {
        {"error", "[E:] full", RED + "] full\n"},
        {"warning", "[W:Net] slow", YELLOW + "Net] slow\n"},
        {"first character does not matter", "xE:y", RED + "y\n"},
        {"other letter", "[D:] plain", "[D:] plain\n"},
        {"too short", "[E", "[E\n"},
        {"only the tag", "[E:", RED + "\n"},
        {"empty", "", "\n"},
        {"percent signs, and what is not UTF-8", "%s %n 100%\xff", "%s %n 100%\xff\n"},
        {"ends at a zero byte", std::string("ab\0cd", 5), "ab\n"},
        {"long", std::string(100'000, 'x'), std::string(100'000, 'x') + "\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.szLabel);
        const auto result = runInChild([&] {
            consoleWriteString(false, row.text);
            consoleWriteString(true, row.text);
            return 0;
        });
        EXPECT_EQ(result.out, row.written);
        EXPECT_EQ(result.err, row.written);
    }
}

TEST(Console, FormattedTextsAndTheirLimits) {
    const std::string text(5000, 'x');
    const auto result = runInChild([&] {
        consolePrintf(true, "%s", text.c_str());
        consolePrintf(false, "[W:] %d", 7);
        vdxOutputDebugString("%s", text.c_str());
        simpTRACE("%s|%5.2f", "pi", 3.14159);
        return 0;
    });
    EXPECT_EQ(result.err, text.substr(0, 4095) + "\n");
    EXPECT_EQ(result.out, YELLOW + "] 7\n" + text + "\npi| 3.14\n");
}

// Also behind what the program itself left in the stream's buffer.
TEST(Console, LinesKeepTheirPlaceAndWaitForASlowReader) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    const std::string longLine(300'000, 'y');
    const pid_t pid = fork();
    if (pid == 0) {
        alarm(20);
        dup2(ends[1], 1);
        std::printf("before ");  // Waits in the stream's buffer.
        consolePrintf(false, "%d", 0);
        std::printf("behind\n");
        consoleWriteString(false, longLine);
        std::fclose(stdout);
        _exit(0);
    }
    close(ends[1]);
    vdxSleep(50);  // The pipe is full.
    fcntl(ends[0], F_SETFL, 0);
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = read(ends[0], buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(n));
    close(ends[0]);
    EXPECT_TRUE(text == "before 0\nbehind\n" + longLine + '\n') << text.substr(0, 30);
    int nStatus = -1;
    waitpid(pid, &nStatus, 0);
    EXPECT_EQ(nStatus, 0);
}

TEST(Messages, WarningsNameFileTimeAndIds) {
    const auto result = runInChild([] {
        std::printf("(%d:%u)", vdxGetCurrentProcessId(), vdxGetCurrentTaskId());
        vdxOutputWarningString("lost %d", 3);
        vdxWarningMessage("a.cpp", 12, "lost %d", 4);
        vdxWarningMessage(nullptr, 0, "%s", "");
        return 0;
    });
    EXPECT_EQ(withoutStamps(result.err),
              YELLOW + "] # lost 3\n" + YELLOW + "] a.cpp(12): #lost 4\n" + YELLOW + "] (0): #\n");
    for (const std::string& line : linesOf(result.err))
        EXPECT_NE(line.find(result.out), std::string::npos) << line;
}

TEST(Messages, TraceLinesCarryThePrefix) {
    const auto result = runInChild([] {
        vdxTrace(3, "plain %d%%", 1);
        vdxTrace(3, std::string("finished %d"));
        vdxModuleTrace(4, "M:Relay", "%s", "module");
        vdxModuleTrace(4, "", std::string("nobody"));
        vdxModuleTrace(4, "E:Net", "red");
        tracePrintf("debug");
        vdxTraceObject("name", std::string("value"));
        vdxTraceObject("at", reinterpret_cast<const void*>(0x12ab));
        return 0;
    });
    EXPECT_EQ(linesOf(withoutStamps(result.out)),
              (std::vector<std::string>{"[D:Who?@plain 1%", "[D:Who?@finished %d", "[M:Relay@module",
                                        "[D:Who?@nobody", RED + "Net@red", "[D:Who?@debug",
                                        "[D:Who?@name = \"value\"", "[D:Who?@at = 0x000012ab"}));
    EXPECT_EQ(result.err, "");
}

TEST(Messages, AnErrorMessageIsFatal) {
    const TempDir dir;
    const auto result = runInChild([&]() -> int {
        setenv("trace", ("9:log:" + (dir / "t")).c_str(), 1);
        vdxErrorMessage("b.cpp", 9, "state %d", 5);
    });
    EXPECT_EQ(result.signal(), SIGABRT);
    const std::string line = "] b.cpp(9): #state 5\n";
    EXPECT_TRUE(withoutStamps(result.err).starts_with(RED + line)) << result.err;
    EXPECT_GT(linesOf(result.err).size(), 4u) << "the stack";
    EXPECT_EQ(withoutStamps(TempDir::read(dir / "t-0.log")), "[E:" + line);
}

TEST(Messages, ReportingLeavesErrnoAlone) {
    const TempDir dir;
    const auto result = runInChild([&] {
        const std::string errorText = "%m%s";  // Not of the standard, but of the C libraries.
        if (!std::freopen("/dev/full", "w", stdout)) return -1;  // Every write fails and sets errno.
        int nBad = 0;
        for (const std::string method : {"console", "missing", "file", "share"}) {
            if (method == "missing") helper().RedirectToFileTrace(dir / "missing/t", 0, 0);
            if (method == "file") helper().RedirectToFileTrace(dir / "t", 0, 0);
            if (method == "share") helper().RedirectToShareMemory();
            errno = EDOM;
            vdxTrace(3, errorText.c_str(), std::string(2000, 'x').c_str());
            vdxModuleTrace(3, "M:x", std::string("y"));
            vdxOutputWarningString("closed");
            vdxWarningMessage("f", 1, "g");
            consolePrintf(false, "h");
            vdxTraceObject("a", &errno);
            nBad += errno != EDOM;
        }
        return nBad;
    });
    EXPECT_EQ(result.exitCode(), 0);
    EXPECT_NE(TempDir::read(dir / "t-0.log").find(vdxTransLastError(EDOM)), std::string::npos);
}

TEST(Messages, LevelLetters) {
    const std::string letters = "IIIIEWNIDITII";
    for (int nLevel = -1; nLevel < 12; ++nLevel)
        EXPECT_EQ(translateToLevelChar(nLevel), letters.substr(static_cast<std::size_t>(nLevel + 1), 1))
            << nLevel;
}
