// One line, edited with the keys of the console.
#include <sys/ioctl.h>
#include <unistd.h>
#include <vdx/console_input.h>

#include <cerrno>
#include <cstdio>

#include "base/console_input_view.h"

namespace {

constexpr int CONTROL_A = 1, CONTROL_B = 2, CONTROL_D = 4, CONTROL_E = 5, CONTROL_F = 6, CONTROL_H = 8,
              CONTROL_K = 11, CONTROL_U = 21, CONTROL_W = 23;

// Where the line is shown: standard output, or standard error when that alone is a terminal.
int screen() {
    if (isatty(STDOUT_FILENO)) return STDOUT_FILENO;
    return isatty(STDERR_FILENO) ? STDERR_FILENO : -1;
}

int screenWidth(int nScreen) {
    winsize size = {};
    return ioctl(nScreen, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

void show(const std::string& strText) {
    const int nScreen = screen();
    if (nScreen < 0) return;
    for (std::size_t i = 0; i < strText.size();) {
        const auto nWritten = write(nScreen, strText.data() + i, strText.size() - i);
        if (nWritten < 0 && errno == EINTR) continue;
        if (nWritten <= 0) return;
        i += static_cast<std::size_t>(nWritten);
    }
}

// The next line of an input that is no terminal.
bool readPlainLine(std::string& strLine) {
    strLine.clear();
    int c = std::getchar();
    if (c == EOF) return false;
    for (; c != EOF && c != '\n'; c = std::getchar())
        strLine += static_cast<char>(c);
    return true;
}

// Where a key moves the cursor of a line.
std::string::size_type cursorAfter(int nKey, const std::string& strText, std::string::size_type nCursor) {
    switch (nKey) {
        case chKeyLeft:
        case CONTROL_B:
            return vdx::characterBefore(strText, nCursor);
        case chKeyRight:
        case CONTROL_F:
            return vdx::nextCharacter(strText, nCursor);
        case chKeyHome:
        case CONTROL_A:
            return 0;
        case chKeyEnd:
        case CONTROL_E:
            return strText.size();
        default:
            return nCursor;
    }
}

}  // namespace

chConsoleLineInput::chConsoleLineInput(const std::string& strPrompt) : m_strPrompt(strPrompt) {}

void chConsoleLineInput::SetText(const std::string& strText) {
    m_strText = strText;
    m_nCursor = m_strText.size();
}

void chConsoleLineInput::insert(char c) {
    if (m_bOverwrite && !vdx::isContinuation(c)) erase(m_nCursor, vdx::nextCharacter(m_strText, m_nCursor));
    m_strText.insert(m_nCursor++, 1, c);
}

// The cursor goes to where the erased text was.
void chConsoleLineInput::erase(std::string::size_type nFrom, std::string::size_type nTo) {
    m_strText.erase(nFrom, nTo - nFrom);
    m_nCursor = nFrom;
}

bool chConsoleLineInput::PutKey(int nKey) {
    if (nKey == chKeyEnter || nKey == '\r') return true;
    const std::string::size_type nEnd = m_strText.size();
    switch (nKey) {
        case chKeyInsert:
            m_bOverwrite = !m_bOverwrite;
            break;
        case chKeyBackspace:
        case CONTROL_H:
            erase(vdx::characterBefore(m_strText, m_nCursor), m_nCursor);
            break;
        case chKeyDelete:
        case CONTROL_D:
            erase(m_nCursor, vdx::nextCharacter(m_strText, m_nCursor));
            break;
        case chKeyEscape:
            erase(0, nEnd);
            break;
        case CONTROL_U:
            erase(0, m_nCursor);
            break;
        case CONTROL_K:
            erase(m_nCursor, nEnd);
            break;
        case CONTROL_W:
            erase(vdx::wordBefore(m_strText, m_nCursor), m_nCursor);
            break;
        default:
            if (nKey >= ' ' && nKey <= 255)
                insert(static_cast<char>(nKey));
            else
                m_nCursor = cursorAfter(nKey, m_strText, m_nCursor);
    }
    return false;
}

bool chConsoleLineInput::readFromTerminal(chStdInput& input) {
    for (bool bShow = true;;) {
        // Not for each of many keys that come at once, such as the bytes of one character.
        if (bShow) show(vdx::lineView(m_strPrompt, m_strText, m_nCursor, screenWidth(screen())));
        const int nKey = input.ReadKey();
        if (nKey == chKeyNone || (nKey == CONTROL_D && m_strText.empty())) return false;
        if (PutKey(nKey)) {
            m_nCursor = m_strText.size();
            show(vdx::lineView(m_strPrompt, m_strText, m_nCursor, screenWidth(screen())));
            return true;
        }
        bShow = !input.HasKey();
    }
}

bool chConsoleLineInput::ReadLine(std::string& strLine) {
    strLine.clear();
    chStdInput input;
    if (!input.IsTerminal()) return readPlainLine(strLine);
    std::fflush(stdout);
    const bool bLine = readFromTerminal(input);
    show("\n");
    if (bLine) strLine = m_strText;
    SetText("");
    return bLine;
}

bool vdxGetConsoleLineInput(std::string& strLine, const std::string& strPrompt) {
    return chConsoleLineInput(strPrompt).ReadLine(strLine);
}
