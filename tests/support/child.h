// Runs code or a program in a process of its own and keeps what it wrote.
#pragma once

#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_dir.h"

namespace vdxtest {

struct ChildResult {
    int nStatus = -1;  // As waitpid gives it.
    std::string out;
    std::string err;

    int exitCode() const { return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1; }
    int signal() const { return WIFSIGNALED(nStatus) ? WTERMSIG(nStatus) : 0; }
};

// Forks, ends the child by _exit with what the body returns, and gives its end as waitpid does.
int statusOfFork(auto body) {
    const pid_t idChild = fork();
    if (idChild == 0) _exit(body());
    int nStatus = -1;
    if (idChild > 0) waitpid(idChild, &nStatus, 0);
    return nStatus;
}

// Forks, runs `body` in the child with standard output and error in files, and
// ends the child by _exit with what the body returns. A body that returns nothing
// must come to its end, and with all that it expects: the caller's test fails otherwise.
ChildResult runInChild(auto body) {
    constexpr bool CHECKED = std::is_void_v<decltype(body())>;
    const TempDir dir;
    const std::string out = dir / "out", err = dir / "err";
    std::fflush(nullptr);
    const int nStatus = statusOfFork([&] {
        if (!std::freopen(out.c_str(), "w", stdout) || !std::freopen(err.c_str(), "w", stderr)) return 99;
        int nCode = 0;
        if constexpr (CHECKED) {
            body();
            nCode = testing::Test::HasFailure();
        } else {
            nCode = body();
        }
        std::fflush(nullptr);
        return nCode;
    });
    const ChildResult result{nStatus, TempDir::read(out), TempDir::read(err)};
    EXPECT_TRUE(!CHECKED || nStatus == 0) << nStatus << result.out << result.err;
    return result;
}

// Runs a program with arguments and, added to its environment, settings such as
// "trace=3:console"; waits for its end.
inline ChildResult runProgram(const std::vector<std::string>& args,
                              const std::vector<std::string>& environment = {}) {
    return runInChild([&] {
        for (const std::string& setting : environment)
            putenv(const_cast<char*>(setting.c_str()));
        std::vector<char*> argv;
        for (const std::string& arg : args)
            argv.push_back(const_cast<char*>(arg.c_str()));
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        return 98;
    });
}

// Forks many times while another thread does something over and over. The child, in which that
// thread is missing, ends with what `inChild` returns; a lock that is held by nobody there would
// keep it waiting, for 20 s at most. Returns how many did not end with true.
int forkWhileBusy(int nForks, auto busy, auto inChild) {
    std::atomic<bool> bStop{false};
    std::thread other([&] {
        while (!bStop)
            busy();
    });
    int nBad = 0;
    for (int i = 0; i < nForks; ++i) {
        const int nStatus = statusOfFork([&] {
            alarm(20);
            return inChild() ? 0 : 1;
        });
        nBad += nStatus != 0;
    }
    bStop = true;
    other.join();
    return nBad;
}

}  // namespace vdxtest
