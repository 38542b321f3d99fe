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
    return text.empty() || std::fwrite(text.data(), 1, text.size(), pFile) == text.size();
}

// All of it by way of the buffer.
bool writeBuffered(std::FILE* pFile, std::initializer_list<std::string_view> parts) {
    const StreamLock lock(pFile);
    bool bTaken = true;
    for (const std::string_view part : parts)
        bTaken = put(pFile, part) && bTaken;
    return std::fflush(pFile) == 0 && bTaken;
}

}  // namespace

bool writeThrough(std::FILE* pFile, std::initializer_list<std::string_view> parts) {
    std::size_t nSize = 0;
    for (const std::string_view part : parts)
        nSize += part.size();
    if (nSize > SHORT) return writeBuffered(pFile, parts);
    char buffer[SHORT];
    char* pEnd = buffer;
    for (const std::string_view part : parts) {
        if (!part.empty()) std::memcpy(pEnd, part.data(), part.size());
        pEnd += part.size();
    }
    const std::string_view text(buffer, nSize);
    const StreamLock lock(pFile);
    const int nFd = ::fileno(pFile);
    if (nFd < 0 || std::fflush(pFile) != 0) return put(pFile, text) && std::fflush(pFile) == 0;
    const std::string_view left = writeToDescriptor(nFd, text);
    // Kept by the stream, as if it had come there: the rest of a line should follow its beginning.
    (void)put(pFile, left);
    return left.empty();
}

}  // namespace vdx
