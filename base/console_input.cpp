// Keys from standard input.
#include <vdx/console_input.h>

#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#include <vdx/platform.h>

#include "base/console_input_keys.h"
#include "base/console_input_terminal.h"

namespace {

enum class inputState { Bytes, Refresh, None, Interrupted };

// Waits until standard input can be read or the screen wants to be shown again; at most nTimeout_ms
// milliseconds, -1: no limit. select and not poll: macOS cannot poll terminals.
inputState waitForInput(int nTimeout_ms) {
    const int nRefresh = vdx::terminalRefreshDescriptor();
    fd_set set;
    FD_ZERO(&set);
    FD_SET(STDIN_FILENO, &set);
    if (nRefresh >= 0) FD_SET(nRefresh, &set);
    timeval limit = {nTimeout_ms / 1000, nTimeout_ms % 1000 * 1000};
    const int nReady = select(std::max(STDIN_FILENO, nRefresh) + 1, &set, nullptr, nullptr,
                              nTimeout_ms < 0 ? nullptr : &limit);
    if (nReady < 0 && errno == EINTR) return inputState::Interrupted;
    if (nReady <= 0) return inputState::None;
    return nRefresh >= 0 && FD_ISSET(nRefresh, &set) ? inputState::Refresh : inputState::Bytes;
}

}  // namespace

// The bytes of the terminal, one system call each: keys are slow, and nothing that the user typed ahead
// is lost between one object and the next.
struct chStdInputSource : vdx::keyBytes {
    explicit chStdInputSource(chStdInput& owner) : input(owner) {}

    int next(int nTimeout_ms) override {
        if (input.m_nPending != chKeyNone) return std::exchange(input.m_nPending, chKeyNone);
        const auto nStart = vdxGetTickCount();
        for (int nLeft = nTimeout_ms; !input.m_bEnd;) {
            const inputState state = waitForInput(nLeft);
            if (state == inputState::None) break;
            if (state == inputState::Refresh) {
                vdx::takeTerminalRefresh();
                return chKeyRefresh;
            }
            const int c = state == inputState::Bytes ? readByte() : static_cast<int>(chKeyNone);
            if (c != chKeyNone) return c;
            if (nTimeout_ms >= 0) nLeft = left(nTimeout_ms, vdxGetTickCount() - nStart);
        }
        return chKeyNone;
    }

    void putBack(int nByte) override { input.m_nPending = nByte; }

private:
    static int left(int nTimeout_ms, unsigned long long nGone_ms) {
        const auto nLimit = static_cast<unsigned long long>(nTimeout_ms);
        return nGone_ms < nLimit ? static_cast<int>(nLimit - nGone_ms) : 0;
    }

    int readByte() {
        unsigned char c;
        const auto nRead = read(STDIN_FILENO, &c, 1);
        if (nRead == 1) return c;
        if (nRead == 0 || (errno != EINTR && errno != EAGAIN)) input.m_bEnd = true;
        return chKeyNone;
    }

    chStdInput& input;
};

chStdInput::chStdInput() : m_bTerminal(vdx::enterRawTerminal()) {}

chStdInput::~chStdInput() {
    if (m_bTerminal) vdx::leaveRawTerminal();
}

int chStdInput::ReadKey(int nTimeout_ms) {
    if (m_bTerminal) {
        chStdInputSource source(*this);
        return vdx::readKey(source, nTimeout_ms < 0 ? -1 : nTimeout_ms);
    }
    const int c = m_bEnd ? EOF : std::getchar();
    if (c != EOF) return c;
    m_bEnd = true;
    return chKeyNone;
}

bool chStdInput::HasKey() const {
    return m_bTerminal && (m_nPending != chKeyNone || waitForInput(0) == inputState::Bytes);
}
