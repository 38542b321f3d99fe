// The terminal at standard input: raw while it is wanted, and as it was on every way out.
#include "base/console_input_terminal.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <iterator>
#include <mutex>
#include <utility>

#include "base/errno_saver.h"
#include "base/fork_hooks.h"

namespace vdx {

namespace {

// The signals that end a process unless it handles them, and those that stop and continue it.
constexpr int SIGNALS[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGILL,  SIGTRAP, SIGABRT, SIGBUS,  SIGFPE,  SIGSEGV,
                           SIGPIPE, SIGALRM, SIGTERM, SIGUSR1, SIGUSR2, SIGXCPU, SIGXFSZ, SIGTSTP, SIGCONT};

// Everything is trivially destroyed: signals and exit handlers come late. The modes and the former
// actions are written before s_nOwner is, and only read while it is set.
using UsersMutex = ForkMutex<ForkOrder::Console>;  // Guards the count.
int s_nUsers = 0;
std::atomic<pid_t> s_nOwner{0};  // The process that has made the terminal raw; 0: it is not.
int s_aRefresh[2] = {-1, -1};    // A pipe: a waiting select sees it, whichever thread handles a signal.
termios s_formerMode;
termios s_rawMode;
struct sigaction s_formerActions[std::size(SIGNALS)];
bool s_bInstalled[std::size(SIGNALS)];

// A forked child shares the terminal, but it was not the child that changed it.
bool isOwner() {
    return s_nOwner.load() != 0 && s_nOwner.load() == getpid();
}

// Only calls that are safe in a signal handler. A process in the background would be stopped for
// changing the mode: the former mode is set all the same, the raw one is not.
void setMode(const termios& mode) {
    sigset_t ttou, before;
    sigemptyset(&ttou);
    sigaddset(&ttou, SIGTTOU);
    pthread_sigmask(SIG_BLOCK, &ttou, &before);
    tcsetattr(STDIN_FILENO, TCSANOW, &mode);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void setRawAgain() {
    if (!isOwner() || tcgetpgrp(STDIN_FILENO) != getpgrp()) return;
    setMode(s_rawMode);
    [[maybe_unused]] const auto nWritten = write(s_aRefresh[1], "", 1);
}

void setFormerMode() {
    if (isOwner()) setMode(s_formerMode);
}

// What the signal does by default, here and now: end the process, or stop it and come back.
void runDefault(int nSignal) {
    struct sigaction byDefault = {};
    struct sigaction ours;
    byDefault.sa_handler = SIG_DFL;
    sigaction(nSignal, &byDefault, &ours);
    raise(nSignal);
    sigset_t mask, before;
    sigemptyset(&mask);
    sigaddset(&mask, nSignal);
    pthread_sigmask(SIG_UNBLOCK, &mask, &before);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    sigaction(nSignal, &ours, nullptr);
}

void passOn(const struct sigaction& former, int nSignal, siginfo_t* pInfo, void* pContext) {
    if ((former.sa_flags & SA_SIGINFO) != 0)
        former.sa_sigaction(nSignal, pInfo, pContext);
    else if (former.sa_handler == SIG_DFL)
        runDefault(nSignal);
    else if (former.sa_handler != SIG_IGN)
        former.sa_handler(nSignal);
}

void onSignal(int nSignal, siginfo_t* pInfo, void* pContext) {
    const ErrnoSaver saver;
    if (nSignal != SIGCONT) setFormerMode();
    for (std::size_t i = 0; i < std::size(SIGNALS); ++i)
        if (SIGNALS[i] == nSignal) passOn(s_formerActions[i], nSignal, pInfo, pContext);
    setRawAgain();
}

bool isOurs(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == onSignal;
}

// Signals that are ignored stay so: nothing ends then.
void installHandler(std::size_t i) {
    struct sigaction current;
    if (sigaction(SIGNALS[i], nullptr, &current) != 0 || isOurs(current)) return;
    const bool bInfo = (current.sa_flags & SA_SIGINFO) != 0;
    if (!bInfo && current.sa_handler == SIG_IGN) return;
    const bool bDefault = !bInfo && current.sa_handler == SIG_DFL;
    s_formerActions[i] = current;
    current.sa_flags &= SA_ONSTACK | SA_RESTART | SA_NODEFER;
    current.sa_flags |= bDefault ? SA_SIGINFO | SA_RESTART : SA_SIGINFO;
    current.sa_sigaction = onSignal;
    s_bInstalled[i] = sigaction(SIGNALS[i], &current, nullptr) == 0;
}

// A handler that the application has set meanwhile stays.
void removeHandler(std::size_t i) {
    struct sigaction current;
    if (s_bInstalled[i] && sigaction(SIGNALS[i], nullptr, &current) == 0 && isOurs(current))
        sigaction(SIGNALS[i], &s_formerActions[i], nullptr);
    s_bInstalled[i] = false;
}

// No signal is handled on this thread while one of these lives: between a change of the terminal and
// the note of it, a handler would put back the wrong mode.
class signalPause {
public:
    signalPause() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &m_before);
    }
    ~signalPause() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    signalPause(const signalPause&) = delete;
    signalPause& operator=(const signalPause&) = delete;

private:
    sigset_t m_before;
};

// Without it (too many open files, or a number that select cannot take) nothing is refreshed.
void openRefreshPipe() {
    if (pipe(s_aRefresh) != 0) {
        s_aRefresh[0] = s_aRefresh[1] = -1;
        return;
    }
    for (const int fd : s_aRefresh) {
        fcntl(fd, F_SETFD, FD_CLOEXEC);
        fcntl(fd, F_SETFL, O_NONBLOCK);
    }
}

void closeRefreshPipe() {
    for (int& fd : s_aRefresh)
        if (fd >= 0) close(std::exchange(fd, -1));
}

// Keys at once and unseen, with all codes but those of the signals; output and the translation of
// Return to a line feed stay.
termios makeRaw(termios mode) {
    mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | IEXTEN);
    mode.c_iflag &= ~static_cast<tcflag_t>(IXON | ISTRIP);
    mode.c_cc[VMIN] = 1;
    mode.c_cc[VTIME] = 0;
    return mode;
}

}  // namespace

bool enterRawTerminal() {
    const std::lock_guard guard(UsersMutex::get());
    // A forked child begins anew.
    if (s_nUsers > 0 && isOwner()) {
        ++s_nUsers;
        return true;
    }
    if (tcgetattr(STDIN_FILENO, &s_formerMode) != 0) return false;
    [[maybe_unused]] static const int s_nAtExit = std::atexit(setFormerMode);
    s_rawMode = makeRaw(s_formerMode);
    s_nUsers = 1;
    const signalPause pause;
    closeRefreshPipe();  // That of the process that has forked this one.
    openRefreshPipe();
    for (std::size_t i = 0; i < std::size(SIGNALS); ++i)
        installHandler(i);
    s_nOwner = getpid();
    setMode(s_rawMode);
    return true;
}

void leaveRawTerminal() {
    const std::lock_guard guard(UsersMutex::get());
    if (s_nUsers == 0 || --s_nUsers > 0) return;
    const signalPause pause;
    setFormerMode();
    s_nOwner = 0;
    for (std::size_t i = 0; i < std::size(SIGNALS); ++i)
        removeHandler(i);
    closeRefreshPipe();
}

int terminalRefreshDescriptor() {
    return s_aRefresh[0] < FD_SETSIZE ? s_aRefresh[0] : -1;
}

void takeTerminalRefresh() {
    char aBytes[16];
    while (read(s_aRefresh[0], aBytes, sizeof aBytes) > 0) {
    }
}

}  // namespace vdx
