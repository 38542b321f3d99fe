// Runs code in a process whose controlling terminal, input and output are a terminal of its own.
#pragma once

#include <poll.h>
#ifdef __APPLE__
#include <util.h>
#else
#include <pty.h>
#include <utmp.h>
#endif
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "support/threads.h"

namespace vdxtest {

class Terminal {
public:
    Terminal() { EXPECT_EQ(openpty(&m_master, &m_slave, nullptr, nullptr, nullptr), 0); }
    ~Terminal() { hangUp(); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    // The child ends by exit with what the body returns.
    void run(auto body) {
        m_before = mode();
        std::fflush(nullptr);
        m_child = fork();
        if (m_child == 0) {
            alarm(60);
            close(m_master);
            login_tty(m_slave);
            std::exit(body());
        }
    }

    // The state of the terminal, seen from outside.
    termios mode() const {
        termios state{};
        tcgetattr(m_slave, &state);
        return state;
    }
    bool isRaw() const { return (mode().c_lflag & (ICANON | ECHO)) == 0; }
    bool isAsBefore() const {
        const termios now = mode();
        return now.c_lflag == m_before.c_lflag && now.c_iflag == m_before.c_iflag &&
               std::memcmp(now.c_cc, m_before.c_cc, sizeof now.c_cc) == 0;
    }

    // Waits (10 s at most) until the terminal is raw.
    bool waitRaw() const {
        return soon([this] { return isRaw(); });
    }

    void send(const std::string& keys) {
        EXPECT_EQ(write(m_master, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    // Sends keys when the child wants some, and collects what it shows, until `end` has come (false: nothing
    // came for 10 s).
    bool type(const std::string& keys, const std::string& end) {
        if (!waitRaw()) return false;
        send(keys);
        while (shown.find(end) == std::string::npos) {
            pollfd ready = {m_master, POLLIN, 0};
            char text[4096];
            if (poll(&ready, 1, 10000) != 1) return false;
            const ssize_t nRead = read(m_master, text, sizeof text);
            if (nRead <= 0) return false;
            shown.append(text, static_cast<std::size_t>(nRead));
        }
        return true;
    }

    // As waitpid gives it.
    int waitForEnd() {
        int nStatus = -1;
        waitpid(m_child, &nStatus, 0);
        return nStatus;
    }

    // The terminal goes away, as when its window is closed.
    void hangUp() {
        close(std::exchange(m_slave, -1));
        close(std::exchange(m_master, -1));
    }

    pid_t child() const { return m_child; }

    std::string shown;

private:
    int m_master = -1;
    int m_slave = -1;
    pid_t m_child = -1;
    termios m_before;
};

}  // namespace vdxtest
