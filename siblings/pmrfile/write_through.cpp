// Texts that leave the process at once, without a stop in a stream's buffer.
#include "siblings/pmrfile/write_through.h"

#include <poll.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <cstring>

#include "base/relax.h"

namespace vdx {

namespace {

constexpr std::size_t SHORT = PIPE_BUF;

// Returns what is left: nothing, or what the system refuses to take.
std::string_view writeToDescriptor(int nFd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t nWritten = ::write(nFd, text.data(), text.size());
        if (nWritten == 0) break;
        if (nWritten > 0) {
            text.remove_prefix(static_cast<std::size_t>(nWritten));
        } else if (errno == EAGAIN) {
            pollfd wait{nFd, POLLOUT, 0};
            (void)::poll(&wait, 1, -1);
        } else if (errno != EINTR) {
            break;
        }
    }
    return text;
}

// The stream's lock. A line is written in less time than a sleep and its end take.
class StreamLock {
public:
    explicit StreamLock(std::FILE* pFile) : m_pFile(pFile) {
        for (int i = 0; i < 100; ++i) {
            if (::ftrylockfile(pFile) == 0) return;
            relaxProcessor();
        }
        ::flockfile(pFile);
    }
    ~StreamLock() { ::funlockfile(m_pFile); }
    StreamLock(const StreamLock&) = delete;
    StreamLock& operator=(const StreamLock&) = delete;

private:
    std::FILE* m_pFile;
};

bool put(std::FILE* pFile, std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), pFile) == text.size();
}

// The parts in one piece, in the buffer; none when they are longer.
std::string_view join(std::initializer_list<std::string_view> parts, char (&buffer)[SHORT]) {
    std::size_t nSize = 0;
    for (const std::string_view part : parts) {
        if (part.size() > SHORT - nSize) return {};
        if (!part.empty()) std::memcpy(buffer + nSize, part.data(), part.size());
        nSize += part.size();
    }
    return {buffer, nSize};
}

// What the descriptor refuses is left to the stream, and so is what follows: the rest of a line comes
// behind its beginning.
bool writeParts(std::FILE* pFile, std::initializer_list<std::string_view> parts) {
    const StreamLock lock(pFile);
    const int nFd = ::fileno(pFile);
    bool bPast = nFd >= 0 && std::fflush(pFile) == 0;
    bool bTaken = true;
    for (std::string_view part : parts) {
        if (bPast) part = writeToDescriptor(nFd, part);
        if (part.empty()) continue;
        bPast = false;
        bTaken = put(pFile, part) && bTaken;
    }
    return bPast || (nFd < 0 && std::fflush(pFile) == 0 && bTaken);
}

}  // namespace

bool writeThrough(std::FILE* pFile, std::initializer_list<std::string_view> parts) {
    char buffer[SHORT];
    const std::string_view text = join(parts, buffer);
    return text.empty() ? writeParts(pFile, parts) : writeParts(pFile, {text});
}

}  // namespace vdx
