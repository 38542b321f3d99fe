// The message functions: where their lines go, and their exact form.
#include <vdx/trace.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <cerrno>
#include <csignal>
#include <regex>
#include <thread>
#include <vector>

#include <vdx/platform.h>

#include "support/child.h"

using vdxtest::runInChild;

namespace {

const std::string RED = "[\x1b[1;31mE:\x1b[00m";
const std::string YELLOW = "[\x1b[1;33mW:\x1b[00m";

// A text for use in a regular expression, brackets and escapes of colours included.
std::string quoted(const std::string& text) {
    return std::regex_replace(text, std::regex(R"([\[\]().*+?{}|^$\\])"), R"(\$&)");
}

bool matches(const std::string& text, const std::string& pattern) {
    return std::regex_match(text, std::regex(pattern));
}

std::string ids() {
    return std::to_string(vdxGetCurrentProcessId()) + ":" + std::to_string(vdxGetCurrentTaskId());
}

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
        {"percent signs are text", "%s %n 100%", "%s %n 100%\n"},
        {"not UTF-8", "\xff\xfe\x80", "\xff\xfe\x80\n"},
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

TEST(Console, LinesKeepTheirPlaceAndWaitForASlowReader) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    const std::string line(1000, 'x'), longLine(100'000, 'y');
    std::string expected = "before 0\nbehind\n";
    for (int i = 0; i < 200; ++i)
        expected += line + '\n';
    expected += longLine + '\n';
    const pid_t pid = fork();
    if (pid == 0) {
        alarm(20);
        dup2(ends[1], 1);
        std::printf("before ");  // Waits in the stream's buffer.
        consolePrintf(false, "%d", 0);
        std::printf("behind\n");
        for (int i = 0; i < 200; ++i)
            consoleWriteString(false, line);
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
    EXPECT_EQ(text, expected);
    int nStatus = -1;
    waitpid(pid, &nStatus, 0);
    EXPECT_EQ(nStatus, 0);
}

TEST(Messages, WarningsNameFileTimeAndIds) {
    const auto result = runInChild([] {
        std::printf("%s", ids().c_str());
        vdxOutputWarningString("lost %d", 3);
        vdxWarningMessage("a.cpp", 12, "lost %d", 4);
        vdxWarningMessage(nullptr, 0, "%s", "");
        return 0;
    });
    const std::string id = quoted("(") + result.out + quoted(")");
    EXPECT_TRUE(matches(result.err, quoted(YELLOW) + R"(\] \d+\.\d{6} )" + id + " lost 3\n" + quoted(YELLOW) +
                                        R"(\] a\.cpp\(12\): \d+\.\d{6} )" + id + "lost 4\n" + quoted(YELLOW) +
                                        R"(\] \(0\): \d+\.\d{6} )" + id + "\n"))
        << result.err;
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
    const std::string stamp = R"(\+\d+:\d+\] \d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \d+\.\d{6} )";
    std::string expected;
    for (const std::string text : {R"(\[D:Who\?@plain 1%)", R"(\[D:Who\?@finished %d)", R"(\[M:Relay@module)",
                                   R"(\[D:Who\?@nobody)", R"(RED Net@red)", R"(\[D:Who\?@debug)",
                                   R"(\[D:Who\?@name = "value")", R"(\[D:Who\?@at = 0x000012ab)"}) {
        const std::size_t nStamp = text.find('@');
        expected += text.substr(0, nStamp) + stamp + text.substr(nStamp + 1) + "\n";
    }
    expected = std::regex_replace(expected, std::regex("RED "), quoted(RED));
    EXPECT_TRUE(matches(result.out, expected)) << result.out << expected;
    EXPECT_EQ(result.err, "");
}

TEST(Messages, AnErrorMessageIsFatal) {
    const TempDir dir;
    const auto result = runInChild([&]() -> int {
        setenv("trace", ("9:log:" + (dir / "t")).c_str(), 1);
        vdxErrorMessage("b.cpp", 9, "state %d", 5);
    });
    EXPECT_EQ(result.signal(), SIGABRT);
    const std::string line = R"(\] b\.cpp\(9\): \d+\.\d{6} \(\d+:\d+\)state 5\n)";
    EXPECT_TRUE(std::regex_search(result.err, std::regex("^" + quoted(RED) + line + "."))) << result.err;
    const std::string file = TempDir::read(dir / "t-0.log");  // The line without colours; not the stack.
    EXPECT_TRUE(matches(file, R"(\[E:)" + line)) << file;
}

TEST(Messages, ReportingLeavesErrnoAlone) {
    const auto result = runInChild([] {
        std::fclose(stdout);  // Every write fails and sets errno.
        errno = EDOM;
        vdxTrace(3, "%s", std::string(2000, 'x').c_str());
        vdxModuleTrace(3, "M:x", std::string("y"));
        vdxOutputWarningString("closed");
        vdxWarningMessage("f", 1, "g");
        consolePrintf(false, "h");
        vdxTraceObject("a", &errno);
        return errno == EDOM ? 0 : 1;
    });
    EXPECT_EQ(result.exitCode(), 0);
}

TEST(Messages, LinesOfThreadsStayWhole) {
    const auto result = runInChild([] {
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([i] {
                for (int n = 0; n < 500; ++n)
                    vdxModuleTrace(3, "E:T", "%d %s", i, std::string(60, 'x').c_str());
            });
        }
        for (auto& thread : threads)
            thread.join();
        return 0;
    });
    const std::regex line(quoted(RED) + R"(T\+\d+:\d+\] [^ ]+ [^ ]+ [^ ]+ [0-3] x{60})");
    std::istringstream lines(result.out);
    int nLines = 0;
    for (std::string text; std::getline(lines, text); ++nLines)
        EXPECT_TRUE(std::regex_match(text, line)) << text;
    EXPECT_EQ(nLines, 2000);
}

TEST(Messages, LevelLetters) {
    const std::string letters = "IIIEWNIDITII";
    for (int nLevel = 0; nLevel < 12; ++nLevel) {
        EXPECT_EQ(translateToLevelChar(nLevel), letters.substr(static_cast<std::size_t>(nLevel), 1))
            << nLevel;
    }
    EXPECT_STREQ(translateToLevelChar(-1), "I");
}
