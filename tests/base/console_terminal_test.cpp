// Console input on a terminal: keys, lines, and the terminal's state on every way out.
#include <signal.h>
#include <vdx/console_input.h>
#include <vdx/platform.h>

#include <vector>

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

std::string keyLine(int nKey) {
    return "key " + std::to_string(nKey) + ";";
}

// Says each key until "." comes.
int sayKeys() {
    chStdInput input;
    if (!input.IsTerminal()) return 2;
    for (int nKey = input.ReadKey(); nKey != '.'; nKey = input.ReadKey()) {
        if (nKey == chKeyNone) return input.IsEnd() && input.ReadKey() == chKeyNone ? 3 : 4;
        say(keyLine(nKey));
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

[[maybe_unused]] void sayMode(int = 0) {
    termios mode;
    tcgetattr(STDIN_FILENO, &mode);
    say((mode.c_lflag & ICANON) != 0 ? "mode: lines" : "mode: keys");
}

void expectEnd(Terminal& terminal, int nStatus) {
    EXPECT_EQ(terminal.waitForEnd(), nStatus);
    EXPECT_TRUE(terminal.isAsBefore());
}

}  // namespace

// Raw until the last object goes, or the process by exit.
TEST(chStdInput, KeysOfATerminalAndLimitsOfWaits) {
    Terminal terminal;
    terminal.run([] {
        chStdInput input;
        if (sayKeys() != 0) return 1;
        const auto nStart_ms = vdxGetTickCount();
        if (input.HasKey() || input.ReadKey(0) != chKeyNone || input.ReadKey(120) != chKeyNone) return 2;
        if (vdxGetTickCount() - nStart_ms < 115 || input.IsEnd()) return 3;
        say("now");
        std::exit(input.ReadKey(20000) == 'x' ? 7 : 4);
    });
    ASSERT_TRUE(terminal.type("a\x1b[A\x1bOP\x1b[24~\r\x7F\x04\x13\x1b[Z", keyLine(chKeyUnknown)));
    ASSERT_TRUE(terminal.type("\x1b", keyLine(chKeyEscape)));
    ASSERT_TRUE(terminal.type("[A.", "now"));
    EXPECT_TRUE(terminal.isRaw());
    terminal.send("x");
    expectEnd(terminal, W_EXITCODE(7, 0));
    std::string strExpected;
    for (const int nKey :
         std::vector<int>{'a', chKeyUp, chKeyF1, chKeyF12, 10, 127, 4, 0x13, chKeyUnknown, 27, '[', 'A'})
        strExpected += keyLine(nKey) + "\r\n";
    EXPECT_EQ(terminal.shown, strExpected + "now\r\n") << "all keys, and they are not shown themselves";
}

TEST(chStdInput, AForkedChildReadsWhateverAnotherThreadDid) {
    Terminal terminal;
    terminal.run([] {
        return vdxtest::forkWhileBusy(
            30, [] { chStdInput input; }, [] { return chStdInput().IsTerminal(); });
    });
    EXPECT_EQ(terminal.waitForEnd(), 0);
}

// The thread sanitizer holds signals back while a thread waits in select.
#if !defined(__SANITIZE_THREAD__)

TEST(chStdInput, EndsWithTheTerminal) {
    Terminal terminal;
    terminal.run([] {
        signal(SIGHUP, SIG_IGN);
        return sayKeys();
    });
    ASSERT_TRUE(terminal.waitRaw());
    terminal.hangUp();
    EXPECT_EQ(terminal.waitForEnd(), W_EXITCODE(3, 0));
}

TEST(chStdInput, PutsTheTerminalBackBeforeASignalEndsTheProcess) {
    for (const int nSignal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGALRM, SIGABRT, SIGUSR1}) {
        Terminal terminal;
        terminal.run(sayKeys);
        ASSERT_TRUE(terminal.waitRaw());
        kill(terminal.child(), nSignal);
        EXPECT_EQ(WTERMSIG(terminal.waitForEnd()), nSignal);
        EXPECT_TRUE(terminal.isAsBefore()) << nSignal;
    }
}

// A job as a shell runs it: an application's handler, a stop from the keyboard, and on again.
TEST(chStdInput, PutsTheTerminalBackForAHandlerAndWhileStopped) {
    Terminal terminal;
    terminal.run([&] {
        signal(SIGTTOU, SIG_IGN);
        const pid_t idJob = fork();
        if (idJob == 0) {
            setpgid(0, 0);
            tcsetpgrp(STDIN_FILENO, getpid());
            signal(SIGQUIT, sayMode);
            _exit(sayKeys());
        }
        int nStatus = 0;
        if (waitpid(idJob, &nStatus, WUNTRACED) != idJob || !WIFSTOPPED(nStatus)) return 1;
        sayMode();
        tcsetpgrp(STDIN_FILENO, idJob);
        kill(-idJob, SIGCONT);
        waitpid(idJob, &nStatus, 0);
        return nStatus == 0 ? 0 : 3;
    });
    for (const char* szKey : {"\x1C", "\x1A"}) {
        terminal.shown.clear();
        ASSERT_TRUE(terminal.type(szKey, keyLine(chKeyRefresh)));
        EXPECT_NE(terminal.shown.find("mode: lines"), std::string::npos) << terminal.shown;
        EXPECT_TRUE(terminal.isRaw());
    }
    terminal.send(".");
    expectEnd(terminal, 0);
}

#endif

TEST(vdxGetConsoleLineInput, EditsLinesOnATerminal) {
    const std::string strLong(3000, 'w');
    Terminal terminal;
    terminal.run(sayLines);
    ASSERT_TRUE(terminal.type("ac\x1b[Db\r", "line [abc]"));
    ASSERT_TRUE(terminal.type("x\u00E9\x7Fy\x1b[H\x1b[3~z\n", "line [zy]"));
    ASSERT_TRUE(terminal.type(strLong + "\r", "line [" + strLong + "]"));
    ASSERT_TRUE(terminal.type("\x04", "end"));
    expectEnd(terminal, 0);
    EXPECT_NE(terminal.shown.find("> "), std::string::npos);
}

// Plain lines, and nothing is taken from what others read of the same stream.
TEST(vdxGetConsoleLineInput, ReadsPlainLinesOfAPipe) {
    const auto result = vdxtest::runInChild([] {
        const std::string strInput = "getline\nxyone\n\ntwo\r\nze\0ro\n\x1b[A\nlast"s;
        int aPipe[2];
        ASSERT_TRUE(pipe(aPipe) == 0 && write(aPipe[1], strInput.data(), strInput.size()) > 0);
        close(aPipe[1]);
        dup2(aPipe[0], STDIN_FILENO);
        char aLine[20];
        EXPECT_STREQ(std::fgets(aLine, sizeof aLine, stdin), "getline\n");
        chStdInput input;
        EXPECT_TRUE(!input.IsTerminal() && input.ReadKey() == 'x' && input.ReadKey(5) == 'y' &&
                    !input.IsEnd());
        sayLines();
        EXPECT_TRUE(input.ReadKey() == chKeyNone && input.IsEnd() && input.ReadKey() == chKeyNone);
    });
    EXPECT_EQ(result.out,
              "line [one]\nline []\nline [two\r]\nline [ze\0ro]\nline [\x1b[A]\nline [last]\nend\n"s);
}
