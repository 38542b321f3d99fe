// Console input on a terminal: keys, lines, and the terminal's state on every way out.
#include <gtest/gtest.h>
#include <signal.h>
#include <vdx/console_input.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "support/child.h"
#include "support/terminal.h"

using namespace std::string_literals;
using vdxtest::Terminal;

namespace {

void say(const std::string& strLine) {
    std::fwrite(strLine.data(), 1, strLine.size(), stdout);
    std::putchar('\n');
    std::fflush(stdout);
}

// Says each key until "." comes.
int sayKeys() {
    chStdInput input;
    if (!input.IsTerminal()) return 2;
    for (int nKey = input.ReadKey(); nKey != '.'; nKey = input.ReadKey()) {
        if (nKey == chKeyNone) return 3;
        say("key " + std::to_string(nKey) + ";");
    }
    return 0;
}

int sayLines() {
    std::string strLine;
    while (vdxGetConsoleLineInput(strLine, "> "))
        say("line [" + strLine + "]");
    say("end");
    return 0;
}

// The input of a child that is no terminal.
template <class Body>
vdxtest::ChildResult runOnPipe(const std::string& strInput, Body body) {
    return vdxtest::runInChild([&] {
        int aPipe[2];
        if (pipe(aPipe) != 0) return 99;
        if (write(aPipe[1], strInput.data(), strInput.size()) < 0) return 99;
        close(aPipe[1]);
        dup2(aPipe[0], STDIN_FILENO);
        return static_cast<int>(body());
    });
}

}  // namespace

TEST(chStdInput, KeysOfATerminal) {
    Terminal terminal;
    terminal.run(sayKeys);
    ASSERT_TRUE(terminal.waitRaw());
    terminal.send("a\x1b[A\x1bOP\x1b[24~\r\x7F\x04\x13\x1b[Z");
    ASSERT_TRUE(terminal.waitFor("key " + std::to_string(chKeyUnknown)));
    EXPECT_EQ(terminal.shown.find("^["), std::string::npos) << "keys are not shown";
    terminal.send("\x1b");
    ASSERT_TRUE(terminal.waitFor("key 27;"));
    terminal.send("[A.");
    EXPECT_EQ(terminal.waitForEnd(), 0);
    EXPECT_FALSE(terminal.waitFor("nothing more", 200));
    std::string strExpected;
    for (const int nKey : {int{'a'}, int{chKeyUp}, int{chKeyF1}, int{chKeyF12}, 10, 127, 4, 0x13,
                           int{chKeyUnknown}, 27, int{'['}, int{'A'}})
        strExpected += "key " + std::to_string(nKey) + ";\r\n";
    EXPECT_EQ(terminal.shown, strExpected);
    EXPECT_TRUE(terminal.isAsBefore());
}

TEST(chStdInput, WaitsNoLongerThanTold) {
    Terminal terminal;
    terminal.run([] {
        chStdInput input;
        const auto start = std::chrono::steady_clock::now();
        if (input.HasKey() || input.ReadKey(0) != chKeyNone || input.ReadKey(120) != chKeyNone) return 1;
        const auto gone = std::chrono::steady_clock::now() - start;
        if (gone < std::chrono::milliseconds(115) || input.IsEnd()) return 2;
        say("now");
        return input.ReadKey(20000) == 'x' ? 0 : 3;
    });
    ASSERT_TRUE(terminal.waitFor("now"));
    terminal.send("x");
    EXPECT_EQ(terminal.waitForEnd(), 0);
}

TEST(chStdInput, EndsWithTheTerminal) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the thread sanitizer holds signals back while a thread waits in select";
#endif
    Terminal terminal;
    int aPipe[2];
    ASSERT_EQ(pipe(aPipe), 0);
    terminal.run([&] {
        signal(SIGHUP, SIG_IGN);
        chStdInput input;
        const char c =
            input.ReadKey() == chKeyNone && input.IsEnd() && input.ReadKey() == chKeyNone ? 'y' : 'n';
        return write(aPipe[1], &c, 1) == 1 ? 0 : 1;
    });
    ASSERT_TRUE(terminal.waitRaw());
    terminal.hangUp();
    EXPECT_EQ(terminal.waitForEnd(), 0);
    char c = 0;
    EXPECT_EQ(read(aPipe[0], &c, 1), 1);
    EXPECT_EQ(c, 'y');
    close(aPipe[0]);
    close(aPipe[1]);
}

TEST(chStdInput, TheLastObjectPutsTheTerminalBack) {
    Terminal terminal;
    terminal.run([] {
        chStdInput outer;
        { chStdInput inner; }
        say("inner");
        return outer.ReadKey() == 'x' ? 0 : 1;
    });
    ASSERT_TRUE(terminal.waitFor("inner"));
    EXPECT_TRUE(terminal.isRaw());
    terminal.send("x");
    EXPECT_EQ(terminal.waitForEnd(), 0);
    EXPECT_TRUE(terminal.isAsBefore());
}

TEST(chStdInput, PutsTheTerminalBackAtExit) {
    Terminal terminal;
    terminal.run([]() -> int {
        chStdInput input;
        input.ReadKey();
        std::exit(7);
    });
    ASSERT_TRUE(terminal.waitRaw());
    terminal.send("x");
    EXPECT_EQ(WEXITSTATUS(terminal.waitForEnd()), 7);
    EXPECT_TRUE(terminal.isAsBefore());
}

TEST(chStdInput, PutsTheTerminalBackBeforeASignalEndsTheProcess) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the thread sanitizer holds signals back while a thread waits in select";
#endif
    for (const int nSignal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGALRM, SIGABRT, SIGUSR1}) {
        SCOPED_TRACE(nSignal);
        Terminal terminal;
        terminal.run(sayKeys);
        ASSERT_TRUE(terminal.waitRaw());
        terminal.send("a");
        ASSERT_TRUE(terminal.waitFor("key"));
        if (nSignal == SIGINT)
            terminal.send("\x03");
        else
            kill(terminal.child(), nSignal);
        const int nStatus = terminal.waitForEnd();
        EXPECT_TRUE(WIFSIGNALED(nStatus));
        EXPECT_EQ(WTERMSIG(nStatus), nSignal);
        EXPECT_TRUE(terminal.isAsBefore());
    }
}

TEST(chStdInput, HandlersOfTheApplicationSeeTheFormerState) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the thread sanitizer holds signals back while a thread waits in select";
#endif
    Terminal terminal;
    terminal.run([] {
        static volatile sig_atomic_t s_nLines = 0;
        signal(SIGUSR1, [](int) {
            termios mode;
            tcgetattr(STDIN_FILENO, &mode);
            s_nLines = (mode.c_lflag & ICANON) != 0 ? 1 : 2;
        });
        signal(SIGUSR2, SIG_IGN);
        {
            chStdInput input;
            say("ready");
            if (input.ReadKey() != chKeyRefresh || s_nLines != 1) return 1;
            say("again");
            if (input.ReadKey() != 'x') return 2;
        }
        struct sigaction now;
        sigaction(SIGINT, nullptr, &now);
        return now.sa_handler == SIG_DFL ? 0 : 3;
    });
    ASSERT_TRUE(terminal.waitFor("ready"));
    kill(terminal.child(), SIGUSR1);
    ASSERT_TRUE(terminal.waitFor("again"));
    EXPECT_TRUE(terminal.isRaw());
    kill(terminal.child(), SIGUSR2);
    terminal.send("x");
    EXPECT_EQ(terminal.waitForEnd(), 0);
    EXPECT_TRUE(terminal.isAsBefore());
}

// A job as a shell runs it: stopped from the keyboard, then continued.
TEST(chStdInput, AStoppedProcessGivesTheTerminalBackForTheTime) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the thread sanitizer holds signals back while a thread waits in select";
#endif
    Terminal terminal;
    terminal.run([&] {
        signal(SIGTTOU, SIG_IGN);
        const pid_t idJob = fork();
        if (idJob == 0) {
            setpgid(0, 0);
            tcsetpgrp(STDIN_FILENO, getpid());
            _exit(sayKeys());
        }
        int nStatus = 0;
        if (waitpid(idJob, &nStatus, WUNTRACED) != idJob || !WIFSTOPPED(nStatus)) return 1;
        termios mode;
        tcgetattr(STDIN_FILENO, &mode);
        if ((mode.c_lflag & ICANON) == 0) return 2;
        say("stopped");
        tcsetpgrp(STDIN_FILENO, idJob);
        kill(-idJob, SIGCONT);
        waitpid(idJob, &nStatus, 0);
        return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 3;
    });
    ASSERT_TRUE(terminal.waitRaw());
    terminal.send("a");
    ASSERT_TRUE(terminal.waitFor("key 97;"));
    terminal.send("\x1A");
    ASSERT_TRUE(terminal.waitFor("stopped"));
    ASSERT_TRUE(terminal.waitFor("key " + std::to_string(chKeyRefresh)));
    EXPECT_TRUE(terminal.isRaw());
    terminal.send("b.");
    EXPECT_EQ(terminal.waitForEnd(), 0);
    EXPECT_TRUE(terminal.isAsBefore());
}

TEST(vdxGetConsoleLineInput, EditsLinesOnATerminal) {
    Terminal terminal;
    terminal.run(sayLines);
    ASSERT_TRUE(terminal.waitRaw());
    terminal.send("ac\x1b[Db\r");
    ASSERT_TRUE(terminal.waitFor("line [abc]"));
    ASSERT_TRUE(terminal.waitRaw());
    terminal.send("x\xC3\xA9\x7Fy\x1b[H\x1b[3~z\n");
    ASSERT_TRUE(terminal.waitFor("line [zy]"));
    ASSERT_TRUE(terminal.waitRaw());
    terminal.send(std::string(3000, 'w') + "\r");
    ASSERT_TRUE(terminal.waitFor("line [" + std::string(3000, 'w') + "]"));
    ASSERT_TRUE(terminal.waitRaw());
    terminal.send("\x04");
    ASSERT_TRUE(terminal.waitFor("end"));
    EXPECT_EQ(terminal.waitForEnd(), 0);
    EXPECT_NE(terminal.shown.find("> "), std::string::npos);
    EXPECT_TRUE(terminal.isAsBefore());
}

TEST(vdxGetConsoleLineInput, ReadsPlainLinesOfAPipe) {
    const std::string strInput = "one\n\ntwo\r\nze\0ro\n\x1b[A\nlast"s;
    const auto result = runOnPipe(strInput, sayLines);
    EXPECT_EQ(result.exitCode(), 0);
    const std::string strExpected =
        "line [one]\nline []\nline [two\r]\nline [ze\0ro]\nline [\x1b[A]\nline [last]\nend\n"s;
    EXPECT_EQ(result.out, strExpected);
}

TEST(vdxGetConsoleLineInput, LeavesTheRestOfAPipeToOthers) {
    const auto result = runOnPipe("first\nsecond\nxy", [] {
        std::string strLine;
        char aLine[20];
        if (!vdxGetConsoleLineInput(strLine) || strLine != "first") return 1;
        if (!std::fgets(aLine, sizeof aLine, stdin) || std::string(aLine) != "second\n") return 2;
        chStdInput input;
        if (input.IsTerminal() || input.ReadKey() != 'x' || input.ReadKey(5) != 'y' || input.IsEnd())
            return 3;
        return input.ReadKey() == chKeyNone && input.IsEnd() && input.ReadKey() == chKeyNone ? 0 : 4;
    });
    EXPECT_EQ(result.exitCode(), 0);
}
